"""Checks that docs/runtime.md has every name that generated code uses of the
runtime, that it has no other, and that scripts/check_runtime has a probe for
each.

  python3 -m docs.check_runtime_names ROOT

The names come from the golden files and from the templates in src/. Prints what
does not hold. Exit status: 0 if all holds, 1 if not, 2 for wrong usage.
"""

import pathlib
import re
import sys

from support.testkit import Failure, Misuse, status_of

QUALIFIED = re.compile(r"(?<!\w)::qarn::rpc::((?:\w+::)*\w+)")
CALLED = re.compile(r"(?<!::)\b([A-Za-z_]\w*)\s*\(")
MEMBER = re.compile(r"(?:->|\.)\s*(\w+)")
# What generated code calls that it declares itself, the language or Boost has.
NOT_OF_RUNTIME = {
    "Service",
    "Stub",
    "_service",
    "full_name",
    "if",
    "name",
    "package",
    "service",
    "BOOST_PP_CAT",
}


def code_of(text):
    """The text without comments and strings, and without macros but includes."""
    text = re.sub(r"//.*", "", text)
    text = re.sub(r"^#define (?:.*\\\n)*.*\n", "", text, flags=re.MULTILINE)
    return re.sub(r'(?<!#include )"[^"\n]*"', '""', text)


def methods_of(text):
    """The methods of the services of a header, which are the program's names."""
    return set(re.findall(r"\bstatic const ::qarn::rpc::RpcMethod _rpcmethod_(\w+);", text))


def used_names(headers, sources, templates):
    """The names that the texts use of the runtime. A member is named alone."""
    names = set()
    own = NOT_OF_RUNTIME.union(*map(methods_of, headers))
    for text in headers + sources:
        code = code_of(text)
        names.update(re.findall(r'#include "(qarn/[^"]+)"', code))
        names.update(QUALIFIED.findall(code))
        members = set(CALLED.findall(code)) | set(MEMBER.findall(re.sub(r"#include.*", "", code)))
        names.update(members - own - {name.split("::")[-1] for name in names})
        if "boost::intrusive_ptr<" in code:
            names.update(("intrusive_ptr_add_ref", "intrusive_ptr_release"))
    for text in templates:
        names.update(QUALIFIED.findall(text))
    return names


def page_names(text):
    """The names in the first column of the table under "Every name"."""
    section = text.split("\n## Every name\n")[1].split("\n## ")[0]
    return re.findall(r"^\| `([^`]+)` \|", section, re.MULTILINE)


def table_lines(text):
    """The lines of names.txt: a name and those that it needs."""
    return [line.split() for line in text.splitlines() if line and not line.startswith("#")]


def complaints(used, page, table, probes):
    """What is wrong with the names of the page (in order), the lines of the
    table and the names of the probes' files."""
    wrong = []
    # A member stands on the page with its class, and is used without it.
    spoken = {name: name.split("::")[-1] for name in page}
    known = set(page) | set(spoken.values())
    wrong += [f"generated code uses {name}, which the page lacks" for name in sorted(used - known)]
    wrong += [
        f"the page has {name}, which no generated code uses"
        for name in page
        if not {name, spoken[name]} & used
    ]
    wrong += [f"the page has {name} twice" for name in sorted(set(page)) if page.count(name) > 1]
    if [line[0] for line in table] != page:
        wrong.append("names.txt and the page do not have the same names in the same order")
    above = set()
    for name, *needs in table:
        wrong += [
            f"{name} needs {needed}, which is not above it"
            for needed in needs
            if needed not in above
        ]
        above.add(name)
    expected = {re.sub("::|/", ".", line[0]) + ".cc" for line in table}
    wrong += [f"there is no probe {name}" for name in sorted(expected - probes)]
    wrong += [f"the probe {name} is of no name" for name in sorted(probes - expected)]
    return wrong


def main(arguments):
    if len(arguments) != 1:
        raise Misuse(__doc__)
    root = pathlib.Path(arguments[0])

    def texts(folder, pattern):
        return [path.read_text(encoding="utf-8") for path in sorted((root / folder).rglob(pattern))]

    used = used_names(
        texts("tests/golden", "*.rpc.h"),
        texts("tests/golden", "*.rpc.cpp"),
        texts("src", "*.cc") + texts("src", "*.h"),
    )
    page = page_names((root / "docs/runtime.md").read_text(encoding="utf-8"))
    check = root / "scripts/check_runtime"
    table = table_lines((check / "names.txt").read_text(encoding="utf-8"))
    wrong = complaints(used, page, table, {path.name for path in (check / "probes").glob("*.cc")})
    print(f"names that generated code uses: {len(used)}; on the page: {len(page)}")
    if wrong:
        raise Failure("\n".join(wrong))


if __name__ == "__main__":
    sys.exit(status_of(main, sys.argv[1:]))
