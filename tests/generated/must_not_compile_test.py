"""Sources that do not compile, for the reason that their first line gives:

    // must fail: WHY; expect: REGEX

REGEX is looked for in the compiler's errors. The same source must compile with
-DMENDED, so that it cannot fail for another reason.
"""

import pathlib
import re

import pytest

from support.refusal import Compilation, expect_refused_for_its_cause

UNITS = sorted(pathlib.Path(__file__).parent.glob("compile_fail/*.cc"))
FIRST_LINE = re.compile(r"// must fail: .+; expect: (.+)")


@pytest.mark.parametrize("unit", UNITS, ids=lambda unit: unit.stem)
def test_is_refused_for_its_cause(unit, source, built):
    first_line = unit.read_text().partition("\n")[0]
    expected = FIRST_LINE.fullmatch(first_line)
    assert expected, f"{unit}: the first line is not '// must fail: WHY; expect: REGEX'"
    generated = built.build / "tests/generated"
    compiler = [built.cxx, "-std=c++17", "-fsyntax-only"]
    compiler += [f"-I{generated}/rpc", f"-I{source}/examples/runtime"]
    compiler += ["-isystem", generated / "messages", "-isystem", built.build / "proto"]
    expect_refused_for_its_cause(
        refused=[Compilation(unit, [*compiler, unit])],
        accepted=[Compilation(f"{unit}, mended,", [*compiler, "-DMENDED", unit])],
        patterns=[expected.group(1)],
    )
