"""Each row of docs/limits.md has its case, and each case its row.

A case names its rows with `row`, in its case.ini: the words with which the row
begins. A row that no case can try stands in UNTRIED.
"""

import configparser
import pathlib
import re

# The words with which each begins, and why there is no case.
UNTRIED = {
    # protoc's own C++ generator stops, after ours has written its files.
    "A file with `import weak`.",
    # Not every system can hold a file of such a name (lint/details_test.py has one).
    "A file whose name has a quotation mark",
    # They take whole projects: consumers.cmake_export_macro, .cmake_shared_options,
    # .cmake_strict.
    "A shared library that hides its symbols,",
    "A program and a shared library that each link",
    "RPC files are compiled with more warnings than",
    # Nothing fails, and the warning comes with every file that imports ours.
    "`protoc` warns that `service_options.proto` has no syntax line.",
}


# What an entry of the page says, between the breaks of its lines.
PARTS = ("", "**You see:** ", "**What to do:** ", "**Rule:** ")


def rows_of(page):
    """The entries of the page: of each the limit, and the names of its rules, or
    "none: " and why."""
    rows = {}
    for line in re.findall(r"^- (.*<br>.*)$", page.read_text(), re.MULTILINE):
        parts = line.split("<br>")
        assert len(parts) == len(PARTS), line
        assert all(part.startswith(label) for part, label in zip(parts, PARTS)), line
        rows[parts[0]] = parts[-1][len(PARTS[-1]) :]
    return rows


def rows_named_by(ini):
    """The words with which a case names its rows."""
    parser = configparser.ConfigParser(interpolation=None, delimiters=("=",))
    parser.read(ini)
    text = parser.get("case", "row", fallback="")
    return [line for line in text.splitlines() if line.strip()]


def complaints(rows, cases):
    """What is not in order, a line each."""
    namers = {row: [] for row in rows}
    for name, all_words in [("UNTRIED", UNTRIED), *cases.items()]:
        if not all_words:
            yield f"{name} names no row: add `row` to its case.ini"
        for words in all_words:
            found = [row for row in rows if row.startswith(words)]
            if len(found) != 1:
                yield (
                    f"{name} names the row that begins with '{words}', and "
                    f"{len(found)} rows do: correct the words"
                )
            for row in found:
                namers[row].append(name)
    for row, names in namers.items():
        if not names:
            yield (
                f"no case names the row '{row}': write one (limits_test.py says how), "
                "or say in UNTRIED why there is none"
            )
        if "UNTRIED" in names and len(names) > 1:
            yield f"{names[1]} tries the row '{row}': take it out of UNTRIED"


def test_rows_and_cases_belong_together(source):
    rows = list(rows_of(source / "docs/limits.md"))
    assert rows
    inis = sorted(pathlib.Path(__file__).parent.glob("cases/*/case.ini"))
    cases = {ini.parent.name: rows_named_by(ini) for ini in inis}
    assert not list(complaints(rows, cases))
