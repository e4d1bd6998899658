// Indentation of generated text for the lifetime of a C++ scope.

#ifndef QARN_RPC_TEXT_INDENT_SCOPE_H_
#define QARN_RPC_TEXT_INDENT_SCOPE_H_

#include <google/protobuf/io/printer.h>

namespace qarn {
namespace rpc {

// Indents everything printed on `printer` while the object lives by two more
// spaces. The indentation is undone by the destructor, so it stays balanced
// also when an exception leaves the scope. The printer is borrowed and must
// outlive the scope.
//
//   {
//     IndentScope body(printer);
//     printer->Print("int x;\n");  // "  int x;"
//   }
class IndentScope {
 public:
  explicit IndentScope(google::protobuf::io::Printer* printer)
      : printer_(printer) {
    printer_->Indent();
  }
  ~IndentScope() { printer_->Outdent(); }

  IndentScope(const IndentScope&) = delete;
  IndentScope& operator=(const IndentScope&) = delete;

 private:
  google::protobuf::io::Printer* const printer_;
};

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_TEXT_INDENT_SCOPE_H_
