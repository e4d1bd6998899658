"""The check of a runtime, with the example's and with damaged copies of it."""

import os
import re
import shutil
import subprocess

from consumers.context import copy_into, write_program
from support.testkit import Failure, expect, expect_in, fresh_folder, run, write

STRICT = [
    "-std=c++17",
    "-Wall",
    "-Wextra",
    "-Wpedantic",
    "-Wshadow",
    "-Wnon-virtual-dtor",
    "-Werror",
]

FILES = {
    f"{way}/{name}"
    for way in ("plain", "api")
    for name in ("kinds.rpc.cpp", "no_package.rpc.cpp", "use.cc")
}

SERVICE_NAMES = ["make_rpc_method", "RpcServiceMethodT", "RpcService::AddMethod"]
CALLS = ["client::AsyncSimpleCall", "client::AsyncStreamingCall", "client::AsyncBatchCall"]

# What is wrong with the copy; file, text and new text of each change; the names
# that do not fit, with a pattern for what is said of each; and the names that
# cannot fit because of these. An empty file name stands for all files.
DAMAGED = [
    (
        "an enumerator is missing",
        [("method.h", "CS_CLIENT", "CS_CALLER")],
        {"CS_CLIENT": "CS_CLIENT"},
        ["make_rpc_method"],
    ),
    (
        "a class template is missing",
        [("", "CallObserver", "CallListener")],
        {"CallObserver": "CallObserver"},
        SERVICE_NAMES + CALLS,
    ),
    (
        "a function template is missing",
        [("", "make_rpc_method", "describe_method")],
        {"make_rpc_method": "make_rpc_method"},
        [],
    ),
    (
        "a request that must not be const",
        [("client.h", "const Request& request,", "Request& request,")],
        {"client::AsyncSimpleCall": "discards|CallHandle<const check::Request>"},
        [],
    ),
    (
        "a template parameter that no argument tells",
        [
            (
                "client.h",
                "template <class Request, class Response>\n"
                "boost::intrusive_ptr<CallHandle<Request>> AsyncSimpleCall",
                "template <class Tag, class Request, class Response>\n"
                "boost::intrusive_ptr<CallHandle<Request>> AsyncSimpleCall",
            )
        ],
        {"client::AsyncSimpleCall": "no match.*: couldn't (deduce|infer) template .* 'Tag'$"},
        [],
    ),
    (
        "another order of template parameters",
        [
            (
                "client.h",
                "template <class Request, class Response, class Container>",
                "template <class Container, class Request, class Response>",
            )
        ],
        {"client::AsyncBatchCall": "AsyncBatchCall|convert|initialization"},
        [],
    ),
    (
        "one template parameter too many",
        [
            (
                "service_method.h",
                "template <class ServiceClass, class Traits>",
                "template <class ServiceClass, class Traits, class Policy>",
            )
        ],
        {"RpcServiceMethodT": r"template arguments.*(3|RpcServiceMethodT)"},
        ["RpcService::AddMethod"],
    ),
    (
        "a private member",
        [
            (
                "client.h",
                "  const boost::shared_ptr<Channel>& channel() const { return channel_; }\n\n",
                "\n",
            ),
            (
                "client.h",
                " private:\n  std::string client_name_;",
                " private:\n"
                "  const boost::shared_ptr<Channel>& channel() const { return channel_; }\n"
                "  std::string client_name_;",
            ),
        ],
        {"StubBase::channel": "private"},
        CALLS,
    ),
    (
        "a constructor without the endpoint",
        [
            (
                "client.h",
                "const std::string& client_name, const std::string& endpoint,",
                "const std::string& client_name,",
            ),
            ("client.h", "endpoint_(endpoint),", ""),
        ],
        {"StubBase": "StubBase"},
        [],
    ),
    (
        "a base that cannot be made without arguments",
        [("service.h", "  ServiceBase() {}", "  explicit ServiceBase(int) {}")],
        {"ServiceBase": "ServiceBase"},
        SERVICE_NAMES,
    ),
    (
        "handles that cannot be counted",
        [
            (
                "call.h",
                "class CallHandle : public CallHandleBase",
                "class CallHandle : CallHandleBase",
            )
        ],
        {
            "intrusive_ptr_add_ref": "inaccessible|private",
            "intrusive_ptr_release": "inaccessible|private",
        },
        CALLS + ["RpcServiceMethodT", "RpcService::AddMethod"],
    ),
    (
        "handles that cannot be let go",
        [
            (
                "call.h",
                "class CallHandle : public CallHandleBase {\n public:",
                "class CallHandle : public CallHandleBase {\n public:\n"
                "  friend void intrusive_ptr_release(CallHandle*) = delete;",
            )
        ],
        {"intrusive_ptr_release": "deleted"},
        CALLS + ["RpcServiceMethodT", "RpcService::AddMethod"],
    ),
    (
        "a service that is made of more than its name",
        [
            (
                "service.h",
                "explicit RpcService(const std::string& full_name)",
                "RpcService(const std::string& full_name, int)",
            )
        ],
        {"RpcService": "RpcService"},
        [],
    ),
    (
        "methods are taken by reference",
        [
            (
                "service.h",
                "void AddMethod(RpcServiceMethod* method)",
                "void AddMethod(RpcServiceMethod& method)",
            ),
            ("service.h", "<RpcServiceMethod>(method)", "<RpcServiceMethod>(&method)"),
        ],
        {"RpcService::AddMethod": "AddMethod|bind|convert|reference"},
        [],
    ),
]

