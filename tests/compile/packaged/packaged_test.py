"""Packaged service definitions: the .proto files that Debian packages of other
projects install.

The first test copies them below tests/compile/packaged of the build folder and
generates their code, which the second one needs.
"""

import pathlib
import re
import shutil
import subprocess

import pytest

from lint.linter import lint
from support import exercise
from support.commands import run
from support.refusal import has_match
from support.toolchain import Toolchain, in_parallel

TESTS = pathlib.Path(__file__).resolve().parents[2]
SCHEMA = "morvane/qarn/rpc/service_options"

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

# Words that became keywords with C++20. protobuf's C++ generator does not
# rename a field of that name, so its message class is refused.
NEW_KEYWORDS = "char8_t|co_await|co_return|co_yield|concept|consteval|constinit|requires"


def missing_packages():
    """The packages that are not installed; all of them where there is no
    dpkg."""
    if not shutil.which("dpkg-query"):
        return PACKAGES
    done = subprocess.run(
        ["dpkg-query", "-W", "-f", "${Package} ${db:Status-Status}\n", *PACKAGES],
        stdout=subprocess.PIPE,
        stderr=subprocess.DEVNULL,
        text=True,
        check=False,
    )
    installed = done.stdout.splitlines()
    return [package for package in PACKAGES if f"{package} installed" not in installed]


def import_name(path):
    """The name under which an installed .proto file is imported."""
    name = path.relative_to(PACKAGED).as_posix()
    return name.replace("go.etcd.io/etcd/", "etcd/", 1)


def installed_path(name):
    for beginning, folder in IMPORT_FOLDERS.items():
        if name.startswith(beginning):
            return PACKAGED / (folder + name[len(beginning) :])
    raise AssertionError(f"{name}: add to IMPORT_FOLDERS where that is installed")


def files_with_services():
    names = []
    for package in PACKAGES_WITH_SERVICES:
        for line in run(["dpkg-query", "-L", package]).splitlines():
            if line.endswith(".proto") and re.search(
                r"^service ", pathlib.Path(line).read_text(), re.MULTILINE
            ):
                names.append(import_name(pathlib.Path(line)))
    return sorted(names)


