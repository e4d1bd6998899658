#include "lint/lint_parameters.h"

#include <algorithm>
#include <vector>

#include "lint/rule.h"
#include "plugin/parse_parameters.h"
#include "text/split.h"

namespace qarn {
namespace rpc {

namespace {

std::set<std::string> RuleNames() {
  std::set<std::string> names;
  for (const Rule& rule : AllRules()) {
    names.insert(rule.name);
  }
  return names;
}

// Inserts the rule `name` into `*rules`, or all of them for "all" where that is
// allowed.
bool InsertRule(const std::string& item, const std::string& name,
                bool takes_all, std::set<std::string>* rules,
                std::string* error) {
  const std::set<std::string> all = RuleNames();
  if (takes_all && name == "all") {
    rules->insert(all.begin(), all.end());
    return true;
  }
  if (all.count(name) == 0) {
    *error = item + ": there is no such rule. There are";
    const char* separator = " ";
    for (const std::string& existing : all) {
      *error += separator + existing;
      separator = ", ";
    }
    *error += takes_all ? ", and all." : ".";
    return false;
  }
  rules->insert(name);
  return true;
}

bool ParseItem(const std::string& item, LintParameters* parameters,
               std::string* error) {
  const std::string::size_type end = item.find('=');
  const std::string key = item.substr(0, end);
  const std::string value =
      end == std::string::npos ? "" : item.substr(end + 1);
  if (key == "services_namespace") {
    Parameters parsed;
    parameters->services_namespace_item = item;
    const bool is_known = ParseParameters(item, &parsed, error);
    parameters->services_namespace = parsed.services_namespace;
    return is_known;
  }
  if (key == "standard") {
    if (value != "11" && value != "14" && value != "17" && value != "20") {
      *error = item + ": the standard is 11, 14, 17 or 20.";
      return false;
    }
    parameters->standard = std::stoi(value);
    return true;
  }
  if (key == "off") {
    return InsertRule(item, value, false, &parameters->off, error);
  }
  if (key == "error") {
    return InsertRule(item, value, true, &parameters->errors, error);
  }
  *error = "Unknown parameter: " + item +
           ". There are services_namespace=NAME, standard=11|14|17|20, "
           "off=RULE, error=RULE and error=all.";
  return false;
}

}  // namespace

bool ParseLintParameters(const std::string& text, LintParameters* parameters,
                         std::string* error) {
  // As in ParseParameters: no parameter is not one empty item.
  if (text.empty()) {
    return true;
  }
  const std::vector<std::string> items = Split(text, ',');
  return std::all_of(items.begin(), items.end(), [&](const std::string& item) {
    return ParseItem(item, parameters, error);
  });
}

}  // namespace rpc
}  // namespace qarn
