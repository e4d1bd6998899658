#!/usr/bin/env python3
"""Builds and runs small projects as users of an installed plugin would.

    consumers.py SCENARIO --source DIR --build DIR --work DIR [--config NAME]

Each function named test_SCENARIO is a test; `install` comes first, and the
others use the prefix that it leaves. Exit status 77 means skipped.
"""

import argparse
import os
import re
import shutil
import sys

import errors
from kit import (Failure, Skip, WatchedBuild, copy_into, expect, expect_in, fresh_folder,
                 need, run)

TEXT = {"generate text", "compile text.pb", "compile text.rpc"}
ECHO = {"generate echo", "compile echo.pb", "compile echo.rpc", "compile main", "link echo"}
SCHEMA = {"generate service_options", "compile service_options.pb"}
OPTIONS = SCHEMA | {"link libqarn_rpc_service_options.a"}


class Context:
    """Where everything is. `prefix` is where the installed files were moved."""

    def __init__(self, arguments):
        self.source = os.path.abspath(arguments.source)
        self.build = os.path.abspath(arguments.build)
        self.config = arguments.config
        self.top = os.path.abspath(arguments.work)
        self.work = os.path.join(self.top, arguments.scenario)
        self.prefix = os.path.join(self.top, "moved", "prefix")
        self.plugin = os.path.join(self.prefix, "bin", "protoc-gen-qarn-rpc")
        self.schema = os.path.join(
            self.prefix, "include", "morvane", "qarn", "rpc", "service_options.proto")
        self.example = os.path.join(self.source, "examples", "echo")
        self.runtime = os.path.join(self.source, "tests", "runtime")
        self.projects = os.path.join(self.source, "tests", "consumers")
        self.pkg_config = {"PKG_CONFIG_PATH": os.path.join(self.prefix, "share", "pkgconfig")}

    def project(self, name, *more, folder=None):
        """Copies the project `name` and `more` to a fresh folder, and names it."""
        folder = fresh_folder(folder or os.path.join(self.work, "project"))
        copy_into(folder, os.path.join(self.projects, name), *more)
        return folder

    def echo_project(self, name, folder=None):
        """The project `name` with the example's sources."""
        return self.project(name, self.example, folder=folder)

    def cmake(self, project, *arguments, generator="Ninja", config=None, env=None):
        """Configures `project` in its folder `build`, and watches that."""
        build = os.path.join(project, "build")
        run(["cmake", "-S", project, "-B", build, "-G", generator,
             f"-DCMAKE_PREFIX_PATH={self.prefix}", f"-DRPC_RUNTIME_DIR={self.runtime}",
             *arguments], env=env)
        command = ["cmake", "--build", build, "--parallel", "2"]
        return WatchedBuild(command + (["--config", config] if config else []), build, env=env)

    def expect_conversation(self, program):
        """Fails unless `program` prints what the example promises."""
        with open(os.path.join(self.example, "conversation.txt"), encoding="utf-8") as file:
            expect("output of the example", run([program]), file.read())


def write_program(path, text):
    """Writes a shell script that can be run."""
    with open(path, "w", encoding="utf-8") as file:
        file.write("#!/bin/sh\n" + text)
    os.chmod(path, 0o755)
    return path


# ------------------------------------------------------------------------------
# The installed prefix.

INSTALLED = {
    "bin/protoc-gen-qarn-rpc",
    "include/morvane/qarn/rpc/service_options.proto",
    "share/cmake/qarn-rpc-gen/QarnRpcGenerate.cmake",
    "share/cmake/qarn-rpc-gen/QarnRpcTools.cmake",
    "share/cmake/qarn-rpc-gen/qarn-rpc-gen-config-version.cmake",
    "share/cmake/qarn-rpc-gen/qarn-rpc-gen-config.cmake",
    "share/cmake/qarn-rpc-gen/qarn-rpc-gen-targets.cmake",
    "share/doc/qarn-rpc-gen/using.md",
    "share/man/man1/protoc-gen-qarn-rpc.1",
    "share/pkgconfig/qarn-rpc-gen.pc",
}
# Named after the configuration, or growing with the project's documents.
ALSO_INSTALLED = re.compile(
    r"share/cmake/qarn-rpc-gen/qarn-rpc-gen-targets-\w+\.cmake$"
    r"|share/doc/qarn-rpc-gen/[\w/-]+\.(md|svg)$")


