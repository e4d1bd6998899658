"""Builds workspace/ with a real Bazel and checks what the docs say of the rule.

The project and the workspace are copied below the work folder first, so that
files can be edited and the same tree can be built at a second path. With
--sid it is Bazel 7.7 and MODULE.bazel, or else Bazel 4.2 and WORKSPACE. Exit
status 0: all steps passed; 1: one failed; 77: a tool is missing.
"""

import argparse
import os
import re
import shutil
import subprocess
import sys

from consumers.bazel.bazel_driver import Bazel, run_steps
from consumers.bazel.registry import write_registry
from consumers.bazel.servers import http_cache
from support.testkit import Failure, Skip, expect, run, status_of

# What a build from source needs of the project, below its root.
PROJECT_PARTS = [
    "BUILD.bazel",
    "MODULE.bazel",
    "WORKSPACE.bazel",
    "bazel",
    "src",
    "proto",
    "tests/consumers/bazel/repositories",
    "tests/consumers/bazel/workspace",
    "examples/runtime",
]
WORKSPACE = "tests/consumers/bazel/workspace"
GENERATE = "QarnRpcGenerate"
# Where Bazel 4, which knows no toolchain of it, finds a prebuilt protoc.
PROTOC = "prebuilt/protoc"

# Command to its Debian package, and files that stand for a package each, which
# Bazel 4.2 needs.
COMMANDS = {"bazel": "bazel-bootstrap", "unshare": "util-linux"}
FILES = {
    "/usr/share/bazel/rules/proto": "bazel-rules-proto",
    "/usr/share/bazel/rules/java": "bazel-rules-java",
    "/usr/share/bazel/tools/skylib": "bazel-skylib",
    "/usr/share/bazel/tools/platforms": "bazel-platforms",
}

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

