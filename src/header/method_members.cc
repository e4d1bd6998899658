#include "header/method_members.h"

#include "naming/for_each.h"
#include "naming/streaming_kind.h"
#include "naming/variables.h"

namespace qarn {
namespace rpc {

using google::protobuf::MethodDescriptor;
using google::protobuf::ServiceDescriptor;
using google::protobuf::io::Printer;

namespace {

// The two layouts differ: the call with the stub's own context has its first
// parameter on the line of the name.
void PrintCallsWithRequest(Printer* printer, const VariableMap& vars) {
  printer->Print(vars,
                 "$ClientCallPtr$\n"
                 "$Method$(\n"
                 "    const ::qarn::rpc::ClientContext& context,\n"
                 "    const $Request$& request,\n"
                 "    $ResponseCallObserver$* response_observer);\n"
                 "\n"
                 "// This call will use Stub's context\n"
                 "$ClientCallPtr$\n"
                 "$Method$(const $Request$& request,\n"
                 "    $ResponseCallObserver$* response_observer);\n"
                 "\n");
}

void PrintCallsWithoutRequest(Printer* printer, const VariableMap& vars) {
  printer->Print(vars,
                 "$ClientCallPtr$\n"
                 "$Method$(\n"
                 "    const ::qarn::rpc::ClientContext& context,\n"
                 "    $ResponseCallObserver$* response_observer);\n"
                 "\n"
                 "// This call will use Stub's context\n"
                 "$ClientCallPtr$\n"
                 "$Method$(\n"
                 "    $ResponseCallObserver$* response_observer);\n"
                 "\n");
}

// "AsyncBatchCall< " ends in a blank, which is part of the text.
void PrintBatchCalls(Printer* printer, const VariableMap& vars) {
  printer->Print(vars,
                 "template<class Container>\n"
                 "$ClientCallPtr$\n"
                 "$Method$(\n"
                 "    const ::qarn::rpc::ClientContext& context,\n"
                 "    const Container& requests,\n"
                 "    $ResponseCallObserver$* response_observer) {\n"
                 "  return ::qarn::rpc::client::AsyncBatchCall< \n"
                 "       $Request$,\n"
                 "       $Response$,\n"
                 "       Container >(\n"
                 "     channel(), _rpcmethod_$Method$, context, requests, "
                 "response_observer);\n"
                 "}\n"
                 "\n"
                 "template<class Container>\n"
                 "$ClientCallPtr$\n"
                 "$Method$(\n"
                 "    const Container& requests,\n"
                 "    $ResponseCallObserver$* response_observer) {\n"
                 "  return ::qarn::rpc::client::AsyncBatchCall< \n"
                 "       $Request$,\n"
                 "       $Response$,\n"
                 "       Container >(\n"
                 "     channel(), _rpcmethod_$Method$, context(), requests, "
                 "response_observer);\n"
                 "}\n"
                 "\n");
}

}  // namespace

void PrintHeaderServiceTypedefs(Printer* printer,
                                const ServiceDescriptor* service,
                                VariableMap* vars) {
  ForEachMethod(service, [&](const MethodDescriptor* method) {
    SetMethodVars(method, *vars);
    printer->Print(*vars,
                   "typedef boost::intrusive_ptr< "
                   "::qarn::rpc::CallHandle< $Request$> > $ClientCallPtr$;\n"
                   "typedef boost::intrusive_ptr< "
                   "::qarn::rpc::CallHandle< $Response$> > $ServerCallPtr$;\n");
  });
}

void PrintHeaderClientMethod(Printer* printer, const MethodDescriptor* method,
                             VariableMap* vars, bool print_calls) {
  SetMethodVars(method, *vars);
  if (!print_calls) {
    return;
  }
  switch (GetStreamingKind(method)) {
    case StreamingKind::kSimple:
    case StreamingKind::kServerStreaming:
      PrintCallsWithRequest(printer, *vars);
      break;
    case StreamingKind::kClientStreaming:
    case StreamingKind::kBidiStreaming:
      PrintCallsWithoutRequest(printer, *vars);
      PrintBatchCalls(printer, *vars);
      break;
  }
}

void PrintHeaderClientMethodData(Printer* printer,
                                 const MethodDescriptor* method,
                                 VariableMap* vars) {
  SetMethodVars(method, *vars);
  printer->Print(*vars,
                 "static const ::qarn::rpc::RpcMethod _rpcmethod_$Method$;\n");
}

void PrintHeaderServerMethodCallHandleTypedefs(Printer* printer,
                                               const MethodDescriptor* method,
                                               VariableMap& vars) {
  SetMethodVars(method, vars);
  printer->Print(vars,
                 "typedef boost::intrusive_ptr< ::qarn::rpc::CallHandle< "
                 "$Response$> > $ServerCallHandle$;\n");
}

void PrintHeaderServerMethodSync(Printer* printer,
                                 const MethodDescriptor* method,
                                 VariableMap& vars) {
  SetMethodVars(method, vars);
  switch (GetStreamingKind(method)) {
    case StreamingKind::kSimple:
    case StreamingKind::kServerStreaming:
      printer->Print(vars,
                     "virtual void $Method$(\n"
                     "    ::qarn::rpc::CallContext* context,\n"
                     "    const $RequestNoNs$& request,\n"
                     "    const $ServerCallHandle$& handle) = 0;\n"
                     "\n");
      break;
    case StreamingKind::kClientStreaming:
    case StreamingKind::kBidiStreaming:
      printer->Print(vars,
                     "virtual $RequestCallObserverPtr$ $Method$(\n"
                     "    ::qarn::rpc::CallContext* context,\n"
                     "    const $ServerCallHandle$& handle) = 0;\n"
                     "\n");
      break;
  }
}

}  // namespace rpc
}  // namespace qarn
