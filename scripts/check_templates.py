#!/usr/bin/env python3
"""Checks that the templates in src/ read like the text that they print, so that
whoever searches src/ for a piece of an output line finds the line.

  scripts/check_templates.py

Three things are looked at, and each fault is printed with its place:

1. How literals are written in src/header and src/source. Text is in raw string
   literals that start with a newline, which Template skips, and end with one. A
   \\n or \\" in a literal, two literals side by side and a blank at the end of a
   line are faults, but for what LITERALS lists.
2. Each line of the golden files is one line of a template: the header's lines
   of one in src/header, the source's of one in src/source. What LINES lists is
   built by joining texts.
3. A template line with a word in it stands in one file of src/header or
   src/source only, so that the search leads to one place, but for COMMON_LINES.

Exits with 1 if there is a fault. At each start the checks are tried on texts
that have a fault, because a check that has stopped finding any looks the same
as clean code.
"""

import re
import sys
from pathlib import Path

# Ordinary literals with an escape, or beside another literal, by file. They are
# written here as they are in the file.
LITERALS = {
    # The blank at the end of the line belongs to the text.
    "src/header/client_calls.cc": ['"  return ::qarn::rpc::client::AsyncBatchCall< \\n"'],
    # Joined without a printer.
    "src/header/frame.cc": ['" {\\n"'],
    # The prefix of the macros is no variable, and all entries of a macro but
    # the last continue its line.
    "src/header/traits.cc": [
        '"\\n\\n"',
        '"_METHOD_NAMES \\\\\\n"',
        '"_METHODS \\\\\\n"',
        '"_METHOD(NAME) \\\\\\n"',
        '" \\\\\\n"',
    ],
}
# The empty line by itself, wherever it is printed or appended.
EMPTY_LINE = '"\\n"'

# Lines of the output that the literals above are parts of.
LINES = {
    "header": [
        r"namespace \w+ \{",
        r"#define \w+ \w+",
        r"#define \w+_METHOD(_NAMES|S|\(NAME\)) \\",
        r"\(\w+\)( \\)?",
    ],
    "source": [r"\}  // namespace \w+"],
}

# Lines that several templates have in common, so that only the line beside tells
# them apart: the label of a class, a parameter of the constructor and the calls.
COMMON_LINES = [" public:", "    const ::qarn::rpc::ClientContext& context,"]

TOKEN = re.compile(
    r"""
    (?P<skipped> //[^\n]* | /\*.*?\*/ | ^[ ]*\#[^\n]* | '(?:[^'\\\n]|\\.)+' )
  | (?P<raw> R"\((?P<text>.*?)\)" )
  | (?P<ordinary> "(?:[^"\\\n]|\\.)*" )
  | (?P<space> \s+ )
  | (?P<other> \w+ | . )
    """,
    re.VERBOSE | re.DOTALL | re.MULTILINE,
)


def check_form(name, code, allowed):
    """Returns the faults of the literals in `code`, the text of file `name`, the
    lines of its templates, and which of the literals `allowed` it has."""
    faults, lines, used = [], [], set()
    previous, before = None, ""
    for token in TOKEN.finditer(code):
        kind, text = token.lastgroup, token.group()
        if kind == "text":
            kind = "raw"
        if kind in ("skipped", "space"):
            continue
        line = code.count("\n", 0, token.start()) + 1

        def fault(what):
            faults.append(f"{name}:{line}: {what}")

        if kind == "raw":
            content = token.group("text")
            if previous is None and not before.endswith("Template("):
                fault("a raw literal is an argument of Template")
            if previous is None and not content.startswith("\n"):
                fault("a template starts on a line of its own")
            if not content.endswith("\n"):
                fault("a template ends with the end of a line")
            if re.search(r"[ \t]$", content, re.MULTILINE):
                fault("a blank at the end of a line cannot be seen in a raw literal")
            lines += content.lstrip("\n").splitlines()
        elif kind == "ordinary":
            if text in allowed:
                used.add(text)
                lines += text[1:-1].split("\\n")[:-1]
            elif text != EMPTY_LINE and ("\\n" in text or '\\"' in text):
                fault(f"{text} has an escape; write a raw literal")
        if kind in ("raw", "ordinary"):
            both = {text, previous}
            if previous is not None and not both & set(allowed):
                fault("two literals stand side by side")
            previous = text
        else:
            previous = None
        before = (before + text)[-20:]
    faults += [
        f"{name}: LITERALS lists {literal}, which is not there"
        for literal in allowed
        if literal not in used
    ]
    return faults, lines