def test_install(context):
    """Installs to one prefix and moves it to another, for all other tests."""
    staging = fresh_folder(os.path.join(context.work, "prefix"))
    run(["cmake", "--install", context.build, "--prefix", staging]
        + (["--config", context.config] if context.config else []))
    fresh_folder(os.path.dirname(context.prefix))
    os.rename(staging, context.prefix)


def test_installed_files(context):
    """Exactly the files that users need, none of which names another place."""
    files = {os.path.relpath(os.path.join(folder, name), context.prefix)
             for folder, _, names in os.walk(context.prefix) for name in names}
    expect("installed files", {name for name in files if not ALSO_INSTALLED.match(name)},
           {name for name in INSTALLED if not ALSO_INSTALLED.match(name)})
    expect("documents that must be there", INSTALLED - files, set())
    for name in files - {"bin/protoc-gen-qarn-rpc"}:
        with open(os.path.join(context.prefix, name), encoding="utf-8") as file:
            text = file.read()
        for place in (context.source, context.build, context.top):
            if place in text:
                raise Failure(f"{name} holds the path {place}")
    for variable, path in (("plugin", context.plugin),
                           ("protodir", os.path.join(context.prefix, "include"))):
        named = run(["pkg-config", f"--variable={variable}", "qarn-rpc-gen"],
                    env=context.pkg_config)
        expect(f"pkg-config's {variable}", os.path.normpath(named.strip()), path)


def test_man_page(context):
    """man shows the page without a warning."""
    need("man")
    page = os.path.join(context.prefix, "share", "man", "man1", "protoc-gen-qarn-rpc.1")
    text = run(["man", "--warnings", "-l", page],
               env={"MANWIDTH": "80", "MANPAGER": "cat", "LC_ALL": "C.UTF-8"})
    expect("warnings of man", [line for line in text.splitlines() if "warning" in line], [])
    expect_in("the man page", text, "services_namespace=NAMESPACE")


# ------------------------------------------------------------------------------
# CMake, from the installed package.

def expect_exact_rebuilds(context, project, build):
    """Each edit reruns what depends on it, in a project with depfiles."""
    build.expect_after(os.path.join(project, "text.proto"), TEXT | ECHO)
    build.expect_after(os.path.join(project, "echo.proto"), ECHO)
    build.expect_after(os.path.join(project, "main.cc"), {"compile main", "link echo"})
    build.expect_after(context.schema, OPTIONS | ECHO)
    build.expect_after(context.plugin, TEXT | ECHO)


def test_cmake_ninja(context):
    """The project of the quick start, with Ninja."""
    project = context.echo_project("cmake")
    build = context.cmake(project)
    build.expect_all(TEXT | ECHO | OPTIONS)
    context.expect_conversation(os.path.join(build.folder, "echo"))
    expect_in("Ninja after no edit", build.build()[1], "ninja: no work to do.")
    expect_exact_rebuilds(context, project, build)
    # Besides rebuilding, an edit must arrive.
    with open(os.path.join(project, "text.proto"), "a", encoding="utf-8") as file:
        file.write("message Page { repeated Line line = 1; }\n")
    expect("steps after a new message", build.build()[0], TEXT | ECHO)
    with open(os.path.join(build.folder, "text.pb.h"), encoding="utf-8") as file:
        expect_in("text.pb.h", file.read(), "class Page ")


def test_cmake_makefiles(context):
    """The same with Makefiles, and a protoc that counts its runs."""
    log = os.path.join(fresh_folder(context.work), "runs")
    protoc = write_program(os.path.join(context.work, "protoc"),
                           f'echo "$@" >> "{log}"\nexec "{shutil.which("protoc")}" "$@"\n')
    project = context.echo_project("cmake")
    build = context.cmake(project, f"-DQARN_RPC_PROTOC_EXECUTABLE={protoc}",
                          generator="Unix Makefiles")
    build.expect_all(TEXT | ECHO | OPTIONS)
    context.expect_conversation(os.path.join(build.folder, "echo"))
    expect_exact_rebuilds(context, project, build)
    build.expect_after(protoc, TEXT | ECHO | OPTIONS)
    with open(log, encoding="utf-8") as file:
        runs = [line for line in file if "_out=" in line]
    # 3 for the first build, then 2, 1, 0, 2, 2 and 3 for the edits.
    expect("runs of protoc", len(runs), 13)


