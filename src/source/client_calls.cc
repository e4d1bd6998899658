#include "source/client_calls.h"

#include "naming/streaming_kind.h"
#include "naming/variables.h"

namespace qarn {
namespace rpc {

using google::protobuf::MethodDescriptor;
using google::protobuf::io::Printer;

namespace {

// The call with the stub's own context comes first here, the one with an
// explicit context in the header; the return type is spelled out, with a blank
// before its first ">" that the header's typedef of the same type lacks.

void PrintSimpleCalls(Printer* printer, const VariableMap& vars) {
  printer->Print(
      vars,
      "boost::intrusive_ptr< ::qarn::rpc::CallHandle< $Request$ > >\n"
      "$ns$$Service$::Stub::$Method$(\n"
      "    const $Request$& request,\n"
      "    $ResponseCallObserver$* response_observer) {\n"
      "  return ::qarn::rpc::client::AsyncSimpleCall(\n"
      "      channel(), _rpcmethod_$Method$, context(), request, "
      "response_observer);\n"
      "}\n"
      "\n"
      "boost::intrusive_ptr< ::qarn::rpc::CallHandle< $Request$ > >\n"
      "$ns$$Service$::Stub::$Method$(\n"
      "    const ::qarn::rpc::ClientContext& context,\n"
      "    const $Request$& request,\n"
      "    $ResponseCallObserver$* response_observer) {\n"
      "  return ::qarn::rpc::client::AsyncSimpleCall(\n"
      "      channel(), _rpcmethod_$Method$, context, request, "
      "response_observer);\n"
      "}\n"
      "\n");
}

void PrintStreamingCalls(Printer* printer, const VariableMap& vars) {
  printer->Print(
      vars,
      "boost::intrusive_ptr< ::qarn::rpc::CallHandle< $Request$ > >\n"
      "$ns$$Service$::Stub::$Method$(\n"
      "    $ResponseCallObserver$* response_observer) {\n"
      "  return ::qarn::rpc::client::AsyncStreamingCall<\n"
      "    $Request$,\n"
      "    $Response$ >(\n"
      "      channel(), _rpcmethod_$Method$, context(), response_observer);\n"
      "}\n"
      "\n"
      "boost::intrusive_ptr< ::qarn::rpc::CallHandle< $Request$ > >\n"
      "$ns$$Service$::Stub::$Method$(\n"
      "    const ::qarn::rpc::ClientContext& context,\n"
      "    $ResponseCallObserver$* response_observer) {\n"
      "  return ::qarn::rpc::client::AsyncStreamingCall<\n"
      "    $Request$,\n"
      "    $Response$ >(\n"
      "      channel(), _rpcmethod_$Method$, context, response_observer);\n"
      "}\n"
      "\n");
}

}  // namespace

void PrintSourceClientMethod(Printer* printer, const MethodDescriptor* method,
                             VariableMap* vars) {
  SetMethodVars(method, *vars);
  switch (GetStreamingKind(method)) {
    case StreamingKind::kSimple:
    case StreamingKind::kServerStreaming:
      PrintSimpleCalls(printer, *vars);
      break;
    case StreamingKind::kClientStreaming:
    case StreamingKind::kBidiStreaming:
      PrintStreamingCalls(printer, *vars);
      break;
  }
}

}  // namespace rpc
}  // namespace qarn
