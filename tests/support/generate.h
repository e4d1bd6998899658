// Runs the generator in memory.

#ifndef QARN_RPC_TESTS_SUPPORT_GENERATE_H_
#define QARN_RPC_TESTS_SUPPORT_GENERATE_H_

#include <google/protobuf/compiler/code_generator.h>
#include <google/protobuf/descriptor.h>
#include <google/protobuf/io/zero_copy_stream.h>

#include <map>
#include <string>
#include <vector>

namespace qarn {
namespace rpc {
namespace testing {

// A context that keeps what is written, and the order of what happens.
class MemoryContext : public google::protobuf::compiler::GeneratorContext {
 public:
  google::protobuf::io::ZeroCopyOutputStream* Open(
      const std::string& name) override;

  // File name to contents.
  const std::map<std::string, std::string>& files() const { return files_; }
  // "open NAME" and "close NAME", as they happened.
  const std::vector<std::string>& events() const { return events_; }

 private:
  std::map<std::string, std::string> files_;
  std::vector<std::string> events_;
};

// What one call of the generator gave.
struct GenerateResult {
  bool succeeded = false;
  std::string error;
  std::map<std::string, std::string> files;
  std::vector<std::string> events;
};

// Calls the generator for `file`.
GenerateResult Generate(const google::protobuf::FileDescriptor* file,
                        const std::string& parameter);

}  // namespace testing
}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_TESTS_SUPPORT_GENERATE_H_
