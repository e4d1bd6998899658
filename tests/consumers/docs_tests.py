"""The pages for users of a build against the files that the other tests build."""

import os
import re
import shutil

from support.testkit import expect, fresh_folder, run


def test_docs(context):
    """Every file that a page shows is the one that is tested here."""
    text = ""
    for page in ("using.md", "runtime.md"):
        with open(os.path.join(context.source, "docs", page), encoding="utf-8") as file:
            text += file.read()
    shown = set()
    for name, block in re.findall(r"<!-- from (\S+) -->\n+```\w*\n(.*?)```\n", text, re.DOTALL):
        with open(os.path.join(context.projects, name), encoding="utf-8") as file:
            expect(f"the block from {name} in the pages", block, file.read())
        shown.add(name)
    expect("markers without a block after them", text.count("<!-- from "), len(shown))
    expect(
        "build files not shown",
        {
            "quick_start/CMakeLists.txt",
            "cmake/CMakeLists.txt",
            "layers/CMakeLists.txt",
            "layers/stock/CMakeLists.txt",
            "layers/order/CMakeLists.txt",
            "bring_your_own/CMakeLists.txt",
            "add_subdirectory/CMakeLists.txt",
            "fetch_content/CMakeLists.txt",
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


def test_docs_readme(context):
    """The README's CMake project builds its sample with the commands below it."""
    with open(os.path.join(context.source, "README.md"), encoding="utf-8") as file:
        text = file.read()
    shown = re.search(
        r"```proto\n(?P<proto>.*?)```\n.*"
        r"```cmake\n(?P<cmake>.*?)```\n+```sh\n(?P<commands>.*?)```\n",
        text,
        re.DOTALL,
    )
    expect(
        "whether the README has a sample, a CMake project and the commands for it",
        bool(shown),
        True,
    )
    project = fresh_folder(os.path.join(context.work, "project"))
    for name, part in (("greeter.proto", "proto"), ("CMakeLists.txt", "cmake")):
        with open(os.path.join(project, name), "w", encoding="utf-8") as file:
            file.write(shown[part])
    shutil.copy(
        os.path.join(context.source, "tests", "docs", "greeter_main.cc"),
        os.path.join(project, "main.cc"),
    )
    commands = shown["commands"].replace("=PREFIX", f"='{context.prefix}'")
    commands = commands.replace("PATH_TO_YOUR_RUNTIME", f"'{context.runtime}'")
    run(["sh", "-e", "-c", commands], cwd=project)
    expect(
        "output of the README's greeter",
        run([os.path.join(project, "build", "greeter")]),
        "hello, one\nhello, two\nhello, three\n",
    )
