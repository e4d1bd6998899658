"""Tries the plugin on packaged service definitions: the .proto files that
Debian packages of other projects install.

  packaged CONFIG generate COMPILER
      copies the .proto files below the build folder, with optional fields added
      to those of proto3, generates all of them, plain and with a services
      namespace, and compiles their messages
  packaged CONFIG compile COMPILER STANDARD
      compiles with all warnings what C++ can accept, asserts that it refuses
      the rest, links one program and makes every call with it

Run as `python3 -m compile.packaged.packaged`. CONFIG is the JSON file that
CMake writes. Exit status: 0 success, 1 failure, 2 wrong usage, 77 skipped,
because a package is not installed.
"""

import json
import pathlib
import re
import shutil
import subprocess
import sys

from support import exercise
from support.refusal import unmatched_pattern
from support.testkit import TESTS, Failure, Misuse, Skip, run, status_of, write
from support.toolchain import Toolchain, in_parallel

PACKAGES_WITH_SERVICES = [
    "golang-github-containerd-containerd-dev",
    "golang-etcd-server-dev",
]
PACKAGES = PACKAGES_WITH_SERVICES + [
    "golang-github-gogo-protobuf-dev",
    "golang-github-gogo-googleapis-dev",
]
PACKAGED = pathlib.Path("/usr/share/gocode/src")

# The beginning of an import, and where the packages keep what it names.
IMPORT_FOLDERS = {
    "etcd/": "go.etcd.io/etcd/",
    "gogoproto/": "github.com/gogo/protobuf/gogoproto/",
    "google/api/": "github.com/gogo/googleapis/google/api/",
    "google/rpc/": "github.com/gogo/googleapis/google/rpc/",
    "github.com/": "github.com/",
}

RUNS = {"plain": "", "services": "services_namespace=services:"}

# A field of proto3 that can be made optional: one value, of a type that is no
# message and no enum of the file.
FIELD = re.compile(
    r"^(\s*)((?:string|bytes|bool|double|float|s?fixed(?:32|64)"
    r"|[su]?int(?:32|64))\s+\w+\s*=\s*\d+)"
)

# Words that became keywords with C++20. protobuf's C++ generator does not
# rename a field of that name, so its message class is refused.
NEW_KEYWORDS = "char8_t|co_await|co_return|co_yield|concept|consteval|constinit|requires"


def missing_packages():
    """The packages that are not installed; all of them where there is no
    dpkg."""
    if not shutil.which("dpkg-query"):
        return PACKAGES
    return [
        package
        for package in PACKAGES
        if "installed"
        not in subprocess.run(
            ["dpkg-query", "-W", "-f", "${db:Status-Status}", package],
            stdout=subprocess.PIPE,
            stderr=subprocess.DEVNULL,
            text=True,
        ).stdout.split()
    ]


def import_name(path):
    """The name under which an installed .proto file is imported."""
    name = path.relative_to(PACKAGED).as_posix()
    return name.replace("go.etcd.io/etcd/", "etcd/", 1)


def installed_path(name):
    for beginning, folder in IMPORT_FOLDERS.items():
        if name.startswith(beginning):
            return PACKAGED / (folder + name[len(beginning) :])
    raise Failure(
        f'nothing is known about where "{name}" is installed; add it ' "to IMPORT_FOLDERS"
    )


def files_with_services():
    names = []
    for package in PACKAGES_WITH_SERVICES:
        for line in run(["dpkg-query", "-L", package]).splitlines():
            if line.endswith(".proto") and re.search(
                r"^service ", pathlib.Path(line).read_text("utf-8"), re.MULTILINE
            ):
                names.append(import_name(pathlib.Path(line)))
    return sorted(names)


def with_optional_fields(text):
    """The text of a .proto file with `optional` in front of each second field
    that can have it, and their number; none before proto3, where fields have a
    label already."""
    if not re.search(r'^syntax = "proto3";', text, re.MULTILINE):
        return text, 0
    lines = []
    blocks = []
    found = 0
    for line in text.splitlines(keepends=True):
        code = line.split("//")[0]
        if blocks and blocks[-1] == "message" and FIELD.match(code):
            found += 1
            if found % 2:
                line = FIELD.sub(r"\1optional \2", line, count=1)
        for opening in re.findall(r"(\w*)[^{}]*?(\{)|(\})", code):
            if opening[2]:
                blocks.pop()
            else:
                blocks.append(opening[0])
        lines.append(line)
    if blocks:
        raise Failure("a .proto file whose blocks could not be told apart:\n" + text)
    return "".join(lines), (found + 1) // 2