# The damages that are tried at each change, one of each sort; all others take
# minutes.
QUICK = {
    "an enumerator is missing",
    "a request that must not be const",
    "a template parameter that no argument tells",
    "one template parameter too many",
}


def copy_of_runtime(context, changes, name="runtime"):
    """Makes a copy of the example's runtime with the changes of a damage."""
    folder = fresh_folder(os.path.join(context.work, name))
    copy_into(folder, context.runtime)
    parts = os.path.join(folder, "qarn", "rpc")
    for file, old, new in changes:
        changed = 0
        # What is for the network, in a folder of its own, no generated file includes.
        headers = sorted(name for name in os.listdir(parts) if name.endswith(".h"))
        for part in [file] if file else headers:
            path = os.path.join(parts, part)
            with open(path, encoding="utf-8") as stream:
                text = stream.read()
            changed += text.count(old)
            write(path, text.replace(old, new))
        if not changed:
            raise Failure(f"the runtime does not hold the text to damage:\n{old}")
    return folder


def checked(context, folder, *flags, status=0, env=None):
    """Runs the installed check, and returns what it says of each name, and its
    last line."""
    script = os.path.join(context.prefix, "share", "qarn-rpc-gen", "check_runtime.sh")
    output = run(
        [script, folder, *flags], status=status, env={"TMPDIR": context.work, **(env or {})}
    )
    lines = output.strip().splitlines()
    said = dict(line.split(None, 1) for line in lines if not line.startswith("check_runtime: "))
    return said, lines[-1]


def names(context):
    """The names that the check has probes for."""
    path = os.path.join(context.prefix, "share", "qarn-rpc-gen", "check_runtime", "names.txt")
    with open(path, encoding="utf-8") as file:
        return [line.split()[0] for line in file if not line.startswith("#")]


def expect_fits(context, folder, *flags, env):
    """All fits, and the check leaves nothing behind."""
    before = os.listdir(context.work)
    said, last = checked(context, folder, *flags, env=env)
    expect("the check", said, dict.fromkeys(set(names(context)) | FILES | {"linked"}, "fits"))
    expect("the last line", last, "check_runtime: the runtime fits")
    expect("files afterwards", os.listdir(context.work), before)


def oldest_standard():
    """The oldest that this protobuf's headers can be compiled at: they ask for C++17
    since releases have been counted from 22 on."""
    release = re.search(r"libprotoc (\d+)", run(["protoc", "--version"]))[1]
    return "-std=c++17" if int(release) >= 22 else "-std=c++11"


def test_check_runtime(context):
    """The example's runtime fits, name by name, as does one that decides otherwise
    whatever it may."""
    oldest = oldest_standard()
    expect_fits(context, context.runtime, oldest, *STRICT[1:], env={"CXX": "g++"})
    bare = os.path.join(context.projects, "bare_runtime")
    warnings = [flag for flag in STRICT[1:] if "virtual" not in flag]
    # A protoc that was moved does not find protobuf's own .proto files.
    protoc = shutil.copy(shutil.which("protoc"), context.work)
    environment = {"CXX": "clang++", "PROTOC": protoc}
    expect_fits(context, bare, oldest, *warnings, env=environment)


def test_check_runtime_clang(context):
    """clang says the same as gcc of what fits, and why something does not."""
    clang = {"CXX": "ccache clang++" if shutil.which("ccache") else "clang++"}
    expect_fits(context, context.runtime, "-std=c++20", *STRICT[1:], env=clang)
    expect_named(context, [row for row in DAMAGED if row[0] in QUICK], clang)


def test_check_runtime_damaged(context):
    """A damage of each sort is found in the names that it is in, and no other."""
    rows = [row for row in DAMAGED if row[0] in QUICK]
    expect("damages", len(rows), len(QUICK))
    expect_named(context, rows)


def test_check_runtime_damaged_otherwise(context):
    """So are all other damages."""
    expect_named(context, [row for row in DAMAGED if row[0] not in QUICK])


