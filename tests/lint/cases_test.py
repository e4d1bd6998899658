"""What the linter says of each case of the limits (compile/limits), in the section
[lint] of its case.ini:

    finding = api.proto:9:3: error [method-keyword] at 20
    mended_finding = ...             the same of the mended case

one a line: place, severity, rule and, if it does not hold at every standard, those
at which it does. Of a case without the section, and of a mended one, the linter says
nothing.
"""

import pytest

from compile.limits.limits_test import CASES, COMPILERS, Case, Trial
from lint.linter import STANDARDS, lint, rules_of

# It finds something in each service Echo: only its own examples let it.
LOUD = "system-macro"


def expected(case, key, standard):
    """The findings that the case lists for that standard."""
    found = []
    for line in case.many(key, "lint"):
        finding, _, standards = line.partition(" at ")
        if not standards or standard in standards.split():
            found.append(finding.strip())
    return found


def refused_standards(case):
    """The standards at which the case says that a compiler refuses it, and those
    between them; all of them if protoc does."""
    if case.parser.has_section("protoc"):
        return set(STANDARDS)
    fails = [s for compiler in COMPILERS for s in case.many("fails", compiler)]
    return {s for s in STANDARDS if fails and min(fails) <= s <= max(fails)}


@pytest.fixture(scope="module", name="rules")
def fixture_rules(built):
    return rules_of(built)


@pytest.mark.parametrize("folder", CASES, ids=lambda folder: folder.name)
def test_findings(folder, built, source, rules, tmp_path):
    case = Case(folder)
    if case.one("out_option") or case.parser.has_section("plugin"):
        pytest.skip("the case is about protoc's own options")
    is_loud = folder.name in rules[LOUD].examples if LOUD in rules else True
    for mended in (False, True) if case.has_mended else (False,):
        trial = Trial(case, built, source, tmp_path / str(mended), mended)
        option = case.one("option")
        if mended and case.one("mended_option") is not None:
            option = case.one("mended_option")
        for standard in STANDARDS:
            options = [option, f"standard={standard}", None if is_loud else f"off={LOUD}"]
            linted = lint(built, source, trial.directory / "in", trial.protos, options)
            key = "mended_finding" if mended else "finding"
            assert linted.brief() == expected(case, key, standard), (trial.name, standard)
            if not linted.findings and folder.name != "comma_in_value":
                assert linted.status == 0, linted.errors


@pytest.mark.parametrize("folder", CASES, ids=lambda folder: folder.name)
def test_errors_are_those_of_a_compiler(folder):
    """The case itself compiles what it lists (limits_test.py), so an error that it
    expects is one that it has seen."""
    case = Case(folder)
    for standard in STANDARDS:
        if any(": error [" in finding for finding in expected(case, "finding", standard)):
            assert standard in refused_standards(case)


def test_a_value_with_a_comma_is_refused(built, source, tmp_path):
    (tmp_path / "api.proto").write_text('syntax = "proto3";')
    linted = lint(built, source, tmp_path, ["api.proto"], ["services_namespace=a,b"])
    assert "Unknown parameter: b. There are services_namespace=NAME, " in linted.errors
