"""The pages for users of a build against the files that the other tests build."""

import os
import re

from support.testkit import expect


def test_docs(context):
    """Every file that docs/using.md shows is the one that is tested here."""
    with open(os.path.join(context.source, "docs", "using.md"), encoding="utf-8") as file:
        text = file.read()
    shown = set()
    for name, block in re.findall(r"<!-- from (\S+) -->\n+```\w*\n(.*?)```\n", text, re.DOTALL):
        with open(os.path.join(context.projects, name), encoding="utf-8") as file:
            expect(f"the block from {name} in docs/using.md", block, file.read())
        shown.add(name)
    expect("markers without a block after them", text.count("<!-- from "), len(shown))
    expect(
        "build files not shown",
        {
            "cmake/CMakeLists.txt",
            "layers/CMakeLists.txt",
            "layers/stock/CMakeLists.txt",
            "layers/order/CMakeLists.txt",
            "bring_your_own/CMakeLists.txt",
            "add_subdirectory/CMakeLists.txt",
            "fetch_content/CMakeLists.txt",
            "make/Makefile",
            "meson/meson.build",
            "meson/meson_options.txt",
            "meson/morvane/qarn/rpc/meson.build",
            "buf/buf.yaml",
            "buf/buf.gen.yaml",
            "buf/build.sh",
        }
        - shown,
        set(),
    )


def test_docs_arguments(context):
    """The page of qarn_rpc_generate and the function know the same arguments."""
    with open(
        os.path.join(context.source, "docs", "qarn_rpc_generate.md"), encoding="utf-8"
    ) as file:
        text = file.read()
    with open(
        os.path.join(context.source, "cmake", "QarnRpcGenerate.cmake"), encoding="utf-8"
    ) as file:
        keywords = re.findall(r"^  set\((?:flags|values|lists) (.*)\)$", file.read(), re.MULTILINE)
    documented = re.findall(r"^\| `([A-Z_]+)", text, re.MULTILINE)
    expect("arguments in the table", set(documented), set(" ".join(keywords).split()))
