"""The workspace builds with a real Bazel, from source and out of caches, and each edit
runs what depends on it, as the docs say."""

import os
import re

import pytest

from consumers.bazel.servers import http_cache
from consumers.bazel.workspace import GENERATE, WORKSPACE
from support.commands import run

PROGRAM_OUTPUT = """\
station Zermatt
Latest Zermatt 3
Latest done
History Zermatt 1
History Zermatt 2
History Zermatt 3
History done
Report Zermatt 9
Report done
Check Zermatt 5
Check done
"""


def expect_cached(workspace):
    assert [a.name for a in workspace.bazel.build("//...")] == []
    hits = [a for a in workspace.bazel.cache_hits if a.mnemonic == GENERATE]
    assert len(hits) == 2


def test_build_and_run(workspace):
    """Builds all targets from source in the sandbox and runs the program."""
    ran = workspace.bazel.build("//...")
    assert {action.runner for action in ran} == {"linux-sandbox"}
    generated = [action for action in ran if action.mnemonic == GENERATE]
    assert sorted(a.name for a in generated) == [
        GENERATE + " stations/station_rpc_qarn_rpc/stations/station.rpc.cpp",
        GENERATE + " weather/weather_rpc_qarn_rpc/weather/weather.rpc.cpp",
    ]
    for action in generated:
        assert action.environment == []
    program = workspace.bazel.workspace / "bazel-bin/weather/weather"
    assert run([program]) == PROGRAM_OUTPUT


def test_no_op(workspace):
    """Nothing runs when nothing changed."""
    assert workspace.bazel.build("//...") == []


def test_declared_inputs(workspace):
    """The generator's actions read what they declare, by relative paths."""
    actions = {a.target: a for a in workspace.bazel.aquery(f'mnemonic("{GENERATE}", //...)')}
    assert sorted(actions) == ["//stations:station_rpc_qarn_rpc", "//weather:weather_rpc_qarn_rpc"]
    tools = {
        "external/debian/bin/protoc",
        "BIN/external/qarn_rpc_gen/src/protoc-gen-qarn-rpc-any",
    }
    assert actions["//stations:station_rpc_qarn_rpc"].inputs == tools | {"stations/station.proto"}
    assert actions["//weather:weather_rpc_qarn_rpc"].inputs == (
        tools
        | {
            "weather/weather.proto",
            "stations/station.proto",
            "BIN/external/qarn_rpc_gen/proto/_virtual_imports/"
            "service_options_proto/morvane/qarn/rpc/service_options.proto",
            # Bazel 4 makes a second folder for what it finds in its place.
            "BIN/external/debian/google/protobuf/descriptor.proto"
            if workspace.sid
            else "BIN/external/debian/_virtual_imports/descriptor_proto/"
            "google/protobuf/descriptor.proto",
        }
    )
    for action in actions.values():
        absolute = [
            argument for argument in action.arguments if re.search(r"(^|[=:,]|-I)/", argument)
        ]
        assert absolute == [], f"absolute paths in {action.arguments}"


def test_cache_after_clean(workspace):
    """With a disk cache, a clean build runs nothing again."""
    workspace.bazel.run("clean")
    expect_cached(workspace)


def test_cache_at_another_path(workspace):
    """Nor does a build of the same tree at another path."""
    with workspace.another_tree("second/below/another/path"):
        expect_cached(workspace)


def test_edit_a_comment(workspace):
    """A comment in a .proto file ends at equal generated files."""
    workspace.replace(
        "weather/weather.proto",
        "One method of each kind.",
        "One method of each of the four kinds.",
    )
    workspace.expect_rebuilt(
        [
            "GenProto weather/weather.pb.cc",
            GENERATE + " weather/weather_rpc_qarn_rpc/weather/weather.rpc.cpp",
        ],
    )