def expect_named(context, damages, env=None):
    """Each damage is found in the names that it is in, and no other."""
    for what, changes, misfits, dependent in damages:
        print(f"damage: {what}")
        folder = copy_of_runtime(context, changes)
        said, last = checked(context, folder, *STRICT, status=1, env=env)
        fitting = set(names(context)) - set(misfits) - set(dependent)
        expect("names that fit", {name for name in said if said[name] == "fits"}, fitting)
        for name, pattern in misfits.items():
            if "because of" in said[name] or not re.search(pattern, said[name]):
                raise Failure(f"of {name} the check says: {said[name]}")
            if "[with" in said[name] or context.prefix in said[name]:
                raise Failure(f"noise about {name}: {said[name]}")
        for name in dependent:
            causes = said[name].removeprefix("cannot fit, because of ").split(", ")
            expect(f"what {name} cannot fit because of", causes, list(misfits))
        kept = re.fullmatch(
            "check_runtime: the runtime does not fit: (.*); "
            "all that the compiler said is in (.*)",
            last,
        )
        if not kept:
            raise Failure(f"last line: {last}")
        expect("names in the last line", kept.group(1), ", ".join(misfits))
        log = re.sub("::", ".", next(iter(misfits))) + ".log"
        with open(os.path.join(kept.group(2), log), encoding="utf-8") as file:
            expect_in(log, file.read(), "error")


def test_check_runtime_header(context):
    """A header that does not compile alone stands for all names."""
    folder = copy_of_runtime(context, [("status.h", "namespace qarn {", "Missing missing;")])
    said, last = checked(context, folder, *STRICT, status=1)
    expect("names", list(said), names(context))
    expect_in(
        "the error", said.pop("qarn/rpc.h"), "qarn/rpc/status.h:9: 'Missing' does not name a type"
    )
    expect("other names", set(said.values()), {"cannot fit, because of qarn/rpc.h"})
    expect_in("the last line", last, "does not fit: qarn/rpc.h;")


def test_check_runtime_files(context):
    """Whole files are told from names: here a macro spoils a service of theirs."""
    said, last = checked(context, context.runtime, "-DUnpackaged=1", status=1)
    misfits = [
        f"{way}/{name}" for name in ("no_package.rpc.cpp", "use.cc") for way in ("plain", "api")
    ]
    expect(
        "names and files that do not fit",
        {name for name in said if said[name] != "fits"},
        set(misfits),
    )
    expect("whether it was linked", "linked" in said, False)
    expect_in("the last line", last, f"does not fit: {', '.join(misfits)};")


def test_check_runtime_linked(context):
    """A program of all files shows what no file alone does."""
    changes = [
        ("status.h", "enum class StatusCode", "int Twice() { return 2; }\n" "enum class StatusCode")
    ]
    said, last = checked(context, copy_of_runtime(context, changes), status=1)
    expect(
        "names and files that do not fit",
        {name for name in said if said[name] != "fits"},
        {"linked"},
    )
    expect_in("linked", said["linked"], "multiple definition of `qarn::rpc::Twice()'")
    expect_in("the last line", last, "does not fit: linked;")

    # A runtime with a library of its own.
    changes = [("client.h", "virtual ~StubBase() {}", "virtual ~StubBase();")]
    folder = copy_of_runtime(context, changes)
    said, last = checked(context, folder)
    expect_in("linked", said["linked"], "not linked: undefined reference to")
    expect_in("linked", said["linked"], "name the runtime's library among the flags")
    expect("last line", last, "check_runtime: the runtime fits, as far as its headers go")
    library = os.path.join(context.work, "libmine.a")
    for text, status in (("qarn::rpc::StubBase::~StubBase() {}", 0), ("", 1)):
        source = write(f"{context.work}/stub_base.cc", f'#include "qarn/rpc.h"\n{text}\n')
        run(["c++", "-I", folder, "-c", source, "-o", library + ".o"])
        if os.path.exists(library):
            os.remove(library)
        run(["ar", "rcs", library, library + ".o"])
        said, _ = checked(context, folder, f"-L{context.work}", "-lmine", status=status)
        if status == 0:
            expect("linked", said["linked"], "fits")
        else:
            expect_in("linked", said["linked"], "undefined reference to")


