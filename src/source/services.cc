#include "source/services.h"

#include "naming/for_each.h"
#include "source/server.h"
#include "source/stub.h"
#include "text/render_section.h"

namespace qarn {
namespace rpc {

using google::protobuf::FileDescriptor;
using google::protobuf::ServiceDescriptor;
using google::protobuf::io::Printer;

void SetSourceFileVars(const FileDescriptor* file, const Parameters& parameters,
                       VariableMap* vars) {
  // No template of ours reads the package's variables or "prefix" here. They
  // are set for templates of users, which find in the source what the header
  // has.
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
  PrintSourceServer(printer, service, vars);
}

}  // namespace rpc
}  // namespace qarn