SHOP_COUNT = {"generate count", "compile count.pb", "compile count.rpc"}
SHOP_STOCK = {"generate stock", "compile stock.pb", "compile stock.rpc"}
SHOP_ITEM = {"generate item", "compile item.pb"}
SHOP_ORDER = {"generate order", "compile order.pb", "compile order.rpc"}
SHOP_MAIN = {"compile main", "link shop"}
SHOP_OUTPUT = """shop.stock.v1.Stock
  Look
  Watch, the server streams
shop.order.v1.Orders
  Place, the client streams
"""


def shop_libraries(suffix):
    """The steps that link the project's libraries."""
    return {f"link lib{name}.{suffix}" for name in ("stock", "order", "order_messages")}


def test_cmake_layers(context):
    """Folders, BATCH, OUT_VAR, NO_MESSAGES, two libraries with options."""
    project = context.project("layers")
    build = context.cmake(project, generator="Unix Makefiles")
    libraries = shop_libraries("a")
    everything = SHOP_COUNT | SHOP_STOCK | SHOP_ITEM | SHOP_ORDER | SHOP_MAIN | libraries
    build.expect_all(everything | OPTIONS)
    expect("output", run([os.path.join(build.folder, "shop")]), SHOP_OUTPUT)
    protos = os.path.join(project, "proto", "shop")
    # The batch is written as one; item.proto is not part of it, and orders do
    # not see the rest of the stock.
    build.expect_after(os.path.join(protos, "stock", "v1", "count.proto"),
                       SHOP_COUNT | SHOP_STOCK | SHOP_MAIN | {"link libstock.a"})
    build.expect_after(os.path.join(protos, "order", "v1", "order.proto"),
                       SHOP_ORDER | SHOP_MAIN
                       | {"link liborder.a", "link liborder_messages.a"})


def test_cmake_multi_config(context):
    """The same as shared libraries, in two configurations of one folder."""
    project = context.project("layers")
    build = context.cmake(project, "-DBUILD_SHARED_LIBS=ON", "-DCMAKE_CXX_FLAGS_DEBUG=",
                          "-DCMAKE_CXX_FLAGS_RELEASE=",
                          generator="Ninja Multi-Config", config="Debug")
    generated = SHOP_COUNT | SHOP_STOCK | SHOP_ITEM | SHOP_ORDER | SCHEMA
    libraries = shop_libraries("so") | {"link libqarn_rpc_service_options.so"}
    build.expect_all(generated | SHOP_MAIN | libraries)
    expect("output", run([os.path.join(build.folder, "Debug", "shop")]), SHOP_OUTPUT)
    release = WatchedBuild(build.command[:-1] + ["Release"], build.folder)
    compiled = {step for step in generated if step.startswith("compile")}
    release.expect_all(compiled | SHOP_MAIN | libraries)
    expect("output", run([os.path.join(build.folder, "Release", "shop")]), SHOP_OUTPUT)


def test_cmake_odd_paths(context):
    """Where paths cannot stand in a depfile, all files count as imports."""
    for generator in ("Ninja", "Unix Makefiles"):
        project = context.echo_project(
            "cmake", folder=os.path.join(context.work, "blank and $ sign", generator))
        build = context.cmake(project, generator=generator)
        build.expect_all(TEXT | ECHO | OPTIONS)
        context.expect_conversation(os.path.join(build.folder, "echo"))
        build.expect_after(os.path.join(project, "echo.proto"), TEXT | ECHO)
        build.expect_after(context.schema, TEXT | ECHO | OPTIONS)


def test_cmake_old_protoc(context):
    """The same with a protoc that has no --dependency_out."""
    fresh_folder(context.work)
    protoc = write_program(os.path.join(context.work, "protoc"), f"""
case "$*" in
  --version) echo "libprotoc 2.6.1" ;;
  *--dependency_out*) echo "Unknown flag: --dependency_out" >&2; exit 1 ;;
  *) exec "{shutil.which("protoc")}" "$@" ;;
esac
""")
    project = context.echo_project("cmake")
    build = context.cmake(project, f"-DQARN_RPC_PROTOC_EXECUTABLE={protoc}")
    build.expect_all(TEXT | ECHO | OPTIONS)
    context.expect_conversation(os.path.join(build.folder, "echo"))
    build.expect_after(os.path.join(project, "text.proto"), TEXT | ECHO)