class Packaged:
    """The copied .proto files, and what is made of them."""

    def __init__(self, config):
        self.config = config
        self.build = pathlib.Path(config["build"])
        self.proto = self.build / "proto"
        self.without_optional = self.build / "proto_without_optional"
        self.optional_fields = 0
        self.messages = self.build / "messages"

    def rpc(self, run_name):
        return self.build / "rpc" / run_name

    def text(self, name):
        return (self.proto / name).read_text(encoding="utf-8")

    def imports(self, name):
        """What the copied file imports, without protobuf's own files."""
        return [
            found
            for found in re.findall(r'^import (?:public )?"(.*)"', self.text(name), re.MULTILINE)
            if not found.startswith("google/protobuf/")
        ]

    def with_imports(self, names):
        """The files and all that they import, each once."""
        found = []
        waiting = list(names)
        while waiting:
            name = waiting.pop()
            if name not in found:
                found.append(name)
                waiting += self.imports(name)
        return sorted(found)

    def copy(self, names):
        """Copies the files and all that they import.

        protobuf's C++ generator refuses weak imports, so they become ordinary
        ones. One file is imported under two names; two copies of its
        descriptors in one program would clash, so they become one name. And
        some fields become optional.
        """
        waiting = list(names)
        done = set()
        while waiting:
            name = waiting.pop()
            if name in done:
                continue
            done.add(name)
            text = installed_path(name).read_text(encoding="utf-8")
            text = re.sub(r"^import weak ", "import ", text, flags=re.MULTILINE)
            text = text.replace('"github.com/gogo/protobuf/gogoproto/', '"gogoproto/')
            write(self.without_optional / name, text)
            text, count = with_optional_fields(text)
            self.optional_fields += count
            write(self.proto / name, text)
            waiting += self.imports(name)

    def has_method_named_like_its_service(self, name):
        service = None
        for word, found in re.findall(r"^\s*(service|rpc)\s+(\w+)", self.text(name), re.MULTILINE):
            if word == "service":
                service = found
            elif found == service:
                return True
        return False

    def has_field_named_by_new_keyword(self, name):
        return re.search(rf"\b({NEW_KEYWORDS}) = \d+", self.text(name))


def generate(packaged, compiler):
    for folder in (
        packaged.proto,
        packaged.without_optional,
        packaged.messages,
        packaged.build / "rpc",
        packaged.build / "rpc_plain",
    ):
        shutil.rmtree(folder, ignore_errors=True)
    names = files_with_services()
    packaged.copy(names)
    if packaged.optional_fields < 100:
        raise Failure(f"only {packaged.optional_fields} fields became optional")
    protoc = [packaged.config["protoc"], *packaged.config["protoc_options"], "-I", packaged.proto]

    for run_name, parameter in RUNS.items():
        folder = packaged.rpc(run_name)
        folder.mkdir(parents=True)
        # The options schema has no part here, so no method has an option.
        plugin = packaged.config["plugin_any"]
        run(
            protoc
            + [f"--plugin=protoc-gen-qarn-rpc={plugin}", f"--qarn-rpc_out={parameter}{folder}"]
            + names
        )
        # The plain plugin takes no optional fields, which change nothing.
        plain = packaged.build / "rpc_plain" / run_name
        plain.mkdir(parents=True)
        run(
            [
                packaged.config["protoc"],
                "-I",
                packaged.without_optional,
                f"--plugin={packaged.config['plugin']}",
                f"--qarn-rpc_out={parameter}{plain}",
            ]
            + names
        )
        for name in names:
            for suffix in (".rpc.h", ".rpc.cpp"):
                path = name.replace(".proto", suffix)
                if not (folder / path).is_file():
                    raise Failure(f"{folder / path} was not generated")
                if (folder / path).read_bytes() != (plain / path).read_bytes():
                    raise Failure(f"{folder / path} differs from {plain / path}")

    packaged.messages.mkdir(parents=True)
    run(protoc + [f"--cpp_out={packaged.messages}"] + packaged.with_imports(names))
    run(
        [
            packaged.config["protoc"],
            "-I",
            packaged.config["proto"],
            f"--cpp_out={packaged.messages}",
            "morvane/qarn/rpc/service_options.proto",
        ]
    )

    toolchain = Toolchain(compiler, "c++14", packaged.config["system_folders"])
    linked = packaged.with_imports(
        name for name in names if not packaged.has_method_named_like_its_service(name)
    )

    def compile_one(name):
        source = packaged.messages / name.replace(".proto", ".pb.cc")
        toolchain.compile_messages(source, [packaged.messages], source.with_suffix(".o"))

    in_parallel(compile_one, linked + ["morvane/qarn/rpc/service_options.proto"])
    print(
        f"files with services: {len(names)}, generated plain and with a "
        f"services namespace; fields made optional: "
        f"{packaged.optional_fields}; message sources compiled: "
        f"{len(linked) + 1}"
    )


