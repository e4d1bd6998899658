"""The pages for users of a build against the files that the other tests build."""

import re
import shutil

from support.commands import run

SHOWN = {
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


def test_docs(source):
    """Every file that a page shows is the one that is tested here."""
    pages = [source / "docs" / page for page in ("using.md", "runtime.md")]
    text = "".join(page.read_text() for page in pages)
    shown = set()
    for name, block in re.findall(r"<!-- from (\S+) -->\n+```\w*\n(.*?)```\n", text, re.DOTALL):
        assert block == (source / "tests/consumers" / name).read_text(), name
        shown.add(name)
    # Each marker has a block after it.
    assert text.count("<!-- from ") == len(shown)
    assert SHOWN - shown == set()


def test_docs_arguments(source):
    """The page of qarn_rpc_generate and the function know the same arguments."""
    page = (source / "docs/qarn_rpc_generate.md").read_text()
    function = (source / "cmake/QarnRpcGenerate.cmake").read_text()
    keywords = re.findall(r"^  set\((?:flags|values|lists) (.*)\)$", function, re.MULTILINE)
    documented = re.findall(r"^\| `([A-Z_]+)", page, re.MULTILINE)
    assert set(documented) == set(" ".join(keywords).split())


def test_docs_readme(context):
    """The README's CMake project builds its sample with the commands below it."""
    shown = re.search(
        r"```proto\n(?P<proto>.*?)```\n.*"
        r"```cmake\n(?P<cmake>.*?)```\n+```sh\n(?P<commands>.*?)```\n",
        (context.source / "README.md").read_text(),
        re.DOTALL,
    )
    assert shown, "the README has no sample, CMake project and commands for it"
    (context.work / "greeter.proto").write_text(shown["proto"])
    (context.work / "CMakeLists.txt").write_text(shown["cmake"])
    shutil.copy(context.source / "tests/docs/greeter_main.cc", context.work / "main.cc")
    commands = shown["commands"].replace("=PREFIX", f"='{context.prefix}'")
    commands = commands.replace("PATH_TO_YOUR_RUNTIME", f"'{context.runtime}'")
    run(["sh", "-e", "-c", commands], cwd=context.work)
    printed = run([context.work / "build/greeter"])
    assert printed == "hello, one\nhello, two\nhello, three\n"
