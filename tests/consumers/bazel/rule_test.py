"""What the Bazel rule takes and refuses: import paths, tools and libraries of a team's
own, mistakes, and programs that are not built from source."""

import os
import re
import shutil
import subprocess

import pytest

from consumers.bazel.prebuilt import PROTOC
from consumers.bazel.workspace import GENERATE, WORKSPACE
from consumers.context import save_request
from support.commands import run

NO_DEPS = (
    'cc_qarn_rpc_library "NAME": deps is %s. Give it a list of proto_library targets, such as '
    'deps = [":greeting_proto"]; a select() cannot be taken.'
)
NO_NAMESPACE = (
    '//mistakes:NAME_qarn_rpc: services_namespace is "%s", which is not a C++ namespace. '
    'Write names joined by ::, such as "acme::api".'
)
# A call of the rule, what fail() must say. The workspace has such a target in
# a package named mistakes, whose name is put in for NAME.
MISTAKES = {
    "no_deps": ("runtime = RUNTIME", NO_DEPS % "None"),
    "empty_deps": ("runtime = RUNTIME, deps = []", NO_DEPS % "[]"),
    "no_runtime": (
        "deps = [WEATHER]",
        "cc_qarn_rpc_library: runtime is missing. Name the cc_library that provides "
        'qarn/rpc.h: at the target, such as runtime = "//third_party/qarn_rpc", or for the '
        "whole build in .bazelrc, such as "
        "build --@qarn_rpc_gen//bazel:runtime=//third_party/qarn_rpc",
    ),
    "no_program": (
        'deps = [WEATHER], runtime = RUNTIME, plugin = ":group_proto"',
        "//mistakes:group_proto cannot be the plugin: it is not a program.",
    ),
    "own_sources": (
        'deps = [WEATHER], runtime = RUNTIME, srcs = ["more.cc"]',
        'cc_qarn_rpc_library "NAME": srcs is set by the macro. Leave it out; '
        "code of your own belongs in a cc_library that depends on this one.",
    ),
    "one_colon": (
        'deps = [WEATHER], runtime = RUNTIME, services_namespace = "a:b"',
        NO_NAMESPACE % "a:b",
    ),
    "comma": (
        'deps = [WEATHER], runtime = RUNTIME, services_namespace = "a,b=c"',
        NO_NAMESPACE % "a,b=c",
    ),
    "digit_first": (
        'deps = [WEATHER], runtime = RUNTIME, services_namespace = "a::2b"',
        NO_NAMESPACE % "a::2b",
    ),
    "no_proto_file": (
        'deps = [":group_proto"], runtime = RUNTIME',
        "//mistakes:NAME_qarn_rpc: //mistakes:group_proto has no .proto file "
        "of its own. List in deps the proto_library targets whose srcs hold "
        "them.",
    ),
}

MISTAKE_HEAD = """\
load("@com_google_protobuf//bazel:proto_library.bzl", "proto_library")
load("@qarn_rpc_gen//bazel:qarn_rpc.bzl", "cc_qarn_rpc_library")
RUNTIME = "@qarn_rpc_runtime//:qarn_rpc"
WEATHER = "//weather:weather_proto"
proto_library(name = "group_proto", deps = [WEATHER])
"""


def test_import_paths(workspace):
    """Moved and generated .proto files are included by their import path."""
    workspace.add("paths")
    ran = workspace.bazel.build("//paths:user")
    assert len([a for a in ran if a.mnemonic == GENERATE]) == 4
    # A cc_proto_library of the user's own is the same one.
    assert sorted(
        os.path.basename(argument)
        for action in workspace.bazel.aquery(
            'mnemonic("CppCompile", deps(//paths:user))', "--include_aspects"
        )
        for argument in action.arguments
        if action.target.startswith("//paths:") and argument.endswith(".pb.cc")
    ) == ["first.pb.cc", "made.pb.cc", "second.pb.cc", "user.pb.cc"]


