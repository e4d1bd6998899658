// What the tests need of protobuf and differs between the releases that they
// are built with, 3.12 to the current one. All else they write so that every
// release takes it: a std::string is made, explicitly, of what a descriptor
// returns.

#ifndef QARN_RPC_TESTS_SUPPORT_PROTOBUF_COMPAT_H_
#define QARN_RPC_TESTS_SUPPORT_PROTOBUF_COMPAT_H_

#include <google/protobuf/compiler/importer.h>
#include <google/protobuf/io/zero_copy_stream.h>
#include <google/protobuf/stubs/common.h>

#include <map>
#include <string>
#include <vector>

// Since protoc 22, whose library is 4.22, protobuf rests on Abseil.
#if GOOGLE_PROTOBUF_VERSION >= 4022000
#define QARN_RPC_PROTOBUF_USES_ABSEIL
#endif

namespace qarn {
namespace rpc {
namespace testing {

// The type of the name that SourceTree::Open takes: a string or a view.
template <typename Name>
Name NameOfOpen(google::protobuf::io::ZeroCopyInputStream* (
    google::protobuf::compiler::SourceTree::*)(Name));
using SourceTreeName =
    decltype(NameOfOpen(&google::protobuf::compiler::SourceTree::Open));

// Serves .proto files from memory: a text for each name. Borrows `texts`.
class MemorySourceTree : public google::protobuf::compiler::SourceTree {
 public:
  explicit MemorySourceTree(const std::map<std::string, std::string>& texts)
      : texts_(texts) {}

  google::protobuf::io::ZeroCopyInputStream* Open(SourceTreeName name) override;

 private:
  const std::map<std::string, std::string>& texts_;
};

// Collects what is wrong in parsed files, one line each.
class ErrorText : public google::protobuf::compiler::MultiFileErrorCollector {
 public:
#ifdef QARN_RPC_PROTOBUF_USES_ABSEIL
  void RecordError(absl::string_view file, int line, int,
                   absl::string_view message) override {
#else
  void AddError(const std::string& file, int line, int,
                const std::string& message) override {
#endif
    text_ += std::string(file) + ":" + std::to_string(line + 1) + ": " +
             std::string(message) + "\n";
  }

  const std::string& text() const { return text_; }

 private:
  std::string text_;
};

// What receives protobuf's log: the source file that says it, and what it says.
using LogHandler = void (*)(const std::string& file_name,
                            const std::string& message);

// Sends protobuf's log to `handler` alone, from now on and until the next call.
void SendLogTo(LogHandler handler);

// What `check` returns, or false if a check of protobuf's own fails in it.
// Where protobuf rests on Abseil such a check ends the program.
template <typename Check>
bool HoldsWithoutFatal(const Check& check) {
#ifdef QARN_RPC_PROTOBUF_USES_ABSEIL
  return check();
#else
  try {
    return check();
  } catch (const google::protobuf::FatalException&) {
    return false;
  }
#endif
}

// Whether protobuf's printer puts the indentation of a line behind line breaks
// that a value at the start of the line begins with; older ones put it in
// front.
bool PrinterIndentsAfterLineBreaks();

// The editions that this protobuf's protoc takes, such as "2023", oldest first,
// and those that it knows and does not take; none where it knows no editions.
std::vector<std::string> Editions();
std::vector<std::string> LaterEditions();

// What protoc needs on its command line to take proto3 optional fields, which
// 3.12 to 3.14 call an experiment.
std::vector<std::string> OptionsForProto3Optional();

}  // namespace testing
}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_TESTS_SUPPORT_PROTOBUF_COMPAT_H_
