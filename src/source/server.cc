#include "source/server.h"

#include "naming/for_each.h"
#include "text/indent_scope.h"
#include "text/template.h"

namespace qarn {
namespace rpc {

using google::protobuf::MethodDescriptor;
using google::protobuf::ServiceDescriptor;
using google::protobuf::io::Printer;

namespace {

void PrintServiceDestructor(Printer* printer, const VariableMap& vars) {
  printer->Print(vars, Template(R"(
$ns$$Service$::Service::~Service() {
  delete _service;
}

)"));
}

void PrintMethodRegistration(Printer* printer, const MethodDescriptor* method,
                             VariableMap* vars) {
  SetMethodVars(method, *vars);
  printer->Print(*vars, Template(R"(
_service->AddMethod(new ::qarn::rpc::RpcServiceMethodT<
    $ns$$Service$, $ns$$Service$Methods<$Service$_$Method$> >(
        this, &$ns$$Service$::Service::$Method$));
)"));
}

void PrintServiceAccessor(Printer* printer, const ServiceDescriptor* service,
                          VariableMap* vars) {
  printer->Print(*vars, Template(R"(
::qarn::rpc::RpcService* $ns$$Service$::Service::service() {
)"));
  {
    IndentScope body(printer);
    printer->Print(*vars, Template(R"(
if (_service) {
  return _service;
}
_service = new ::qarn::rpc::RpcService($Service$::full_name());
)"));
    ForEachMethod(service, [&](const MethodDescriptor* method) {
      PrintMethodRegistration(printer, method, vars);
    });
    printer->Print(Template(R"(
return _service;
)"));
  }
  printer->Print(Template(R"(
}

)"));
}

}  // namespace

void PrintSourceServer(Printer* printer, const ServiceDescriptor* service,
                       VariableMap* vars) {
  PrintServiceDestructor(printer, *vars);
  PrintServiceAccessor(printer, service, vars);
}

}  // namespace rpc
}  // namespace qarn
