#include "header/services.h"

#include "header/server.h"
#include "header/stub.h"
#include "header/traits.h"
#include "header/typedefs.h"
#include "naming/for_each.h"
#include "text/indent_scope.h"
#include "text/render_section.h"
#include "text/template.h"

namespace qarn {
namespace rpc {

using google::protobuf::FileDescriptor;
using google::protobuf::ServiceDescriptor;
using google::protobuf::io::Printer;

namespace {

void PrintIdentity(Printer* printer, const VariableMap& vars) {
  printer->Print(vars, Template(R"(
static const char* package()   { return "$Package$"; }
static const char* name()      { return "$Service$"; }
static const char* full_name() { return "$PackageDot$$Service$"; }
)"));
}

}  // namespace

void SetHeaderFileVars(const FileDescriptor* file, const Parameters& parameters,
                       VariableMap* vars) {
  SetPackageVars(file, vars);
  if (!parameters.services_namespace.empty()) {
    (*vars)[keys::kServicesNamespace] = parameters.services_namespace;
  }
}

std::string GetHeaderServices(const FileDescriptor* file,
                              const Parameters& parameters) {
  const bool has_namespace = !parameters.services_namespace.empty();
  VariableMap vars;
  SetHeaderFileVars(file, parameters, &vars);
  return RenderSection([&](Printer* printer) {
    if (has_namespace) {
      printer->Print(vars, Template(R"(

namespace $services_namespace$ {

)"));
    }
    ForEachService(file, [&](const ServiceDescriptor* service) {
      PrintHeaderService(printer, service, &vars);
      printer->Print("\n");
    });
    if (has_namespace) {
      printer->Print(vars, Template(R"(
}  // namespace $services_namespace$

)"));
    }
  });
}

void PrintHeaderService(Printer* printer, const ServiceDescriptor* service,
                        VariableMap* vars) {
  (*vars)[keys::kService] = std::string(service->name());
  PrintHeaderServiceTypeTraits(printer, service, *vars);
  printer->Print(*vars, Template(R"(

class $Service$ {
 public:
)"));
  {
    IndentScope body(printer);
    PrintHeaderServiceTypedefs(printer, service, vars);
    printer->Print("\n");
    PrintIdentity(printer, *vars);
    printer->Print("\n");
    PrintHeaderStub(printer, service, vars);
    printer->Print("\n");
    PrintHeaderServer(printer, service, vars);
  }
  printer->Print(Template(R"(
};
)"));
}

}  // namespace rpc
}  // namespace qarn
