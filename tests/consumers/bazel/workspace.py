"""The tree of the project and the workspace in it, copied so that files can be edited
and the same tree can be built at a second path."""

import contextlib
import os
import shutil
import subprocess

from consumers.bazel.driver import Bazel
from consumers.bazel.registry import write_registry

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

# What Debian's Bazel 4.2 needs, and the package that each is of.
RULES = {
    "/usr/share/bazel/rules/proto": "bazel-rules-proto",
    "/usr/share/bazel/rules/java": "bazel-rules-java",
    "/usr/share/bazel/tools/skylib": "bazel-skylib",
    "/usr/share/bazel/tools/platforms": "bazel-platforms",
}


def missing(sid):
    """What Bazel needs and this machine lacks, as a list of texts."""
    needed = {} if sid else RULES
    for tool, package in (("bazel", "bazel-bootstrap"), ("unshare", "util-linux")):
        needed = {**needed, shutil.which(tool) or tool: package}
    lacking = [f"{path} (Debian's {needed[path]})" for path in needed if not os.path.exists(path)]
    sandbox = ["unshare", "--user", "--map-root-user", "--mount", "true"]
    if not lacking and subprocess.run(sandbox, check=False).returncode != 0:
        lacking = ["user namespaces, which Bazel's sandbox is made of"]
    return lacking


class Workspace:
    """The Bazel of the workspace in work/first, and the files there. With `sid` it is
    Bazel 7.7 and MODULE.bazel, or else Bazel 4.2 and WORKSPACE."""

    def __init__(self, source, work, sid):
        self.source, self.work, self.sid = source, work, sid
        self.bazel = self.make_tree("first")

    def make_tree(self, name, output="output", cache=None, user=None):
        """Copies the project to work/NAME; returns the Bazel of its workspace, with
        the disk cache unless `cache` is the flags of another one."""
        root = self.work / name
        for part in PROJECT_PARTS:
            source, target = self.source / part, root / part
            target.parent.mkdir(parents=True, exist_ok=True)
            if source.is_dir():
                shutil.copytree(source, target, ignore=shutil.ignore_patterns("bazel-*"))
            else:
                shutil.copyfile(source, target)
        registry = None
        if self.sid:
            registry = root / "registry"
            write_registry(registry, root)
        else:
            # What needs Bazel 7.
            shutil.rmtree(root / WORKSPACE / "prebuilt/protoc")
        cache = cache or [f"--disk_cache={self.work}/disk_cache"]
        return Bazel(root / WORKSPACE, self.work / output, cache, registry, user)

    @contextlib.contextmanager
    def another_tree(self, *arguments):
        """Works in another tree, for which make_tree has the arguments, and goes back."""
        first = self.bazel
        first.shutdown()
        self.bazel = self.make_tree(*arguments)
        try:
            yield
        finally:
            self.bazel.shutdown()
            self.bazel = first

    def write(self, path, text):
        """Writes a file of the workspace."""
        target = self.bazel.workspace / path
        target.parent.mkdir(parents=True, exist_ok=True)
        target.write_text(text)

    def add(self, package):
        """Adds a package of the folder `added`."""
        added = self.source / "tests/consumers/bazel/added"
        shutil.copytree(added / package, self.bazel.workspace / package)

    def replace(self, path, old, new):
        """Edits a file of the workspace, or by ../ of the project."""
        text = (self.bazel.workspace / path).read_text()
        assert text.count(old) == 1, path
        self.write(path, text.replace(old, new))

    def expect_rebuilt(self, expected):
        """Builds //weather again; `expected` are exactly the actions that ran."""
        ran = self.bazel.build("//weather")
        assert sorted(action.name for action in ran) == sorted(expected)

    def archived(self, *libraries):
        """The actions that make archives: Debian 12 has a linker that needs none."""
        return [f"CppArchive {library}" for library in libraries] if self.sid else []

    def project_file(self, path):
        """The text of a file of the project."""
        return (self.source / path).read_text()

    def generated(self, path):
        return (self.bazel.workspace / "bazel-bin" / path).read_bytes()