def test_own_tools(workspace):
    """A team's own tools and libraries replace the defaults."""
    workspace.add("own")
    # As arguments of one target.
    (generate,) = workspace.bazel.aquery(f'mnemonic("{GENERATE}", //own:weather_rpc_qarn_rpc)')
    assert generate.arguments[:2] == [
        "own/own-protoc",
        "--plugin=protoc-gen-qarn-rpc=own/own-plugin",
    ]
    expect_defined(
        workspace.bazel.aquery('mnemonic("CppCompile", //own:weather_rpc)'),
        ["OWN_BOOST", "OWN_PROTOBUF"],
    )
    # As flags of the whole build, the plugin's own included.
    lines = workspace.project_file(f"{WORKSPACE}/own.bazelrc").splitlines()
    flags = [line.replace("build ", "") for line in lines]
    (generate,) = workspace.bazel.aquery(f'mnemonic("{GENERATE}", //weather:all)', *flags)
    assert generate.arguments[0] == "own/own-protoc"
    expect_defined(
        workspace.bazel.aquery('mnemonic("CppCompile", //weather:weather_rpc)', *flags),
        ["OWN_BOOST", "OWN_PROTOBUF"],
    )
    expect_defined(
        workspace.bazel.aquery('mnemonic("CppCompile", //own:station_rpc)', *flags),
        ["OWN_RUNTIME"],
    )
    expect_defined(
        workspace.bazel.aquery(
            'mnemonic("CppCompile", '
            'filter("@qarn_rpc_gen~?//src:qarn_rpc_gen", deps(//weather)))',
            *flags,
        ),
        ["OWN_BOOST", "OWN_PROTOC_LIB"],
    )


def expect_defined(actions, names):
    """All these compilations, of which there are some, define the names."""
    assert actions
    for action in actions:
        assert [n for n in names if f"-D{n}" in action.arguments] == names, f"macros of {action}"


@pytest.fixture(name="mistakes")
def fixture_mistakes(workspace):
    """Returns what fail() says of a target of the package mistakes, whose text it gets."""

    def said_of(target, text):
        workspace.write("mistakes/BUILD.bazel", text)
        return workspace.bazel.fail_text(f"//mistakes:{target}")

    yield said_of
    shutil.rmtree(workspace.bazel.workspace / "mistakes")


@pytest.mark.parametrize("name", MISTAKES)
def test_mistakes(mistakes, name):
    """Each mistake is refused with the whole text that says what to do."""
    arguments, message = MISTAKES[name]
    text = f'{MISTAKE_HEAD}cc_qarn_rpc_library(name = "{name}", {arguments})\n'
    assert mistakes(name, text) == message.replace("NAME", name)


@pytest.mark.parametrize(
    "plugins, message",
    [
        (
            "{}",
            "plugins is {}. Give it a dictionary, such as "
            '{"linux-x86_64": "protoc-gen-qarn-rpc-any"}.',
        ),
        (
            '{"linux-arm64": "plugin"}',
            'there is no platform "linux-arm64". The platforms are '
            "linux-aarch_64 and linux-x86_64; for another one, use qarn_rpc_toolchain with a "
            "toolchain() of your own.",
        ),
    ],
)
def test_toolchain_mistakes(mistakes, plugins, message):
    """So is what cannot be a set of prebuilt plugins."""
    text = (
        'load("@qarn_rpc_gen//bazel:toolchain.bzl", "qarn_rpc_prebuilt_toolchains")\n'
        f'qarn_rpc_prebuilt_toolchains(name = "here", plugins = {plugins})\n'
    )
    assert mistakes("all", text) == 'qarn_rpc_prebuilt_toolchains "here": ' + message


def test_prebuilt_tools(workspace, prebuilt):
    """Static programs generate the same on a machine without libraries."""
    names = [f"weather/weather_rpc_qarn_rpc/weather/weather{s}" for s in (".rpc.h", ".rpc.cpp")]
    # Named by itself, since Bazel 7 leaves out of reach what is not, where it is
    # in the cache.
    workspace.bazel.build("//weather:weather_rpc_qarn_rpc")
    texts = {name: workspace.generated(name) for name in names}
    # What the machine has installed is hidden from actions.
    bare = ["--sandbox_block_path=/usr", "--sandbox_block_path=/etc"]
    ran = workspace.bazel.build(*bare, *prebuilt.flags(), "//weather:weather_rpc_qarn_rpc")
    assert [action.name for action in ran] == [f"{GENERATE} {names[1]}"]
    for name in names:
        assert workspace.generated(name) == texts[name]
    # That they are hidden indeed: programs with shared libraries fail.
    workspace.replace("weather/weather.proto", "// Simple:", "// A simple one:")
    output = workspace.bazel.refused(
        "build", *workspace.bazel.cache, *bare, "//weather:weather_rpc_qarn_rpc"
    )
    assert re.search("Generating RPC classes of (@@)?//weather:weather_proto failed", output)


