"""The pages for users of a build against the files that the other tests build."""

import re

from support.commands import run

SHOWN = {
    "cmake/CMakeLists.txt",
    "layers/CMakeLists.txt",
    "layers/stock/CMakeLists.txt",
    "layers/order/CMakeLists.txt",
    "bring_your_own/CMakeLists.txt",
    "make/Makefile",
    "meson/meson.build",
    "meson/generate.sh",
    "meson/meson_options.txt",
    "meson/morvane/qarn/rpc/meson.build",
    "buf/buf.yaml",
    "buf/buf.gen.yaml",
    "buf/build.sh",
    "check_runtime/CMakeLists.txt",
    "../../packaging/Containerfile",
    "../../scripts/release/mingw.cmake",
}
SHOWN_IN_PART = {
    "add_subdirectory/CMakeLists.txt",
    "fetch_content/CMakeLists.txt",
}


def test_docs(source):
    """Every file that a page shows is the one that is tested here, and no page but
    Bazel's, which has a test of its own, shows one that is not named above."""
    docs = source / "docs"
    pages = [docs / "using.md", docs / "runtime.md", *sorted(docs.glob("using/*.md"))]
    text = "".join(page.read_text() for page in pages if page.name != "bazel.md")
    blocks = re.findall(r"<!-- (from|part of) (\S+) -->\n+```\w*\n(.*?)```\n", text, re.DOTALL)
    # Each marker has a block after it.
    assert len(re.findall("<!-- (?:from|part of) ", text)) == len(blocks)
    for how, name, block in blocks:
        file = (source / "tests/consumers" / name).read_text()
        assert block == file if how == "from" else f"\n{block}" in file, name
    # Each stands on one page.
    assert sorted(name for how, name, _ in blocks if how == "from") == sorted(SHOWN)
    assert sorted(name for how, name, _ in blocks if how != "from") == sorted(SHOWN_IN_PART)


def test_docs_arguments(source):
    """The page of qarn_rpc_generate and the function know the same arguments."""
    page = (source / "docs/qarn_rpc_generate.md").read_text()
    function = (source / "cmake/QarnRpcGenerate.cmake").read_text()
    keywords = re.findall(r"^  set\((?:flags|values|lists) (.*)\)$", function, re.MULTILINE)
    documented = re.findall(r"^\| `([A-Z_]+)", page, re.MULTILINE)
    assert set(documented) == set(" ".join(keywords).split())


def test_docs_readme(context):
    """The README's commands build its program with the installed plugin."""
    readme = (context.source / "README.md").read_text()
    commands = re.search(r"^cmake -G Ninja -S examples/greeter .*?(?=^```$)", readme, re.M | re.S)
    assert commands, "the README has no commands for its program"
    (context.work / "examples").symlink_to(context.source / "examples")
    commands = commands[0].replace('"$PWD/build/prefix"', f"'{context.prefix}'")
    commands = commands.replace("$PWD/examples/runtime", str(context.runtime))
    printed = run(["sh", "-e", "-c", commands], cwd=context.work)
    assert printed.endswith("\nhello, world\n")
