#include "lint/rule.h"

namespace qarn {
namespace rpc {

namespace {

// The rule about comments is the linter's own: ApplySuppressions finds what it
// reports, and no row of the page is about it.
void CheckNothing(const Run&, Report&) {}

constexpr char kNoRow[] = "";

}  // namespace

std::vector<Rule> AllRules() {
  std::vector<Rule> all;
  for (const auto& rules : {FileRules(), NamespaceRules(), NameRules(),
                            ServiceRules(), MethodRules(), MessageRules()}) {
    all.insert(all.end(), rules.begin(), rules.end());
  }
  all.push_back(
      {kSuppressionRule, Severity::kWarning, kNoRow, "", CheckNothing});
  return all;
}

}  // namespace rpc
}  // namespace qarn
