// Part of the example runtime (see qarn/rpc/tcp.h): what goes over a
// connection, byte by byte. Nothing here knows sockets.
//
// A frame is a header of 12 bytes and a payload. Numbers have their least byte
// first.
//
//   bytes  what
//   4      length of the payload
//   4      number of the call, from 1; the client counts up
//   1      kind, a FrameKind
//   1      direction, a Direction: from whom the frame comes
//   1      status, a StatusCode; 0 but in kEnd and kAbort
//   1      0
#ifndef QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_TCP_FRAME_H_
#define QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_TCP_FRAME_H_

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "qarn/rpc/status.h"

namespace qarn {
namespace rpc {
namespace tcp {

enum class FrameKind : std::uint8_t {
  kStart = 1,    // payload: a StartPayload
  kMessage = 2,  // payload: a serialised message
  kEnd = 3,      // this direction ends; payload: the status's message
  kAbort = 4,    // both directions end; payload: the status's message
  kCredit = 5,   // payload: 4 bytes, how much more may be sent
};

enum class Direction : std::uint8_t { kToServer = 0, kToClient = 1 };

constexpr std::size_t kHeaderSize = 12;

struct Frame {
  FrameKind kind = FrameKind::kMessage;
  Direction direction = Direction::kToServer;
  StatusCode status = StatusCode::kOk;
  std::uint32_t call = 0;
  std::string_view payload;
};

inline void WriteNumber(std::uint32_t number, char* bytes) {
  for (int i = 0; i < 4; ++i) {
    bytes[i] = static_cast<char>(number >> (8 * i) & 0xff);
  }
}

inline void AppendNumber(std::uint32_t number, std::string* out) {
  char bytes[4];
  WriteNumber(number, bytes);
  out->append(bytes, sizeof bytes);
}

// `bytes` are at least four.
inline std::uint32_t ReadNumber(const char* bytes) {
  std::uint32_t number = 0;
  for (int i = 3; i >= 0; --i) {
    number = number << 8 | static_cast<unsigned char>(bytes[i]);
  }
  return number;
}

inline void AppendFrame(const Frame& frame, std::string* out) {
  char header[kHeaderSize] = {};
  WriteNumber(static_cast<std::uint32_t>(frame.payload.size()), header);
  WriteNumber(frame.call, header + 4);
  header[8] = static_cast<char>(frame.kind);
  header[9] = static_cast<char>(frame.direction);
  header[10] = static_cast<char>(frame.status);
  out->append(header, sizeof header);
  out->append(frame.payload);
}

// What a client says when it starts a call: three texts, the first two with a
// length ahead, after the timeout in milliseconds.
struct StartPayload {
  std::chrono::milliseconds timeout{0};
  std::string_view service;  // "a.b.Echo"
  std::string_view method;   // "a.b.Echo/Ping"
  std::string_view label;    // of the ClientContext
};

inline std::string StartBytes(const StartPayload& start) {
  constexpr std::chrono::milliseconds::rep most = UINT32_MAX;
  std::string bytes;
  AppendNumber(
      static_cast<std::uint32_t>(std::clamp<std::chrono::milliseconds::rep>(
          start.timeout.count(), 0, most)),
      &bytes);
  for (const std::string_view name : {start.service, start.method}) {
    AppendNumber(static_cast<std::uint32_t>(name.size()), &bytes);
    bytes.append(name);
  }
  bytes.append(start.label);
  return bytes;
}

// False if the bytes are no such payload. The texts point into them.
inline bool ParseStart(std::string_view bytes, StartPayload* start) {
  if (bytes.size() < 4) return false;
  start->timeout = std::chrono::milliseconds(ReadNumber(bytes.data()));
  bytes.remove_prefix(4);
  for (std::string_view* name : {&start->service, &start->method}) {
    if (bytes.size() < 4) return false;
    const std::uint32_t size = ReadNumber(bytes.data());
    bytes.remove_prefix(4);
    if (bytes.size() < size) return false;
    *name = bytes.substr(0, size);
    bytes.remove_prefix(size);
  }
  start->label = bytes;
  return true;
}

// Cuts what arrives into frames. Its memory grows with what has arrived, never
// with what a length merely promises.
class FrameReader {
 public:
  enum class Result { kFrame, kIncomplete, kMalformed };

  // No payload may be longer than `limit`.
  explicit FrameReader(std::size_t limit) : limit_(limit) {}

  // Where the next bytes go; always room for one. What Next gave out before
  // ends here.
  char* room() {
    if (begin_ == end_) begin_ = end_ = 0;
    if (!buffer_ || (begin_ == end_ && size_ > kUsualSize)) {
      size_ = kUsualSize;
      buffer_.reset(new char[size_]);
    }
    if (end_ == size_ || (begin_ > 0 && end_ - begin_ < size_ / 8)) {
      std::memmove(buffer_.get(), buffer_.get() + begin_, end_ - begin_);
      end_ -= begin_;
      begin_ = 0;
    }
    if (end_ == size_) {
      std::unique_ptr<char[]> larger(new char[2 * size_]);
      std::memcpy(larger.get(), buffer_.get(), end_);
      buffer_ = std::move(larger);
      size_ *= 2;
    }
    return buffer_.get() + end_;
  }
  // After room().
  std::size_t room_size() const { return size_ - end_; }
  // So many bytes have been written to room().
  void Filled(std::size_t count) { end_ += count; }

  // The next frame, whose payload points into the buffer. After kMalformed
  // nothing more can be read.
  Result Next(Frame* frame) {
    if (end_ - begin_ < kHeaderSize) return Result::kIncomplete;
    const char* const header = buffer_.get() + begin_;
    const std::size_t length = ReadNumber(header);
    const auto kind = static_cast<unsigned char>(header[8]);
    const auto direction = static_cast<unsigned char>(header[9]);
    const auto status = static_cast<unsigned char>(header[10]);
    frame->kind = static_cast<FrameKind>(kind);
    const bool may_end =
        frame->kind == FrameKind::kEnd || frame->kind == FrameKind::kAbort;
    if (length > limit_ || kind < static_cast<int>(FrameKind::kStart) ||
        kind > static_cast<int>(FrameKind::kCredit) || direction > 1 ||
        status > (may_end ? static_cast<int>(StatusCode::kTooLarge) : 0) ||
        header[11] != 0) {
      return Result::kMalformed;
    }
    if (end_ - begin_ - kHeaderSize < length) return Result::kIncomplete;
    frame->direction = static_cast<Direction>(direction);
    frame->status = static_cast<StatusCode>(status);
    frame->call = ReadNumber(header + 4);
    frame->payload = std::string_view(header + kHeaderSize, length);
    begin_ += kHeaderSize + length;
    return Result::kFrame;
  }

 private:
  // Pages of it that no byte has reached take no memory.
  static constexpr std::size_t kUsualSize = 64 << 10;

  const std::size_t limit_;
  std::unique_ptr<char[]> buffer_;
  std::size_t size_ = 0;
  std::size_t begin_ = 0;  // what is read but not given out lies in between
  std::size_t end_ = 0;
};

}  // namespace tcp
}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_EXAMPLES_RUNTIME_QARN_RPC_TCP_FRAME_H_
