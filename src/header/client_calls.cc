#include "header/client_calls.h"

#include "naming/streaming_kind.h"
#include "naming/variables.h"
#include "text/template.h"

namespace qarn {
namespace rpc {

using google::protobuf::MethodDescriptor;
using google::protobuf::io::Printer;

namespace {

// The two layouts differ: the call with the stub's own context has its first
// parameter on the line of the name.
void PrintCallsWithRequest(Printer* printer, const VariableMap& vars) {
  printer->Print(vars, Template(R"(
$ClientCallPtr$
$Method$(
    const ::qarn::rpc::ClientContext& context,
    const $Request$& request,
    $ResponseCallObserver$* response_observer);

// This call will use Stub's context
$ClientCallPtr$
$Method$(const $Request$& request,
    $ResponseCallObserver$* response_observer);

)"));
}

void PrintCallsWithoutRequest(Printer* printer, const VariableMap& vars) {
  printer->Print(vars, Template(R"(
$ClientCallPtr$
$Method$(
    const ::qarn::rpc::ClientContext& context,
    $ResponseCallObserver$* response_observer);

// This call will use Stub's context
$ClientCallPtr$
$Method$(
    $ResponseCallObserver$* response_observer);

)"));
}

// "AsyncBatchCall< " ends in a blank, which is part of the text and would not
// be seen in a raw literal.
void PrintBatchCalls(Printer* printer, const VariableMap& vars) {
  printer->Print(vars,
                 Template(R"(
template<class Container>
$ClientCallPtr$
$Method$(
    const ::qarn::rpc::ClientContext& context,
    const Container& requests,
    $ResponseCallObserver$* response_observer) {
)"
                          "  return ::qarn::rpc::client::AsyncBatchCall< \n"
                          R"(       $Request$,
       $Response$,
       Container >(
     channel(), _rpcmethod_$Method$, context, requests, response_observer);
}

template<class Container>
$ClientCallPtr$
$Method$(
    const Container& requests,
    $ResponseCallObserver$* response_observer) {
)"
                          "  return ::qarn::rpc::client::AsyncBatchCall< \n"
                          R"(       $Request$,
       $Response$,
       Container >(
     channel(), _rpcmethod_$Method$, context(), requests, response_observer);
}

)"));
}

}  // namespace

void PrintHeaderClientMethod(Printer* printer, const MethodDescriptor* method,
                             VariableMap* vars, bool print_calls) {
  SetMethodVars(method, *vars);
  if (!print_calls) {
    return;
  }
  if (ClientStreams(GetStreamingKind(method))) {
    PrintCallsWithoutRequest(printer, *vars);
    PrintBatchCalls(printer, *vars);
  } else {
    PrintCallsWithRequest(printer, *vars);
  }
}

}  // namespace rpc
}  // namespace qarn
