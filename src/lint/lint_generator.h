// The linter as a generator that protobuf's plugin framework drives: it writes
// no file.
//
// This file and its .cc need a protobuf newer than 2.6: 3.12, as
// plugin/any_syntax_generator.h does. The rest of src/lint/ does not.

#ifndef QARN_RPC_LINT_LINT_GENERATOR_H_
#define QARN_RPC_LINT_LINT_GENERATOR_H_

#include <google/protobuf/compiler/code_generator.h>
#include <google/protobuf/descriptor.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "plugin/any_syntax_generator.h"

namespace qarn {
namespace rpc {

class LintGenerator : public google::protobuf::compiler::CodeGenerator {
 public:
  // Prints findings to `output`, which must stay open.
  explicit LintGenerator(std::FILE* output) : output_(output) {}

  // Prints every finding in `files`, a line each. Returns false, with all
  // errors among them in `*error`, if there are any, or with one message if
  // `parameter` is refused.
  bool GenerateAll(
      const std::vector<const google::protobuf::FileDescriptor*>& files,
      const std::string& parameter,
      google::protobuf::compiler::GeneratorContext* context,
      std::string* error) const override;

  // The same for a run of one file.
  bool Generate(const google::protobuf::FileDescriptor* file,
                const std::string& parameter,
                google::protobuf::compiler::GeneratorContext* context,
                std::string* error) const override;

  // What protoc-gen-qarn-rpc-any declares.
  std::uint64_t GetSupportedFeatures() const override;
#ifdef QARN_RPC_HAS_EDITIONS
  google::protobuf::Edition GetMinimumEdition() const override;
  google::protobuf::Edition GetMaximumEdition() const override;
#endif

 private:
  std::FILE* const output_;
  const AnySyntaxGenerator declared_;
};

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_LINT_LINT_GENERATOR_H_
