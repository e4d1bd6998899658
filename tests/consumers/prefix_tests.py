"""The installed prefix, moved to where the other tests use it."""

import os
import re

from support.testkit import Failure, expect, expect_in, fresh_folder, need, run

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
    "share/doc/qarn-rpc-gen/examples/echo/CMakeLists.txt",
    "share/doc/qarn-rpc-gen/examples/echo/conversation.txt",
    "share/doc/qarn-rpc-gen/examples/echo/echo_client.cc",
    "share/doc/qarn-rpc-gen/examples/echo/echo_server.cc",
    "share/doc/qarn-rpc-gen/examples/echo/main.cc",
    "share/doc/qarn-rpc-gen/examples/echo/talk.sh",
    "share/doc/qarn-rpc-gen/examples/runtime/README.md",
    "share/doc/qarn-rpc-gen/examples/runtime/qarn/rpc.h",
    "share/doc/qarn-rpc-gen/examples/runtime/qarn/rpc/websocket.cc",
    "share/man/man1/protoc-gen-qarn-rpc-any.1",
    "share/man/man1/protoc-gen-qarn-rpc.1",
    "share/pkgconfig/qarn-rpc-gen.pc",
    "share/qarn-rpc-gen/check_runtime.sh",
    "share/qarn-rpc-gen/check_runtime/names.txt",
    "share/qarn-rpc-gen/check_runtime/probes/StubBase.cc",
}
# Named after the configuration, or growing with the project's documents and with
# the names that generated code uses.
ALSO_INSTALLED = re.compile(
    r"share/cmake/qarn-rpc-gen/qarn-rpc-gen-targets-\w+\.cmake$"
    r"|share/doc/qarn-rpc-gen/[\w/-]+\.(md|svg|proto|cc|h)$"
    r"|share/qarn-rpc-gen/check_runtime/(files|probes)/[\w.]+\.(h|cc|proto)$"
)


def test_install(context):
    """Installs to one prefix and moves it to another, for all other tests."""
    staging = fresh_folder(os.path.join(context.work, "prefix"))
    run(
        ["cmake", "--install", context.build, "--prefix", staging]
        + (["--config", context.config] if context.config else [])
    )
    fresh_folder(os.path.dirname(context.prefix))
    os.rename(staging, context.prefix)


def test_installed_files(context):
    """Exactly the files that users need, none of which names another place."""
    files = {
        os.path.relpath(os.path.join(folder, name), context.prefix)
        for folder, _, names in os.walk(context.prefix)
        for name in names
    }
    programs = {
        os.path.relpath(path, context.prefix) for path in (context.plugin, context.plugin_any)
    }
    expect("programs", {name for name in files if name.startswith("bin/")}, programs)
    files -= programs
    expect(
        "installed files",
        {name for name in files if not ALSO_INSTALLED.match(name)},
        {name for name in INSTALLED if not ALSO_INSTALLED.match(name)},
    )
    expect("documents that must be there", INSTALLED - files, set())
    for name in files:
        with open(os.path.join(context.prefix, name), encoding="utf-8") as file:
            text = file.read()
        for place in (context.source, context.build, context.top):
            if place in text:
                raise Failure(f"{name} holds the path {place}")
    for variable, path in (
        ("plugin", context.plugin),
        ("plugin_any", context.plugin_any),
        ("protodir", os.path.join(context.prefix, "include")),
    ):
        named = run(
            ["pkg-config", f"--variable={variable}", "qarn-rpc-gen"], env=context.pkg_config
        )
        expect(f"pkg-config's {variable}", os.path.normpath(named.strip()), path)


def test_man_page(context):
    """man shows both pages without a warning."""
    need("man")
    for name in ("protoc-gen-qarn-rpc", "protoc-gen-qarn-rpc-any"):
        page = os.path.join(context.prefix, "share", "man", "man1", name + ".1")
        text = run(
            ["man", "--warnings", "-l", page],
            env={"MANWIDTH": "80", "MANPAGER": "cat", "LC_ALL": "C.UTF-8"},
        )
        expect("warnings of man", [line for line in text.splitlines() if "warning" in line], [])
        expect_in(f"the man page of {name}", text, "services_namespace=")