def test_edit_a_program(workspace):
    """A .cc file of the user runs no generator."""
    workspace.replace("weather/main.cc", '"station "', '"Station "')
    workspace.expect_rebuilt(
        [
            "CppCompile weather/_objs/weather/main.pic.d",
            "CppLink weather/weather",
        ],
    )


def test_edit_a_service(workspace):
    """A new method stays within its package."""
    workspace.replace(
        "weather/weather.proto",
        "  // Server streaming",
        "  rpc Oldest(demo.stations.Station) returns (Reading);\n\n  // Server streaming",
    )
    workspace.replace(
        "weather/main.cc",
        "  void History(",
        "  void Oldest(qarn_rpc::CallContext*, const Station&,\n"
        "              const OldestCallHandle& handle) override {\n"
        "    handle->Close();\n"
        "  }\n\n"
        "  void History(",
    )
    workspace.expect_rebuilt(
        [
            "GenProto weather/weather.pb.cc",
            GENERATE + " weather/weather_rpc_qarn_rpc/weather/weather.rpc.cpp",
            "CppCompile weather/_objs/weather_proto/weather.pb.pic.d",
            "CppCompile weather/_objs/weather_rpc/weather.rpc.pic.d",
            "CppCompile weather/_objs/weather/main.pic.d",
            "CppLink weather/weather",
        ]
        + workspace.archived("weather/libweather_proto.a", "weather/libweather_rpc.a"),
    )


def test_edit_an_import(workspace):
    """A comment in an imported file reaches the package that imports it."""
    workspace.replace(
        "stations/station.proto",
        "service Registry",
        "// Where stations are entered.\nservice Registry",
    )
    workspace.expect_rebuilt(
        [
            "GenProto stations/station.pb.cc",
            "GenProto weather/weather.pb.cc",
            GENERATE + " stations/station_rpc_qarn_rpc/stations/station.rpc.cpp",
            GENERATE + " weather/weather_rpc_qarn_rpc/weather/weather.rpc.cpp",
        ],
    )


def test_edit_the_plugin(workspace):
    """A change of the plugin reaches all that it generated."""
    project = os.path.relpath(".", WORKSPACE)
    workspace.replace(f"{project}/src/source/frame.cc", "Proudly generated", "Gladly generated")
    plugin = "external/qarn_rpc_gen/src"
    workspace.expect_rebuilt(
        [
            f"CppCompile {plugin}/_objs/qarn_rpc_gen/1/frame.d",
            f"CppLink {plugin}/protoc-gen-qarn-rpc-any",
            GENERATE + " stations/station_rpc_qarn_rpc/stations/station.rpc.cpp",
            GENERATE + " weather/weather_rpc_qarn_rpc/weather/weather.rpc.cpp",
            # Only a comment of the sources changed: the objects are the same.
            "CppCompile stations/_objs/station_rpc/station.rpc.pic.d",
            "CppCompile weather/_objs/weather_rpc/weather.rpc.pic.d",
        ]
        + workspace.archived(f"{plugin}/libqarn_rpc_gen.a"),
    )
    workspace.replace(f"{project}/src/source/frame.cc", "Gladly generated", "Proudly generated")


def test_cache_over_the_network(workspace, sid):
    """Nor does one by another user, whose cache is a server in the network."""
    if not sid:
        pytest.skip("the server is in Debian's sid")
    configuration = workspace.source / "tests/consumers/bazel/nginx.conf"
    with http_cache(workspace.work / "nginx", configuration) as url:
        cache = ["--config=shared_cache", f"--remote_cache={url}"]
        with workspace.another_tree("sender", "output_of_sender", cache):
            ran = [action.mnemonic for action in workspace.bazel.build("//...")]
            assert ran.count(GENERATE) == 2
        receiver = ("receiver/elsewhere", "output_of_receiver", cache, "nobody")
        with workspace.another_tree(*receiver):
            for place in ["receiver", "output_of_receiver"]:
                run(["chown", "-R", "nobody", workspace.work / place])
            expect_cached(workspace)
