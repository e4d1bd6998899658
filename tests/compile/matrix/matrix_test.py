"""The golden files, compiled with each compiler at each standard, linked, and every
call of their services made.

The entries of CTest are one test each. Some make what the others need, below
tests/compile/matrix of the build folder; their order is that of CTest's fixtures.
"""

import pathlib
import re

import pytest

from support import exercise
from support.commands import run
from support.refusal import has_match
from support.toolchain import Toolchain

TESTS = pathlib.Path(__file__).resolve().parents[2]
GOLDEN = TESTS / "golden"
CASES = sorted(path.name for path in GOLDEN.iterdir() if path.is_dir())
COMPILERS = ["g++", "clang++"]
STANDARDS = ["c++11", "c++14", "c++17", "c++20", "c++23", "c++26"]

pytestmark = [
    pytest.mark.parametrize("compiler", COMPILERS),
    pytest.mark.parametrize("standard", STANDARDS),
]

# What stands beside the options schema. Everything else is a .proto file,
# whatever its suffix.
BUILD_FILES = {"CMakeLists.txt", "BUILD.bazel"}

# Headers for the tests without the prebuilt includes: each kind of frame.
SELF_SUFFICIENT = [
    ("all_four_kinds", "services_namespace=services", "kinds/four"),
    ("imported_messages", "plain", "shop/orders/orders"),
    ("no_package", "plain", "board"),
    ("no_services", "services_namespace=services", "shapes/shapes"),
    ("service_without_methods", "plain", "idle"),
]

BOOST_HEADERS = """\
#include <boost/intrusive_ptr.hpp>
#include <boost/make_shared.hpp>
#include <boost/preprocessor.hpp>
#include <boost/shared_ptr.hpp>
#include <boost/unordered_set.hpp>
"""

# What is wrong, the suffix of the file, what to replace by what, and how the
# compilers name it.
FAULTS = [
    (
        "an unused variable",
        ".rpc.cpp",
        "  if (_service) {",
        "  int unused = 0;\n  if (_service) {",
        "unused-variable",
    ),
    (
        "a shadowed name",
        ".rpc.h",
        "  return ::qarn",
        "  const int response_observer_ = 0; { const int response_observer_ = 1;"
        " (void)response_observer_; } (void)response_observer_;\n  return ::qarn",
        "shadow",
    ),
    (
        "an unused parameter",
        ".rpc.h",
        "class Kinds {",
        "inline void Unused(int parameter) {}\nclass Kinds {",
        "unused-parameter",
    ),
    (
        "a base without a virtual destructor",
        ".rpc.h",
        "class Kinds {",
        "struct Base { virtual void Call() = 0; };\nclass Kinds {",
        "non-virtual-dtor",
    ),
    (
        "an extension of the compiler",
        ".rpc.h",
        "class Kinds {",
        "struct Extension { int none[0]; };\nclass Kinds {",
        "pedantic|zero-length-array",
    ),
    (
        "a missing services namespace",
        ".rpc.cpp",
        "services::Kinds::Stub::Stub(",
        "Kinds::Stub::Stub(",
        "Kinds",
    ),
    ("a handler that is not declared", ".rpc.cpp", "Service::Upload)", "Service::Load)", "Load"),
]

# The same for what only the calls can show: the texts compile, and link.
FAULT_OF_CALLS = (
    "a call of another method",
    ".rpc.cpp",
    "_rpcmethod_Ask, context(),",
    "_rpcmethod_Listen, context(),",
    "not so: kinds.Kinds/Ask is called",
)


def files_below(folder):
    """All files below the folder."""
    return [path for path in sorted(folder.rglob("*")) if path.is_file()]


def runs_of(case):
    """The folders with the expected files of the case, one a run of the plugin."""
    same_as = GOLDEN / case / "SAME_AS"
    expected = GOLDEN / (same_as.read_text().strip() if same_as.exists() else case)
    found = [path for path in expected.iterdir() if path.is_dir() and path.name != "proto"]
    assert found
    return sorted(found)


def write(path, text):
    """Writes a file and the folders above it; returns its path."""
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_text(text)
    return path