def test_cmake_bring_your_own(context):
    """A library for the options, a .proto written by the build, plain linking."""
    project = context.echo_project("bring_your_own")
    os.rename(os.path.join(project, "text.proto"), os.path.join(project, "text.proto.in"))
    build = context.cmake(project)
    own_options = SCHEMA | {"link libmy_options.a"}
    build.expect_all(TEXT | ECHO | own_options)
    context.expect_conversation(os.path.join(build.folder, "echo"))
    build.expect_after(os.path.join(project, "text.proto.in"), TEXT | ECHO)


def test_cmake_cross(context):
    """A cross build runs the host's tools, not those of its target system."""
    sysroot = os.path.join(fresh_folder(context.work), "sysroot")
    shutil.copytree(context.prefix, os.path.join(sysroot, "usr"))
    for tool in ("protoc", "protoc-gen-qarn-rpc"):
        write_program(os.path.join(sysroot, "usr", "bin", tool),
                      "echo this runs on the target only >&2\nexit 1\n")
    toolchain = os.path.join(context.work, "toolchain.cmake")
    with open(toolchain, "w", encoding="utf-8") as file:
        file.write(f"set(CMAKE_SYSTEM_NAME Linux)\n"
                   f'list(APPEND CMAKE_FIND_ROOT_PATH "{sysroot}")\n'
                   "set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)\n")
    project = context.echo_project("cmake")
    path = os.path.dirname(context.plugin) + os.pathsep + os.environ["PATH"]
    build = context.cmake(project, f"-DCMAKE_TOOLCHAIN_FILE={toolchain}",
                          f"-DCMAKE_PREFIX_PATH={sysroot}/usr", env={"PATH": path})
    build.expect_all(TEXT | ECHO | OPTIONS)
    context.expect_conversation(os.path.join(build.folder, "echo"))


def test_cmake_errors(context):
    """Each refusal of the function and of the package, as whole texts."""
    project = context.project("errors", context.example)
    common = ["cmake", "-S", project, "-B", os.path.join(project, "build"), "-G", "Ninja"]
    run([*common, f"-DCMAKE_PREFIX_PATH={context.prefix}", "-DCASE="])
    for name, snippet, environment, expected in errors.cases(context):
        with open(os.path.join(project, "case.cmake"), "w", encoding="utf-8") as file:
            file.write(snippet)
        output = run([shutil.which("cmake"), *common[1:], "-DCASE=case.cmake"],
                     env=environment, status=None)
        expect_in(name, output, expected)
        # One error alone: the function stops at the first one.
        expect(f"errors of {name}", output.count("CMake Error"), 1)


# ------------------------------------------------------------------------------
# CMake, from the source tree.

def copy_of_source_tree(context, folder):
    """Copies what the project is built from, so that it can be edited."""
    os.makedirs(folder)
    for name in ("CMakeLists.txt", "cmake", "docs", "packaging", "proto", "src"):
        source = os.path.join(context.source, name)
        target = os.path.join(folder, name)
        (shutil.copytree if os.path.isdir(source) else shutil.copy)(source, target)
    return folder


def test_add_subdirectory(context):
    """The source tree as a folder of the project; the plugin is built with it."""
    project = context.echo_project("add_subdirectory")
    tree = copy_of_source_tree(context, os.path.join(project, "third_party", "qarn-rpc-gen"))
    build = context.cmake(project)
    build.build()
    context.expect_conversation(os.path.join(build.folder, "echo"))
    build.expect_nothing()
    # A new plugin writes new code. main.cc is the plugin's and the program's.
    build.expect_after(os.path.join(tree, "src", "plugin", "main.cc"),
                       TEXT | ECHO | {"link protoc-gen-qarn-rpc"})
    installed = run(["cmake", "--install", build.folder,
                     "--prefix", os.path.join(context.work, "installed")])
    expect("files that a user of the tree installs", "qarn-rpc" in installed, False)


def test_fetch_content(context):
    """FetchContent, from the local tree."""
    project = context.echo_project("fetch_content")
    tree = copy_of_source_tree(context, os.path.join(context.work, "tree"))
    build = context.cmake(project, f"-DQARN_RPC_SOURCE_DIR={tree}")
    build.build()
    context.expect_conversation(os.path.join(build.folder, "echo"))
    build.expect_nothing()


# ------------------------------------------------------------------------------
# Other builds.

def expect_exact_rebuilds_elsewhere(context, project, build):
    """As with CMake, in builds without a library for the options."""
    build.expect_all(TEXT | ECHO | SCHEMA)
    build.expect_after(os.path.join(project, "text.proto"), TEXT | ECHO)
    build.expect_after(os.path.join(project, "echo.proto"), ECHO)
    build.expect_after(context.schema, SCHEMA | ECHO)
    build.expect_after(context.plugin, TEXT | ECHO)


