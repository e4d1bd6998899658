// Gives bytes to the reader of the example runtime's frames as a connection
// does.
#ifndef QARN_RPC_TESTS_SUPPORT_READ_FRAMES_H_
#define QARN_RPC_TESTS_SUPPORT_READ_FRAMES_H_

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string_view>

#include "qarn/rpc/tcp/frame.h"

namespace qarn {
namespace rpc {
namespace testing {

// Hands `bytes` over, `most` at a time, and calls on_frame(frame) for each that
// is read; a frame's payload is valid during the call. Returns whether all that
// came is well formed so far; ends at the first byte that is not. A reader with
// no room for more aborts.
template <class OnFrame>
bool ReadFrames(std::string_view bytes, std::size_t most, std::size_t limit,
                const OnFrame& on_frame) {
  tcp::FrameReader reader(limit);
  tcp::Frame frame;
  for (std::size_t at = 0; at < bytes.size();) {
    char* const room = reader.room();
    if (reader.room_size() == 0) {
      std::cerr << "FINDING: there is no room to read into" << std::endl;
      std::abort();
    }
    const std::size_t count =
        std::min({most, reader.room_size(), bytes.size() - at});
    std::memcpy(room, bytes.data() + at, count);
    reader.Filled(count);
    at += count;
    for (;;) {
      const tcp::FrameReader::Result result = reader.Next(&frame);
      if (result == tcp::FrameReader::Result::kIncomplete) break;
      if (result == tcp::FrameReader::Result::kMalformed) return false;
      on_frame(frame);
    }
  }
  return true;
}

}  // namespace testing
}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_TESTS_SUPPORT_READ_FRAMES_H_