def test_check_runtime_errors(context):
    """Each way to go wrong has a status and one line."""
    script = os.path.join(context.prefix, "share", "qarn-rpc-gen", "check_runtime.sh")
    broken = write_program(os.path.join(context.work, "broken"), "exit 1\n")
    bare = fresh_folder(os.path.join(context.work, "bare"))
    for what, arguments, environment, status, text in (
        ("no argument", [], {}, 2, "usage: check_runtime.sh INCLUDE_DIR [compiler flag...]"),
        ("a flag first", ["-Wall"], {}, 2, "usage: check_runtime.sh"),
        (
            "no runtime",
            [bare],
            {},
            3,
            f"check_runtime: there is no qarn/rpc.h in '{bare}'; "
            "name the folder from which it is included",
        ),
        (
            "no compiler",
            [context.runtime],
            {"CXX": "no-such-compiler -m64"},
            4,
            "check_runtime: the compiler 'no-such-compiler -m64' was not found; "
            "set CXX to the one that you use",
        ),
        (
            "a broken compiler",
            [context.runtime],
            {"CXX": broken},
            4,
            f"check_runtime: the compiler '{broken}' does not compile an empty file",
        ),
        (
            "an unknown flag",
            [context.runtime, "-std=c++1"],
            {"CXX": "g++"},
            4,
            "check_runtime: the compiler 'g++' does not compile an empty file: ",
        ),
        (
            "no protoc",
            [context.runtime],
            {"PROTOC": "/no/protoc"},
            5,
            "check_runtime: /no/protoc was not found; put protoc on the PATH, "
            "or set PROTOC to its path",
        ),
        (
            "a broken protoc",
            [context.runtime],
            {"PROTOC": broken},
            5,
            "check_runtime: protoc does not generate the files to check with",
        ),
        (
            "no folder",
            [context.runtime],
            {"TMPDIR": "/no/folder"},
            5,
            "check_runtime: no temporary folder could be made; "
            "set TMPDIR to a folder that can be written to",
        ),
        (
            "no plugin",
            [context.runtime],
            {"QARN_RPC_PLUGIN": "/no/plugin"},
            5,
            "check_runtime: protoc-gen-qarn-rpc was not found; "
            "put it on the PATH, or set QARN_RPC_PLUGIN to its path",
        ),
        (
            "no headers",
            [context.runtime, "-nostdinc++"],
            {},
            5,
            "check_runtime: what generated code includes besides qarn/rpc.h " "does not compile: ",
        ),
    ):
        print(f"case: {what}")
        environment = {"TMPDIR": context.work, **environment}
        done = subprocess.run(
            [script, *arguments],
            env={**os.environ, **environment},
            stdin=subprocess.DEVNULL,
            capture_output=True,
            text=True,
            check=False,
        )
        expect(f"status of {what}", done.returncode, status)
        expect(f"output of {what}", done.stdout, "")
        expect(f"lines about {what}", done.stderr.count("\n"), 1)
        expect_in(f"what is said of {what}", done.stderr, text)


def test_cmake_check_runtime(context):
    """The function of the package says the same of a library, and fails the
    build with one that does not fit."""
    project = context.project("check_runtime")
    with open(os.path.join(project, "CMakeLists.txt"), "a", encoding="utf-8") as file:
        file.write('target_compile_definitions(my_runtime INTERFACE ON "-DWORDS=\\"a b\\"")\n')

    def build(runtime, status):
        common = ["cmake", "-S", project, "-B", os.path.join(project, "build"), "-G", "Ninja"]
        run(
            [*common, f"-DCMAKE_PREFIX_PATH={context.prefix}", f"-DRPC_RUNTIME_DIR={runtime}"],
            env={"CXX": "c++ -DARGUMENT_OF_CXX"},
        )
        return run(
            [
                "cmake",
                "--build",
                os.path.join(project, "build"),
                "--target",
                "check_runtime_my_runtime",
            ],
            status=status,
        )

    output = build(context.runtime, 0)
    expect_in("the check", output, "RpcService::AddMethod fits")
    expect_in("the check", output, "check_runtime: the runtime fits")
    # The library's standard and definitions are the ones that count.
    damaged = copy_of_runtime(
        context,
        [
            ("", "RMT_BIDI_STREAMING", "RMT_BOTH_STREAMING"),
            (
                "status.h",
                "enum class StatusCode",
                'static_assert(__cplusplus == 202002L, "20");\n'
                'static_assert(sizeof(WORDS) == 4, "a b");\n'
                "#if !defined(ON) || !defined(ARGUMENT_OF_CXX)\n#error\n#endif\n"
                "enum class StatusCode",
            ),
        ],
        "blank and $ sign",
    )
    output = build(damaged, None)
    expect_in("the check", output, "check_runtime: the runtime does not fit: RMT_BIDI_STREAMING;")
    expect_in(
        "the check",
        output,
        "qarn_rpc_check_runtime: 'my_runtime' does not fit the code that "
        "protoc-gen-qarn-rpc generates",
    )
    nothing = fresh_folder(os.path.join(context.work, "nothing"))
    expect_in(
        "the check",
        build(nothing, None),
        "qarn_rpc_check_runtime: there is no qarn/rpc.h in the include folders of "
        f"'my_runtime' ('{nothing}'). Give that library the folder from which qarn/rpc.h "
        "is included.",
    )
