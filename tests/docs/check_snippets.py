"""Checks that each C++ snippet of a document stands in the file it names.

  python3 -m docs.check_snippets ROOT DOCUMENT...

A snippet is a ```cpp block. The line above it, blank lines aside, is

  From [`examples/echo/main.cc`](../examples/echo/main.cc):

with the path from ROOT and the link from the document. The block's lines stand
in that file one after the other; the document may indent them less. A line
"// ..." of the block stands for lines that were left out.

Prints each snippet that does not hold. Exit status: 0 if all hold, 1 if one
does not or a document has none, 2 for wrong usage.
"""

import pathlib
import re
import sys
import textwrap

from support.testkit import Failure, Misuse, status_of

SOURCE_LINE = re.compile(r"^From \[`([^`]+)`\]\(([^)]+)\):$")


def snippets(text):
    """Yields (line number of the block, line above it, text of the block)."""
    lines = text.splitlines()
    above = ""
    number = 0
    while number < len(lines):
        if lines[number].strip() == "```cpp":
            end = lines.index("```", number)
            yield number + 1, above, "\n".join(lines[number + 1 : end])
            number = end
        if lines[number].strip():
            above = lines[number].strip()
        number += 1


def has_lines(file_text, passage, start):
    """Where the passage ends in the lines of the file at or after `start`, or
    None. Its indentation may differ, but the same for all lines."""
    wanted = textwrap.dedent("\n".join(passage)).rstrip().splitlines()
    lines = file_text.splitlines()
    for first in range(start, len(lines) - len(wanted) + 1):
        window = textwrap.dedent("\n".join(lines[first : first + len(wanted)]))
        # dedent normalises blank lines, which hold nothing, on both sides.
        if [line.rstrip() for line in window.splitlines()] == [line.rstrip() for line in wanted]:
            return first + len(wanted)
    return None


def complaint(root, document, above, block):
    """What is wrong with one snippet, or None."""
    named = SOURCE_LINE.match(above)
    if not named:
        return "the line above does not name a file, as in From [`path`](../path):"
    path, link = named.groups()
    if (document.parent / link).resolve() != (root / path).resolve():
        return f"the link {link} does not lead to {path}"
    if not (root / path).is_file():
        return f"there is no file {path}"
    file_text = (root / path).read_text(encoding="utf-8")
    position = 0
    for passage in re.split(r"^ *// \.\.\.$", block, flags=re.MULTILINE):
        passage = passage.strip("\n")
        if not passage.strip():
            continue
        position = has_lines(file_text, passage.split("\n"), position)
        if position is None:
            return f"{path} does not hold, at this place,\n{passage}"
    return None


def main(arguments):
    if len(arguments) < 2:
        raise Misuse(__doc__)
    root = pathlib.Path(arguments[0])
    failed = 0
    for name in arguments[1:]:
        document = pathlib.Path(name)
        found = list(snippets(document.read_text(encoding="utf-8")))
        if not found:
            print(f"{document}: no snippet; a document without one needs no check")
            failed += 1
        for number, above, block in found:
            wrong = complaint(root, document, above, block)
            if wrong:
                print(f"{document}:{number}: {wrong}")
                failed += 1
        print(f"{document}: {len(found)} snippets")
    if failed:
        raise Failure(f"{failed} snippets do not hold, as said above")


if __name__ == "__main__":
    sys.exit(status_of(main, sys.argv[1:]))
