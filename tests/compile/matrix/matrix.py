"""Compiles the golden files with one compiler at one standard, links them and
makes every call of their services.

  matrix CONFIG options COMPILER STANDARD
      generates and compiles the messages of the options schema, for the rest
  matrix CONFIG messages COMPILER STANDARD CASE
      the same for the messages of one case
  matrix CONFIG prefix COMPILER STANDARD
      prebuilds what all generated files include, for the rest
  matrix CONFIG case COMPILER STANDARD CASE
      compiles each expected header and source of the case with all warnings,
      links each run and makes its calls; a case with a file NOT_COMPILED must
      be refused instead
  matrix CONFIG optimised COMPILER STANDARD
      the same for one case, as a release build
  matrix CONFIG headers COMPILER STANDARD
      compiles headers alone, twice, before and after Boost's own
  matrix CONFIG control COMPILER STANDARD
      breaks golden files, and fails unless the compiler sees it
  matrix CONFIG missing WHAT
      says that there is no such compiler, or none that takes the headers of
      protobuf and Boost at that standard

Run as `python3 -m compile.matrix.matrix`. CONFIG is the JSON file that CMake
writes. A failed test prints the command and what the compiler said. Exit
status: 0 success, 1 failure, 2 wrong usage, 77 skipped.
"""

import json
import pathlib
import re
import sys

from support import exercise
from support.refusal import unmatched_pattern
from support.testkit import TESTS, Failure, Misuse, Skip, run, status_of, write
from support.toolchain import Toolchain

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


class Matrix:
    """The golden cases, and where the parts of their tests are."""

    def __init__(self, config):
        self.golden = pathlib.Path(config["golden"])
        self.proto = pathlib.Path(config["proto"])
        self.runtime = pathlib.Path(config["runtime"])
        self.build = pathlib.Path(config["build"])
        self.protoc = [config["protoc"], *config["protoc_options"]]
        self.system_folders = config["system_folders"]
        self.libraries = config["libraries"]

    def messages(self, case):
        return self.build / "messages" / case

    def options(self):
        return self.build / "messages.options"

    def toolchain(self, compiler, standard):
        """With the prebuilt includes, for what is compiled many times."""
        name = f"{pathlib.Path(compiler).name}-{standard}"
        return Toolchain(compiler, standard, self.system_folders, self.build / "prefix" / name)

    def work(self, compiler, standard, part):
        name = f"{pathlib.Path(compiler).name}-{standard}"
        return self.build / "work" / name / part


# What stands beside the options schema. Everything else is a .proto file,
# whatever its suffix.
BUILD_FILES = {"CMakeLists.txt", "BUILD.bazel"}


def make_messages(matrix, compiler, standard, proto_folder, folder):
    """Generates and compiles the messages of the .proto files below the
    folder."""
    folder.mkdir(parents=True, exist_ok=True)
    names = [
        path.relative_to(proto_folder)
        for path in sorted(proto_folder.rglob("*"))
        if path.is_file() and path.name not in BUILD_FILES
    ]
    run(matrix.protoc + ["-I", proto_folder, "-I", matrix.proto, f"--cpp_out={folder}"] + names)
    # Every compiler and standard can link the objects of one.
    toolchain = Toolchain(compiler, standard, matrix.system_folders)
    sources = sorted(folder.rglob("*.pb.cc"))
    if len(sources) != len(names):
        raise Failure(
            f"{len(names)} .proto files below {proto_folder}, but "
            f"{len(sources)} sources below {folder}; delete that"
        )
    for source in sources:
        toolchain.compile_messages(source, [folder, matrix.options()], source.with_suffix(".o"))
    print(f"message sources compiled: {len(sources)}")


def make_options(matrix, compiler, standard):
    make_messages(matrix, compiler, standard, matrix.proto, matrix.options())


def make_messages_of_case(matrix, compiler, standard, case):
    proto_folder = matrix.golden / case / "proto"
    make_messages(matrix, compiler, standard, proto_folder, matrix.messages(case))


