"""Tests check_snippets.py on documents written for it."""

import contextlib
import io
import pathlib
import tempfile
import unittest

from docs import check_snippets
from support.testkit import status_of

SOURCE = """\
int main() {
  First();

  if (true) {
    Second();
  }
  return 0;
}
"""


class CheckSnippetsTest(unittest.TestCase):
    def check(self, block, above="From [`a/b.cc`](../a/b.cc):"):
        """The exit status and what was printed for a document of one block."""
        with tempfile.TemporaryDirectory() as name:
            root = pathlib.Path(name)
            (root / "a").mkdir()
            (root / "docs").mkdir()
            (root / "a/b.cc").write_text(SOURCE)
            document = root / "docs/text.md"
            document.write_text(f"# Text\n\n{above}\n\n```cpp\n{block}\n```\n")
            printed = io.StringIO()
            with contextlib.redirect_stdout(printed):
                status = status_of(check_snippets.main, [str(root), str(document)])
            return status, printed.getvalue()

    def assert_holds(self, block):
        status, printed = self.check(block)
        self.assertEqual(status, 0, printed)

    def assert_fails(self, expected, block, **arguments):
        status, printed = self.check(block, **arguments)
        self.assertEqual(status, 1)
        self.assertIn(expected, printed)

    def test_accepts_lines_of_the_file(self):
        self.assert_holds("  First();\n\n  if (true) {")

    def test_accepts_less_indentation(self):
        self.assert_holds("if (true) {\n  Second();\n}")

    def test_accepts_left_out_lines(self):
        self.assert_holds("int main() {\n  // ...\n  return 0;\n}")

    def test_refuses_a_changed_word(self):
        self.assert_fails("does not hold", "  Third();")

    def test_refuses_a_changed_indentation_within_the_block(self):
        self.assert_fails("does not hold", "if (true) {\nSecond();\n}")

    def test_refuses_lines_with_one_missing_between(self):
        self.assert_fails("does not hold", "  First();\n  if (true) {")

    def test_refuses_another_order(self):
        self.assert_fails("does not hold", "  return 0;\n  // ...\n  First();")

    def test_refuses_a_block_without_a_file(self):
        self.assert_fails("does not name a file", "  First();", above="Text.")

    def test_refuses_a_file_that_is_not_there(self):
        self.assert_fails("there is no file", "  First();", above="From [`a/c.cc`](../a/c.cc):")

    def test_refuses_a_link_to_another_file(self):
        self.assert_fails("does not lead to", "  First();", above="From [`a/b.cc`](../a/c.cc):")


if __name__ == "__main__":
    unittest.main()
