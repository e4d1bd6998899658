"""The code that pages show stands in files that the tests build.

On the line above a block of code stands a comment, with a path from the root:

  <!-- from PATH -->      the block is that file
  <!-- part of PATH -->   the block's lines stand in it, one after the other; the block
                          may indent them less, and a line "// ..." or "# ..." stands for
                          lines that were left out

A page that names the file to its readers, as in "From [`PATH`](LINK):", names the same.
"""

import re
import textwrap

import pytest

BLOCK = re.compile(
    r"(?:From \[`([^`\n]+)`\]\(([^)\n]+)\):\n\n)?"
    r"(?:^<!-- (from|part of) (\S+) -->\n)?"
    r"^```(\w*)\n(.*?)^```$",
    re.MULTILINE | re.DOTALL,
)
# Commands, figures and texts need no file. All else is code.
NO_CODE = {"", "bat", "mermaid", "proto", "sh"}
# Code that is in no file, by the page and how the block begins.
IN_NO_FILE = {
    ("docs/qarn_rpc_generate.md", "install(TARGETS echo_rpc EXPORT echo)"),
    ("docs/qarn_rpc_generate.md", "qarn_rpc_generate(TARGET stock PROTOS st"),
    ("docs/qarn_rpc_generate.md", "set_source_files_properties(odd.proto PR"),
    ("docs/using.md", "COPY --from=qarn-rpc-gen /bin/protoc-gen"),
    ("examples/runtime/README.md", "// The server. What serves stands ahead "),
    ("examples/runtime/README.md", 'async with websockets.connect("ws://127.'),
    ("examples/runtime/README.md", "void Find(qarn_rpc::CallContext*, const "),
}
# What some page shows: files, and all files of the build in folders.
SHOWN = [
    "packaging/Containerfile",
    "scripts/release/mingw.cmake",
    "tests/consumers/add_subdirectory",
    "tests/consumers/bazel/nginx.conf",
    "tests/consumers/bazel/siso",
    "tests/consumers/bazel/workspace/.bazelrc",
    "tests/consumers/bazel/workspace/MODULE.bazel",
    "tests/consumers/bazel/workspace/WORKSPACE.bazel",
    "tests/consumers/bazel/workspace/lint.bazelrc",
    "tests/consumers/bazel/workspace/own.bazelrc",
    "tests/consumers/bazel/workspace/prebuilt",
    "tests/consumers/bazel/workspace/weather",
    "tests/consumers/bring_your_own",
    "tests/consumers/buf",
    "tests/consumers/check_runtime",
    "tests/consumers/cmake",
    "tests/consumers/fetch_content",
    "tests/consumers/layers",
    "tests/consumers/make",
    "tests/consumers/meson",
]


def pages(source):
    examples = source.glob("examples/*/README.md")
    return sorted([source / "README.md", *(source / "docs").rglob("*.md"), *examples])


def end_of(passage, lines, start):
    """Where the passage ends in the lines at or after `start`, or None. Its indentation
    may differ, but by the same for all its lines."""
    wanted = textwrap.dedent(passage).strip("\n").splitlines()
    for first in range(start, len(lines) - len(wanted) + 1):
        window = textwrap.dedent("\n".join(lines[first : first + len(wanted)]))
        if window.splitlines() == wanted:
            return first + len(wanted)
    return None


def has_passages(text, block):
    """Whether the passages of the block stand in the text, in their order."""
    lines = text.splitlines()
    position = 0
    for passage in re.split(r"^ *(?://|#) \.\.\.\n", block, flags=re.MULTILINE):
        position = end_of(passage, lines, position)
        if position is None:
            return False
    return True


def test_each_block_stands_in_the_file_that_it_names(source):
    in_no_file = set()
    for page in pages(source):
        text = page.read_text()
        name = str(page.relative_to(source))
        blocks = BLOCK.findall(text)
        assert text.count("```") == 2 * len(blocks), name
        for mark, group in ((r"From \[`", 0), ("<!-- (?:from|part of) ", 2)):
            ahead = [block for block in blocks if block[group]]
            assert len(re.findall(mark, text)) == len(ahead), f"{name}: {mark} without a block"
        for named, link, how, path, language, block in blocks:
            if named:
                assert named == path, f"{name}: the text above names {named}"
                assert (page.parent / link).resolve() == source / path, f"{name}: {link}"
            if how == "from":
                assert block == (source / path).read_text(), f"{name}: {path}"
            elif how:
                file_text = (source / path).read_text()
                assert block and has_passages(file_text, block), f"{name}: {path}\n{block}"
            elif language not in NO_CODE:
                in_no_file.add((name, block.splitlines()[0][:40]))
    assert in_no_file == IN_NO_FILE


def test_each_file_that_users_copy_is_shown(source):
    blocks = [block for page in pages(source) for block in BLOCK.findall(page.read_text())]
    for place in SHOWN:
        files = [source / place, *(source / place).rglob("*")]
        files = {
            str(file.relative_to(source))
            for file in files
            if file.is_file() and file.suffix not in (".cc", ".proto")
        }
        assert files, place
        assert files <= {block[3] for block in blocks}


TEXT = """\
int main() {
  First();

  if (true) {
    Second();
  }
  return 0;
}
"""


@pytest.mark.parametrize(
    "block",
    [
        pytest.param("  Third();\n", id="a changed word"),
        pytest.param("if (true) {\nSecond();\n}\n", id="another indentation"),
        pytest.param("  First();\n  if (true) {\n", id="a line is missing between"),
        pytest.param("  return 0;\n  // ...\n  First();\n", id="another order"),
    ],
)
def test_a_block_is_refused_that_differs_from_its_file(block):
    assert not has_passages(TEXT, block)