def compile_run(matrix, toolchain, case, folder, work):
    """Compiles the files of one run of the case, each header on its own; links
    them and makes the calls."""
    messages = [matrix.messages(case), matrix.options()]
    rpc = [folder, matrix.runtime]
    headers = sorted(folder.rglob("*.rpc.h"))
    sources = sorted(folder.rglob("*.rpc.cpp"))
    if not headers or len(headers) != len(sources):
        raise Failure(f"{folder} has {len(headers)} headers and " f"{len(sources)} sources")

    objects = []
    for number, source in enumerate(sources):
        objects.append(work / f"source{number}.o")
        toolchain.compile(source, rpc, messages, objects[-1])

    includes = [str(header.relative_to(folder)) for header in headers]
    for number, header in enumerate(includes):
        unit = write(work / f"header{number}.cc", f'#include "{header}"\n')
        objects.append(work / f"header{number}.o")
        toolchain.compile(unit, rpc, messages, objects[-1])

    name, _, value = folder.name.partition("=")
    services = []
    for header in headers:
        services += exercise.services_of(
            header.read_text(encoding="utf-8"), value if name == "services_namespace" else ""
        )
    proto_folder = matrix.golden / case / "proto"
    protos = [
        path.relative_to(proto_folder).as_posix()
        for path in sorted(proto_folder.rglob("*"))
        if path.is_file()
    ]
    unit = write(
        work / "main.cc",
        exercise.exercise_source(includes, services, "Exercise")
        + exercise.main_source(["Exercise"], protos),
    )
    objects.append(work / "main.o")
    toolchain.compile(unit, rpc + [TESTS], messages, objects[-1])

    message_objects = [path for place in messages for path in sorted(place.rglob("*.o"))]
    program = work / "main"
    toolchain.link(objects + message_objects, matrix.libraries, program)
    print(f"{case}, {folder.name}: headers: {len(headers)}, sources: " f"{len(sources)}")
    print(run([program]))


def refuse_run(matrix, toolchain, folder):
    """Fails unless the compiler refuses the run's files, at a line of theirs
    and for no other reason than what it finds there."""
    case = folder.parent.name
    output = ""
    for source in sorted(folder.rglob("*.rpc.cpp")):
        try:
            toolchain.compile(
                source, [folder, matrix.runtime], [matrix.messages(case), matrix.options()]
            )
        except Failure as failure:
            output += str(failure)
    if not re.search(r"\.rpc\.(h|cpp):\d+:\d+: error: ", output):
        raise Failure(
            f"{folder} has NOT_COMPILED above it, but compiles, or fails elsewhere:\n{output}"
        )
    if re.search(r"fatal error|No such file", output):
        raise Failure(f"a file is missing:\n{output}")
    first = re.search(r"^.*: error: .*$", output, re.MULTILINE)
    print(f"{case}, {folder.name}: refused, as it must be: {first.group(0)}")


def test_case(matrix, compiler, standard, case):
    toolchain = matrix.toolchain(compiler, standard)
    golden = matrix.golden / case
    same_as = golden / "SAME_AS"
    expected = matrix.golden / same_as.read_text("utf-8").strip() if same_as.exists() else golden
    runs = sorted(path for path in expected.iterdir() if path.is_dir() and path.name != "proto")
    if not runs:
        raise Failure(f"{expected} has no folder with expected files")
    for folder in runs:
        if (golden / "NOT_COMPILED").exists():
            refuse_run(matrix, toolchain, folder)
        else:
            compile_run(
                matrix, toolchain, case, folder, matrix.work(compiler, standard, case) / folder.name
            )


def test_optimised(matrix, compiler, standard):
    """Users build what they ship at -O2, which makes compilers see more. That
    is slow, and one case has every kind of member."""
    toolchain = Toolchain(compiler, standard, matrix.system_folders, optimisation="-O2")
    case = "all_four_kinds"
    for folder in [
        matrix.golden / case / "plain",
        matrix.golden / case / "services_namespace=services",
    ]:
        compile_run(
            matrix,
            toolchain,
            case,
            folder,
            matrix.work(compiler, standard, "optimised") / folder.name,
        )