def test_platforms(workspace, prebuilt):
    """The programs are those of the platform on which the action runs."""
    programs = {}
    for platform in ["linux_x86_64", "linux_aarch_64"]:
        (generate,) = workspace.bazel.aquery(
            f'mnemonic("{GENERATE}", //weather:all)',
            *prebuilt.flags(),
            f"--extra_execution_platforms=//machines:{platform}",
        )
        programs[platform] = generate.arguments[:2]
    protocs = (
        ["prebuilt/protoc/protoc-linux-x86_64", "prebuilt/protoc/protoc-linux-aarch_64"]
        if workspace.sid
        else [PROTOC] * 2
    )
    plugin = "--plugin=protoc-gen-qarn-rpc=prebuilt/protoc-gen-qarn-rpc-any-"
    assert programs == {
        "linux_x86_64": [protocs[0], plugin + "linux-x86_64"],
        "linux_aarch_64": [protocs[1], plugin + "linux-aarch_64"],
    }


def test_empty_root(workspace, prebuilt):
    """The static plugin needs no file but itself."""
    folders = [f"-I{workspace.bazel.workspace}", f"-I{workspace.source}/proto"]
    request = save_request(workspace.work, *folders, "weather/weather.proto")
    expected = run([prebuilt.static_plugin], stdin=request, merge=False, text=False)
    assert b"weather/weather.rpc.h" in expected
    result = run_in_empty_root(workspace.work, prebuilt.static_plugin, request)
    assert result.returncode == 0
    assert result.stdout == expected
    # The plugin with shared libraries shows that the root is empty.
    generate = workspace.bazel.aquery(f'mnemonic("{GENERATE}", //weather/...)')[0]
    shared = workspace.bazel.exec_root() / generate.arguments[1].split("=")[-1]
    result = run_in_empty_root(workspace.work, shared, request)
    assert result.returncode != 0


def run_in_empty_root(work, program, request):
    root = work / "empty_root"
    shutil.rmtree(root, ignore_errors=True)
    root.mkdir()
    shutil.copy(program, root / "plugin")
    command = ["unshare", "--user", "--map-root-user", "--mount", "--net"]
    with open(request, "rb") as stdin:
        return subprocess.run(
            [*command, "chroot", root, "/plugin"],
            stdin=stdin,
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            env={"PATH": os.environ["PATH"]},
            check=False,
        )


def test_prebuilt_is_not_rebuilt(workspace, prebuilt):
    """With prebuilt tools neither the plugin nor protoc is built from source."""
    # In place of Debian's program, protoc as a target that is compiled.
    workspace.replace(
        "../repositories/protobuf/BUILD",
        'alias(\n    name = "protoc",\n    actual = "@debian//:bin/protoc",\n)\n',
        'cc_binary(name = "protoc", srcs = ["protoc.cc"], deps = [":protoc_lib"])\n',
    )
    workspace.replace(
        "../repositories/protobuf/BUILD", '"cc_library")\n', '"cc_binary", "cc_library")\n'
    )
    workspace.write("../repositories/protobuf/protoc.cc", "")

    protobuf = "protobuf" if workspace.sid else "com_google_protobuf"

    def compiled(*flags):
        """Which of the two are compiled for the user's program."""
        actions = workspace.bazel.aquery('mnemonic("CppCompile", deps(//weather))', *flags)
        places = [place for action in actions for place in action.inputs]
        return {
            name
            for name, source in {
                "plugin": "external/qarn_rpc_gen/src/plugin/generator.cc",
                "protoc": f"external/{protobuf}/protoc.cc",
            }.items()
            if source in places
        }

    assert compiled() == {"plugin", "protoc"}
    assert compiled("--config=prebuilt") == {"protoc"}
    assert compiled(*prebuilt.flags()) == set()
