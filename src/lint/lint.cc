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

// Appends the findings that stand in `file`, or at a parameter for null,
// sorted.
void AppendOfFile(const FileDescriptor* file,
                  const std::vector<Finding>& findings,
                  std::vector<Finding>* sorted) {
  const auto begin = static_cast<std::ptrdiff_t>(sorted->size());
  std::copy_if(
      findings.begin(), findings.end(), std::back_inserter(*sorted),
      [&](const Finding& finding) { return finding.place.file == file; });
  std::stable_sort(sorted->begin() + begin, sorted->end(), StandsAhead);
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
  std::vector<Finding> sorted;
  AppendOfFile(nullptr, findings, &sorted);
  for (const FileDescriptor* file : run.files) {
    AppendOfFile(file, findings, &sorted);
  }
  for (Finding& finding : sorted) {
    if (parameters.errors.count(finding.rule) != 0) {
      finding.severity = Severity::kError;
    }
  }
  return sorted;
}

}  // namespace rpc
}  // namespace qarn