def test_make(context):
    """A plain Makefile that finds the plugin by pkg-config."""
    need("make", "pkg-config")
    project = context.echo_project("make")
    message = run(["make"], cwd=project, status=2, env={"PKG_CONFIG_PATH": "/nowhere"})
    expect_in("make without the package", message, "pkg-config does not find qarn-rpc-gen")
    env = {**context.pkg_config, "RPC_RUNTIME_DIR": context.runtime}
    build = WatchedBuild(["make", "-j2"], project, cwd=project, env=env)
    expect_exact_rebuilds_elsewhere(context, project, build)
    context.expect_conversation(os.path.join(project, "echo"))
    expect_in("make after no edit", build.build()[1], "make: 'echo' is up to date.")


def test_meson(context):
    """Meson, with custom_target and depfiles."""
    need("meson", "ninja", "pkg-config")
    project = context.echo_project("meson")
    folder = os.path.join(project, "build")
    run(["meson", "setup", folder, project, "--buildtype=plain",
         f"-Drpc_runtime_dir={context.runtime}"], env=context.pkg_config)
    build = WatchedBuild(["ninja", "-C", folder, "-j2"], folder, env=context.pkg_config)
    expect_exact_rebuilds_elsewhere(context, project, build)
    context.expect_conversation(os.path.join(folder, "echo"))


def test_buf(context):
    """buf generate with a local plugin, without a network where that can be had."""
    need("buf", "protoc", "pkg-config")
    project = context.project("buf")
    os.makedirs(os.path.join(project, "proto"))
    for name in ("echo.proto", "text.proto"):
        shutil.copy(os.path.join(context.example, name), os.path.join(project, "proto"))
    shutil.copy(os.path.join(context.example, "main.cc"), project)
    home = fresh_folder(os.path.join(context.work, "home"))
    env = {**context.pkg_config, "RPC_RUNTIME_DIR": context.runtime,
           "HOME": home, "XDG_CACHE_HOME": home,
           "PATH": os.path.dirname(context.plugin) + os.pathsep + os.environ["PATH"]}
    offline = ["unshare", "--map-root-user", "--net"]
    try:
        run([*offline, "true"])
    except (Failure, FileNotFoundError):
        print("no network namespace here, so the network is not cut off")
        offline = []
    run([*offline, "./build.sh"], cwd=project, env=env)
    context.expect_conversation(os.path.join(project, "echo"))


# ------------------------------------------------------------------------------
# The Debian package.

# What only the owner of the project can settle. Any other error or warning of
# lintian fails the test.
OWNERS_TAGS = {"copyright-without-copyright-notice"}


def make_deb(context):
    """Packs the build and returns the path of the .deb."""
    folder = fresh_folder(os.path.join(context.work, "packed"))
    run(["cpack", "-G", "DEB", "-B", folder,
         "--config", os.path.join(context.build, "CPackConfig.cmake")]
        + (["-C", context.config] if context.config else []), cwd=folder)
    debs = [name for name in os.listdir(folder) if name.endswith(".deb")]
    expect("number of packages", len(debs), 1)
    return os.path.join(folder, debs[0])


