#include "header/server.h"

#include "header/typedefs.h"
#include "naming/for_each.h"
#include "naming/streaming_kind.h"
#include "text/indent_scope.h"
#include "text/template.h"

namespace qarn {
namespace rpc {

using google::protobuf::MethodDescriptor;
using google::protobuf::ServiceDescriptor;
using google::protobuf::io::Printer;

namespace {

void PrintSharedTypedefs(Printer* printer, const ServiceDescriptor* service,
                         VariableMap* vars) {
  // Each loop has a set of its own. Two kinds of typedef with one set would
  // keep each other from being printed.
  {
    TypedefSet messages;
    ForEachMethod(service, [&](const MethodDescriptor* method) {
      PrintHeaderServerMethodMessagesTypedefs(printer, method, *vars, messages);
    });
    printer->Print("\n");
  }
  {
    TypedefSet call_observers;
    ForEachMethod(service, [&](const MethodDescriptor* method) {
      PrintHeaderServerMethodCallObserverTypedefs(printer, method, *vars,
                                                  call_observers);
    });
    printer->Print("\n");
  }
}

}  // namespace

void PrintHeaderServer(Printer* printer, const ServiceDescriptor* service,
                       VariableMap* vars) {
  printer->Print(Template(R"(
class Service : public ::qarn::rpc::ServiceBase {
 public:
)"));
  {
    IndentScope body(printer);
    printer->Print(Template(R"(
Service() : _service(NULL) {}
virtual ~Service();

)"));
    PrintSharedTypedefs(printer, service, vars);
    ForEachMethod(service, [&](const MethodDescriptor* method) {
      PrintHeaderServerMethodCallHandleTypedefs(printer, method, *vars);
    });
    printer->Print("\n");
    ForEachMethod(service, [&](const MethodDescriptor* method) {
      PrintHeaderServerMethodSync(printer, method, *vars);
    });
    printer->Print(Template(R"(
virtual ::qarn::rpc::RpcService* service();
)"));
  }
  printer->Print(Template(R"(

 private:
)"));
  {
    IndentScope body(printer);
    printer->Print(Template(R"(
::qarn::rpc::RpcService* _service;
)"));
  }
  printer->Print(Template(R"(
};
)"));
}

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
