#include "header/server_handlers.h"

#include "naming/streaming_kind.h"
#include "naming/variables.h"
#include "text/template.h"

namespace qarn {
namespace rpc {

using google::protobuf::MethodDescriptor;
using google::protobuf::io::Printer;

void PrintHeaderServerMethodSync(Printer* printer,
                                 const MethodDescriptor* method,
                                 VariableMap& vars) {
  SetMethodVars(method, vars);
  if (ClientStreams(GetStreamingKind(method))) {
    printer->Print(vars, Template(R"(
virtual $RequestCallObserverPtr$ $Method$(
    ::qarn::rpc::CallContext* context,
    const $ServerCallHandle$& handle) = 0;

)"));
  } else {
    printer->Print(vars, Template(R"(
virtual void $Method$(
    ::qarn::rpc::CallContext* context,
    const $RequestNoNs$& request,
    const $ServerCallHandle$& handle) = 0;

)"));
  }
}

}  // namespace rpc
}  // namespace qarn