def test_deb(context):
    """The package's fields; installed it serves CMake and pkg-config; removed it
    leaves nothing."""
    need("dpkg", "dpkg-deb", "dpkg-shlibdeps", "fakeroot")
    deb = make_deb(context)
    fields = dict(line.split(": ", 1) for line in run(["dpkg-deb", "-f", deb]).splitlines()
                  if re.match(r"[A-Z][\w-]*: ", line))
    expect("Package", fields["Package"], "qarn-rpc-gen")
    expect("Multi-Arch", fields.get("Multi-Arch"), "foreign")
    needed = {re.sub(r" \(.*", "", name) for name in fields["Depends"].split(", ")}
    expect("tools missing from Depends", {"protobuf-compiler", "libprotobuf-dev"} - needed, set())
    with open(os.path.join(context.build, "CMakeCache.txt"), encoding="utf-8") as file:
        is_static = re.search(r"^QARN_RPC_STATIC:BOOL=(ON|TRUE|1|YES)$", file.read(),
                              re.MULTILINE | re.IGNORECASE) is not None
    expect("libraries in Depends", any(name.startswith("libprotoc") for name in needed),
           not is_static)

    # A root folder of its own with a copy of the system's list of packages:
    # dpkg checks the dependencies, and the machine stays as it is.
    root = fresh_folder(os.path.join(context.work, "root"))
    admin = os.path.join(root, "var", "lib", "dpkg")
    os.makedirs(os.path.join(admin, "updates"))
    os.makedirs(os.path.join(admin, "info"))
    shutil.copy("/var/lib/dpkg/status", admin)
    dpkg = ["fakeroot", "dpkg", f"--root={root}", "--force-not-root"]
    env = {"PATH": os.environ["PATH"] + ":/usr/sbin:/sbin"}
    run([*dpkg, "-i", deb], env=env)
    usr = os.path.join(root, "usr")
    plugin = run(["pkg-config", "--variable=plugin", "qarn-rpc-gen"],
                 env={"PKG_CONFIG_PATH": os.path.join(usr, "share", "pkgconfig")})
    expect("the plugin that pkg-config names", os.path.normpath(plugin.strip()),
           os.path.join(usr, "bin", "protoc-gen-qarn-rpc"))
    project = context.echo_project("cmake")
    build = context.cmake(project, f"-DCMAKE_PREFIX_PATH={usr}")
    build.expect_all(TEXT | ECHO | OPTIONS)
    context.expect_conversation(os.path.join(build.folder, "echo"))

    run([*dpkg, "--purge", "qarn-rpc-gen"], env=env)
    expect("usr after the removal", os.path.exists(usr), False)


def test_deb_lintian(context):
    """No error or warning of lintian but those that the owner has to settle."""
    need("lintian", "dpkg-shlibdeps")
    allow_root = ["--allow-root"] if os.geteuid() == 0 else []
    # Any status: it also tells of the tags that are ours to leave.
    command = ["sh", "-c", '"$@" || :', "lintian", "lintian", "--no-cfg", *allow_root]
    output = run([*command, make_deb(context)])
    tags = {match.group(2) for match in re.finditer(
        r"^([EW]): qarn-rpc-gen: (\S+)", output, re.MULTILINE)}
    print(output)
    expect("errors and warnings of lintian", tags, OWNERS_TAGS)


# ------------------------------------------------------------------------------
# The documents.

def test_docs(context):
    """Every file that docs/using.md shows is the one that is tested here."""
    with open(os.path.join(context.source, "docs", "using.md"), encoding="utf-8") as file:
        text = file.read()
    shown = set()
    for name, block in re.findall(r"<!-- from (\S+) -->\n+```\w*\n(.*?)```\n", text, re.DOTALL):
        with open(os.path.join(context.projects, name), encoding="utf-8") as file:
            expect(f"the block from {name} in docs/using.md", block, file.read())
        shown.add(name)
    expect("markers without a block after them", text.count("<!-- from "), len(shown))
    expect("build files not shown", {
        "cmake/CMakeLists.txt", "layers/CMakeLists.txt", "layers/stock/CMakeLists.txt",
        "layers/order/CMakeLists.txt", "bring_your_own/CMakeLists.txt",
        "add_subdirectory/CMakeLists.txt", "fetch_content/CMakeLists.txt", "make/Makefile",
        "meson/meson.build", "meson/meson_options.txt", "meson/morvane/qarn/rpc/meson.build",
        "buf/buf.yaml", "buf/buf.gen.yaml", "buf/build.sh"} - shown, set())
    # The table of arguments and the function know the same ones.
    with open(os.path.join(context.source, "cmake", "QarnRpcGenerate.cmake"),
              encoding="utf-8") as file:
        keywords = re.findall(r"^  set\((?:flags|values|lists) (.*)\)$", file.read(), re.MULTILINE)
    documented = re.findall(r"^\| `([A-Z_]+)", text, re.MULTILINE)
    expect("arguments in the table", set(documented), set(" ".join(keywords).split()))


def main():
    """Runs the one scenario that the command line names."""
    tests = {name[len("test_"):]: function for name, function in globals().items()
             if name.startswith("test_")}
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("scenario", choices=tests)
    for name in ("source", "build", "work"):
        parser.add_argument(f"--{name}", required=True)
    parser.add_argument("--config", default="")
    arguments = parser.parse_args()
    context = Context(arguments)
    try:
        fresh_folder(context.work)
        tests[arguments.scenario](context)
    except Skip as skip:
        print("skipped:", skip)
        return 77
    except Failure as failure:
        print("FAILED:", failure)
        return 1
    print("passed")
    return 0


if __name__ == "__main__":
    sys.exit(main())
