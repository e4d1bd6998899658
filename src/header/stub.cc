#include "header/stub.h"

#include "header/client_calls.h"
#include "header/typedefs.h"
#include "naming/for_each.h"
#include "text/indent_scope.h"
#include "text/template.h"

namespace qarn {
namespace rpc {

using google::protobuf::MethodDescriptor;
using google::protobuf::ServiceDescriptor;
using google::protobuf::io::Printer;

namespace {

void PrintStubConstructor(Printer* printer) {
  printer->Print(Template(R"(
Stub(const std::string& client_name,
     const std::string& endpoint,
     const ::qarn::rpc::ClientContext& context,
     const boost::shared_ptr< ::qarn::rpc::Channel>&);

)"));
}

}  // namespace

void PrintHeaderStub(Printer* printer, const ServiceDescriptor* service,
                     VariableMap* vars) {
  printer->Print(Template(R"(
class Stub : public ::qarn::rpc::StubBase {
 public:
)"));
  {
    IndentScope body(printer);
    printer->Print(*vars, Template(R"(
typedef $Service$ Service;

)"));
    // Each loop has a set of its own. Two kinds of typedef with one set would
    // keep each other from being printed, and so would two classes.
    TypedefSet call_observers;
    ForEachMethod(service, [&](const MethodDescriptor* method) {
      PrintHeaderClientMethodCallObserverTypedefs(printer, method, *vars,
                                                  call_observers);
    });
    printer->Print("\n");
    PrintStubConstructor(printer);
    ForEachMethod(service, [&](const MethodDescriptor* method) {
      // Always true: users call every method that they declare.
      PrintHeaderClientMethod(printer, method, vars, true);
    });
  }
  {
    // An outdent and an indent at once, which changes no text. What follows is
    // a group of its own, but no access label may stand here: users' code names
    // the method descriptors.
    IndentScope body(printer);
    ForEachMethod(service, [&](const MethodDescriptor* method) {
      PrintHeaderClientMethodData(printer, method, vars);
    });
  }
  printer->Print(Template(R"(
};
)"));
}

void PrintHeaderClientMethodData(Printer* printer,
                                 const MethodDescriptor* method,
                                 VariableMap* vars) {
  SetMethodVars(method, *vars);
  printer->Print(*vars, Template(R"(
static const ::qarn::rpc::RpcMethod _rpcmethod_$Method$;
)"));
}

}  // namespace rpc
}  // namespace qarn
