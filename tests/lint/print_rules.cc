// Prints the table of the linter's rules for rules_test.py, a line each: name,
// severity, row and examples, with tabs between.

#include <iostream>

#include "lint/rule.h"

int main() {
  for (const qarn::rpc::Rule& rule : qarn::rpc::AllRules()) {
    const bool is_error = rule.severity == qarn::rpc::Severity::kError;
    std::cout << rule.name << '\t' << (is_error ? "error" : "warning") << '\t'
              << rule.row << '\t' << rule.examples << '\n';
  }
}
