// The bytes are what arrives at a connection of the example runtime. The first
// says in what pieces.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>
#include <string_view>

#include "qarn/rpc/tcp/frame.h"

namespace {

using qarn::rpc::tcp::Frame;
using qarn::rpc::tcp::FrameReader;

constexpr std::size_t kLimit = 1000;

void Expect(bool holds, const char* what) {
  if (holds) return;
  std::cerr << "FINDING: " << what << std::endl;
  std::abort();
}

// Reads as a connection does, and describes what it saw: the frames, written
// once more, and whether more could follow.
std::string Read(std::string_view bytes, std::size_t most) {
  FrameReader reader(kLimit);
  std::string written;
  Frame frame;
  for (std::size_t at = 0; at < bytes.size();) {
    char* const room = reader.room();
    Expect(reader.room_size() > 0, "there is no room to read into");
    const std::size_t count =
        std::min({most, reader.room_size(), bytes.size() - at});
    std::memcpy(room, bytes.data() + at, count);
    reader.Filled(count);
    at += count;
    for (;;) {
      const FrameReader::Result result = reader.Next(&frame);
      if (result == FrameReader::Result::kIncomplete) break;
      if (result == FrameReader::Result::kMalformed) {
        return written + "malformed";
      }
      Expect(frame.payload.size() <= kLimit, "a payload is above the limit");
      AppendFrame(frame, &written);
      Expect(bytes.substr(0, written.size()) == written,
             "a frame is not written as it was read");
      qarn::rpc::tcp::StartPayload start;
      if (ParseStart(frame.payload, &start)) {
        Expect(StartBytes(start) == frame.payload,
               "a start is not written as it was read");
      }
    }
  }
  return written;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data,
                                      std::size_t size) {
  if (size == 0) return 0;
  const std::string_view bytes(reinterpret_cast<const char*>(data + 1),
                               size - 1);
  Expect(Read(bytes, data[0] + 1u) == Read(bytes, bytes.size() + 1),
         "the pieces in which the bytes arrive make a difference");
  return 0;
}