class Matrix:
    """One compiler at one standard, and where the parts of its tests are."""

    def __init__(self, built, source, compiler, standard):
        self.built = built
        self.compiler, self.standard = compiler, standard
        self.proto = source / "proto"
        self.runtime = source / "examples/runtime"
        self.folder = built.build / "tests/compile/matrix"
        self.options = self.folder / "messages.options"
        self.prefix = self.folder / "prefix" / f"{compiler}-{standard}"

    def messages(self, case):
        return self.folder / "messages" / case

    def toolchain(self, prefix=None, **options):
        """`prefix` is self.prefix for what is compiled many times."""
        path = self.built.compilers[self.compiler]["path"]
        return Toolchain(path, self.standard, self.built.system_folders, prefix, **options)

    def make_messages(self, proto_folder, folder):
        """Generates and compiles the messages of the .proto files below the folder."""
        folder.mkdir(parents=True, exist_ok=True)
        paths = [path for path in files_below(proto_folder) if path.name not in BUILD_FILES]
        names = [path.relative_to(proto_folder) for path in paths]
        protoc = [self.built.protoc, *self.built.protoc_options, "-I", proto_folder]
        run(protoc + ["-I", self.proto, f"--cpp_out={folder}", *names])
        # Every compiler and standard can link the objects of one.
        sources = sorted(folder.rglob("*.pb.cc"))
        assert len(sources) == len(names), f"delete {folder}"
        toolchain = self.toolchain(self.prefix)
        for unit in sources:
            toolchain.compile_messages(unit, [folder, self.options], unit.with_suffix(".o"))

    def compile(self, toolchain, unit, folder, case, output=None, status=0, more=()):
        """Compiles one source of the case, whose RPC files are in the folder."""
        return toolchain.compile(
            unit,
            [folder, self.runtime, *more],
            [self.messages(case), self.options],
            output,
            status,
        )

    def compile_run(self, toolchain, case, folder, work):
        """Compiles the files of one run of the case, each header on its own; links
        them and makes the calls."""
        headers = sorted(folder.rglob("*.rpc.h"))
        sources = sorted(folder.rglob("*.rpc.cpp"))
        assert headers and len(headers) == len(sources)

        objects = []
        for number, unit in enumerate(sources):
            objects.append(work / f"source{number}.o")
            self.compile(toolchain, unit, folder, case, objects[-1])

        includes = [str(header.relative_to(folder)) for header in headers]
        for number, header in enumerate(includes):
            unit = write(work / f"header{number}.cc", f'#include "{header}"\n')
            objects.append(work / f"header{number}.o")
            self.compile(toolchain, unit, folder, case, objects[-1])

        name, _, value = folder.name.partition("=")
        namespace = value if name == "services_namespace" else ""
        services = []
        for header in headers:
            services += exercise.services_of(header.read_text(), namespace)
        proto_folder = GOLDEN / case / "proto"
        protos = [path.relative_to(proto_folder).as_posix() for path in files_below(proto_folder)]
        unit = write(
            work / "main.cc",
            exercise.exercise_source(includes, services, "Exercise")
            + exercise.main_source(["Exercise"], protos),
        )
        objects.append(work / "main.o")
        self.compile(toolchain, unit, folder, case, objects[-1], more=[TESTS])

        for messages in (self.messages(case), self.options):
            objects += sorted(messages.rglob("*.o"))
        program = work / "main"
        toolchain.link(objects, self.built.libraries, program)
        print(f"{case}, {folder.name}: headers: {len(headers)}, sources: {len(sources)}")
        print(run([program]))

    def refuse_run(self, toolchain, case, folder):
        """Fails unless the compiler refuses the run's files, at a line of theirs and
        for no other reason than what it finds there."""
        outputs = []
        for unit in sorted(folder.rglob("*.rpc.cpp")):
            try:
                self.compile(toolchain, unit, folder, case)
            except AssertionError as error:
                outputs.append(str(error))
        output = "\n".join(outputs)
        # There is NOT_COMPILED above it.
        assert re.search(r"\.rpc\.(h|cpp):\d+:\d+: error: ", output), output
        assert not re.search(r"fatal error|No such file", output), output
        first = re.search(r"^.*: error: .*$", output, re.MULTILINE)
        print(f"{case}, {folder.name}: refused, as it must be: {first[0]}")


