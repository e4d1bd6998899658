"""Checks that a source does not compile, for the reason that its first line
gives:

    // must fail: WHY; expect: REGEX

REGEX is looked for in the compiler's errors. The same source must compile with
-DMENDED, so that it cannot fail for another reason.

    python3 -m generated.must_not_compile SOURCE COMPILER ARGUMENT...

Exit status: 0 it does not compile, 1 it does or fails otherwise, 2 wrong usage.
"""

import pathlib
import re
import sys

from support.refusal import Compilation, expect_refused_for_its_cause
from support.testkit import Misuse, status_of

FIRST_LINE = re.compile(r"// must fail: .+; expect: (.+)")


def check(source, *compiler):
    first_line = pathlib.Path(source).read_text(encoding="utf-8").partition("\n")[0]
    expected = FIRST_LINE.fullmatch(first_line)
    if not expected:
        raise Misuse(f"{source}: the first line is not '// must fail: WHY; expect: REGEX'")
    expect_refused_for_its_cause(
        refused=[Compilation(source, [*compiler, source])],
        accepted=[Compilation(f"{source}, mended,", [*compiler, "-DMENDED", source])],
        patterns=[expected.group(1)],
    )


def main(arguments):
    if len(arguments) < 2:
        raise Misuse(__doc__)
    check(*arguments)


if __name__ == "__main__":
    sys.exit(status_of(main, sys.argv[1:]))
