#include "lint/lint_generator.h"

#include "lint/lint.h"

namespace qarn {
namespace rpc {

using google::protobuf::FileDescriptor;
using google::protobuf::compiler::GeneratorContext;

bool LintGenerator::GenerateAll(const std::vector<const FileDescriptor*>& files,
                                const std::string& parameter, GeneratorContext*,
                                std::string* error) const {
  LintParameters parameters;
  if (!ParseLintParameters(parameter, &parameters, error)) {
    return false;
  }
  std::string lines;
  for (const Finding& finding : Lint(files, parameters)) {
    const std::string line = Format(finding);
    lines += line + "\n";
    if (finding.severity == Severity::kError) {
      *error += (error->empty() ? "" : "\n") + line;
    }
  }
  // In one piece, as several plugins may print at the same time.
  std::fwrite(lines.data(), 1, lines.size(), output_);
  return error->empty();
}

// The framework asks for all files at once, below.
// GCOVR_EXCL_START
bool LintGenerator::Generate(const FileDescriptor* file,
                             const std::string& parameter,
                             GeneratorContext* context,
                             std::string* error) const {
  return GenerateAll({file}, parameter, context, error);
}
// GCOVR_EXCL_STOP

std::uint64_t LintGenerator::GetSupportedFeatures() const {
  return declared_.GetSupportedFeatures();
}

#ifdef QARN_RPC_HAS_EDITIONS

google::protobuf::Edition LintGenerator::GetMinimumEdition() const {
  return declared_.GetMinimumEdition();
}

google::protobuf::Edition LintGenerator::GetMaximumEdition() const {
  return declared_.GetMaximumEdition();
}

#endif

}  // namespace rpc
}  // namespace qarn