@pytest.fixture(name="matrix")
def fixture_matrix(built, source, compiler, standard):
    """Skips a test for which there is no compiler, or none that takes the headers of
    protobuf and Boost at that standard: nothing is known then about generated code."""
    if compiler not in built.compilers:
        pytest.skip(f"{compiler} is not to be had here")
    if standard not in built.compilers[compiler]["standards"]:
        pytest.skip(f"{compiler} at {standard} is not to be had here")
    return Matrix(built, source, compiler, standard)


def test_options(matrix):
    """Makes the messages of the options schema, for the rest."""
    matrix.make_messages(matrix.proto, matrix.options)


@pytest.mark.parametrize("case", CASES)
def test_messages(matrix, case):
    """Makes the messages of one case."""
    matrix.make_messages(GOLDEN / case / "proto", matrix.messages(case))


def test_prefix(matrix):
    """Prebuilds what all generated files include, for the rest."""
    matrix.toolchain(matrix.prefix).make_prefix()


@pytest.mark.parametrize("case", CASES)
def test_case(matrix, case, tmp_path):
    """Each expected header and source compiles with all warnings, each run is linked
    and makes its calls; a case with a file NOT_COMPILED is refused instead."""
    toolchain = matrix.toolchain(matrix.prefix)
    for folder in runs_of(case):
        if (GOLDEN / case / "NOT_COMPILED").exists():
            matrix.refuse_run(toolchain, case, folder)
        else:
            matrix.compile_run(toolchain, case, folder, tmp_path / folder.name)


def test_optimised(matrix, tmp_path):
    """Users build what they ship at -O2, which makes compilers see more. That
    is slow, and one case has every kind of member."""
    for folder in runs_of("all_four_kinds"):
        toolchain = matrix.toolchain(optimisation="-O2")
        matrix.compile_run(toolchain, "all_four_kinds", folder, tmp_path / folder.name)


def test_headers(matrix, tmp_path):
    """Headers compile alone, twice, before and after Boost's own."""
    for case, run_name, base in SELF_SUFFICIENT:
        include = f'#include "{base}.rpc.h"\n'
        forms = {"alone": include}
        if case == "all_four_kinds":
            forms["twice"] = include + include
            forms["before Boost"] = include + BOOST_HEADERS
            forms["after Boost"] = BOOST_HEADERS + include
        for form, text in forms.items():
            unit = write(tmp_path / f"{case}_{form.replace(' ', '_')}.cc", text)
            matrix.compile(matrix.toolchain(), unit, GOLDEN / case / run_name, case)
            print(f"{base}.rpc.h, {form}: compiles")


class Control:
    """Copies of the files of one case, with a fault in them."""

    case, run_name = "all_four_kinds", "services_namespace=services"
    names = ["kinds/four.rpc.h", "kinds/four.rpc.cpp"]

    def __init__(self, matrix, work):
        self.matrix, self.work = matrix, work
        self.toolchain = matrix.toolchain(matrix.prefix)
        original = GOLDEN / self.case / self.run_name
        self.texts = {name: (original / name).read_text() for name in self.names}

    def broken_copy(self, fault, suffix, old, new):
        """A copy of the files, with `old` replaced; returns its folder."""
        broken = f"kinds/four{suffix}"
        assert old in self.texts[broken]
        folder = self.work / fault.replace(" ", "_") / self.run_name
        for name, text in self.texts.items():
            write(folder / name, text.replace(old, new) if name == broken else text)
        return folder

    def compile(self, folder, status):
        output = folder / "four.o"
        unit = folder / self.names[1]
        return self.matrix.compile(self.toolchain, unit, folder, self.case, output, status)


def test_control(matrix, tmp_path):
    """Golden files are broken, and the compiler, or the calls, see it. Without this, a
    matrix that sees nothing would look like one that finds nothing."""
    control = Control(matrix, tmp_path)
    control.compile(control.broken_copy("nothing", ".rpc.h", "Kinds", "Kinds"), status=0)
    for fault, suffix, old, new, diagnostic in FAULTS:
        output = control.compile(control.broken_copy(fault, suffix, old, new), status=None)
        pattern = rf"four{re.escape(suffix)}:\d+:\d+: error: .*({diagnostic})"
        assert has_match(output.splitlines(), pattern), f"{fault}: {output}"
        print(f"{fault}: refused, as it must be")

    *fault, expected = FAULT_OF_CALLS
    folder = control.broken_copy(*fault)
    with pytest.raises(AssertionError, match=expected):
        matrix.compile_run(control.toolchain, control.case, folder, folder.parent / "work")
