"""Make, Meson and buf."""

import os
import shutil
import subprocess

import pytest

from consumers.context import (
    ECHO,
    SCHEMA,
    TEXT,
    append,
    copy_into,
    expect_deleted_files_back,
    expect_exact_rebuilds,
    runs,
)
from consumers.watched_build import WatchedBuild
from support.commands import run


def times_below(folder, pattern="*"):
    """The time of each file below `folder` with such a name, by its path. Staging
    folders, which no compiler reads, are left out."""
    paths = [path for path in folder.rglob(pattern) if "staging" not in path.parts]
    return {path: path.stat().st_mtime_ns for path in paths if path.is_file()}


def switch_linter_on(file, line):
    """Takes the # away that stands in front of `line`."""
    text = file.read_text()
    assert text.count(f"#{line}") == 1
    file.write_text(text.replace(f"#{line}", line))


def add_mistake(echo):
    """Adds a method to echo.proto that C++ cannot have; returns what the linter says
    of it, up to the method's name."""
    append(echo, "service Odd {\n  rpc delete(Count) returns (Count);\n}\n")
    line = len(echo.read_text().splitlines()) - 1
    return f"echo.proto:{line}:3: error: the method 'delete' "


def expect_linted(project, build):
    """With the linter on, the build runs protoc again, and shows a warning; an error
    stops it, and touches no file that was generated before."""
    steps, output = build.build()
    # Meson runs the target of the schema again as well.
    assert steps - runs(SCHEMA) == runs(TEXT | ECHO)
    assert "echo.proto:19:1: warning: the macro 'ECHO' " in output
    before = times_below(build.folder, "echo.*.*")
    assert before
    message = add_mistake(project / "echo.proto")
    output = run(build.command, cwd=build.cwd, env=build.env, status=None)
    assert f"\n{message}" in output
    assert times_below(build.folder, "echo.*.*") == before


@pytest.mark.needs("make", "pkg-config")
def test_make(context):
    """A plain Makefile that finds the plugin by pkg-config."""
    project = context.echo_project("make")
    message = run(["make"], cwd=project, status=2, env={"PKG_CONFIG_PATH": "/nowhere"})
    assert "pkg-config does not find qarn-rpc-gen" in message
    env = {**context.pkg_config, "RPC_RUNTIME_DIR": context.runtime}
    build = WatchedBuild(["make", "-j2"], project, cwd=project, env=env)
    expect_exact_rebuilds(context, project, build, SCHEMA)
    expect_deleted_files_back(project / "gen", build)
    assert "make: 'echo' is up to date." in build.build()[1]
    switch_linter_on(project / "Makefile", "lint := ")
    expect_linted(project, build)


@pytest.mark.needs("meson", "ninja", "pkg-config")
def test_meson(context):
    """Meson, with custom_target and depfiles."""
    project = context.echo_project("meson")
    folder = project / "build"
    options = ["--buildtype=plain", f"-Drpc_runtime_dir={context.runtime}"]
    run(["meson", "setup", folder, project, *options], env=context.pkg_config)
    build = WatchedBuild(["ninja", "-C", folder, "-j2"], folder, env=context.pkg_config)
    expect_exact_rebuilds(context, project, build, SCHEMA)
    expect_deleted_files_back(folder, build)
    switch_linter_on(project / "meson.build", "'--plugin=protoc-gen-qarn-rpc-lint='")
    expect_linted(project, build)


@pytest.mark.needs("buf", "protoc", "pkg-config")
def test_buf(context):
    """buf generate with a local plugin, without a network where that can be had."""
    project = context.project("buf")
    (project / "proto").mkdir()
    copy_into(project / "proto", *context.proto_files)
    copy_into(project, *context.main_files)
    home = context.work / "home"
    home.mkdir()
    env = {
        **context.pkg_config,
        "RPC_RUNTIME_DIR": context.runtime,
        "HOME": home,
        "XDG_CACHE_HOME": home,
        "PATH": f"{context.plugin.parent}:{os.environ['PATH']}",
    }
    offline = ["unshare", "--map-root-user", "--net"]
    if not shutil.which("unshare") or subprocess.run([*offline, "true"], check=False).returncode:
        print("no network namespace here, so the network is not cut off")
        offline = []
    run([*offline, "./build.sh"], cwd=project, env=env)
    context.expect_conversation(project / "echo")
    before = times_below(project / "gen")
    text = project / "proto/text.proto"
    append(text, "// A comment.\n")
    run([*offline, "buf", "generate"], cwd=project, env=env)
    assert times_below(project / "gen") == before
    append(text, "message More {\n}\n")
    run([*offline, "buf", "generate"], cwd=project, env=env)
    after = times_below(project / "gen")
    changed = {path.name for path in after if after[path] != before.get(path)}
    assert changed == {"text.pb.cc", "text.pb.h"}
    switch_linter_on(project / "buf.gen.yaml", "- {local: protoc-gen-qarn-rpc-lint,")
    output = run([*offline, "buf", "generate"], cwd=project, env=env)
    assert "echo.proto:19:1: warning: the macro 'ECHO' " in output
    message = add_mistake(project / "proto/echo.proto")
    output = run([*offline, "buf", "generate"], cwd=project, env=env, status=None)
    assert message in output
    assert times_below(project / "gen") == after
