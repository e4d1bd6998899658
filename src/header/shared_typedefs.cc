#include "header/shared_typedefs.h"

#include "naming/names.h"
#include "naming/streaming_kind.h"
#include "naming/variables.h"

namespace qarn {
namespace rpc {

using google::protobuf::MethodDescriptor;
using google::protobuf::io::Printer;

namespace {

// Prints `typedef_template` unless `printed` holds `key`, and inserts it then.
void PrintOnce(Printer* printer, const VariableMap& vars,
               const char* typedef_template, const std::string& key,
               boost::unordered_set<std::string>& printed) {
  if (printed.find(key) != printed.end()) {
    return;
  }
  printer->Print(vars, typedef_template);
  printed.insert(key);
}

}  // namespace

void PrintHeaderClientMethodCallObserverTypedefs(
    Printer* printer, const MethodDescriptor* method, VariableMap& vars,
    boost::unordered_set<std::string>& printed) {
  SetMethodVars(method, vars);
  PrintOnce(printer, vars,
            "typedef ::qarn::rpc::CallObserver< $Response$> "
            "$ResponseCallObserver$;\n",
            MessageClassName(method->output_type(), false), printed);
}

void PrintHeaderServerMethodMessagesTypedefs(
    Printer* printer, const MethodDescriptor* method, VariableMap& vars,
    boost::unordered_set<std::string>& printed) {
  SetMethodVars(method, vars);
  PrintOnce(printer, vars, "typedef $Request$ $RequestNoNs$;\n",
            MessageClassName(method->input_type(), true), printed);
  PrintOnce(printer, vars, "typedef $Response$ $ResponseNoNs$;\n",
            MessageClassName(method->output_type(), true), printed);
}

void PrintHeaderServerMethodCallObserverTypedefs(
    Printer* printer, const MethodDescriptor* method, VariableMap& vars,
    boost::unordered_set<std::string>& printed) {
  SetMethodVars(method, vars);
  switch (GetStreamingKind(method)) {
    case StreamingKind::kSimple:
    case StreamingKind::kServerStreaming:
      break;
    case StreamingKind::kClientStreaming:
    case StreamingKind::kBidiStreaming:
      // A pointer, unlike the observer of the same suffix in Stub.
      PrintOnce(printer, vars,
                "typedef ::qarn::rpc::CallObserver< $Request$>* "
                "$RequestCallObserverPtr$;\n",
                MessageClassName(method->input_type(), false), printed);
      break;
  }
}

}  // namespace rpc
}  // namespace qarn
