#include "source/services.h"

#include "naming/for_each.h"
#include "source/stub.h"
#include "text/indent_scope.h"
#include "text/render_section.h"
#include "text/template.h"

namespace qarn {
namespace rpc {

using google::protobuf::FileDescriptor;
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
    printer->Print(Template(R"(
if (_service) {
  return _service;
}
)"));
    printer->Print(*vars, Template(R"(
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

void SetSourceFileVars(const FileDescriptor* file, const Parameters& parameters,
                       VariableMap* vars) {
  // No template of this file reads the package's variables or "prefix". All are
  // set the same, so that each variable of the header has its counterpart here.
  const std::string& services_namespace = parameters.services_namespace;
  SetPackageVars(file, vars);
  (*vars)[keys::kNs] =
      services_namespace.empty() ? "" : services_namespace + "::";
  (*vars)[keys::kPrefix] = services_namespace;
}

std::string GetSourceServices(const FileDescriptor* file,
                              const Parameters& parameters) {
  VariableMap vars;
  SetSourceFileVars(file, parameters, &vars);
  return RenderSection([&](Printer* printer) {
    ForEachService(file, [&](const ServiceDescriptor* service) {
      PrintSourceService(printer, service, &vars);
      printer->Print("\n");
    });
  });
}

void PrintSourceService(Printer* printer, const ServiceDescriptor* service,
                        VariableMap* vars) {
  (*vars)[keys::kService] = std::string(service->name());
  PrintSourceStub(printer, service, vars);
  PrintServiceDestructor(printer, *vars);
  PrintServiceAccessor(printer, service, vars);
}

}  // namespace rpc
}  // namespace qarn
