"""Where a test finds everything, and how it makes and watches a project."""

import os
import re
import shutil

from consumers.watched_build import WatchedBuild
from support.commands import run

TEXT = {"generate text", "compile text.pb", "compile text.rpc"}
ECHO = {"generate echo", "compile echo.pb", "compile echo.rpc", "compile main", "link echo"}
SCHEMA = {"generate service_options", "compile service_options.pb"}
OPTIONS = SCHEMA | {"link libqarn_rpc_service_options.a"}


def runs(steps):
    """What is left of `steps` after an edit that changes no generated file."""
    return {step for step in steps if step.startswith("generate ")}


def expect_exact_rebuilds(context, project, build, schema):
    """The echo project builds, and talks. An edit costs what depends on it: runs of
    protoc alone where it changes nothing in the generated files. `schema` are the
    steps for the options."""
    text, echo = project / "text.proto", project / "echo.proto"
    # It is not implemented in main.cc, so that it can get methods.
    append(echo, "service Shouts {\n}\n")
    build.expect_all(TEXT | ECHO | schema)
    context.expect_conversation(build.folder / "echo")
    build.expect_after(text, runs(TEXT | ECHO))
    build.expect_after(echo, runs(ECHO))
    build.expect_after(project / "main.cc", {"compile main", "link echo"})
    build.expect_after(context.schema, runs(schema | ECHO))
    build.expect_after(context.plugin_any, runs(TEXT | ECHO))
    build.expect_after_edit(
        text, "message Line {", "// A line.\nmessage  Line\n{", runs(TEXT | ECHO)
    )
    # text.rpc.cpp and the files of echo.proto include text.pb.h.
    build.expect_after_edit(text, "text = 1;", "text = 1; optional int32 number = 2;", TEXT | ECHO)
    build.expect_after_edit(
        echo, "service Shouts {", "service Shouts {\n  rpc Shout(Count) returns (Count);", ECHO
    )


def expect_deleted_files_back(folder, build):
    """In the echo project, whose generated files are in `folder`: they come back."""
    paths = [folder / name for name in ("text.rpc.cpp", "text.rpc.h")]
    texts = [path.read_text() for path in paths]
    for path in paths:
        path.unlink()
    steps, _ = build.build()
    assert [path.read_text() for path in paths] == texts
    assert steps - runs(TEXT) == {"compile text.rpc", "link echo"}
    build.expect_nothing()


def cmake_version():
    """CMake's version, such as (3, 25)."""
    version = re.search(r"version (\d+)\.(\d+)", run(["cmake", "--version"]))
    return tuple(map(int, version.groups()))


class Context:
    """Where everything is: the tree, the installed files, and a folder to work in."""

    def __init__(self, source, prefix, work):
        self.source, self.prefix, self.work = source, prefix, work
        programs = prefix / "bin/protoc-gen-qarn-rpc"
        suffix = ".exe" if programs.with_suffix(".exe").exists() else ""
        self.plugin = programs.with_name(f"{programs.name}{suffix}")
        self.plugin_any = programs.with_name(f"{programs.name}-any{suffix}")
        self.plugin_lint = programs.with_name(f"{programs.name}-lint{suffix}")
        self.plugins = (self.plugin, self.plugin_any, self.plugin_lint)
        self.schema = prefix / "include/morvane/qarn/rpc/service_options.proto"
        self.check_runtime = prefix / "share/qarn-rpc-gen/check_runtime.sh"
        self.example = source / "examples/echo"
        # What a program in one process has of it; that of two is a project.
        names = ("main.cc", "echo_calls.h", "echo_service.h")
        self.main_files = [self.example / name for name in names]
        self.proto_files = [self.example / name for name in ("echo.proto", "text.proto")]
        self.runtime = source / "examples/runtime"
        self.projects = source / "tests/consumers"
        self.pkg_config = {"PKG_CONFIG_PATH": f"{prefix}/share/pkgconfig"}

    def project(self, name, *more, folder=None):
        """Copies the project `name` and `more` to a fresh folder, and names it."""
        folder = fresh_folder(folder or self.work / "project")
        copy_into(folder, self.projects / name, *more)
        return folder

    def echo_project(self, name, folder=None):
        """The project `name` with the example's sources."""
        return self.project(name, *self.main_files, *self.proto_files, folder=folder)

    def cmake(self, project, *arguments, generator="Ninja", env=None):
        """Configures `project` in its folder `build`, and watches that."""
        build = project / "build"
        command = ["cmake", "-S", project, "-B", build, "-G", generator]
        command += [f"-DCMAKE_PREFIX_PATH={self.prefix}", f"-DRPC_RUNTIME_DIR={self.runtime}"]
        run([*command, *arguments], env=env)
        return WatchedBuild(["cmake", "--build", build, "--parallel", "2"], build, env=env)

    def expect_found_by_pkg_config(self):
        """Fails unless pkg-config names what is installed."""
        for variable, path in (
            ("plugin", self.plugin),
            ("plugin_any", self.plugin_any),
            ("plugin_lint", self.plugin_lint),
            ("protodir", self.prefix / "include"),
        ):
            command = ["pkg-config", f"--variable={variable}", "qarn-rpc-gen"]
            named = run(command, env=self.pkg_config)
            assert os.path.normpath(named.strip()) == str(path)
            assert os.access(path, os.X_OK)

    def expect_conversation(self, program):
        """Fails unless `program` prints what the example promises."""
        assert run([program]) == (self.example / "conversation.txt").read_text()


def fresh_folder(path):
    """Makes `path` an empty folder and returns it."""
    shutil.rmtree(path, ignore_errors=True)
    path.mkdir(parents=True)
    return path


def copy_into(folder, *sources):
    """Copies files, and the contents of folders, into `folder`."""
    for source in sources:
        if source.is_dir():
            shutil.copytree(source, folder, dirs_exist_ok=True)
        else:
            shutil.copy(source, folder)


def append(path, text):
    """Adds to the end of a file."""
    path.write_text(path.read_text() + text)


def with_places(text, places):
    """The text with each word that stands for a place, such as @work@, replaced."""
    for word, place in places.items():
        text = text.replace(word, str(place))
    return text


def write_program(path, text):
    """Writes a shell script that can be run."""
    path.write_text(f"#!/bin/sh\n{text}")
    path.chmod(0o755)
    return path


def save_request(folder, *arguments):
    """Has protoc, run with these arguments, save what it sends to a plugin into a file."""
    request = folder / "request"
    recorder = write_program(folder / "protoc-gen-record", f"exec cat > '{request}'\n")
    run(["protoc", f"--plugin={recorder}", f"--record_out={folder}", *arguments])
    return request
