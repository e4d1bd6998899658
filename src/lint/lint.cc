#include "lint/lint.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "lint/rule.h"
#include "lint/run.h"
#include "lint/suppressions.h"

namespace qarn {
namespace rpc {

using google::protobuf::FileDescriptor;

namespace {

// Those of parameters, then those of each file, from top to bottom.
std::vector<Finding> Sorted(const std::vector<Finding>& findings,
                            const std::vector<const FileDescriptor*>& files) {
  std::vector<Finding> sorted;
  const auto append = [&](const FileDescriptor* file) {
    const auto begin = static_cast<std::ptrdiff_t>(sorted.size());
    std::copy_if(
        findings.begin(), findings.end(), std::back_inserter(sorted),
        [&](const Finding& finding) { return finding.place.file == file; });
    std::stable_sort(sorted.begin() + begin, sorted.end(), StandsAhead);
  };
  append(nullptr);
  std::for_each(files.begin(), files.end(), append);
  return sorted;
}

}  // namespace

std::vector<Finding> Lint(const std::vector<const FileDescriptor*>& files,
                          const LintParameters& parameters) {
  const Run run = MakeRun(files, parameters);
  std::vector<Finding> findings;
  for (const Rule& rule : AllRules()) {
    if (parameters.off.count(rule.name) == 0) {
      Report report(rule, &findings);
      rule.check(run, report);
    }
  }
  if (parameters.off.count(kSuppressionRule) == 0) {
    ApplySuppressions(run.files, parameters.off, &findings);
  }
  for (Finding& finding : findings) {
    if (parameters.errors.count(finding.rule) != 0) {
      finding.severity = Severity::kError;
    }
  }
  return Sorted(findings, run.files);
}

}  // namespace rpc
}  // namespace qarn
