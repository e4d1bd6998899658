#include "source/client_calls.h"

#include "naming/streaming_kind.h"
#include "naming/variables.h"
#include "text/template.h"

namespace qarn {
namespace rpc {

using google::protobuf::MethodDescriptor;
using google::protobuf::io::Printer;

namespace {

// The call with the stub's own context comes first here, the one with an
// explicit context in the header; the return type is spelled out, with a blank
// before its first ">" that the header's typedef of the same type lacks.

void PrintSimpleCalls(Printer* printer, const VariableMap& vars) {
  printer->Print(vars, Template(R"(
boost::intrusive_ptr< ::qarn::rpc::CallHandle< $Request$ > >
$ns$$Service$::Stub::$Method$(
    const $Request$& request,
    $ResponseCallObserver$* response_observer) {
  return ::qarn::rpc::client::AsyncSimpleCall(
      channel(), _rpcmethod_$Method$, context(), request, response_observer);
}

boost::intrusive_ptr< ::qarn::rpc::CallHandle< $Request$ > >
$ns$$Service$::Stub::$Method$(
    const ::qarn::rpc::ClientContext& context,
    const $Request$& request,
    $ResponseCallObserver$* response_observer) {
  return ::qarn::rpc::client::AsyncSimpleCall(
      channel(), _rpcmethod_$Method$, context, request, response_observer);
}

)"));
}

void PrintStreamingCalls(Printer* printer, const VariableMap& vars) {
  printer->Print(vars, Template(R"(
boost::intrusive_ptr< ::qarn::rpc::CallHandle< $Request$ > >
$ns$$Service$::Stub::$Method$(
    $ResponseCallObserver$* response_observer) {
  return ::qarn::rpc::client::AsyncStreamingCall<
    $Request$,
    $Response$ >(
      channel(), _rpcmethod_$Method$, context(), response_observer);
}

boost::intrusive_ptr< ::qarn::rpc::CallHandle< $Request$ > >
$ns$$Service$::Stub::$Method$(
    const ::qarn::rpc::ClientContext& context,
    $ResponseCallObserver$* response_observer) {
  return ::qarn::rpc::client::AsyncStreamingCall<
    $Request$,
    $Response$ >(
      channel(), _rpcmethod_$Method$, context, response_observer);
}

)"));
}

}  // namespace

void PrintSourceClientMethod(Printer* printer, const MethodDescriptor* method,
                             VariableMap* vars) {
  SetMethodVars(method, *vars);
  if (ClientStreams(GetStreamingKind(method))) {
    PrintStreamingCalls(printer, *vars);
  } else {
    PrintSimpleCalls(printer, *vars);
  }
}

}  // namespace rpc
}  // namespace qarn
