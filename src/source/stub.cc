#include "source/stub.h"

#include "naming/for_each.h"
#include "source/client_calls.h"
#include "text/indent_scope.h"
#include "text/template.h"

namespace qarn {
namespace rpc {

using google::protobuf::MethodDescriptor;
using google::protobuf::ServiceDescriptor;
using google::protobuf::io::Printer;

namespace {

void PrintStubConstructor(Printer* printer, const VariableMap& vars) {
  printer->Print(vars, Template(R"(

$ns$$Service$::Stub::Stub(
    const std::string& client_name,
    const std::string& endpoint,
    const ::qarn::rpc::ClientContext& context,
    const boost::shared_ptr< ::qarn::rpc::Channel>& channel)
)"));
  {
    IndentScope initializers(printer);
    printer->Print(Template(R"(
: ::qarn::rpc::StubBase(client_name, endpoint, context, channel)
)"));
  }
  printer->Print(Template(R"(
{}

)"));
}

}  // namespace

void PrintSourceStub(Printer* printer, const ServiceDescriptor* service,
                     VariableMap* vars) {
  ForEachMethod(service, [&](const MethodDescriptor* method) {
    PrintSourceClientMethodData(printer, method, vars);
  });
  PrintStubConstructor(printer, *vars);
  ForEachMethod(service, [&](const MethodDescriptor* method) {
    PrintSourceClientMethod(printer, method, vars);
  });
}

// Names that a definition begins with carry "$ns$"; "$Service$" as a template
// argument and "$Service$_$Method$" do not. Inside the definition of a member
// the compiler finds both, as it looks into the class and its namespaces.
void PrintSourceClientMethodData(Printer* printer,
                                 const MethodDescriptor* method,
                                 VariableMap* vars) {
  SetMethodVars(method, *vars);
  printer->Print(*vars, Template(R"(
const ::qarn::rpc::RpcMethod $ns$$Service$::Stub::_rpcmethod_$Method$ =
  ::qarn::rpc::make_rpc_method<$Service$, $ns$$Service$Methods<$Service$_$Method$> >(::qarn::rpc::CS_CLIENT);
)"));
}

}  // namespace rpc
}  // namespace qarn
