"""The wrong calls of qarn_rpc_generate(), and what it answers to each.

In the texts, @project@ stands for the folder of the project, @work@ for the one that
it is in, and @prefix@ for where the package is installed.
"""

import collections

# The name, lines of CMake, the environment that is added, and the expected text.
Case = collections.namedtuple("Case", "name lines env expected")

FIND = "find_package(qarn-rpc-gen REQUIRED)\n"
ARGUMENTS = (
    "TARGET, OUT_VAR, PROTOC_OUT_DIR, SERVICES_NAMESPACE, EXPORT_MACRO, OPTIONS_TARGET, "
    "RUNTIME_TARGET, HEADERS_VAR, SOURCES_VAR, "
    "PROTOS, MESSAGES_ONLY_PROTOS, IMPORT_DIRS, DEPENDENCIES, PROTOC_OPTIONS, LINT_OPTIONS, "
    "NO_MESSAGES, BATCH, UNITY, PRECOMPILE, SYSTEM, PUBLIC, PRIVATE, LINT"
)


def cases():
    """Yields the fields of each case."""
    project, package = "@project@", "@prefix@/share/cmake/qarn-rpc-gen"

    def call(arguments, before=""):
        return f"{FIND}{before}\nqarn_rpc_generate({arguments})\n"

    def refused(name, arguments, text, before=""):
        return name, call(arguments, before), {}, f"qarn-rpc-gen: {text}"

    yield refused(
        "keyword misspelt after a list",
        "TARGET echo PROTOS echo.proto NAMESPACE api",
        f"'NAMESPACE' does not exist (looked for '{project}/NAMESPACE'). "
        "Relative names start at the folder of the CMakeLists.txt.",
    )
    yield refused(
        "unknown argument",
        "echo PROTOS echo.proto",
        f"unknown argument: echo. Known are {ARGUMENTS}.",
    )
    yield refused(
        "no value",
        "TARGET echo PROTOS echo.proto IMPORT_DIRS SERVICES_NAMESPACE",
        "no value after IMPORT_DIRS, SERVICES_NAMESPACE. Give one, or leave the keyword out.",
    )
    yield refused(
        "TARGET and OUT_VAR",
        "TARGET echo OUT_VAR files PROTOS echo.proto",
        "both TARGET and OUT_VAR are given. TARGET compiles the generated files, "
        "OUT_VAR only names them; choose one.",
    )
    yield refused(
        "neither TARGET nor OUT_VAR",
        "PROTOS echo.proto",
        "neither TARGET nor OUT_VAR is given. Name the target that is to compile "
        "the generated files, or a variable for their names.",
    )
    yield refused(
        "no PROTOS",
        "TARGET echo",
        "PROTOS is missing. Name the .proto files after it, or add them to the sources of TARGET.",
    )
    for arguments in ("PUBLIC", "PRIVATE", "RUNTIME_TARGET echo"):
        yield refused(
            f"{arguments} without TARGET",
            f"OUT_VAR files PROTOS echo.proto {arguments}",
            "PUBLIC, PRIVATE and RUNTIME_TARGET need TARGET: with OUT_VAR you link the libraries "
            "yourself.",
        )
    for arguments in ("PUBLIC", "SYSTEM PROTOC_OUT_DIR generated"):
        yield refused(
            f"PRIVATE and {arguments}",
            f"TARGET echo PROTOS echo.proto PRIVATE {arguments}",
            "PRIVATE contradicts PUBLIC and SYSTEM: with it, those that link the target do not "
            "see the generated headers. Leave one out.",
        )
    yield refused(
        "unknown runtime",
        "TARGET echo PROTOS echo.proto RUNTIME_TARGET my_runtime",
        "RUNTIME_TARGET 'my_runtime' is not a target. "
        "Make or find the library of your runtime ahead of this call.",
    )
    yield refused(
        "NO_MESSAGES and MESSAGES_ONLY_PROTOS",
        "TARGET echo PROTOS echo.proto NO_MESSAGES MESSAGES_ONLY_PROTOS text.proto",
        "NO_MESSAGES and MESSAGES_ONLY_PROTOS contradict each other. "
        "Leave one out, or make two calls.",
    )
    yield refused(
        "NO_MESSAGES and EXPORT_MACRO",
        "TARGET echo PROTOS echo.proto NO_MESSAGES EXPORT_MACRO ECHO_EXPORT",
        "NO_MESSAGES and EXPORT_MACRO contradict each other: the macro exports messages. "
        "Give it to the call that has them.",
    )
    yield refused(
        "no macro",
        "TARGET echo PROTOS echo.proto EXPORT_MACRO echo,export",
        "EXPORT_MACRO 'echo,export' is not the name of a macro. Write it like SHOP_EXPORT.",
    )
    yield refused(
        "PRECOMPILE without TARGET",
        "OUT_VAR files PROTOS echo.proto PRECOMPILE",
        "PRECOMPILE needs TARGET: a precompiled header is made with the options of the target "
        "that compiles the files. Give TARGET in place of OUT_VAR, or leave PRECOMPILE out.",
    )
    yield refused(
        "SYSTEM without TARGET",
        "OUT_VAR files PROTOS echo.proto PROTOC_OUT_DIR generated SYSTEM",
        "SYSTEM needs TARGET: it is for those that link the target. With OUT_VAR, give your own "
        "target PROTOC_OUT_DIR as a SYSTEM include folder.",
    )
    for folder in ("", "PROTOC_OUT_DIR ."):
        yield refused(
            f"SYSTEM without a folder of its own: {folder}",
            f"TARGET echo PROTOS echo.proto {folder} SYSTEM",
            "SYSTEM needs a folder with generated files alone, but they would go to "
            f"'{project}/build'. Give PROTOC_OUT_DIR, such as generated.",
        )
    yield refused(
        "one file in both lists",
        "TARGET echo PROTOS echo.proto text.proto MESSAGES_ONLY_PROTOS text.proto",
        f"'{project}/text.proto' stands in PROTOS and in MESSAGES_ONLY_PROTOS. "
        "Leave it in the list that it belongs to.",
    )
    yield refused(
        "unknown target",
        "TARGET ehco PROTOS echo.proto",
        "TARGET 'ehco' is not a target. "
        "Call add_executable() or add_library() ahead of this call.",
    )
    yield refused(
        "interface library",
        "TARGET headers PROTOS echo.proto",
        "TARGET 'headers' compiles nothing (it is an alias, imported, an interface "
        "library or a custom target). Name the executable or library that is to "
        "compile the generated files.",
        before="add_library(headers INTERFACE)",
    )
    yield refused(
        "alias",
        "TARGET my::lib PROTOS echo.proto",
        "TARGET 'my::lib' compiles nothing",
        before="add_library(lib main.cc)\nadd_library(my::lib ALIAS lib)",
    )
    yield refused(
        "unknown options library",
        "TARGET echo PROTOS echo.proto OPTIONS_TARGET mine",
        "OPTIONS_TARGET 'mine' is not a target. Make the library ahead of this call.",
    )
    yield refused(
        "an object library of options",
        "TARGET echo PROTOS echo.proto OPTIONS_TARGET mine",
        "OPTIONS_TARGET 'mine' is an object library. Its objects reach only what links it "
        "directly: a program behind another object library would not link. "
        "Make it a static or a shared library.",
        before="add_library(mine OBJECT main.cc)",
    )
    yield refused(
        "a file with options and no library for them",
        "TARGET echo PROTOS text.proto echo.proto OPTIONS_TARGET NONE",
        f"'{project}/echo.proto' imports the options schema, but OPTIONS_TARGET is NONE. "
        "Leave the argument out, or name the library that has the schema's message code.",
    )
    yield (
        "the library of the options in two shared libraries",
        FIND + "foreach(name IN ITEMS text echo)\n"
        "add_library(${name}_rpc SHARED main.cc)\n"
        "qarn_rpc_generate(TARGET ${name}_rpc PROTOS ${name}.proto)\n"
        "endforeach()\n"
        "target_link_libraries(echo text_rpc echo_rpc)\n",
        {},
        "qarn-rpc-gen: 'echo' would hold the library of the options, 'qarn_rpc_service_options', "
        "twice: in 'text_rpc' and 'echo_rpc'. The program would end when it starts.",
    )
    yield (
        "no export set",
        f"{FIND}qarn_rpc_install_options()\n",
        {},
        "qarn_rpc_install_options: call it as qarn_rpc_install_options(EXPORT set), "
        "with the export set of your libraries.",
    )
    for arguments in ("SERVICES_NAMESPACE api", ""):
        yield refused(
            f"one file in two targets: {arguments}",
            f"TARGET echo PROTOS echo.proto {arguments}",
            f"code of 'echo.proto' is written to '{project}/build' already, by the call with "
            "TARGET other. Link a library that has it, or give this call a PROTOC_OUT_DIR of "
            "its own.",
            before="add_library(other main.cc)\n"
            "qarn_rpc_generate(TARGET other PROTOS text.proto echo.proto)",
        )
    for keyword, value, arguments in (
        ("PROTOS", "$<1:echo.proto>", "TARGET echo PROTOS text.proto {}"),
        ("MESSAGES_ONLY_PROTOS", "$<1:echo.proto>", "TARGET echo MESSAGES_ONLY_PROTOS {}"),
        ("IMPORT_DIRS", "$<1:.>", "TARGET echo PROTOS echo.proto IMPORT_DIRS {}"),
        ("PROTOC_OUT_DIR", "gen/$<CONFIG>", "TARGET echo PROTOS echo.proto PROTOC_OUT_DIR {}"),
        ("SERVICES_NAMESPACE", "$<1:api>", "TARGET echo PROTOS echo.proto SERVICES_NAMESPACE {}"),
        ("LINT_OPTIONS", "off=$<1:x>", "TARGET echo PROTOS echo.proto LINT LINT_OPTIONS {}"),
    ):
        yield refused(
            f"generator expression in {keyword}",
            arguments.format(value),
            f"{keyword} holds the generator expression '{value[value.index('$'):]}', but its value "
            "is needed when CMake configures. Only DEPENDENCIES and PROTOC_OPTIONS take "
            "generator expressions.",
        )
    yield refused(
        "configured file under the source folder",
        "TARGET echo PROTOS ${CMAKE_BINARY_DIR}/made.proto IMPORT_DIRS .",
        f"'{project}/build/made.proto' is in the build folder, but would be imported as "
        f"'build/made.proto', from '{project}'. "
        "Put the folder that its imports start from first in IMPORT_DIRS.",
        before='file(WRITE "${CMAKE_BINARY_DIR}/made.proto" "")',
    )
    yield (
        "OUT_VAR in another folder",
        call("OUT_VAR files PROTOS echo.proto")
        + 'file(WRITE "${CMAKE_BINARY_DIR}/user_source/CMakeLists.txt" '
        '"add_library(user \\${files})")\n'
        'add_subdirectory("${CMAKE_BINARY_DIR}/user_source" user)\n',
        {},
        f"qarn-rpc-gen: the target 'user' of the folder '{project}/build/user_source' compiles "
        f"'{project}/build/echo.pb.cc', but the rule for that file is in '{project}', which made "
        "it for OUT_VAR. Call qarn_rpc_generate() in the folder of the target, or give the call "
        "TARGET there.",
    )
    for name in ("a,b", "a.b", "::a", "1st", "a b"):
        yield refused(
            f"namespace {name}",
            f'TARGET echo PROTOS echo.proto SERVICES_NAMESPACE "{name}"',
            f"SERVICES_NAMESPACE '{name}' is not the name of a C++ namespace. "
            "Write it like api or team::api.",
        )
    yield refused(
        "missing file",
        "TARGET echo PROTOS ehco.proto",
        f"'ehco.proto' does not exist (looked for '{project}/ehco.proto'). "
        "Relative names start at the folder of the CMakeLists.txt.",
    )
    yield refused(
        "file outside",
        "TARGET echo PROTOS echo.proto IMPORT_DIRS build ..//other/",
        f"'{project}/echo.proto' is in none of the import folders "
        f"('{project}/build', '@work@/other'). "
        "Add the folder that its imports start from to IMPORT_DIRS.",
    )
    yield refused(
        "output path",
        'TARGET echo PROTOS echo.proto PROTOC_OUT_DIR "gen#1"',
        f"the generated files would go to '{project}/build/gen#1', and CMake has no "
        "rules for files with '#', '<' or '>' in their path. "
        "Choose another build folder or PROTOC_OUT_DIR.",
    )

    plain = "TARGET echo PROTOS echo.proto"
    yield refused(
        "no protobuf library",
        plain,
        "protobuf's C++ library was not found. On Debian or Ubuntu: apt-get install "
        "libprotobuf-dev. Elsewhere, set CMAKE_PREFIX_PATH to where protobuf is "
        "installed.",
        before="set(CMAKE_DISABLE_FIND_PACKAGE_Protobuf ON)",
    )
    yield (
        "no protoc",
        call(
            plain,
            "add_library(protobuf::libprotobuf INTERFACE IMPORTED)\n"
            "unset(Protobuf_PROTOC_EXECUTABLE CACHE)",
        ),
        {"PATH": f"{project}/nowhere"},
        "qarn-rpc-gen: protoc was not found. On Debian or Ubuntu: apt-get install "
        "protobuf-compiler. Elsewhere, set QARN_RPC_PROTOC_EXECUTABLE to its full path.",
    )
    for variable in ("QARN_RPC_PROTOC_EXECUTABLE", "Protobuf_PROTOC_EXECUTABLE"):
        yield refused(
            f"broken {variable}",
            plain,
            f"'/no/protoc', from {variable}, does not run as protoc on this machine. "
            "On Debian or Ubuntu: apt-get install protobuf-compiler. Elsewhere, set "
            "QARN_RPC_PROTOC_EXECUTABLE to the full path of one that runs here.",
            before="add_library(protobuf::libprotobuf INTERFACE IMPORTED)\n"
            f"set({variable} /no/protoc)",
        )
    yield refused(
        "protoc of the target system in a cross build",
        plain,
        "'/no/protoc', from Protobuf_PROTOC_EXECUTABLE, does not run as protoc on this machine. "
        "Is it the target system's? Set QARN_RPC_PROTOC_EXECUTABLE to the full path of one for "
        "the machine that builds, of the same release as the target system's protobuf.",
        before="add_library(protobuf::libprotobuf INTERFACE IMPORTED)\n"
        "set(CMAKE_CROSSCOMPILING TRUE)\nset(Protobuf_PROTOC_EXECUTABLE /no/protoc)",
    )
    yield refused(
        "broken QARN_RPC_PLUGIN_EXECUTABLE",
        plain,
        "QARN_RPC_PLUGIN_EXECUTABLE is '/no/plugin', which does not exist. "
        "Set it to the full path of protoc-gen-qarn-rpc-any.",
        before="set(QARN_RPC_PLUGIN_EXECUTABLE /no/plugin)",
    )
    yield (
        "no find_package",
        f'include("{package}/QarnRpcGenerate.cmake")\nqarn_rpc_generate({plain})\n',
        {},
        "qarn-rpc-gen: the target qarn-rpc-gen::protoc-gen-qarn-rpc-any is missing. Call "
        "find_package(qarn-rpc-gen REQUIRED) first, or set QARN_RPC_PLUGIN_EXECUTABLE to the "
        "full path of protoc-gen-qarn-rpc-any.",
    )
    yield refused(
        "cross build without a host plugin",
        plain,
        "no protoc-gen-qarn-rpc-any for the machine that builds was found. Install one "
        "there and put it on the PATH, or set QARN_RPC_PLUGIN_EXECUTABLE to its full "
        "path.",
        before="set(CMAKE_CROSSCOMPILING TRUE)",
    )
    plugin = "set(QARN_RPC_PLUGIN_EXECUTABLE @prefix@/bin/protoc-gen-qarn-rpc-any)\n"
    yield refused(
        "broken QARN_RPC_LINT_EXECUTABLE",
        f"{plain} LINT",
        "QARN_RPC_LINT_EXECUTABLE is '/no/linter', which does not exist. "
        "Set it to the full path of protoc-gen-qarn-rpc-lint.",
        before="set(QARN_RPC_LINT_EXECUTABLE /no/linter)",
    )
    yield (
        "no linter",
        f'{plugin}set(QARN_RPC_LINT ON)\ninclude("{package}/QarnRpcGenerate.cmake")\n'
        f"qarn_rpc_generate({plain})\n",
        {},
        "qarn-rpc-gen: LINT or QARN_RPC_LINT is on, but the target "
        "qarn-rpc-gen::protoc-gen-qarn-rpc-lint is missing. Call find_package(qarn-rpc-gen "
        "REQUIRED) first, with a qarn-rpc-gen that was built with protobuf 3.12 or newer, or set "
        "QARN_RPC_LINT_EXECUTABLE to the full path of protoc-gen-qarn-rpc-lint.",
    )
    yield refused(
        "cross build without a host linter",
        f"{plain} LINT",
        "LINT or QARN_RPC_LINT is on, but no protoc-gen-qarn-rpc-lint for the machine that builds "
        "was found. Install one there and put it on the PATH, or set QARN_RPC_LINT_EXECUTABLE to "
        "its full path.",
        before=f"set(CMAKE_CROSSCOMPILING TRUE)\n{plugin}",
    )
    yield (
        "another version",
        "find_package(qarn-rpc-gen 99 REQUIRED)\n",
        {},
        'compatible with requested version "99"',
    )
    yield (
        "no library to check",
        f"{FIND}qarn_rpc_check_runtime(my_runtime)\n",
        {},
        "qarn_rpc_check_runtime: call it as qarn_rpc_check_runtime(TARGET library), "
        "with the library of your runtime.",
    )
    yield (
        "unknown library to check",
        f"{FIND}qarn_rpc_check_runtime(TARGET my_runtime)\n",
        {},
        "qarn_rpc_check_runtime: TARGET 'my_runtime' is not a target. "
        "Make or find the library of your runtime ahead of this call.",
    )


CASES = [Case(*fields) for fields in cases()]