# A call of the rule, what fail() must say. The workspace has such a target in
# a package named mistakes, whose name is put in for NAME.
MISTAKES = {
    "no_deps": (
        "runtime = RUNTIME",
        'cc_qarn_rpc_library "NAME": deps is None. Give it a list of '
        'proto_library targets, such as deps = [":greeting_proto"]; a select() '
        "cannot be taken.",
    ),
    "empty_deps": (
        "runtime = RUNTIME, deps = []",
        'cc_qarn_rpc_library "NAME": deps is []. Give it a list of '
        'proto_library targets, such as deps = [":greeting_proto"]; a select() '
        "cannot be taken.",
    ),
    "no_runtime": (
        "deps = [WEATHER]",
        "cc_qarn_rpc_library: runtime is missing. Name the cc_library that provides "
        'qarn/rpc.h: at the target, such as runtime = "//third_party/qarn_rpc", or for the '
        "whole build in .bazelrc, such as "
        "build --@qarn_rpc_gen//bazel:runtime=//third_party/qarn_rpc",
    ),
    "no_program": (
        'deps = [WEATHER], runtime = RUNTIME, plugin = ":group_proto"',
        "//mistakes:group_proto, which is to be the plugin, is no program.",
    ),
    "own_sources": (
        'deps = [WEATHER], runtime = RUNTIME, srcs = ["more.cc"]',
        'cc_qarn_rpc_library "NAME": srcs is set by the macro. Leave it out; '
        "code of your own belongs in a cc_library that depends on this one.",
    ),
    "one_colon": (
        'deps = [WEATHER], runtime = RUNTIME, services_namespace = "a:b"',
        '//mistakes:NAME_qarn_rpc: services_namespace is "a:b", which is no '
        'C++ namespace. Write names joined by ::, such as "acme::api".',
    ),
    "comma": (
        'deps = [WEATHER], runtime = RUNTIME, services_namespace = "a,b=c"',
        '//mistakes:NAME_qarn_rpc: services_namespace is "a,b=c", which is no '
        'C++ namespace. Write names joined by ::, such as "acme::api".',
    ),
    "digit_first": (
        'deps = [WEATHER], runtime = RUNTIME, services_namespace = "a::2b"',
        '//mistakes:NAME_qarn_rpc: services_namespace is "a::2b", which is no '
        'C++ namespace. Write names joined by ::, such as "acme::api".',
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

# Import paths that are not the file's place in the tree, and what each is
# included as.
PATHS_BUILD = """\
load("@com_google_protobuf//bazel:cc_proto_library.bzl", "cc_proto_library")
load("@com_google_protobuf//bazel:proto_library.bzl", "proto_library")
load("@qarn_rpc_gen//bazel:qarn_rpc.bzl", "cc_qarn_rpc_library")
load("@rules_cc//cc:defs.bzl", "cc_library")

proto_library(
    name = "moved_proto",
    srcs = ["deep/first.proto", "deep/second.protodevel"],
    strip_import_prefix = "deep",
    import_prefix = "other/place",
)
genrule(
    name = "copy",
    srcs = ["deep/first.proto"],
    outs = ["made.proto"],
    cmd = "sed s/paths.first/paths.made/ $< > $@",
)
proto_library(name = "made_proto", srcs = ["made.proto"])
proto_library(name = "user_proto", srcs = ["user.proto"], deps = [":made_proto"])
cc_qarn_rpc_library(
    name = "paths_rpc",
    deps = [":moved_proto", ":made_proto", ":user_proto", "//stations:station_proto"],
    runtime = "@qarn_rpc_runtime//:qarn_rpc",
    services_namespace = "acme::v2",
)
cc_proto_library(name = "made_messages", deps = [":made_proto"])
cc_library(
    name = "user",
    srcs = ["user.cc"],
    deps = [":made_messages", ":paths_rpc"],
)
"""
PATHS_USER = """\
#include "other/place/first.rpc.h"
#include "other/place/second.rpc.h"
#include "paths/made.rpc.h"
#include "paths/user.rpc.h"
#include "stations/station.rpc.h"
const char* First() { return paths::first::acme::v2::Pinger::name(); }
const char* Second() { return paths::second::acme::v2::Pinger::name(); }
const char* Made() { return paths::made::acme::v2::Pinger::name(); }
const char* User() { return paths::user::acme::v2::Pinger::name(); }
const char* Station() { return demo::stations::acme::v2::Registry::name(); }
"""
PATHS_PROTO = """\
syntax = "proto3";
package paths.PART;
message Ping {}
service Pinger { rpc Send(Ping) returns (Ping); }
"""
PATHS_USER_PROTO = """\
syntax = "proto3";
package paths.user;
import "paths/made.proto";
service Pinger { rpc Send(paths.made.Ping) returns (paths.made.Ping); }
"""

# A team's own tools and libraries, each told apart by a name of its own.
OWN_BUILD = """\
load("@qarn_rpc_gen//bazel:qarn_rpc.bzl", "cc_qarn_rpc_library")
load("@rules_cc//cc:defs.bzl", "cc_library")
package(default_visibility = ["//visibility:public"])
exports_files(["own-protoc"])
cc_library(name = "boost", defines = ["OWN_BOOST"])
cc_library(name = "protobuf", defines = ["OWN_PROTOBUF"])
cc_library(name = "protoc_lib", defines = ["OWN_PROTOC_LIB"])
cc_library(name = "runtime", defines = ["OWN_RUNTIME"])
cc_qarn_rpc_library(
    name = "weather_rpc",
    boost = ":boost",
    deps = ["//weather:weather_proto"],
    plugin = "own-plugin",
    protobuf = ":protobuf",
    protoc = "own-protoc",
    runtime = "@qarn_rpc_runtime//:qarn_rpc",
)
cc_qarn_rpc_library(name = "station_rpc", deps = ["//stations:station_proto"])
"""


# What the page shows of files.
SHOWN = [
    "../nginx.conf",
    "../siso/build.sh",
    "../siso/build/config/siso/main.star",
    "../siso/rules.ninja",
    ".bazelrc",
    "MODULE.bazel",
    "WORKSPACE.bazel",
    "own.bazelrc",
    "prebuilt/BUILD.bazel",
    "prebuilt/protoc/BUILD.bazel",
    "weather/BUILD.bazel",
]


class Test:
    """The steps, in the order in which main() calls them."""

    def __init__(self, options):
        self.options = options
        self.work = options.work
        self.bazel = self._make_tree("first")

    def _make_tree(self, name, output="output", cache=None, user=None):
        """Copies the project to work/NAME; returns the Bazel of its workspace, with
        the disk cache unless `cache` is the flags of another one."""
        root = os.path.join(self.work, name)
        for part in PROJECT_PARTS:
            source = os.path.join(self.options.source, part)
            target = os.path.join(root, part)
            os.makedirs(os.path.dirname(target), exist_ok=True)
            if os.path.isdir(source):
                shutil.copytree(source, target, ignore=shutil.ignore_patterns("bazel-*"))
            else:
                shutil.copyfile(source, target)
        registry = None
        if self.options.sid:
            registry = os.path.join(root, "registry")
            write_registry(registry, root)
        else:
            # What needs Bazel 7.
            shutil.rmtree(os.path.join(root, WORKSPACE, "prebuilt/protoc"))
        return Bazel(
            os.path.join(root, WORKSPACE),
            os.path.join(self.work, output),
            cache or [f"--disk_cache={self.work}/disk_cache"],
            registry,
            user,
        )

    def _write(self, path, text):
        """Writes a file of the workspace."""
        target = os.path.join(self.bazel.workspace, path)
        os.makedirs(os.path.dirname(target), exist_ok=True)
        with open(target, "w", encoding="utf-8") as file:
            file.write(text)

    def _replace(self, path, old, new):
        """Edits a file of the workspace, or by ../ of the project."""
        with open(os.path.join(self.bazel.workspace, path), encoding="utf-8") as file:
            text = file.read()
        if text.count(old) != 1:
            raise Failure(f"{path} should hold this once, to be edited: {old}")
        self._write(path, text.replace(old, new))

    def _rebuild(self, what, expected):
        """Builds //weather again; `expected` are exactly the actions that ran."""
        ran = self.bazel.build("//weather")
        expect(f"actions after {what}", sorted(action.name for action in ran), sorted(expected))

    def _archived(self, *libraries):
        """The actions that make archives: Debian 12 has a linker that needs none."""
        return [f"CppArchive {library}" for library in libraries] if self.options.sid else []

    # Steps.

    def docs(self):
        """The docs show the files of this workspace and all arguments."""
        text = self._project_file("docs/using-bazel.md")
        blocks = re.findall(r"<!-- (from|part of) (\S+) -->\n```\w*\n(.*?)```\n", text, re.DOTALL)
        expect("fences on the page, two a block", text.count("```"), 2 * len(blocks))
        shown = {}
        for how, name, block in blocks:
            file = self._project_file(os.path.normpath(f"{WORKSPACE}/{name}"))
            if how == "from":
                expect(f"{name} in the docs", block, file)
            elif not block or block not in file:
                raise Failure(f"{name} does not hold what the docs show as a part of it:\n{block}")
            shown.setdefault(name, []).append(block)
        expect("files shown", sorted(shown), SHOWN)
        version = re.search(r"^  VERSION (\S+)$", self._project_file("CMakeLists.txt"), re.M).group(
            1
        )
        for name in ["MODULE.bazel", f"{WORKSPACE}/MODULE.bazel"]:
            if f'"{version}"' not in self._project_file(name):
                raise Failure(f"{name} should name the version {version} of CMakeLists.txt")
        rule = self._project_file("bazel/qarn_rpc.bzl")
        signature = re.search(
            r"^def cc_qarn_rpc_library\((.*?)\*\*kwargs", rule, re.DOTALL | re.MULTILINE
        ).group(1)
        expect(
            "arguments in the docs",
            re.findall(
                r"^\| `(\w+)` \|", text.split("| Argument |")[1].split("\n\n")[0], re.MULTILINE
            ),
            re.findall(r"^ +(\w+)", signature, re.MULTILINE),
        )

    def build_and_run(self):
        """Builds all targets from source in the sandbox and runs the program."""
        ran = self.bazel.build("//...")
        expect("ways in which actions ran", {action.runner for action in ran}, {"linux-sandbox"})
        generated = [action for action in ran if action.mnemonic == GENERATE]
        expect(
            "generator actions",
            sorted(a.name for a in generated),
            [
                GENERATE + " stations/station_rpc_qarn_rpc/stations/station.rpc.cpp",
                GENERATE + " weather/weather_rpc_qarn_rpc/weather/weather.rpc.cpp",
            ],
        )
        for action in generated:
            expect(f"environment of {action.name}", action.environment, [])
        program = os.path.join(self.bazel.workspace, "bazel-bin/weather/weather")
        expect("output of the program", run([program]), PROGRAM_OUTPUT)

    def no_op(self):
        """Nothing runs when nothing changed."""
        expect("actions", self.bazel.build("//..."), [])

    def declared_inputs(self):
        """The generator's actions read what they declare, by relative paths."""
        actions = {a.target: a for a in self.bazel.aquery(f'mnemonic("{GENERATE}", //...)')}
        expect(
            "targets with a generator action",
            sorted(actions),
            ["//stations:station_rpc_qarn_rpc", "//weather:weather_rpc_qarn_rpc"],
        )
        tools = {
            "external/debian/bin/protoc",
            "BIN/external/qarn_rpc_gen/src/protoc-gen-qarn-rpc-any",
        }
        expect(
            "inputs of the package without imports",
            actions["//stations:station_rpc_qarn_rpc"].inputs,
            tools | {"stations/station.proto"},
        )
        expect(
            "inputs of the package with imports",
            actions["//weather:weather_rpc_qarn_rpc"].inputs,
            tools
            | {
                "weather/weather.proto",
                "stations/station.proto",
                "BIN/external/qarn_rpc_gen/proto/_virtual_imports/"
                "service_options_proto/morvane/qarn/rpc/service_options.proto",
                # Bazel 4 makes a second folder for what it finds in its place.
                "BIN/external/debian/google/protobuf/descriptor.proto"
                if self.options.sid
                else "BIN/external/debian/_virtual_imports/descriptor_proto/"
                "google/protobuf/descriptor.proto",
            },
        )
        for action in actions.values():
            absolute = [
                argument for argument in action.arguments if re.search(r"(^|[=:,]|-I)/", argument)
            ]
            expect(f"absolute paths in {action.arguments}", absolute, [])

    def cache_after_clean(self):
        """With a disk cache, a clean build runs nothing again."""
        self.bazel.run("clean")
        self._expect_cached()

    def cache_at_another_path(self):
        """Nor does a build of the same tree at another path."""
        first = self.bazel
        first.shutdown()
        self.bazel = self._make_tree("second/below/another/path")
        try:
            self._expect_cached()
        finally:
            self.bazel.shutdown()
            self.bazel = first

    def _expect_cached(self):
        expect(
            "actions that ran in spite of the cache",
            [a.name for a in self.bazel.build("//...")],
            [],
        )
        hits = [a for a in self.bazel.cache_hits if a.mnemonic == GENERATE]
        expect("generator actions out of the cache", len(hits), 2)

    def cache_over_the_network(self):
        """Nor does one by another user, whose cache is a server in the network."""
        first = self.bazel
        first.shutdown()
        with http_cache(
            os.path.join(self.work, "nginx"),
            self._project_path("tests/consumers/bazel/nginx.conf"),
        ) as url:
            cache = ["--config=shared_cache", f"--remote_cache={url}"]
            self.bazel = self._make_tree("sender", "output_of_sender", cache)
            try:
                ran = [action.mnemonic for action in self.bazel.build("//...")]
                expect("generator actions of the one who sends", ran.count(GENERATE), 2)
            finally:
                self.bazel.shutdown()
            self.bazel = self._make_tree(
                "receiver/elsewhere", "output_of_receiver", cache, "nobody"
            )
            for place in ["receiver", "output_of_receiver"]:
                run(["chown", "-R", "nobody", os.path.join(self.work, place)])
            try:
                self._expect_cached()
            finally:
                self.bazel.shutdown()
                self.bazel = first

    def edit_a_comment(self):
        """A comment in a .proto file ends at equal generated files."""
        self._replace(
            "weather/weather.proto",
            "One method of each kind.",
            "One method of each of the four kinds.",
        )
        self._rebuild(
            "a new comment in weather.proto",
            [
                "GenProto weather/weather.pb.cc",
                GENERATE + " weather/weather_rpc_qarn_rpc/weather/weather.rpc.cpp",
            ],
        )

    def edit_a_program(self):
        """A .cc file of the user runs no generator."""
        self._replace("weather/main.cc", '"station "', '"Station "')
        self._rebuild(
            "a change of main.cc",
            [
                "CppCompile weather/_objs/weather/main.pic.d",
                "CppLink weather/weather",
            ],
        )

    def edit_a_service(self):
        """A new method stays within its package."""
        self._replace(
            "weather/weather.proto",
            "  // Server streaming",
            "  rpc Oldest(demo.stations.Station) returns (Reading);\n\n  // Server streaming",
        )
        self._replace(
            "weather/main.cc",
            "  void History(",
            "  void Oldest(qarn_rpc::CallContext*, const Station&,\n"
            "              const OldestCallHandle& handle) override {\n"
            "    handle->Close();\n"
            "  }\n\n"
            "  void History(",
        )
        self._rebuild(
            "a new method in weather.proto",
            [
                "GenProto weather/weather.pb.cc",
                GENERATE + " weather/weather_rpc_qarn_rpc/weather/weather.rpc.cpp",
                "CppCompile weather/_objs/weather_proto/weather.pb.pic.d",
                "CppCompile weather/_objs/weather_rpc/weather.rpc.pic.d",
                "CppCompile weather/_objs/weather/main.pic.d",
                "CppLink weather/weather",
            ]
            + self._archived("weather/libweather_proto.a", "weather/libweather_rpc.a"),
        )

    def edit_an_import(self):
        """A comment in an imported file reaches the package that imports it."""
        self._replace(
            "stations/station.proto",
            "service Registry",
            "// Where stations are entered.\nservice Registry",
        )
        self._rebuild(
            "a new comment in station.proto",
            [
                "GenProto stations/station.pb.cc",
                "GenProto weather/weather.pb.cc",
                GENERATE + " stations/station_rpc_qarn_rpc/stations/station.rpc.cpp",
                GENERATE + " weather/weather_rpc_qarn_rpc/weather/weather.rpc.cpp",
            ],
        )

    def edit_the_plugin(self):
        """A change of the plugin reaches all that it generated."""
        project = os.path.relpath(".", WORKSPACE)
        self._replace(f"{project}/src/source/frame.cc", "Proudly generated", "Gladly generated")
        plugin = "external/qarn_rpc_gen/src"
        self._rebuild(
            "a change of the plugin",
            [
                f"CppCompile {plugin}/_objs/qarn_rpc_gen/1/frame.d",
                f"CppLink {plugin}/protoc-gen-qarn-rpc-any",
                GENERATE + " stations/station_rpc_qarn_rpc/stations/station.rpc.cpp",
                GENERATE + " weather/weather_rpc_qarn_rpc/weather/weather.rpc.cpp",
                # Only a comment of the sources changed: the objects are the same.
                "CppCompile stations/_objs/station_rpc/station.rpc.pic.d",
                "CppCompile weather/_objs/weather_rpc/weather.rpc.pic.d",
            ]
            + self._archived(f"{plugin}/libqarn_rpc_gen.a"),
        )
        self._replace(f"{project}/src/source/frame.cc", "Gladly generated", "Proudly generated")

    def import_paths(self):
        """Moved and generated .proto files are included by their import path."""
        for name in ["first.proto", "second.protodevel"]:
            part = name.split(".")[0]
            self._write(f"paths/deep/{name}", PATHS_PROTO.replace("PART", part))
        self._write("paths/user.proto", PATHS_USER_PROTO)
        self._write("paths/user.cc", PATHS_USER)
        self._write("paths/BUILD.bazel", PATHS_BUILD)
        ran = self.bazel.build("//paths:user")
        expect(
            "number of generator actions, one a proto_library",
            len([a for a in ran if a.mnemonic == GENERATE]),
            4,
        )
        # A cc_proto_library of the user's own is the same one.
        expect(
            "compilations of messages",
            sorted(
                os.path.basename(argument)
                for action in self.bazel.aquery(
                    'mnemonic("CppCompile", deps(//paths:user))', "--include_aspects"
                )
                for argument in action.arguments
                if action.target.startswith("//paths:") and argument.endswith(".pb.cc")
            ),
            ["first.pb.cc", "made.pb.cc", "second.pb.cc", "user.pb.cc"],
        )

    def own_tools(self):
        """A team's own tools and libraries replace the defaults."""
        self._write("own/own-plugin", "")
        self._write("own/own-protoc", "")
        self._write("own/BUILD.bazel", OWN_BUILD)
        # As arguments of one target.
        (generate,) = self.bazel.aquery(f'mnemonic("{GENERATE}", //own:weather_rpc_qarn_rpc)')
        expect(
            "protoc and plugin",
            generate.arguments[:2],
            ["own/own-protoc", "--plugin=protoc-gen-qarn-rpc=own/own-plugin"],
        )
        self._expect_defined(
            self.bazel.aquery('mnemonic("CppCompile", //own:weather_rpc)'),
            ["OWN_BOOST", "OWN_PROTOBUF"],
        )
        # As flags of the whole build, the plugin's own included.
        lines = self._project_file(f"{WORKSPACE}/own.bazelrc").splitlines()
        flags = [line.replace("build ", "") for line in lines]
        (generate,) = self.bazel.aquery(f'mnemonic("{GENERATE}", //weather:all)', *flags)
        expect("protoc by flag", generate.arguments[0], "own/own-protoc")
        self._expect_defined(
            self.bazel.aquery('mnemonic("CppCompile", //weather:weather_rpc)', *flags),
            ["OWN_BOOST", "OWN_PROTOBUF"],
        )
        self._expect_defined(
            self.bazel.aquery('mnemonic("CppCompile", //own:station_rpc)', *flags),
            ["OWN_RUNTIME"],
        )
        self._expect_defined(
            self.bazel.aquery(
                'mnemonic("CppCompile", '
                'filter("@qarn_rpc_gen~?//src:qarn_rpc_gen", deps(//weather)))',
                *flags,
            ),
            ["OWN_BOOST", "OWN_PROTOC_LIB"],
        )

    def _expect_defined(self, actions, names):
        """All these compilations, of which there are some, define the names."""
        if not actions:
            raise Failure(f"nothing is compiled that could define {names}")
        for action in actions:
            expect(f"macros of {action}", [n for n in names if f"-D{n}" in action.arguments], names)

    def mistakes(self):
        """Each mistake is refused with the whole text that says what to do."""
        for name, (arguments, message) in MISTAKES.items():
            self._write(
                "mistakes/BUILD.bazel",
                MISTAKE_HEAD + f'cc_qarn_rpc_library(name = "{name}", {arguments})\n',
            )
            expect(
                f"message of {name}",
                self.bazel.fail_text(f"//mistakes:{name}"),
                message.replace("NAME", name),
            )
        shutil.rmtree(os.path.join(self.bazel.workspace, "mistakes"))

    def toolchain_mistakes(self):
        """So is what cannot be a set of prebuilt plugins."""
        for plugins, message in {
            "{}": "plugins is {}. Give it a dictionary, such as "
            '{"linux-x86_64": "protoc-gen-qarn-rpc-any"}.',
            '{"linux-arm64": "plugin"}': 'there is no platform "linux-arm64". The platforms are '
            "linux-aarch_64 and linux-x86_64; for another one, use qarn_rpc_toolchain with a "
            "toolchain() of your own.",
        }.items():
            self._write(
                "mistakes/BUILD.bazel",
                'load("@qarn_rpc_gen//bazel:toolchain.bzl", "qarn_rpc_prebuilt_toolchains")\n'
                f'qarn_rpc_prebuilt_toolchains(name = "here", plugins = {plugins})\n',
            )
            expect(
                f"message of {plugins}",
                self.bazel.fail_text("//mistakes:all"),
                'qarn_rpc_prebuilt_toolchains "here": ' + message,
            )
        shutil.rmtree(os.path.join(self.bazel.workspace, "mistakes"))

    def link_static_tools(self):
        """Links the plugin and a protoc without shared libraries."""
        build = os.path.join(self.work, "static_plugin")
        run(
            [
                self.options.cmake,
                "-S",
                self.options.source,
                "-B",
                build,
                "-DCMAKE_BUILD_TYPE=Release",
                "-DQARN_RPC_BUILD_TESTS=OFF",
                "-DQARN_RPC_STATIC=ON",
            ]
        )
        run(
            [
                self.options.cmake,
                "--build",
                build,
                "--parallel",
                "2",
                "--target",
                "protoc-gen-qarn-rpc-any",
            ]
        )
        self.static_plugin = os.path.join(build, "protoc-gen-qarn-rpc-any")
        prebuilt = os.path.join(self.bazel.workspace, "prebuilt")
        shutil.copy(self.static_plugin, f"{prebuilt}/protoc-gen-qarn-rpc-any-linux-x86_64")
        self._write("prebuilt/protoc-gen-qarn-rpc-any-linux-aarch_64", "")
        protoc = f"{prebuilt}/protoc/protoc-linux-x86_64" if self.options.sid else PROTOC
        run(
            [
                self.options.cxx,
                "-std=c++17",
                "-static",
                os.path.join(self.options.source, "tests/consumers/bazel/static_protoc.cc"),
                "-o",
                os.path.join(self.bazel.workspace, protoc),
                "-lprotoc",
                "-lprotobuf",
                "-lz",
                "-lpthread",
            ]
        )
        if self.options.sid:
            self._write("prebuilt/protoc/protoc-linux-aarch_64", "")

    def _prebuilt_flags(self):
        """What has plugin and protoc taken from //prebuilt."""
        if self.options.sid:
            return ["--config=prebuilt", "--config=prebuilt_protoc"]
        protoc = "//" + PROTOC.replace("/", ":")
        return [
            "--config=prebuilt",
            f"--@qarn_rpc_gen//bazel:protoc={protoc}",
            f"--proto_compiler={protoc}",
        ]

    def prebuilt_tools(self):
        """Static programs generate the same on a machine without libraries."""
        names = [f"weather/weather_rpc_qarn_rpc/weather/weather{s}" for s in (".rpc.h", ".rpc.cpp")]
        # Named by itself, since Bazel 7 leaves out of reach what is not, where it is
        # in the cache.
        self.bazel.build("//weather:weather_rpc_qarn_rpc")
        texts = {name: self._generated(name) for name in names}
        # What the machine has installed is hidden from actions.
        bare = ["--sandbox_block_path=/usr", "--sandbox_block_path=/etc"]
        ran = self.bazel.build(*bare, *self._prebuilt_flags(), "//weather:weather_rpc_qarn_rpc")
        expect("actions", [action.name for action in ran], [f"{GENERATE} {names[1]}"])
        for name in names:
            if texts[name] != self._generated(name):
                raise Failure(
                    f"{name} of the prebuilt plugin differs from that of one built from source"
                )
        # That they are hidden indeed: programs with shared libraries fail.
        self._replace("weather/weather.proto", "// Simple:", "// A simple one:")
        output = self.bazel.refused(
            "build", *self.bazel.cache, *bare, "//weather:weather_rpc_qarn_rpc"
        )
        if not re.search("Generating RPC classes of (@@)?//weather:weather_proto failed", output):
            raise Failure(f"it failed for another reason:\n{output}")

    def prebuilt_is_not_rebuilt(self):
        """With prebuilt tools neither the plugin nor protoc is built from source."""
        # In place of Debian's program, protoc as a target that is compiled.
        self._replace(
            "../repositories/protobuf/BUILD",
            'alias(\n    name = "protoc",\n    actual = "@debian//:bin/protoc",\n)\n',
            'cc_binary(name = "protoc", srcs = ["protoc.cc"], deps = [":protoc_lib"])\n',
        )
        self._replace(
            "../repositories/protobuf/BUILD", '"cc_library")\n', '"cc_binary", "cc_library")\n'
        )
        self._write("../repositories/protobuf/protoc.cc", "")

        protobuf = "protobuf" if self.options.sid else "com_google_protobuf"

        def compiled(*flags):
            """Which of the two are compiled for the user's program."""
            actions = self.bazel.aquery('mnemonic("CppCompile", deps(//weather))', *flags)
            places = [place for action in actions for place in action.inputs]
            return {
                name
                for name, source in {
                    "plugin": "external/qarn_rpc_gen/src/plugin/generator.cc",
                    "protoc": f"external/{protobuf}/protoc.cc",
                }.items()
                if source in places
            }

        expect("compiled where nothing is prebuilt", compiled(), {"plugin", "protoc"})
        expect("compiled where the plugin is", compiled("--config=prebuilt"), {"protoc"})
        expect("compiled where both are", compiled(*self._prebuilt_flags()), set())

    def platforms(self):
        """The programs are those of the platform on which the action runs."""
        programs = {}
        for platform in ["linux_x86_64", "linux_aarch_64"]:
            (generate,) = self.bazel.aquery(
                f'mnemonic("{GENERATE}", //weather:all)',
                *self._prebuilt_flags(),
                f"--extra_execution_platforms=//machines:{platform}",
            )
            programs[platform] = generate.arguments[:2]
        protocs = (
            ["prebuilt/protoc/protoc-linux-x86_64", "prebuilt/protoc/protoc-linux-aarch_64"]
            if self.options.sid
            else [PROTOC] * 2
        )
        plugin = "--plugin=protoc-gen-qarn-rpc=prebuilt/protoc-gen-qarn-rpc-any-"
        expect(
            "protoc and plugin by platform",
            programs,
            {
                "linux_x86_64": [protocs[0], plugin + "linux-x86_64"],
                "linux_aarch_64": [protocs[1], plugin + "linux-aarch_64"],
            },
        )

    def _project_path(self, path):
        return os.path.join(self.options.source, path)

    def _project_file(self, path):
        with open(self._project_path(path), encoding="utf-8") as file:
            return file.read()

    def _generated(self, path):
        with open(os.path.join(self.bazel.workspace, "bazel-bin", path), "rb") as file:
            return file.read()

    def empty_root(self):
        """The static plugin needs no file but itself."""
        request = self._save_request()
        expected = run([self.static_plugin], stdin=request, merge=False, text=False)
        if b"weather/weather.rpc.h" not in expected:
            raise Failure("the plugin's response names no weather.rpc.h")
        result = self._run_in_empty_root(self.static_plugin, request)
        expect("exit code", result.returncode, 0)
        if result.stdout != expected:
            raise Failure("the response in the empty root differs")
        # The plugin with shared libraries shows that the root is empty.
        shared = os.path.join(
            self.bazel.exec_root(),
            self.bazel.aquery(f'mnemonic("{GENERATE}", //weather/...)')[0]
            .arguments[1]
            .split("=")[-1],
        )
        result = self._run_in_empty_root(shared, request)
        if result.returncode == 0:
            raise Failure(
                "a plugin with shared libraries ran too: " "the root cannot have been empty"
            )

    def _save_request(self):
        """Has protoc send its request for weather.proto into a file."""
        request = os.path.join(self.work, "request")
        recorder = os.path.join(self.work, "protoc-gen-record")
        with open(recorder, "w", encoding="utf-8") as file:
            file.write(f"#!/bin/sh\nexec cat > '{request}'\n")
        os.chmod(recorder, 0o755)
        run(
            [
                self.options.protoc,
                f"--plugin={recorder}",
                f"--record_out={self.work}",
                f"-I{self.bazel.workspace}",
                f"-I{self.options.source}/proto",
                "weather/weather.proto",
            ]
        )
        return request

    def _run_in_empty_root(self, program, request):
        root = os.path.join(self.work, "empty_root")
        shutil.rmtree(root, ignore_errors=True)
        os.mkdir(root)
        shutil.copy(program, os.path.join(root, "plugin"))
        with open(request, "rb") as stdin:
            return subprocess.run(
                [
                    "unshare",
                    "--user",
                    "--map-root-user",
                    "--mount",
                    "--net",
                    "chroot",
                    root,
                    "/plugin",
                ],
                stdin=stdin,
                stdout=subprocess.PIPE,
                stderr=subprocess.PIPE,
                env={"PATH": os.environ["PATH"]},
                check=False,
            )


STEPS = [
    Test.docs,
    Test.build_and_run,
    Test.no_op,
    Test.declared_inputs,
    Test.cache_after_clean,
    Test.cache_at_another_path,
    Test.edit_a_comment,
    Test.edit_a_program,
    Test.edit_a_service,
    Test.edit_an_import,
    Test.edit_the_plugin,
    Test.import_paths,
    Test.own_tools,
    Test.mistakes,
    Test.toolchain_mistakes,
    Test.link_static_tools,
    Test.prebuilt_tools,
    Test.platforms,
    Test.empty_root,
    Test.prebuilt_is_not_rebuilt,
]
# With servers that sid has.
SID_STEPS = [Test.cache_over_the_network]


def missing_tools(sid):
    """What the test needs and this machine lacks, as a list of texts."""
    missing = [
        f"{command} (Debian package {package})"
        for command, package in COMMANDS.items()
        if not shutil.which(command)
    ]
    missing += [
        f"{path} (Debian package {package})"
        for path, package in FILES.items()
        if not sid and not os.path.isdir(path)
    ]
    if (
        not missing
        and subprocess.run(
            ["unshare", "--user", "--map-root-user", "--mount", "true"], check=False
        ).returncode
        != 0
    ):
        missing.append("user namespaces, which Bazel's sandbox is made of")
    return missing


def remove_tree(path):
    """Removes a folder, the read-only outputs of Bazel in it included."""
    for folder, _, _ in os.walk(path):
        os.chmod(folder, 0o755)
    shutil.rmtree(path, ignore_errors=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--source", required=True, help="root of the project")
    parser.add_argument("--work", required=True, help="folder to work in, emptied")
    parser.add_argument("--cmake", default="cmake")
    parser.add_argument("--cxx", default="c++")
    parser.add_argument("--protoc", default="protoc")
    parser.add_argument("--sid", action="store_true", help="Bazel 7.7 with modules, of Debian sid")
    options = parser.parse_args()
    options.source = os.path.abspath(options.source)
    options.work = os.path.abspath(options.work)

    missing = missing_tools(options.sid)
    if missing:
        raise Skip("for lack of " + ", ".join(missing))
    remove_tree(options.work)
    os.makedirs(options.work)
    run_steps(Test(options), STEPS + (SID_STEPS if options.sid else []))


if __name__ == "__main__":
    sys.exit(status_of(main))
