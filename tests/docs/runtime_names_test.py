"""docs/runtime.md has every name that generated code uses of the runtime, and no
other, and says of each what it must do; check_runtime.sh has a probe for each, after
those that it needs.

The names come from the golden files and from the templates in src/.
"""

import re

QUALIFIED = re.compile(r"(?<!\w)::qarn::rpc::((?:\w+::)*\w+)")
CALLED = re.compile(r"(?<!::)\b([A-Za-z_]\w*)\s*\(")
MEMBER = re.compile(r"(?:->|\.)\s*(\w+)")
# What generated code calls that it declares itself or the language has.
NOT_OF_RUNTIME = {
    "Service",
    "Stub",
    "_service",
    "full_name",
    "if",
    "name",
    "package",
    "service",
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


def text_of_page(source):
    return (source / "docs/runtime.md").read_text()


def names_of_page(source):
    """The names in the first column of the table under "Every name"."""
    section = text_of_page(source).split("\n## Every name\n")[1].split("\n## ")[0]
    return re.findall(r"^\| `([^`]+)` \|", section, re.MULTILINE)


def test_the_page_has_the_names_that_generated_code_uses(source):
    goldens = [
        [path.read_text() for path in sorted((source / "tests/golden").rglob(pattern))]
        for pattern in ("*.rpc.h", "*.rpc.cpp")
    ]
    paths = sorted((source / "src").rglob("*.*"))
    templates = [path.read_text() for path in paths if path.suffix in (".cc", ".h")]
    used = used_names(*goldens, templates)
    # A member stands on the page with its class, and is used without it.
    page = {name: name.split("::")[-1] for name in names_of_page(source)}
    assert used - page.keys() - set(page.values()) == set()
    assert [name for name, alone in page.items() if not {name, alone} & used] == []


def test_the_page_says_what_each_name_must_do(source):
    """In the order of the table; of the kinds of a method together."""
    section = text_of_page(source).split("\n### What each must do\n")[1].split("\n## ")[0]
    names = [re.sub("^RMT_.*", "RMT_...", name) for name in names_of_page(source)]
    assert re.findall(r"\*\*`([^`]+)`\*\*", section) == list(dict.fromkeys(names))


def test_each_name_of_the_page_has_a_probe(source):
    """In the same order; what a probe needs is above it."""
    text = (source / "scripts/check_runtime/probes.cc").read_text()
    probes = re.findall(r"^// probe: (\S+)(?: needs (.+))?$", text, re.MULTILINE)
    names = [name for name, _ in probes]
    assert names == names_of_page(source)
    assert len(set(names)) == len(names)
    for number, (name, needs) in enumerate(probes):
        assert set(needs.split()) <= set(names[:number]), name
