"""Tests check_runtime_names.py on texts written for it."""

import pathlib
import unittest

from docs import check_runtime_names as names

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


class CheckRuntimeNamesTest(unittest.TestCase):
    def complaints(
        self,
        used=("a", "m"),
        page=("a", "B::m"),
        table=(("a",), ("B::m", "a")),
        probes=("a.cc", "B.m.cc"),
    ):
        return names.complaints(set(used), list(page), [list(line) for line in table], set(probes))

    def test_finds_the_names_that_generated_code_uses(self):
        self.assertEqual(names.used_names([HEADER], [SOURCE], []), USED)

    def test_finds_the_names_of_templates(self):
        self.assertEqual(names.used_names([], [], ['"const ::qarn::rpc::New& x"']), {"New"})

    def test_counts_handles(self):
        self.assertEqual(
            names.used_names(["boost::intrusive_ptr< T> p;"], [], []),
            {"intrusive_ptr_add_ref", "intrusive_ptr_release"},
        )

    def test_reads_the_table_of_the_page_alone(self):
        self.assertEqual(names.page_names(PAGE), ["qarn/rpc.h", "Base::channel"])

    def test_accepts_what_agrees(self):
        self.assertEqual(self.complaints(), [])

    def test_refuses_a_name_that_the_page_lacks(self):
        self.assertEqual(
            self.complaints(used=("a", "m", "New")),
            ["generated code uses New, which the page lacks"],
        )

    def test_refuses_a_name_that_nothing_uses(self):
        self.assertEqual(
            self.complaints(used=("a",)), ["the page has B::m, which no generated code uses"]
        )

    def test_refuses_another_order(self):
        self.assertIn(
            "names.txt and the page do not have the same names in the same order",
            self.complaints(page=("B::m", "a")),
        )

    def test_refuses_a_need_that_is_not_above(self):
        self.assertEqual(
            self.complaints(table=(("a", "B::m"), ("B::m",))),
            ["a needs B::m, which is not above it"],
        )

    def test_refuses_a_missing_probe_and_one_too_many(self):
        self.assertEqual(
            self.complaints(probes=("a.cc", "c.cc")),
            ["there is no probe B.m.cc", "the probe c.cc is of no name"],
        )

    def test_fails_when_the_page_of_the_project_loses_a_name(self):
        root = pathlib.Path(__file__).resolve().parents[2]
        page = names.page_names((root / "docs/runtime.md").read_text(encoding="utf-8"))
        headers = [
            path.read_text(encoding="utf-8") for path in (root / "tests/golden").rglob("*.rpc.h")
        ]
        sources = [
            path.read_text(encoding="utf-8") for path in (root / "tests/golden").rglob("*.rpc.cpp")
        ]
        used = names.used_names(headers, sources, [])
        for name in page:
            left = [other for other in page if other != name]
            lines = [[other] for other in left]
            probes = {other.replace("::", ".").replace("/", ".") + ".cc" for other in left}
            self.assertEqual(len(names.complaints(used, left, lines, probes)), 1, name)


if __name__ == "__main__":
    unittest.main()
