#include "header/traits.h"

#include <string>

#include "naming/for_each.h"
#include "naming/names.h"
#include "naming/variables.h"
#include "text/indent_scope.h"
#include "text/template.h"

namespace qarn {
namespace rpc {

using google::protobuf::MethodDescriptor;
using google::protobuf::ServiceDescriptor;
using google::protobuf::io::Printer;

namespace {

// The lines that open the macros are built first and printed as they stand: the
// macros' prefix is no template variable.
void PrintMacros(Printer* printer, const ServiceDescriptor* service,
                 VariableMap& vars) {
  const std::string name(service->name());
  const std::string define = "#define " + MacroPrefix(name);

  printer->Print((define + " " + name + "\n\n").c_str());
  printer->Print((define + "_METHOD_NAMES \\\n").c_str());
  PrintHeaderServiceMethodSeq(printer, service, vars, false);
  printer->Print((define + "_METHODS \\\n").c_str());
  PrintHeaderServiceMethodSeq(printer, service, vars, true);
  printer->Print((define + "_METHOD(NAME) \\\n").c_str());
  // RPCTEST is a fixed word, the same for every service: users define macros of
  // that prefix.
  printer->Print(Template(R"(
  BOOST_PP_CAT(RPCTEST, BOOST_PP_CAT(_, NAME))

)"));
}

void PrintMethodEnum(Printer* printer, const ServiceDescriptor* service,
                     VariableMap& vars) {
  printer->Print(vars, Template(R"(
enum $Service$Method {
)"));
  {
    IndentScope body(printer);
    ForEachMethod(service, [&](const MethodDescriptor* method) {
      SetMethodVars(method, vars);
      printer->Print(vars, Template(R"(
$Service$_$Method$,
)"));
    });
  }
  printer->Print(vars, Template(R"(
}; // enum $Service$Method

)"));
}

void PrintMethodTraits(Printer* printer, const MethodDescriptor* method,
                       VariableMap& vars) {
  SetMethodVars(method, vars);
  printer->Print(vars, Template(R"(
template <>
struct $Service$Methods<$Service$_$Method$> {
)"));
  {
    IndentScope body(printer);
    // The full name of a method has a slash before the method's name.
    printer->Print(vars, Template(R"(
static const char* name()      { return "$Method$"; }
static const char* full_name() { return "$PackageDot$$Service$/$Method$"; }
static const ::qarn::rpc::RpcMethodType rpc_type = $MethodRpcType$;

typedef $Request$ request;
typedef $Response$ response;
)"));
  }
  printer->Print(vars, Template(R"(
};

)"));
}

}  // namespace

void PrintHeaderServiceTypeTraits(Printer* printer,
                                  const ServiceDescriptor* service,
                                  VariableMap& vars) {
  PrintMacros(printer, service, vars);
  PrintMethodEnum(printer, service, vars);
  // Declared and never defined: only the methods of the service have traits.
  printer->Print(vars, Template(R"(
template <$Service$Method>
struct $Service$Methods;

)"));
  ForEachMethod(service, [&](const MethodDescriptor* method) {
    PrintMethodTraits(printer, method, vars);
  });
}

void PrintHeaderServiceMethodSeq(Printer* printer,
                                 const ServiceDescriptor* service,
                                 VariableMap& vars, bool qualified) {
  {
    IndentScope body(printer);
    ForEachMethod(service, [&](const MethodDescriptor* method) {
      SetMethodVars(method, vars);
      // All entries but the last continue the macro's line.
      const bool is_last = method->index() == service->method_count() - 1;
      std::string line = qualified ? "($Service$_$Method$)" : "($Method$)";
      line += is_last ? "\n" : " \\\n";
      printer->Print(vars, line.c_str());
    });
  }
  // Ends the macro, also that of a service without methods, whose #define line
  // is continued into this line.
  printer->Print("\n");
}

}  // namespace rpc
}  // namespace qarn
