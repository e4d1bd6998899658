"""The installed prefix, moved to where the other tests use it."""

import re

import pytest

from consumers.context import fresh_folder
from support.commands import run, words

INSTALLED = {
    "include/morvane/qarn/rpc/service_options.proto",
    "share/cmake/qarn-rpc-gen/QarnRpcCheck.cmake",
    "share/cmake/qarn-rpc-gen/QarnRpcCheckRuntime.cmake",
    "share/cmake/qarn-rpc-gen/QarnRpcCompile.cmake",
    "share/cmake/qarn-rpc-gen/QarnRpcGenerate.cmake",
    "share/cmake/qarn-rpc-gen/QarnRpcIncludes.cmake",
    "share/cmake/qarn-rpc-gen/QarnRpcJoin.cmake",
    "share/cmake/qarn-rpc-gen/QarnRpcRun.cmake",
    "share/cmake/qarn-rpc-gen/QarnRpcTools.cmake",
    "share/cmake/qarn-rpc-gen/qarn-rpc-gen-config-version.cmake",
    "share/cmake/qarn-rpc-gen/qarn-rpc-gen-config.cmake",
    "share/cmake/qarn-rpc-gen/qarn-rpc-gen-targets.cmake",
    "share/doc/qarn-rpc-gen/README.md",
    "share/doc/qarn-rpc-gen/docs/using.md",
    "share/doc/qarn-rpc-gen/docs/using/cmake.md",
    "share/doc/qarn-rpc-gen/examples/echo/CMakeLists.txt",
    "share/doc/qarn-rpc-gen/examples/echo/conversation.txt",
    "share/doc/qarn-rpc-gen/examples/echo/echo_client.cc",
    "share/doc/qarn-rpc-gen/examples/echo/echo_server.cc",
    "share/doc/qarn-rpc-gen/examples/echo/main.cc",
    "share/doc/qarn-rpc-gen/examples/echo/talk.sh",
    "share/doc/qarn-rpc-gen/examples/greeter/CMakeLists.txt",
    "share/doc/qarn-rpc-gen/examples/greeter/main.cc",
    "share/doc/qarn-rpc-gen/examples/runtime/README.md",
    "share/doc/qarn-rpc-gen/examples/runtime/qarn/rpc.h",
    "share/doc/qarn-rpc-gen/examples/runtime/qarn/rpc/websocket.cc",
    "share/man/man1/protoc-gen-qarn-rpc-any.1",
    "share/man/man1/protoc-gen-qarn-rpc-lint.1",
    "share/man/man1/protoc-gen-qarn-rpc.1",
    "share/pkgconfig/qarn-rpc-gen.pc",
    "share/qarn-rpc-gen/check_runtime.sh",
    "share/qarn-rpc-gen/check_runtime/desk.h",
    "share/qarn-rpc-gen/check_runtime/probe.h",
    "share/qarn-rpc-gen/check_runtime/probes.cc",
}
# Named after the configuration, or growing with the project's documents and with
# what a runtime is checked with.
ALSO_INSTALLED = re.compile(
    r"share/cmake/qarn-rpc-gen/qarn-rpc-gen-targets-\w+\.cmake$"
    r"|share/doc/qarn-rpc-gen/[\w/-]+\.(md|svg|proto|cc|h)$"
    r"|share/qarn-rpc-gen/check_runtime/files/[\w.]+\.(cc|proto)$"
)


def test_install(built, prefix, tmp_path):
    """Installs to one prefix and moves it to another, for all other tests."""
    command = ["cmake", "--install", built.build, "--prefix", tmp_path / "prefix"]
    run(command + (["--config", built.config] if built.config else []))
    fresh_folder(prefix.parent)
    (tmp_path / "prefix").rename(prefix)


def test_installed_files(request, context):
    """Exactly the files that users need, none of which names another place."""
    files = {
        str(path.relative_to(context.prefix))
        for path in context.prefix.rglob("*")
        if not path.is_dir()
    }
    programs = {f"bin/{path.name}" for path in context.plugins}
    assert {name for name in files if name.startswith("bin/")} == programs
    files -= programs
    fixed = {name for name in INSTALLED if not ALSO_INSTALLED.match(name)}
    assert {name for name in files if not ALSO_INSTALLED.match(name)} == fixed
    assert INSTALLED <= files
    places = [context.source, context.prefix]
    if request.config.getoption("built"):
        places.append(request.getfixturevalue("built").build)
    for name in files:
        text = (context.prefix / name).read_text()
        assert [place for place in places if str(place) in text] == [], name
    context.expect_found_by_pkg_config()


@pytest.mark.needs("man")
@pytest.mark.parametrize("name", ["", "-any", "-lint"])
def test_man_page(prefix, name):
    """man shows each page without a warning."""
    text = run(
        ["man", "--warnings", "-l", prefix / f"share/man/man1/protoc-gen-qarn-rpc{name}.1"],
        env={"MANWIDTH": "80", "MANPAGER": "cat", "LC_ALL": "C.UTF-8"},
    )
    assert [line for line in text.splitlines() if re.search(r":\d+: warning", line)] == []
    assert "services_namespace=" in words(text)
