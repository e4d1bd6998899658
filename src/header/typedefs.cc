#include "header/typedefs.h"

#include "naming/for_each.h"
#include "naming/names.h"
#include "naming/streaming_kind.h"
#include "naming/variables.h"
#include "text/template.h"

namespace qarn {
namespace rpc {

using google::protobuf::MethodDescriptor;
using google::protobuf::ServiceDescriptor;
using google::protobuf::io::Printer;

namespace {

// Prints `typedef_template` and inserts `key` into `printed`, unless the set
// has the key. Callers compute it from the message, although the variables hold
// the same names: what a class declares must not depend on a caller's map.
void PrintOnce(Printer* printer, const VariableMap& vars,
               const std::string& key, TypedefSet& printed,
               const char* typedef_template) {
  if (printed.find(key) != printed.end()) {
    return;
  }
  printer->Print(vars, typedef_template);
  printed.insert(key);
}

}  // namespace

void PrintHeaderServiceTypedefs(Printer* printer,
                                const ServiceDescriptor* service,
                                VariableMap* vars) {
  ForEachMethod(service, [&](const MethodDescriptor* method) {
    SetMethodVars(method, *vars);
    printer->Print(*vars, Template(R"(
typedef boost::intrusive_ptr< ::qarn::rpc::CallHandle< $Request$> > $ClientCallPtr$;
typedef boost::intrusive_ptr< ::qarn::rpc::CallHandle< $Response$> > $ServerCallPtr$;
)"));
  });
}

void PrintHeaderClientMethodCallObserverTypedefs(Printer* printer,
                                                 const MethodDescriptor* method,
                                                 VariableMap& vars,
                                                 TypedefSet& printed) {
  SetMethodVars(method, vars);
  PrintOnce(printer, vars, MessageClassName(method->output_type(), false),
            printed, Template(R"(
typedef ::qarn::rpc::CallObserver< $Response$> $ResponseCallObserver$;
)"));
}

void PrintHeaderServerMethodMessagesTypedefs(Printer* printer,
                                             const MethodDescriptor* method,
                                             VariableMap& vars,
                                             TypedefSet& printed) {
  SetMethodVars(method, vars);
  PrintOnce(printer, vars, MessageClassName(method->input_type(), true),
            printed, Template(R"(
typedef $Request$ $RequestNoNs$;
)"));
  PrintOnce(printer, vars, MessageClassName(method->output_type(), true),
            printed, Template(R"(
typedef $Response$ $ResponseNoNs$;
)"));
}

void PrintHeaderServerMethodCallObserverTypedefs(Printer* printer,
                                                 const MethodDescriptor* method,
                                                 VariableMap& vars,
                                                 TypedefSet& printed) {
  SetMethodVars(method, vars);
  if (!ClientStreams(GetStreamingKind(method))) {
    return;
  }
  // A pointer, unlike the observer of the same suffix in Stub.
  PrintOnce(printer, vars, MessageClassName(method->input_type(), false),
            printed, Template(R"(
typedef ::qarn::rpc::CallObserver< $Request$>* $RequestCallObserverPtr$;
)"));
}

void PrintHeaderServerMethodCallHandleTypedefs(Printer* printer,
                                               const MethodDescriptor* method,
                                               VariableMap& vars) {
  SetMethodVars(method, vars);
  printer->Print(vars, Template(R"(
typedef boost::intrusive_ptr< ::qarn::rpc::CallHandle< $Response$> > $ServerCallHandle$;
)"));
}

}  // namespace rpc
}  // namespace qarn
