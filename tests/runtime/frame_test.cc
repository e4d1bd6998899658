// What goes over a connection: frames are read back whatever the pieces in
// which they arrive, and nothing else passes for a frame.
#include "qarn/rpc/tcp/frame.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <string>
#include <vector>

#include "support/read_frames.h"

namespace {

using ::qarn::rpc::StatusCode;
using ::qarn::rpc::tcp::AppendFrame;
using ::qarn::rpc::tcp::Direction;
using ::qarn::rpc::tcp::Frame;
using ::qarn::rpc::tcp::FrameKind;
using ::qarn::rpc::tcp::FrameReader;
using ::qarn::rpc::tcp::ParseStart;
using ::qarn::rpc::tcp::StartBytes;
using ::qarn::rpc::tcp::StartPayload;
using ::testing::ElementsAre;

constexpr std::size_t kLimit = 1 << 20;

// Gives the reader `bytes`, `most` at a time, and describes what comes out.
std::vector<std::string> Read(const std::string& bytes, std::size_t most,
                              std::size_t limit = kLimit) {
  std::vector<std::string> read;
  const bool is_well_formed = ::qarn::rpc::testing::ReadFrames(
      bytes, most, limit, [&read](const Frame& frame) {
        read.push_back(std::to_string(static_cast<int>(frame.kind)) + " " +
                       std::to_string(static_cast<int>(frame.direction)) + " " +
                       std::to_string(static_cast<int>(frame.status)) + " " +
                       std::to_string(frame.call) + " " +
                       std::string(frame.payload));
      });
  if (!is_well_formed) read.emplace_back("malformed");
  return read;
}

// One kMessage to the server, of call 1, with the payload "hello".
std::string Hello() { return std::string("\5\0\0\0\1\0\0\0\2\0\0\0hello", 17); }

std::string HelloWith(std::size_t position, int byte) {
  std::string bytes = Hello();
  bytes[position] = static_cast<char>(byte);
  return bytes;
}

TEST(FrameTest, HasTheBytesThatItsPageSays) {
  std::string bytes;
  Frame frame;
  frame.kind = FrameKind::kMessage;
  frame.call = 1;
  frame.payload = "hello";
  AppendFrame(frame, &bytes);
  EXPECT_EQ(bytes, Hello());

  frame.kind = FrameKind::kEnd;
  frame.direction = Direction::kToClient;
  frame.status = StatusCode::kFailed;
  frame.call = 0x01020304;
  frame.payload = "";
  bytes.clear();
  AppendFrame(frame, &bytes);
  EXPECT_EQ(bytes, std::string("\0\0\0\0\4\3\2\1\3\1\5\0", 12));
}

TEST(FrameTest, IsReadWhateverThePiecesItArrivesIn) {
  std::string bytes = Hello();
  const std::string large(300000, 'x');
  Frame frame;
  frame.call = 2;
  frame.payload = large;
  AppendFrame(frame, &bytes);
  bytes += Hello();
  for (const std::size_t most :
       std::vector<std::size_t>{1, 2, 3, 11, 12, 13, 17, 4096, 1 << 20}) {
    EXPECT_THAT(
        Read(bytes, most),
        ElementsAre("2 0 0 1 hello", "2 0 0 2 " + large, "2 0 0 1 hello"))
        << most << " bytes at a time";
  }
}

TEST(FrameTest, IsNotThereBeforeItsLastByte) {
  for (std::size_t size = 0; size < Hello().size(); ++size) {
    EXPECT_THAT(Read(Hello().substr(0, size), 1), ElementsAre()) << size;
  }
}

TEST(FrameTest, MayBeAsLongAsTheLimitAndNoLonger) {
  EXPECT_THAT(Read(Hello(), 100, 5), ElementsAre("2 0 0 1 hello"));
  EXPECT_THAT(Read(Hello(), 100, 4), ElementsAre("malformed"));
}

// Known before a byte of the payload is there.
TEST(FrameTest, LengthOfAllOnesIsRefusedWithTheHeader) {
  EXPECT_THAT(Read(std::string("\xff\xff\xff\xff\1\0\0\0\2\0\0\0", 12), 100),
              ElementsAre("malformed"));
}

TEST(FrameTest, BytesThatMeanNothingAreRefused) {
  for (int byte = 0; byte < 256; ++byte) {
    SCOPED_TRACE(byte);
    EXPECT_EQ(Read(HelloWith(8, byte), 100)[0] == "malformed",
              byte < 1 || byte > 5);
    EXPECT_EQ(Read(HelloWith(9, byte), 100)[0] == "malformed", byte > 1);
    // A message has no status; an end has those that exist.
    EXPECT_EQ(Read(HelloWith(10, byte), 100)[0] == "malformed", byte != 0);
    std::string end = HelloWith(8, 3);
    end[10] = static_cast<char>(byte);
    EXPECT_EQ(Read(end, 100)[0] == "malformed",
              byte > static_cast<int>(StatusCode::kTooLarge));
    EXPECT_EQ(Read(HelloWith(11, byte), 100)[0] == "malformed", byte != 0);
  }
}

// Otherwise twelve bytes from each of many clients would take all memory.
TEST(FrameTest, PromisedLengthTakesNoMemory) {
  FrameReader reader(kLimit);
  const std::string header("\0\0\x10\0\1\0\0\0\2\0\0\0", 12);  // 1 MiB
  std::memcpy(reader.room(), header.data(), header.size());
  reader.Filled(header.size());
  Frame frame;
  EXPECT_EQ(reader.Next(&frame), FrameReader::Result::kIncomplete);
  reader.room();
  EXPECT_LE(reader.room_size(), 64u << 10);
}

TEST(FrameTest, MemoryOfALargeFrameIsGivenBack) {
  FrameReader reader(kLimit);
  std::string bytes;
  const std::string large(kLimit, 'x');
  Frame frame;
  frame.payload = large;
  AppendFrame(frame, &bytes);
  for (std::size_t at = 0; at < bytes.size();) {
    char* const room = reader.room();
    const std::size_t count = std::min(reader.room_size(), bytes.size() - at);
    std::memcpy(room, bytes.data() + at, count);
    reader.Filled(count);
    at += count;
  }
  ASSERT_EQ(reader.Next(&frame), FrameReader::Result::kFrame);
  reader.room();
  EXPECT_LE(reader.room_size(), 64u << 10);
}

TEST(StartPayloadTest, IsReadBack) {
  StartPayload start;
  start.timeout = std::chrono::milliseconds(1500);
  start.service = "a.b.Echo";
  start.method = "a.b.Echo/Ping";
  start.label = "me";
  const std::string bytes = StartBytes(start);
  StartPayload read;
  ASSERT_TRUE(ParseStart(bytes, &read));
  EXPECT_EQ(read.timeout, start.timeout);
  EXPECT_EQ(read.service, start.service);
  EXPECT_EQ(read.method, start.method);
  EXPECT_EQ(read.label, start.label);

  // Without its label it is another payload; without more it is none.
  const std::size_t names = bytes.size() - 2;
  for (std::size_t size = 0; size < names; ++size) {
    EXPECT_FALSE(ParseStart(std::string_view(bytes).substr(0, size), &read))
        << size;
  }
  EXPECT_TRUE(ParseStart(std::string_view(bytes).substr(0, names), &read));
}

TEST(StartPayloadTest, TimeoutIsCutToWhatFits) {
  StartPayload start;
  StartPayload read;
  start.timeout = std::chrono::hours(24 * 365);
  const std::string long_one = StartBytes(start);
  ASSERT_TRUE(ParseStart(long_one, &read));
  EXPECT_EQ(read.timeout.count(), 0xffffffff);
  start.timeout = std::chrono::milliseconds(-1);
  const std::string negative = StartBytes(start);
  ASSERT_TRUE(ParseStart(negative, &read));
  EXPECT_EQ(read.timeout.count(), 0);
}

}  // namespace
