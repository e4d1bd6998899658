// The bytes are what arrives at a connection of the example runtime. The first
// says in what pieces.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string>
#include <string_view>

#include "qarn/rpc/tcp/frame.h"
#include "support/read_frames.h"

namespace {

using qarn::rpc::tcp::Frame;

constexpr std::size_t kLimit = 1000;

void Expect(bool holds, const char* what) {
  if (holds) return;
  std::cerr << "FINDING: " << what << std::endl;
  std::abort();
}

// Reads as a connection does, and describes what it saw: the frames, written
// once more, and whether more could follow.
std::string Read(std::string_view bytes, std::size_t most) {
  std::string written;
  const bool is_well_formed = qarn::rpc::testing::ReadFrames(
      bytes, most, kLimit, [&](const Frame& frame) {
        Expect(frame.payload.size() <= kLimit, "a payload is above the limit");
        AppendFrame(frame, &written);
        Expect(bytes.substr(0, written.size()) == written,
               "a frame is not written as it was read");
        qarn::rpc::tcp::StartPayload start;
        if (ParseStart(frame.payload, &start)) {
          Expect(StartBytes(start) == frame.payload,
                 "a start is not written as it was read");
        }
      });
  return is_well_formed ? written : written + "malformed";
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