def expect_refusal(packaged, toolchain, source, run_name, where, reason):
    """Fails unless the compiler refuses the source at a line that matches
    `where`."""
    output = toolchain.compile(
        source,
        [packaged.rpc(run_name), packaged.config["runtime"]],
        [packaged.messages],
        status=None,
    )
    if unmatched_pattern(output.splitlines(), [rf"{where}:\d+:\d+: error: "]):
        raise Failure(f"{source} was refused, but not because of {reason}:\n{output}")
    print(f"refused, as it must be ({reason}): {source}")


def compile_all(packaged, compiler, standard):
    group = f"{pathlib.Path(compiler).name}-{standard}"
    work = packaged.build / "work" / group
    toolchain = Toolchain(compiler, standard, packaged.config["system_folders"], work / "prefix")
    toolchain.make_prefix()
    names = files_with_services()
    compiled = []
    objects = []
    functions = []

    for name in names:
        base = name[: -len(".proto")]
        for run_name in RUNS:
            folder = packaged.rpc(run_name)
            source = folder / f"{base}.rpc.cpp"
            if packaged.has_method_named_like_its_service(name):
                expect_refusal(
                    packaged,
                    toolchain,
                    source,
                    run_name,
                    re.escape(f"{base}.rpc") + r"\.(h|cpp)",
                    "a method with the name of its service",
                )
                continue
            if standard == "c++20" and packaged.has_field_named_by_new_keyword(name):
                expect_refusal(
                    packaged,
                    toolchain,
                    source,
                    run_name,
                    re.escape(f"{base}.pb.h"),
                    "a field with the name of a keyword",
                )
                continue

            rpc = [folder, packaged.config["runtime"]]
            number = len(functions)
            objects += [work / f"source{number}.o", work / f"calls{number}.o"]
            toolchain.compile(source, rpc, [packaged.messages], objects[-2])
            services = exercise.services_of(
                (folder / f"{base}.rpc.h").read_text(encoding="utf-8"),
                "services" if run_name == "services" else "",
            )
            functions.append(f"Exercise{number}")
            unit = write(
                work / f"calls{number}.cc",
                exercise.exercise_source([f"{base}.rpc.h"], services, functions[-1]),
            )
            toolchain.compile(unit, rpc + [TESTS], [packaged.messages], objects[-1])
            if name not in compiled:
                compiled.append(name)

    # The packages are others', and may change; an empty test must not pass.
    if len(compiled) < 10:
        raise Failure(f"only {len(compiled)} packaged files were compiled")

    unit = write(work / "main.cc", exercise.main_source(functions, compiled))
    objects.append(work / "main.o")
    toolchain.compile(unit, [packaged.config["runtime"], TESTS], [packaged.messages], objects[-1])
    # Every message object, but none whose class this standard refuses: the
    # program would then hold a service that nothing has called.
    objects += [
        packaged.messages / name.replace(".proto", ".pb.o")
        for name in packaged.with_imports(compiled)
    ]
    objects.append(packaged.messages / "morvane/qarn/rpc/service_options.pb.o")
    program = work / "main"
    toolchain.link(objects, packaged.config["libraries"], program)
    print(run([program]))
    print(f"files with services: {len(names)}, compiled, linked and called: " f"{len(compiled)}")


def main(arguments):
    if len(arguments) < 2:
        raise Misuse(__doc__)
    config, command, *rest = arguments
    commands = {"generate": (generate, 1), "compile": (compile_all, 2)}
    if command not in commands or len(rest) != commands[command][1]:
        raise Misuse(__doc__)
    missing = missing_packages()
    if missing:
        raise Skip("not installed: " + ", ".join(missing))
    with open(config, encoding="utf-8") as file:
        packaged = Packaged(json.load(file))
    commands[command][0](packaged, *rest)


if __name__ == "__main__":
    sys.exit(status_of(main, sys.argv[1:]))
