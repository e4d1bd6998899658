"""Make, Meson and buf."""

import os

from consumers.context import (
    copy_into,
    ECHO,
    SCHEMA,
    TEXT,
    expect_deleted_files_back,
    add_spare_service,
    expect_only_what_changed,
    runs,
)
from consumers.watched_build import WatchedBuild
from support.testkit import Failure, expect, expect_in, fresh_folder, need, run


def expect_exact_rebuilds_elsewhere(context, project, build):
    """As with CMake, in builds without a library for the options."""
    build.expect_all(TEXT | ECHO | SCHEMA)
    build.expect_after(os.path.join(project, "text.proto"), runs(TEXT | ECHO))
    build.expect_after(os.path.join(project, "echo.proto"), runs(ECHO))
    build.expect_after(context.schema, runs(SCHEMA | ECHO))
    build.expect_after(context.plugin_any, runs(TEXT | ECHO))


def test_make(context):
    """A plain Makefile that finds the plugin by pkg-config."""
    need("make", "pkg-config")
    project = context.echo_project("make")
    add_spare_service(project)
    message = run(["make"], cwd=project, status=2, env={"PKG_CONFIG_PATH": "/nowhere"})
    expect_in("make without the package", message, "pkg-config does not find qarn-rpc-gen")
    env = {**context.pkg_config, "RPC_RUNTIME_DIR": context.runtime}
    build = WatchedBuild(["make", "-j2"], project, cwd=project, env=env)
    expect_exact_rebuilds_elsewhere(context, project, build)
    context.expect_conversation(os.path.join(project, "echo"))
    expect_only_what_changed(project, build)
    expect_deleted_files_back(os.path.join(project, "gen"), build)
    expect_in("make after no edit", build.build()[1], "make: 'echo' is up to date.")


def test_meson(context):
    """Meson, with custom_target and depfiles."""
    need("meson", "ninja", "pkg-config")
    project = context.echo_project("meson")
    add_spare_service(project)
    folder = os.path.join(project, "build")
    run(
        [
            "meson",
            "setup",
            folder,
            project,
            "--buildtype=plain",
            f"-Drpc_runtime_dir={context.runtime}",
        ],
        env=context.pkg_config,
    )
    build = WatchedBuild(["ninja", "-C", folder, "-j2"], folder, env=context.pkg_config)
    expect_exact_rebuilds_elsewhere(context, project, build)
    context.expect_conversation(os.path.join(folder, "echo"))
    expect_only_what_changed(project, build)
    expect_deleted_files_back(folder, build)


def times_below(folder):
    """The time of each file below `folder`, by its path."""
    paths = [os.path.join(parent, name) for parent, _, names in os.walk(folder) for name in names]
    return {path: os.stat(path).st_mtime_ns for path in paths}


def test_buf(context):
    """buf generate with a local plugin, without a network where that can be had."""
    need("buf", "protoc", "pkg-config")
    project = context.project("buf")
    os.makedirs(os.path.join(project, "proto"))
    copy_into(os.path.join(project, "proto"), *context.proto_files)
    copy_into(project, *context.main_files)
    home = fresh_folder(os.path.join(context.work, "home"))
    env = {
        **context.pkg_config,
        "RPC_RUNTIME_DIR": context.runtime,
        "HOME": home,
        "XDG_CACHE_HOME": home,
        "PATH": os.path.dirname(context.plugin) + os.pathsep + os.environ["PATH"],
    }
    offline = ["unshare", "--map-root-user", "--net"]
    try:
        run([*offline, "true"])
    except (Failure, FileNotFoundError):
        print("no network namespace here, so the network is not cut off")
        offline = []
    run([*offline, "./build.sh"], cwd=project, env=env)
    context.expect_conversation(os.path.join(project, "echo"))
    before = times_below(os.path.join(project, "gen"))
    text = os.path.join(project, "proto", "text.proto")
    with open(text, "a", encoding="utf-8") as file:
        file.write("// A comment.\n")
    run([*offline, "buf", "generate"], cwd=project, env=env)
    expect("files after a comment", times_below(os.path.join(project, "gen")), before)
    with open(text, "a", encoding="utf-8") as file:
        file.write("message More {\n}\n")
    run([*offline, "buf", "generate"], cwd=project, env=env)
    after = times_below(os.path.join(project, "gen"))
    changed = {os.path.basename(path) for path in after if after[path] != before.get(path)}
    expect("files changed by a new message", changed, {"text.pb.cc", "text.pb.h"})
