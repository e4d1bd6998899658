#include "header/services.h"

#include <boost/unordered_set.hpp>

#include "header/method_members.h"
#include "header/shared_typedefs.h"
#include "header/traits.h"
#include "naming/for_each.h"
#include "text/indent_scope.h"
#include "text/render_section.h"

namespace qarn {
namespace rpc {

using google::protobuf::FileDescriptor;
using google::protobuf::MethodDescriptor;
using google::protobuf::ServiceDescriptor;
using google::protobuf::io::Printer;

namespace {

// One set for each loop: kinds of typedef share none, and neither do classes.
using TypedefSet = boost::unordered_set<std::string>;

void PrintIdentity(Printer* printer, const VariableMap& vars) {
  printer->Print(
      vars,
      "static const char* package()   { return \"$Package$\"; }\n"
      "static const char* name()      { return \"$Service$\"; }\n"
      "static const char* full_name() { return \"$PackageDot$$Service$\"; }\n");
}

void PrintStubConstructor(Printer* printer) {
  printer->Print(
      "Stub(const std::string& client_name,\n"
      "     const std::string& endpoint,\n"
      "     const ::qarn::rpc::ClientContext& context,\n"
      "     const boost::shared_ptr< ::qarn::rpc::Channel>&);\n"
      "\n");
}

void PrintStub(Printer* printer, const ServiceDescriptor* service,
               VariableMap* vars) {
  printer->Print(
      "class Stub : public ::qarn::rpc::StubBase {\n"
      " public:\n");
  {
    IndentScope body(printer);
    printer->Print(*vars,
                   "typedef $Service$ Service;\n"
                   "\n");
    TypedefSet call_observers;
    ForEachMethod(service, [&](const MethodDescriptor* method) {
      PrintHeaderClientMethodCallObserverTypedefs(printer, method, *vars,
                                                  call_observers);
    });
    printer->Print("\n");
    PrintStubConstructor(printer);
    ForEachMethod(service, [&](const MethodDescriptor* method) {
      PrintHeaderClientMethod(printer, method, vars, true);
    });
  }
  {
    // Closed and opened again, which changes no text. No access label may
    // stand here: users' code names the method descriptors.
    IndentScope body(printer);
    ForEachMethod(service, [&](const MethodDescriptor* method) {
      PrintHeaderClientMethodData(printer, method, vars);
    });
  }
  printer->Print("};\n");
}

void PrintSharedTypedefs(Printer* printer, const ServiceDescriptor* service,
                         VariableMap* vars) {
  TypedefSet messages;
  ForEachMethod(service, [&](const MethodDescriptor* method) {
    PrintHeaderServerMethodMessagesTypedefs(printer, method, *vars, messages);
  });
  printer->Print("\n");
  TypedefSet call_observers;
  ForEachMethod(service, [&](const MethodDescriptor* method) {
    PrintHeaderServerMethodCallObserverTypedefs(printer, method, *vars,
                                                call_observers);
  });
  printer->Print("\n");
}

void PrintService(Printer* printer, const ServiceDescriptor* service,
                  VariableMap* vars) {
  printer->Print(
      "class Service : public ::qarn::rpc::ServiceBase {\n"
      " public:\n");
  {
    IndentScope body(printer);
    printer->Print(
        "Service() : _service(NULL) {}\n"
        "virtual ~Service();\n"
        "\n");
    PrintSharedTypedefs(printer, service, vars);
    ForEachMethod(service, [&](const MethodDescriptor* method) {
      PrintHeaderServerMethodCallHandleTypedefs(printer, method, *vars);
    });
    printer->Print("\n");
    ForEachMethod(service, [&](const MethodDescriptor* method) {
      PrintHeaderServerMethodSync(printer, method, *vars);
    });
    printer->Print("virtual ::qarn::rpc::RpcService* service();\n");
  }
  printer->Print(
      "\n"
      " private:\n");
  {
    IndentScope body(printer);
    printer->Print("::qarn::rpc::RpcService* _service;\n");
  }
  printer->Print("};\n");
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
      printer->Print(vars,
                     "\n"
                     "namespace $services_namespace$ {\n"
                     "\n");
    }
    ForEachService(file, [&](const ServiceDescriptor* service) {
      PrintHeaderService(printer, service, &vars);
      printer->Print("\n");
    });
    if (has_namespace) {
      printer->Print(vars,
                     "}  // namespace $services_namespace$\n"
                     "\n");
    }
  });
}

void PrintHeaderService(Printer* printer, const ServiceDescriptor* service,
                        VariableMap* vars) {
  (*vars)[keys::kService] = std::string(service->name());
  PrintHeaderServiceTypeTraits(printer, service, *vars);
  printer->Print("\n");
  printer->Print(*vars,
                 "class $Service$ {\n"
                 " public:\n");
  {
    IndentScope body(printer);
    PrintHeaderServiceTypedefs(printer, service, vars);
    printer->Print("\n");
    PrintIdentity(printer, *vars);
    printer->Print("\n");
    PrintStub(printer, service, vars);
    printer->Print("\n");
    PrintService(printer, service, vars);
  }
  printer->Print("};\n");
}

}  // namespace rpc
}  // namespace qarn
