#include "naming/streaming_kind.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "support/proto_sources.h"

namespace qarn {
namespace rpc {
namespace {

// The kind of a method declared as `rpc M(REQUEST) returns (RESPONSE) {BODY}`,
// where a request or response may have the `stream` keyword.
StreamingKind KindOf(const std::string& body,
                     const std::string& request = "Msg",
                     const std::string& response = "Msg") {
  const std::string text = testing::FileHead("p") +
                           "message Msg {}\n"
                           "service S { rpc M(" +
                           request + ") returns (" + response + ") {" + body +
                           "} }\n";
  return GetStreamingKind(
      testing::ParseFile("x.proto", text)->service(0)->method(0));
}

std::string Option(const std::string& name, const std::string& value) {
  return "option (morvane.qarn.rpc." + name + ") = " + value + ";";
}

TEST(StreamingKindTest, CountsAnOptionOnlyWhenPresentAndTrue) {
  // Absent, present but false, and true, for either option.
  const std::vector<std::string> clients = {"",
                                            Option("client_streaming", "false"),
                                            Option("client_streaming", "true")};
  const std::vector<std::string> servers = {"",
                                            Option("server_streaming", "false"),
                                            Option("server_streaming", "true")};
  for (const std::string& client : clients) {
    for (const std::string& server : servers) {
      const bool client_streams = client == clients[2];
      const bool server_streams = server == servers[2];
      const StreamingKind expected =
          client_streams ? (server_streams ? StreamingKind::kBidiStreaming
                                           : StreamingKind::kClientStreaming)
                         : (server_streams ? StreamingKind::kServerStreaming
                                           : StreamingKind::kSimple);
      EXPECT_EQ(KindOf(client + server), expected) << client << server;
    }
  }
}

TEST(StreamingKindTest, IgnoresTheStreamKeyword) {
  EXPECT_EQ(KindOf("", "stream Msg", "stream Msg"), StreamingKind::kSimple);
  EXPECT_EQ(KindOf(Option("server_streaming", "true"), "stream Msg"),
            StreamingKind::kServerStreaming);
}

TEST(StreamingKindTest, IgnoresRequiresLocalContext) {
  for (const std::string value : {"true", "false"}) {
    EXPECT_EQ(KindOf(Option("requires_local_context", value)),
              StreamingKind::kSimple);
    EXPECT_EQ(KindOf(Option("requires_local_context", value) +
                     Option("client_streaming", "true")),
              StreamingKind::kClientStreaming);
  }
}

TEST(StreamingKindTest, SaysInWhichKindsTheClientStreams) {
  const std::vector<std::pair<StreamingKind, bool>> kinds = {
      {StreamingKind::kSimple, false},
      {StreamingKind::kClientStreaming, true},
      {StreamingKind::kServerStreaming, false},
      {StreamingKind::kBidiStreaming, true},
  };
  for (const auto& [kind, client_streams] : kinds) {
    EXPECT_EQ(ClientStreams(kind), client_streams) << RpcMethodTypeName(kind);
  }
}

TEST(StreamingKindTest, NamesTheRuntimesEnumerators) {
  EXPECT_STREQ(RpcMethodTypeName(StreamingKind::kSimple), "RMT_SIMPLE");
  EXPECT_STREQ(RpcMethodTypeName(StreamingKind::kClientStreaming),
               "RMT_CLIENT_STREAMING");
  EXPECT_STREQ(RpcMethodTypeName(StreamingKind::kServerStreaming),
               "RMT_SERVER_STREAMING");
  EXPECT_STREQ(RpcMethodTypeName(StreamingKind::kBidiStreaming),
               "RMT_BIDI_STREAMING");
}

}  // namespace
}  // namespace rpc
}  // namespace qarn
