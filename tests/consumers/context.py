"""Where a test finds everything, and how it makes and watches a project."""

import os
import shutil

from consumers.watched_build import WatchedBuild
from support.testkit import expect, fresh_folder, run

TEXT = {"generate text", "compile text.pb", "compile text.rpc"}
ECHO = {"generate echo", "compile echo.pb", "compile echo.rpc", "compile main", "link echo"}
SCHEMA = {"generate service_options", "compile service_options.pb"}
OPTIONS = SCHEMA | {"link libqarn_rpc_service_options.a"}


def runs(steps):
    """What is left of `steps` after an edit that changes no generated file."""
    return {step for step in steps if step.startswith("generate ")}


def add_spare_service(project):
    """Gives echo.proto of the echo project a service that main.cc does not
    implement, so that it can get methods."""
    with open(os.path.join(project, "echo.proto"), "a", encoding="utf-8") as file:
        file.write("service Shouts {\n}\n")


def expect_only_what_changed(project, build):
    """In the echo project with the spare service: edits that change nothing in the
    generated files cost runs of protoc alone, others what includes the changed
    files."""
    text, echo = (os.path.join(project, name) for name in ("text.proto", "echo.proto"))
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
    paths = [os.path.join(folder, name) for name in ("text.rpc.cpp", "text.rpc.h")]
    texts = [read(path) for path in paths]
    for path in paths:
        os.remove(path)
    steps = build.build()[0]
    expect("deleted files", [read(path) for path in paths], texts)
    expect(
        "steps after generated files were deleted",
        steps - runs(TEXT),
        {"compile text.rpc", "link echo"},
    )
    build.expect_nothing()


def read(path):
    """The text of a file."""
    with open(path, encoding="utf-8") as file:
        return file.read()


class Context:
    """Where everything is. `prefix` is where the installed files were moved."""

    def __init__(self, arguments):
        self.source = os.path.abspath(arguments.source)
        self.build = os.path.abspath(arguments.build)
        self.config = arguments.config
        self.top = os.path.abspath(arguments.work)
        self.work = os.path.join(self.top, arguments.scenario)
        self.prefix = os.path.join(self.top, "moved", "prefix")
        programs = os.path.join(self.prefix, "bin", "protoc-gen-qarn-rpc")
        suffix = ".exe" if os.path.exists(programs + ".exe") else ""
        self.plugin = programs + suffix
        self.plugin_any = programs + "-any" + suffix
        self.schema = os.path.join(
            self.prefix, "include", "morvane", "qarn", "rpc", "service_options.proto"
        )
        self.example = os.path.join(self.source, "examples", "echo")
        # What a program in one process has of it; that of two is a project.
        self.main_files = [
            os.path.join(self.example, name)
            for name in ("main.cc", "echo_calls.h", "echo_service.h")
        ]
        self.proto_files = [
            os.path.join(self.example, name) for name in ("echo.proto", "text.proto")
        ]
        self.runtime = os.path.join(self.source, "examples", "runtime")
        self.projects = os.path.join(self.source, "tests", "consumers")
        self.pkg_config = {"PKG_CONFIG_PATH": os.path.join(self.prefix, "share", "pkgconfig")}

    def project(self, name, *more, folder=None):
        """Copies the project `name` and `more` to a fresh folder, and names it."""
        folder = fresh_folder(folder or os.path.join(self.work, "project"))
        copy_into(folder, os.path.join(self.projects, name), *more)
        return folder

    def echo_project(self, name, folder=None):
        """The project `name` with the example's sources."""
        return self.project(name, *self.main_files, *self.proto_files, folder=folder)

    def cmake(self, project, *arguments, generator="Ninja", config=None, env=None):
        """Configures `project` in its folder `build`, and watches that."""
        build = os.path.join(project, "build")
        run(
            [
                "cmake",
                "-S",
                project,
                "-B",
                build,
                "-G",
                generator,
                f"-DCMAKE_PREFIX_PATH={self.prefix}",
                f"-DRPC_RUNTIME_DIR={self.runtime}",
                *arguments,
            ],
            env=env,
        )
        command = ["cmake", "--build", build, "--parallel", "2"]
        return WatchedBuild(command + (["--config", config] if config else []), build, env=env)

    def expect_conversation(self, program):
        """Fails unless `program` prints what the example promises."""
        with open(os.path.join(self.example, "conversation.txt"), encoding="utf-8") as file:
            expect("output of the example", run([program]), file.read())


def copy_into(folder, *sources):
    """Copies files, and the contents of folders, into `folder`."""
    for source in sources:
        if os.path.isdir(source):
            shutil.copytree(source, folder, dirs_exist_ok=True)
        else:
            shutil.copy(source, folder)


def write_program(path, text):
    """Writes a shell script that can be run."""
    with open(path, "w", encoding="utf-8") as file:
        file.write("#!/bin/sh\n" + text)
    os.chmod(path, 0o755)
    return path
