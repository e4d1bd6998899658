#include "naming/streaming_kind.h"

#include <google/protobuf/descriptor.pb.h>

#include "morvane/qarn/rpc/service_options.pb.h"

namespace qarn {
namespace rpc {

using google::protobuf::MethodDescriptor;
using google::protobuf::MethodOptions;

StreamingKind GetStreamingKind(const MethodDescriptor* method) {
  // Not from the descriptor's own client_streaming() and server_streaming():
  // they say where the `stream` keyword stands, which has no effect on the
  // kind.
  const MethodOptions& options = method->options();
  const bool client_streams =
      options.HasExtension(::morvane::qarn::rpc::client_streaming) &&
      options.GetExtension(::morvane::qarn::rpc::client_streaming);
  const bool server_streams =
      options.HasExtension(::morvane::qarn::rpc::server_streaming) &&
      options.GetExtension(::morvane::qarn::rpc::server_streaming);
  if (client_streams) {
    return server_streams ? StreamingKind::kBidiStreaming
                          : StreamingKind::kClientStreaming;
  }
  return server_streams ? StreamingKind::kServerStreaming
                        : StreamingKind::kSimple;
}

bool ClientStreams(StreamingKind kind) {
  return kind == StreamingKind::kClientStreaming ||
         kind == StreamingKind::kBidiStreaming;
}

const char* RpcMethodTypeName(StreamingKind kind) {
  switch (kind) {
    case StreamingKind::kSimple:
      break;
    case StreamingKind::kClientStreaming:
      return "RMT_CLIENT_STREAMING";
    case StreamingKind::kServerStreaming:
      return "RMT_SERVER_STREAMING";
    case StreamingKind::kBidiStreaming:
      return "RMT_BIDI_STREAMING";
  }
  return "RMT_SIMPLE";
}

}  // namespace rpc
}  // namespace qarn
