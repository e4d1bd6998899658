// The streaming kind of a method, the one thing that decides between the
// templates of a method's members.

#ifndef QARN_RPC_NAMING_STREAMING_KIND_H_
#define QARN_RPC_NAMING_STREAMING_KIND_H_

#include <google/protobuf/descriptor.h>

namespace qarn {
namespace rpc {

enum class StreamingKind {
  kSimple,
  kClientStreaming,
  kServerStreaming,
  kBidiStreaming,
};

// Reads the kind from the method options `client_streaming` and
// `server_streaming` of our schema. An option counts only when it is present
// and true. The `stream` keyword of the protobuf language has no effect.
StreamingKind GetStreamingKind(
    const google::protobuf::MethodDescriptor* method);

// Whether the client sends a stream of requests, in place of one request.
bool ClientStreams(StreamingKind kind);

// The runtime's enumerator for `kind`, without its namespace:
// kBidiStreaming -> "RMT_BIDI_STREAMING".
const char* RpcMethodTypeName(StreamingKind kind);

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_NAMING_STREAMING_KIND_H_
