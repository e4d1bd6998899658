// Rendering of one section of a generated file to a string.

#ifndef QARN_RPC_TEXT_RENDER_SECTION_H_
#define QARN_RPC_TEXT_RENDER_SECTION_H_

#include <google/protobuf/io/printer.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>

#include <string>

namespace qarn {
namespace rpc {

// What encloses a variable's name in a template, as in "$Service$".
constexpr char kVariableDelimiter = '$';

// Calls `print(printer)` with a `google::protobuf::io::Printer*` whose text
// goes into a fresh string, and returns exactly what was printed. The printer
// lives for the call only. An exception of `print` passes through.
template <typename PrintFunction>
std::string RenderSection(const PrintFunction& print) {
  std::string text;
  {
    // Both must be gone before the text is read: only then has the printer
    // handed its spare buffer back and the stream cut the string to size.
    google::protobuf::io::StringOutputStream stream(&text);
    google::protobuf::io::Printer printer(&stream, kVariableDelimiter);
    print(&printer);
  }
  return text;
}

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_TEXT_RENDER_SECTION_H_
