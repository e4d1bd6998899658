#include "source/services.h"

#include "naming/for_each.h"
#include "source/client_calls.h"
#include "text/indent_scope.h"
#include "text/render_section.h"

namespace qarn {
namespace rpc {

using google::protobuf::FileDescriptor;
using google::protobuf::MethodDescriptor;
using google::protobuf::ServiceDescriptor;
using google::protobuf::io::Printer;

namespace {

// Names that a definition begins with carry "$ns$"; "$Service$" as a template
// argument and "$Service$_$Method$" do not. Inside the definition of a member
// the compiler finds both, as it looks into the class and its namespaces.
void PrintMethodDescriptor(Printer* printer, const MethodDescriptor* method,
                           VariableMap* vars) {
  SetMethodVars(method, *vars);
  printer->Print(
      *vars,
      "const ::qarn::rpc::RpcMethod $ns$$Service$::Stub::_rpcmethod_$Method$ "
      "=\n"
      "  ::qarn::rpc::make_rpc_method<$Service$, "
      "$ns$$Service$Methods<$Service$_$Method$> >(::qarn::rpc::CS_CLIENT);\n");
}

void PrintStubConstructor(Printer* printer, const VariableMap& vars) {
  printer->Print(vars,
                 "\n"
                 "$ns$$Service$::Stub::Stub(\n"
                 "    const std::string& client_name,\n"
                 "    const std::string& endpoint,\n"
                 "    const ::qarn::rpc::ClientContext& context,\n"
                 "    const boost::shared_ptr< ::qarn::rpc::Channel>& "
                 "channel)\n");
  {
    IndentScope initializers(printer);
    printer->Print(
        ": ::qarn::rpc::StubBase(client_name, endpoint, context, channel)\n");
  }
  printer->Print(
      "{}\n"
      "\n");
}

void PrintServiceDestructor(Printer* printer, const VariableMap& vars) {
  printer->Print(vars,
                 "$ns$$Service$::Service::~Service() {\n"
                 "  delete _service;\n"
                 "}\n"
                 "\n");
}

void PrintMethodRegistration(Printer* printer, const MethodDescriptor* method,
                             VariableMap* vars) {
  SetMethodVars(method, *vars);
  printer->Print(
      *vars,
      "_service->AddMethod(new ::qarn::rpc::RpcServiceMethodT<\n"
      "    $ns$$Service$, $ns$$Service$Methods<$Service$_$Method$> >(\n"
      "        this, &$ns$$Service$::Service::$Method$));\n");
}

void PrintServiceAccessor(Printer* printer, const ServiceDescriptor* service,
                          VariableMap* vars) {
  printer->Print(*vars,
                 "::qarn::rpc::RpcService* "
                 "$ns$$Service$::Service::service() {\n");
  {
    IndentScope body(printer);
    printer->Print(
        "if (_service) {\n"
        "  return _service;\n"
        "}\n");
    printer->Print(
        *vars,
        "_service = new ::qarn::rpc::RpcService($Service$::full_name());\n");
    ForEachMethod(service, [&](const MethodDescriptor* method) {
      PrintMethodRegistration(printer, method, vars);
    });
    printer->Print("return _service;\n");
  }
  printer->Print(
      "}\n"
      "\n");
}

}  // namespace

void SetSourceFileVars(const FileDescriptor* file, const Parameters& parameters,
                       VariableMap* vars) {
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
  ForEachMethod(service, [&](const MethodDescriptor* method) {
    PrintMethodDescriptor(printer, method, vars);
  });
  PrintStubConstructor(printer, *vars);
  ForEachMethod(service, [&](const MethodDescriptor* method) {
    PrintSourceClientMethod(printer, method, vars);
  });
  PrintServiceDestructor(printer, *vars);
  PrintServiceAccessor(printer, service, vars);
}

}  // namespace rpc
}  // namespace qarn
