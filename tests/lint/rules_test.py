"""The rules of the program, the rows of docs/limits.md and the cases of the limits
name each other."""

import pathlib
import re

from compile.limits.limits_test import Case
from compile.limits.rows_test import rows_named_by, rows_of
from lint.linter import rules_of

CASES = pathlib.Path(__file__).parents[1] / "compile/limits/cases"

# The rule about comments is the linter's own.
WITHOUT_ROW = "suppression"


def rows_with_rules(page):
    """Each row about a limit, and the names of its rules."""
    found = {}
    for row, rules in rows_of(page).items():
        names = re.findall(r"`([a-z0-9-]+)`", rules)
        if rules.startswith("none: "):
            names = []
        else:
            assert names and rules == ", ".join(f"`{name}`" for name in names), row
        found[row] = names
    return found


def test_each_rule_names_its_row_and_each_row_its_rules(built, source):
    rows = rows_with_rules(source / "docs/limits.md")
    rules = rules_of(built)
    named = {name for names in rows.values() for name in names}
    assert named == set(rules) - {WITHOUT_ROW}
    for rule in rules.values():
        if rule.name != WITHOUT_ROW:
            found = [row for row in rows if row.startswith(rule.row)]
            assert len(found) == 1, f"{rule.name}: rows that begin with '{rule.row}': {found}"
            assert rule.name in rows[found[0]], f"{found[0]} does not name {rule.name}"


def expecting_cases():
    """Each finding that a case lists: the case, the severity and the rule."""
    for folder in sorted(CASES.iterdir()):
        for line in Case(folder).many("finding", "lint"):
            yield (folder.name, *re.search(r": (\w+) \[([a-z0-9-]+)\]", line).groups())


def test_examples_are_the_cases_that_expect_the_rule(built):
    expecting = {}
    for case, _, name in expecting_cases():
        expecting.setdefault(name, set()).add(case)
    rules = rules_of(built)
    # No case tries the rows of these (compile/limits/rows_test.py).
    without = {name for name, rule in rules.items() if not rule.examples}
    assert without == {"file-name", "weak-import", WITHOUT_ROW}
    assert {name: set(rules[name].examples) for name in set(rules) - without} == expecting


def test_examples_try_a_row_that_names_their_rule(built, source):
    rows = rows_with_rules(source / "docs/limits.md")
    for rule in rules_of(built).values():
        for example in rule.examples:
            tried = rows_named_by(CASES / example / "case.ini")
            named = [
                name
                for row, names in rows.items()
                for name in names
                if any(row.startswith(words) for words in tried)
            ]
            assert rule.name in named, example


def test_severities_are_those_that_the_cases_expect(built):
    rules = rules_of(built)
    for case, severity, name in expecting_cases():
        assert rules[name].severity == severity, case
