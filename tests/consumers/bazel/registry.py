"""Writes a registry of Bazel modules that lie on this machine.

It serves the project itself, stand-ins for protobuf and Boost, and what Bazel
7.7 asks for besides. The rules that Debian packages need none: its Bazel takes
these from their folders, whatever a registry has. Nothing is fetched.
"""

import json
import re

# What Bazel asks for, and nothing here uses. Each is an empty module.
UNUSED = {"apple_support": "1.23.1", "buildozer": "7.1.2", "zlib": "1.3.1.bcr.3"}

# Those of protobuf that Bazel and its rules for Python ask for; they are given
# the version that the project wants.
OLD_PROTOBUFS = ["3.19.6", "21.7"]

BOOST = ["algorithm", "preprocessor", "smart_ptr", "unordered"]

# The headers are found where the compiler finds those of the C++ library.
BOOST_BUILD = """\
load("@rules_cc//cc:defs.bzl", "cc_library")

cc_library(
    name = "boost.%s",
    visibility = ["//visibility:public"],
)
"""
BOOST_MODULE = """\
module(name = "%s", version = "1.83.0.bzl.1")

bazel_dep(name = "rules_cc", version = "0.0.11")
"""


def _write(path, text):
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text(text)


def write_registry(folder, project):
    """Writes the registry into `folder`, with the project's tree as a module.

    `folder` is given to Bazel as --registry=file://FOLDER.
    """

    def add(name, version, module, path):
        place = folder / "modules" / name / version
        _write(place / "MODULE.bazel", module)
        _write(place / "source.json", json.dumps({"type": "local_path", "path": str(path)}))

    def add_stand_in(name, version, module, build):
        path = folder / "stand-ins" / name
        _write(path / "MODULE.bazel", module)
        _write(path / "BUILD", build)
        add(name, version, module, path)

    for name, version in UNUSED.items():
        add_stand_in(name, version, f'module(name = "{name}", version = "{version}")\n', "")
    for library in BOOST:
        name = f"boost.{library}"
        add_stand_in(name, "1.83.0.bzl.1", BOOST_MODULE % name, BOOST_BUILD % library)

    protobuf = project / "tests/consumers/bazel/repositories/protobuf"
    module = (protobuf / "MODULE.bazel").read_text()
    add("protobuf", "29.0", module, protobuf)
    for version in OLD_PROTOBUFS:
        add("protobuf", version, module.replace('"29.0"', f'"{version}"'), protobuf)
    module = (project / "MODULE.bazel").read_text()
    add("qarn_rpc_gen", re.search(r'version = "(.*)"', module).group(1), module, project)
