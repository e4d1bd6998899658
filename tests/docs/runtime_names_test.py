"""docs/runtime.md has every name that generated code uses of the runtime, and no
other, and scripts/check_runtime has a probe for each.

The names come from the golden files and from the templates in src/.
"""

import re

import pytest

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


@pytest.fixture(name="page", scope="module")
def fixture_page(source):
    """The names of the page."""
    return page_names((source / "docs/runtime.md").read_text())


@pytest.fixture(name="goldens", scope="module")
def fixture_goldens(source):
    """The texts of the generated headers, and of the sources."""
    golden = source / "tests/golden"
    return [
        [path.read_text() for path in sorted(golden.rglob(pattern))]
        for pattern in ("*.rpc.h", "*.rpc.cpp")
    ]


def test_page_and_probes_have_the_names_that_generated_code_uses(source, page, goldens):
    paths = sorted((source / "src").rglob("*.*"))
    templates = [path.read_text() for path in paths if path.suffix in (".cc", ".h")]
    check = source / "scripts/check_runtime"
    table = table_lines((check / "names.txt").read_text())
    probes = {path.name for path in (check / "probes").glob("*.cc")}
    assert not complaints(used_names(*goldens, templates), page, table, probes)


def test_a_name_that_the_page_loses_is_missed(page, goldens):
    used = used_names(*goldens, [])
    for name in page:
        left = [other for other in page if other != name]
        probes = {other.replace("::", ".").replace("/", ".") + ".cc" for other in left}
        assert len(complaints(used, left, [[other] for other in left], probes)) == 1, name


HEADER = """\
// ::qarn::rpc::Commented
#include "qarn/rpc.h"
#define ASKS \\
  (NotACall)
class Asks {
  class Stub : public ::qarn::rpc::Base {
    void Ask() { return ::qarn::rpc::client::Call< \n int>(channel()); }
    static const ::qarn::rpc::RpcMethod _rpcmethod_Ask;
  };
  const char* name() { return "::qarn::rpc::Quoted"; }
};
"""
SOURCE = "void f2() { _service->Add(1); }\n"
USED = {"qarn/rpc.h", "Base", "client::Call", "RpcMethod", "channel", "Add", "f2"}

PAGE = """\
# Page
| `before` | is in no list of names |
## Every name
| Name | Used in |
|---|---|
| `qarn/rpc.h` | all |
| `Base::channel` | `Stub` |
## After
| `after` | neither |
"""


def test_finds_the_names_that_generated_code_uses():
    assert used_names([HEADER], [SOURCE], []) == USED


def test_finds_the_names_of_templates():
    assert used_names([], [], ['"const ::qarn::rpc::New& x"']) == {"New"}


def test_counts_handles():
    handles = {"intrusive_ptr_add_ref", "intrusive_ptr_release"}
    assert used_names(["boost::intrusive_ptr< T> p;"], [], []) == handles


def test_reads_the_table_of_the_page_alone():
    assert page_names(PAGE) == ["qarn/rpc.h", "Base::channel"]


# What differs from texts that agree, and the complaints about it.
DIFFERENCES = {
    "nothing": ({}, []),
    "a name that the page lacks": (
        {"used": {"a", "m", "New"}},
        ["generated code uses New, which the page lacks"],
    ),
    "a name that nothing uses": (
        {"used": {"a"}},
        ["the page has B::m, which no generated code uses"],
    ),
    "another order": (
        {"page": ["B::m", "a"]},
        ["names.txt and the page do not have the same names in the same order"],
    ),
    "a need that is not above": (
        {"table": [["a", "B::m"], ["B::m"]]},
        ["a needs B::m, which is not above it"],
    ),
    "a missing probe and one too many": (
        {"probes": {"a.cc", "c.cc"}},
        ["there is no probe B.m.cc", "the probe c.cc is of no name"],
    ),
}


@pytest.mark.parametrize("difference, expected", DIFFERENCES.values(), ids=DIFFERENCES)
def test_complains_of(difference, expected):
    agreeing = {
        "used": {"a", "m"},
        "page": ["a", "B::m"],
        "table": [["a"], ["B::m", "a"]],
        "probes": {"a.cc", "B.m.cc"},
    }
    assert complaints(**{**agreeing, **difference}) == expected
