// What a rule is. Each room of rules (rules_methods.cc and its like) ends with
// the list of its rules; AllRules() has them all.

#ifndef QARN_RPC_LINT_RULE_H_
#define QARN_RPC_LINT_RULE_H_

#include <string>
#include <vector>

#include "lint/finding.h"
#include "lint/run.h"

namespace qarn {
namespace rpc {

class Report;

// One rule. All texts are constants of the program.
struct Rule {
  // By which users switch it off: "method-keyword".
  const char* name;
  Severity severity;
  // The words with which its row of docs/limits.md begins.
  const char* row;
  // Its examples: folders of tests/compile/limits/cases, with a blank between.
  const char* examples;
  // Reports what the rule finds in `run`.
  void (*check)(const Run& run, Report& report);
};

// Takes what one rule finds.
class Report {
 public:
  // Appends to `*findings`.
  Report(const Rule& rule, std::vector<Finding>* findings)
      : rule_(rule), findings_(findings) {}

  // A finding at `place`.
  void At(const Place& place, const std::string& text) {
    findings_->push_back({place, rule_.severity, text, rule_.name});
  }

  // A finding at the declaration of an element: a service, a method, a message.
  template <typename Element>
  void At(const Element* element, const std::string& text) {
    At(PlaceOf(element), text);
  }

 private:
  const Rule& rule_;
  std::vector<Finding>* const findings_;
};

// Every rule, in the order of the rows of docs/limits.md.
std::vector<Rule> AllRules();

// What AllRules is made of: the rules of each room.
std::vector<Rule> FileRules();
std::vector<Rule> NamespaceRules();
std::vector<Rule> NameRules();
std::vector<Rule> ServiceRules();
std::vector<Rule> MethodRules();
std::vector<Rule> MessageRules();

// The rule about comments that switch off rules, which suppressions.h checks.
extern const char kSuppressionRule[];

}  // namespace rpc
}  // namespace qarn

#endif  // QARN_RPC_LINT_RULE_H_