def pattern_of(template_line):
    """The expression that matches what `template_line` prints, its indentation
    aside. A variable stands for a name, with its namespaces and dots, or for
    nothing."""
    pieces = re.split(r"\$\w+\$", template_line.lstrip(" "))
    return r"[\w:./-]*".join(re.escape(piece) for piece in pieces)


def check_output(name, text, template_lines, joined):
    """Returns the faults of the lines of `text`, the text of the golden file
    `name`: those that neither a template line nor an expression of `joined`
    prints."""
    patterns = [pattern_of(line) for line in template_lines] + joined
    known = re.compile("|".join(f"(?:{pattern})" for pattern in patterns))
    return [
        f"{name}:{number}: no template line prints {line.strip()!r}"
        for number, line in enumerate(text.splitlines(), 1)
        if not known.fullmatch(line.lstrip(" "))
    ]


def check_places(places):
    """Returns the faults of `places`, template lines by file: lines with a word
    that more than one file has, and that are not COMMON_LINES."""
    files_of = {}
    for name, lines in places.items():
        for line in lines:
            if re.search(r"\w", re.sub(r"\$\w+\$", "", line)):
                files_of.setdefault(line, set()).add(name)
    return [
        f"{' and '.join(sorted(names))}: both have the template line {line!r}"
        for line, names in files_of.items()
        if len(names) > 1 and line not in COMMON_LINES
    ]


def try_the_checks():
    """Ends the program unless each check finds a fault where one is, and none
    where none is."""
    good = 'Print(vars, Template(R"(\nclass $A$ {\n "x"\n)"));  // "\\n" "\\n"\n'
    batch = 'Template(R"(\na\n)"\n  "b \\n"\n  R"(c\n)")'
    forms = [
        (0, good, []),
        (0, '#include "a.h"\nPrint("\\n"); Print("\\n");', []),
        (0, batch, ['"b \\n"']),
        (3, batch, []),
        (1, 'Print("class A {\\n");', []),
        (1, 'Print("a \\" b");', []),
        (1, 'Print("a" "b");', []),
        (1, 'Print("a"  // why\n "b");', []),
        (1, 'Print(R"(\nclass A {\n)");', []),
        (1, 'Template(R"(class A {\n)")', []),
        (1, 'Template(R"(\nclass A {)")', []),
        (1, 'Template(R"(\nclass A {   \n)")', []),
        (1, good, ['"b \\n"']),
    ]
    for expected, code, allowed in forms:
        faults, _ = check_form("x", code, allowed)
        assert len(faults) == expected, (code, faults)
    lines = check_form("x", good, [])[1]
    assert lines == ["class $A$ {", ' "x"'], lines
    assert not check_output("x", '  class ::a::B {\n "x"\n#y\n', lines, ["#y"])
    for line in ("class A", "class A B {", "a class A {", "y"):
        assert len(check_output("x", line, lines, ["#y"])) == 1, line
    assert not check_places({"a": ["x $A$", "}", "$A$"], "b": ["}", "y", "$A$"]})
    assert len(check_places({"a": ["x $A$"], "b": ["y", "x $A$"]})) == 1


def main():
    if len(sys.argv) != 1:
        print("usage: scripts/check_templates.py", file=sys.stderr)
        return 2
    try_the_checks()
    root = Path(__file__).resolve().parent.parent
    faults, goldens = [], 0
    for side, suffix in (("header", ".rpc.h"), ("source", ".rpc.cpp")):
        places = {}
        for path in sorted((root / "src" / side).iterdir()):
            name = path.relative_to(root).as_posix()
            found, lines = check_form(name, path.read_text(), LITERALS.get(name, []))
            faults += found
            places[name] = lines
        faults += check_places(places)
        template_lines = [""] + [line for lines in places.values() for line in lines]
        for path in sorted((root / "tests" / "golden").rglob("*" + suffix)):
            name = path.relative_to(root).as_posix()
            faults += check_output(name, path.read_text(), template_lines, LINES[side])
            goldens += 1
    for name in LITERALS:
        if not (root / name).is_file():
            faults.append(f"scripts/check_templates.py: there is no {name}")
    if goldens == 0:
        faults.append("tests/golden: there are no golden files")
    for fault in faults:
        print(fault)
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
