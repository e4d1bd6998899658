#!/usr/bin/env python3
"""Puts the results of measurements into pages: fill_pages.py [--check] RESULTS PAGE...

A page, which people write, says where a table goes:

    <!-- table plugin.json: start -->
    <!-- end -->

RESULTS is the folder of plugin.json. What stands between the comments is replaced
by what the file has under "start": a list of rows becomes a table, whose heading are
the names in the rows, and an object a list. A page that needs but some columns
names them, as in "start | program | wall ms". With --check nothing is written, and the
program fails if a page has not what the results say.
"""

import json
import pathlib
import re
import sys

OPENING = re.compile(r"^<!-- table (\S+): (.+) -->\n", re.MULTILINE)
PLACE = re.compile(OPENING.pattern + r"((?:.*\n)*?)<!-- end -->\n", re.MULTILINE)


def column(values):
    """The texts of one column, all figures with as many decimals as the longest has."""
    decimals = max(len(str(v).partition(".")[2]) if isinstance(v, float) else 0 for v in values)
    return [f"{v:,.{decimals}f}" if isinstance(v, (int, float)) else v for v in values]


def table(rows):
    names = list(dict.fromkeys(name for row in rows for name in row))
    columns = [column([row.get(name, "") for row in rows]) for name in names]
    lines = [names, ["---"] * len(names), *zip(*columns)]
    return "".join(f"| {' | '.join(line)} |\n" for line in lines)


def items(values):
    return "".join(f"- {name}: {text}\n" for name, text in zip(values, column([*values.values()])))


def filled(page, results):
    """The text of a page with its tables; ends the program where one cannot be."""

    def fill(place):
        file, wanted, before = place.groups()
        name, *columns = wanted.split(" | ")
        try:
            value = json.loads((results / file).read_text(encoding="utf-8"))[name]
            if columns:
                value = [{column: row[column] for column in columns} for row in value]
        except (OSError, json.JSONDecodeError, KeyError, TypeError) as error:
            sys.exit(f'{page}: there is no "{wanted}" in {results / file} ({error!r})')
        if OPENING.search(before):
            sys.exit(f"{page}: no <!-- end --> follows <!-- table {file}: {wanted} -->")
        shown = items(value) if isinstance(value, dict) else table(value)
        # Markdown wants the comments apart from what they enclose.
        return f"<!-- table {file}: {wanted} -->\n\n{shown}\n<!-- end -->\n"

    before = page.read_text(encoding="utf-8")
    after, count = PLACE.subn(fill, before)
    if count == 0 or count != len(OPENING.findall(before)):
        sys.exit(f"{page}: a line <!-- table FILE: NAME --> is missing, or its <!-- end -->")
    return after


def main():
    arguments = sys.argv[1:]
    check = arguments[:1] == ["--check"]
    if len(arguments) - check < 2:
        sys.exit("usage: fill_pages.py [--check] RESULTS PAGE...")
    results, *pages = map(pathlib.Path, arguments[check:])
    texts = {page: filled(page, results) for page in pages}
    for page, text in texts.items():
        if text == page.read_text(encoding="utf-8"):
            continue
        if check:
            sys.exit(f"{page} has other tables than the results; run scripts/bench.sh --pages")
        page.write_text(text, encoding="utf-8")
        print(f"tables renewed, read the text around them: {page}")


if __name__ == "__main__":
    main()