def test_headers(matrix, compiler, standard):
    toolchain = Toolchain(compiler, standard, matrix.system_folders)
    work = matrix.work(compiler, standard, "headers")
    for case, run_name, base in SELF_SUFFICIENT:
        include = f'#include "{base}.rpc.h"\n'
        forms = {"alone": include}
        if (case, run_name, base) == SELF_SUFFICIENT[0]:
            forms["twice"] = include + include
            forms["before Boost"] = include + BOOST_HEADERS
            forms["after Boost"] = BOOST_HEADERS + include
        for form, text in forms.items():
            name = f"{case}_{form.replace(' ', '_')}.cc"
            toolchain.compile(
                write(work / name, text),
                [matrix.golden / case / run_name, matrix.runtime],
                [matrix.messages(case), matrix.options()],
            )
            print(f"{base}.rpc.h, {form}: compiles")


def test_control(matrix, compiler, standard):
    """Without this, a matrix that sees nothing would look like one that finds
    nothing."""
    toolchain = matrix.toolchain(compiler, standard)
    case = "all_four_kinds"
    run_name = "services_namespace=services"
    names = ["kinds/four.rpc.h", "kinds/four.rpc.cpp"]
    texts = {name: (matrix.golden / case / run_name / name).read_text("utf-8") for name in names}

    def broken_copy(fault, suffix, old, new):
        """A copy of the files, with `old` replaced; returns its folder."""
        name = f"kinds/four{suffix}"
        if old not in texts[name]:
            raise Failure(f'{name} has no "{old}" to put {fault} there')
        folder = matrix.work(compiler, standard, "control") / fault.replace(" ", "_") / run_name
        for each in names:
            write(folder / each, texts[each])
        write(folder / name, texts[name].replace(old, new))
        return folder

    def compile_copy(folder, status):
        return toolchain.compile(
            folder / names[1],
            [folder, matrix.runtime],
            [matrix.messages(case), matrix.options()],
            folder / "four.o",
            status,
        )

    compile_copy(broken_copy("nothing", ".rpc.h", "Kinds", "Kinds"), status=0)
    for fault, suffix, old, new, diagnostic in FAULTS:
        output = compile_copy(broken_copy(fault, suffix, old, new), status=None)
        pattern = rf"four{re.escape(suffix)}:\d+:\d+: error: .*({diagnostic})"
        if unmatched_pattern(output.splitlines(), [pattern]):
            raise Failure(f"{fault} was refused for another reason:\n{output}")
        print(f"{fault}: refused, as it must be")

    *fault, expected = FAULT_OF_CALLS
    folder = broken_copy(*fault)
    try:
        compile_run(matrix, toolchain, case, folder, folder.parent / "work")
    except Failure as failure:
        if expected not in str(failure):
            raise Failure(f"{fault[0]} was noticed for another reason:\n{failure}") from failure
        print(f"{fault[0]}: noticed, as it must be")
    else:
        raise Failure(f"{fault[0]} was not noticed")


def main(arguments):
    if len(arguments) < 3:
        raise Misuse(__doc__)
    config, command, compiler, *rest = arguments
    if command == "missing" and not rest:
        raise Skip(
            f"{compiler} is not to be had here, so nothing is known about generated code under it"
        )
    commands = {
        "options": (make_options, 1),
        "messages": (make_messages_of_case, 2),
        "case": (test_case, 2),
        "headers": (test_headers, 1),
        "optimised": (test_optimised, 1),
        "control": (test_control, 1),
        "prefix": (lambda matrix, *names: matrix.toolchain(*names).make_prefix(), 1),
    }
    if command not in commands or len(rest) != commands[command][1]:
        raise Misuse(__doc__)
    with open(config, encoding="utf-8") as file:
        matrix = Matrix(json.load(file))
    commands[command][0](matrix, compiler, *rest)


if __name__ == "__main__":
    sys.exit(status_of(main, sys.argv[1:]))
