// Runs one of the header's or source's printers by itself.

#ifndef QARN_RPC_TESTS_SUPPORT_PRINT_H_
#define QARN_RPC_TESTS_SUPPORT_PRINT_H_

#include <google/protobuf/io/printer.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>

#include <string>

namespace qarn {
namespace rpc {
namespace testing {

// What `print(printer)` prints. Made of protobuf's parts alone, so that a
// printer's test does not rest on our own rendering.
template <typename PrintFunction>
std::string Printed(const PrintFunction& print) {
  std::string text;
  {
    google::protobuf::io::StringOutputStream stream(&text);
    google::protobuf::io::Printer printer(&stream, '$');
    print(&printer);
  }
  return text;
}

}  // namespace testing
}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_TESTS_SUPPORT_PRINT_H_
