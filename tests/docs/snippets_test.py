"""Each C++ and CMake snippet of a document stands in the file that it names.

A snippet is a ```cpp or ```cmake block. The line above it, blank lines aside, is or
ends with

  From [`examples/echo/main.cc`](../examples/echo/main.cc):

with the path from the root and the link from the document. The block's lines stand
in that file one after the other; the document may indent them less. A line
"// ..." of the block stands for lines that were left out.
"""

import re
import textwrap

import pytest

SOURCE_LINE = re.compile(r"(?:^|\. )From \[`([^`]+)`\]\(([^)]+)\):$")


def snippets(text):
    """Yields (line number of the block, line above it, text of the block)."""
    lines = text.splitlines()
    above = ""
    number = 0
    while number < len(lines):
        if lines[number].strip() in ("```cpp", "```cmake"):
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
    named = SOURCE_LINE.search(above)
    if not named:
        return "the line above does not name a file, as in From [`path`](../path):"
    path, link = named.groups()
    if (document.parent / link).resolve() != (root / path).resolve():
        return f"the link {link} does not lead to {path}"
    if not (root / path).is_file():
        return f"there is no file {path}"
    file_text = (root / path).read_text()
    position = 0
    for passage in re.split(r"^ *// \.\.\.$", block, flags=re.MULTILINE):
        passage = passage.strip("\n")
        if not passage.strip():
            continue
        position = has_lines(file_text, passage.split("\n"), position)
        if position is None:
            return f"{path} does not hold, at this place,\n{passage}"
    return None


def complaints(root, document):
    """What is wrong with the snippets of a document, a text each."""
    found = list(snippets(document.read_text()))
    if not found:
        yield f"{document}: no snippet; a document without one needs no check"
    for number, above, block in found:
        wrong = complaint(root, document, above, block)
        if wrong:
            yield f"{document}:{number}: {wrong}"


@pytest.mark.parametrize("page", ["README.md", "docs/generated-code.md"])
def test_snippets_stand_in_their_files(source, page):
    assert not list(complaints(source, source / page))


SOURCE = """\
int main() {
  First();

  if (true) {
    Second();
  }
  return 0;
}
"""


ABOVE = "From [`a/b.cc`](../a/b.cc):"


@pytest.fixture(name="check")
def fixture_check(tmp_path):
    """Returns the complaints about a document of one block, or of none."""

    def check(block, above=ABOVE, language="cpp"):
        for folder in ("a", "docs"):
            (tmp_path / folder).mkdir()
        (tmp_path / "a/b.cc").write_text(SOURCE)
        document = tmp_path / "docs/text.md"
        block = f"```{language}\n{block}\n```\n" if block else ""
        document.write_text(f"# Text\n\n{above}\n\n{block}")
        return list(complaints(tmp_path, document))

    return check


@pytest.mark.parametrize(
    "block",
    [
        pytest.param("  First();\n\n  if (true) {", id="lines of the file"),
        pytest.param("if (true) {\n  Second();\n}", id="less indentation"),
        pytest.param("int main() {\n  // ...\n  return 0;\n}", id="left-out lines"),
    ],
)
def test_accepts(check, block):
    assert check(block) == []


@pytest.mark.parametrize(
    "block",
    [
        pytest.param("  Third();", id="a changed word"),
        pytest.param("if (true) {\nSecond();\n}", id="a changed indentation within the block"),
        pytest.param("  First();\n  if (true) {", id="lines with one missing between"),
        pytest.param("  return 0;\n  // ...\n  First();", id="another order"),
    ],
)
def test_refuses_what_the_file_does_not_hold(check, block):
    (wrong,) = check(block)
    assert "a/b.cc does not hold, at this place," in wrong


def test_refuses_a_changed_word_of_cmake(check):
    (wrong,) = check("  Third();", f"Text. {ABOVE}", "cmake")
    assert "a/b.cc does not hold, at this place," in wrong


@pytest.mark.parametrize(
    "above, text",
    [
        pytest.param("Text.", "does not name a file", id="no file"),
        pytest.param("From [`a/c.cc`](../a/c.cc):", "there is no file", id="no such file"),
        pytest.param("From [`a/b.cc`](../a/c.cc):", "does not lead to", id="another link"),
    ],
)
def test_refuses_the_line_above(check, above, text):
    (wrong,) = check("  First();", above)
    assert text in wrong


def test_refuses_a_document_without_snippets(check):
    (wrong,) = check("")
    assert "no snippet" in wrong