class Packaged:
    """The copied .proto files, and what is made of them."""

    def __init__(self, folder):
        self.proto = folder / "proto"
        self.messages = folder / "messages"
        self.rpc = {name: folder / "rpc" / name for name in RUNS}

    def text(self, name):
        return (self.proto / name).read_text()

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
        descriptors in one program would clash, so they become one name.
        """
        waiting = list(names)
        done = set()
        while waiting:
            name = waiting.pop()
            if name in done:
                continue
            done.add(name)
            text = installed_path(name).read_text()
            text = re.sub(r"^import weak ", "import ", text, flags=re.MULTILINE)
            text = text.replace('"github.com/gogo/protobuf/gogoproto/', '"gogoproto/')
            (self.proto / name).parent.mkdir(parents=True, exist_ok=True)
            (self.proto / name).write_text(text)
            waiting += self.imports(name)

    def has_method_named_like_its_service(self, name):
        service = None
        for word, found in re.findall(r"^\s*(service|rpc)\s+(\w+)", self.text(name), re.MULTILINE):
            if word == "service":
                service = found
            elif found == service:
                return True
        return False

    def streaming_lines(self, name):
        """The numbers of the lines with a method that has the keyword `stream`."""
        lines = self.text(name).splitlines()
        return [i + 1 for i, line in enumerate(lines) if re.search(r"rpc .*\(stream ", line)]

    def has_field_named_by_new_keyword(self, name):
        return re.search(rf"\b({NEW_KEYWORDS}) = \d+", self.text(name))


@pytest.fixture(name="folder")
def fixture_folder(built):
    """Where the tests leave what they make. Skips them where a package is not
    installed."""
    missing = missing_packages()
    if missing:
        pytest.skip(f"not installed: {', '.join(missing)}")
    return built.build / "tests/compile/packaged"


def test_generate(built, source, folder):
    """The plugin takes all files, plain and with a services namespace."""
    for part in ("proto", "messages", "rpc"):
        shutil.rmtree(folder / part, ignore_errors=True)
    packaged = Packaged(folder)
    names = files_with_services()
    packaged.copy(names)
    protoc = [built.protoc, "-I", packaged.proto]
    # The options schema has no part here, so no method has an option.
    for run_name, parameter in RUNS.items():
        rpc = packaged.rpc[run_name]
        rpc.mkdir(parents=True)
        plugin = f"--plugin=protoc-gen-qarn-rpc={built.plugin}"
        run([*protoc, plugin, f"--qarn-rpc_out={parameter}{rpc}", *names])

    packaged.messages.mkdir(parents=True)
    run(protoc + [f"--cpp_out={packaged.messages}"] + packaged.with_imports(names))
    run([built.protoc, f"-I{source}/proto", f"--cpp_out={packaged.messages}", f"{SCHEMA}.proto"])

    compiler = next(iter(built.compilers.values()))["path"]
    toolchain = Toolchain(compiler, "c++14", built.system_folders, folder / "prefix")
    toolchain.make_prefix()
    linked = packaged.with_imports(
        name for name in names if not packaged.has_method_named_like_its_service(name)
    )

    def compile_one(name):
        unit = packaged.messages / name.replace(".proto", ".pb.cc")
        toolchain.compile_messages(unit, [packaged.messages], unit.with_suffix(".o"))

    in_parallel(compile_one, linked + [f"{SCHEMA}.proto"])
    print(
        f"files with services: {len(names)}, generated plain and with a services namespace; "
        f"message sources compiled: {len(linked) + 1}"
    )


@pytest.mark.parametrize("standard", ["11", "20"])
def test_lint(built, source, folder, standard):
    """The linter has an error in each file that test_compile finds refused, and no
    other; a warning at each method with the keyword `stream`, and three more: a service
    Lease beside an enum value LEASE, a package with `linux` in it, and two services
    Events, whose headers cannot be included together."""
    packaged = Packaged(folder)
    names = files_with_services()
    options = [f"standard={standard}"]
    found = lint(built, source, packaged.proto, names, options).findings
    errors = {one["place"].split(":")[0] for one in found if one["severity"] == "error"}
    assert errors == {
        name
        for name in names
        if packaged.has_method_named_like_its_service(name)
        or (standard == "20" and packaged.has_field_named_by_new_keyword(name))
    }
    warnings = [(one["rule"], one["place"]) for one in found if one["severity"] == "warning"]
    streaming = [(name, line) for name in names for line in packaged.streaming_lines(name)]
    assert [place.rsplit(":", 1)[0] for rule, place in warnings if rule == "stream-keyword"] == [
        f"{name}:{line}" for name, line in streaming
    ]
    containerd = "github.com/containerd/containerd"
    assert {one for one in warnings if one[0] != "stream-keyword"} == {
        ("name-replaced-later", "etcd/etcdserver/etcdserverpb/rpc.proto:79:1"),
        ("gnu-name", f"{containerd}/runtime/v1/shim/v1/shim.proto:19:1"),
        ("services-share-macros", f"{containerd}/api/services/ttrpc/events/v1/events.proto:29:1"),
    }


@pytest.mark.parametrize("standard", ["c++11", "c++20"])
@pytest.mark.parametrize("compiler", ["g++", "clang++"])
def test_compile(built, source, folder, tmp_path, compiler, standard):
    """All that C++ can accept compiles with all warnings, the rest is refused; one
    program is linked, and makes every call."""
    packaged = Packaged(folder)
    path = built.compilers[compiler]["path"]
    toolchain = Toolchain(path, standard, built.system_folders, tmp_path / "prefix")
    toolchain.make_prefix()
    runtime = source / "examples/runtime"
    names = files_with_services()
    compiled = []
    objects = []
    functions = []

    for name in names:
        base = name[: -len(".proto")]
        # Where the compiler refuses it, and why.
        refused_at = None
        if packaged.has_method_named_like_its_service(name):
            refused_at = re.escape(f"{base}.rpc") + r"\.(h|cpp)"
            reason = "a method with the name of its service"
        elif standard == "c++20" and packaged.has_field_named_by_new_keyword(name):
            refused_at, reason = re.escape(f"{base}.pb.h"), "a field with the name of a keyword"
        for run_name, rpc in packaged.rpc.items():
            unit = rpc / f"{base}.rpc.cpp"
            if refused_at:
                output = toolchain.compile(unit, [rpc, runtime], [packaged.messages], status=None)
                pattern = rf"{refused_at}:\d+:\d+: error: "
                assert has_match(output.splitlines(), pattern), f"{reason}: {output}"
                print(f"refused, as it must be ({reason}): {unit}")
                continue
            number = len(functions)
            objects += [tmp_path / f"source{number}.o", tmp_path / f"calls{number}.o"]
            toolchain.compile(unit, [rpc, runtime], [packaged.messages], objects[-2])
            services = exercise.services_of(
                (rpc / f"{base}.rpc.h").read_text(), "services" if run_name == "services" else ""
            )
            functions.append(f"Exercise{number}")
            unit = tmp_path / f"calls{number}.cc"
            unit.write_text(exercise.exercise_source([f"{base}.rpc.h"], services, functions[-1]))
            toolchain.compile(unit, [rpc, runtime, TESTS], [packaged.messages], objects[-1])
            if name not in compiled:
                compiled.append(name)

    # The packages are others', and may change; an empty test must not pass.
    assert len(compiled) >= 10

    unit = tmp_path / "main.cc"
    unit.write_text(exercise.main_source(functions, compiled))
    objects.append(tmp_path / "main.o")
    toolchain.compile(unit, [runtime, TESTS], [packaged.messages], objects[-1])
    # Every message object, but none whose class this standard refuses: the
    # program would then hold a service that nothing has called.
    objects += [
        packaged.messages / name.replace(".proto", ".pb.o")
        for name in packaged.with_imports(compiled)
    ]
    objects.append(packaged.messages / f"{SCHEMA}.pb.o")
    program = tmp_path / "main"
    toolchain.link(objects, built.libraries, program)
    print(run([program]))
    print(f"files with services: {len(names)}, compiled, linked and called: {len(compiled)}")
