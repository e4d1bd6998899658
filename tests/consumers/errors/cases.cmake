# The wrong calls of the package's functions, each with what is answered to it, but for
# the line breaks, after `#>`. An empty line ends a case; calls apart by `# or` have the
# same answer. Ahead of a case that is not about finding the package it is found.
# @project@ stands for the folder of the project, @work@ for the one that it is in, and
# @prefix@ for where the package is installed.

qarn_rpc_generate(TARGET echo PROTOS echo.proto NAMESPACE api)
#> qarn-rpc-gen: 'NAMESPACE' does not exist (looked for '@project@/NAMESPACE'). Relative names
#> start at the folder of the CMakeLists.txt.

qarn_rpc_generate(echo PROTOS echo.proto)
#> qarn-rpc-gen: unknown argument: echo. Known are TARGET, OUT_VAR, PROTOC_OUT_DIR,
#> SERVICES_NAMESPACE, EXPORT_MACRO, OPTIONS_TARGET, RUNTIME_TARGET, HEADERS_VAR, SOURCES_VAR,
#> PROTOS, MESSAGES_ONLY_PROTOS, IMPORT_DIRS, DEPENDENCIES, PROTOC_OPTIONS, LINT_OPTIONS,
#> NO_MESSAGES, BATCH, UNITY, PRECOMPILE, SYSTEM, PUBLIC, PRIVATE, LINT.

qarn_rpc_generate(TARGET echo PROTOS echo.proto IMPORT_DIRS SERVICES_NAMESPACE)
#> qarn-rpc-gen: no value after IMPORT_DIRS, SERVICES_NAMESPACE. Give one, or leave the keyword
#> out.

qarn_rpc_generate(TARGET echo OUT_VAR files PROTOS echo.proto)
#> qarn-rpc-gen: both TARGET and OUT_VAR are given. TARGET compiles the generated files, OUT_VAR
#> only names them; choose one.

qarn_rpc_generate(PROTOS echo.proto)
#> qarn-rpc-gen: neither TARGET nor OUT_VAR is given. Name the target that is to compile the
#> generated files, or a variable for their names.

qarn_rpc_generate(TARGET echo)
#> qarn-rpc-gen: PROTOS is missing. Name the .proto files after it, or add them to the sources of
#> TARGET.

qarn_rpc_generate(OUT_VAR files PROTOS echo.proto PUBLIC)
# or
qarn_rpc_generate(OUT_VAR files PROTOS echo.proto PRIVATE)
# or
qarn_rpc_generate(OUT_VAR files PROTOS echo.proto RUNTIME_TARGET echo)
#> qarn-rpc-gen: PUBLIC, PRIVATE and RUNTIME_TARGET need TARGET: with OUT_VAR you link the
#> libraries yourself.

qarn_rpc_generate(TARGET echo PROTOS echo.proto PRIVATE PUBLIC)
# or
qarn_rpc_generate(TARGET echo PROTOS echo.proto PRIVATE SYSTEM PROTOC_OUT_DIR generated)
#> qarn-rpc-gen: PRIVATE contradicts PUBLIC and SYSTEM: with it, those that link the target do not
#> see the generated headers. Leave one out.

qarn_rpc_generate(TARGET echo PROTOS echo.proto RUNTIME_TARGET my_runtime)
#> qarn-rpc-gen: RUNTIME_TARGET 'my_runtime' is not a target. Make or find the library of your
#> runtime ahead of this call.

qarn_rpc_generate(TARGET echo PROTOS echo.proto NO_MESSAGES MESSAGES_ONLY_PROTOS text.proto)
#> qarn-rpc-gen: NO_MESSAGES and MESSAGES_ONLY_PROTOS contradict each other. Leave one out, or
#> make two calls.

qarn_rpc_generate(TARGET echo PROTOS echo.proto NO_MESSAGES EXPORT_MACRO ECHO_EXPORT)
#> qarn-rpc-gen: NO_MESSAGES and EXPORT_MACRO contradict each other: the macro exports messages.
#> Give it to the call that has them.

qarn_rpc_generate(TARGET echo PROTOS echo.proto EXPORT_MACRO echo,export)
#> qarn-rpc-gen: EXPORT_MACRO 'echo,export' is not the name of a macro. Write it like SHOP_EXPORT.

qarn_rpc_generate(OUT_VAR files PROTOS echo.proto PRECOMPILE)
#> qarn-rpc-gen: PRECOMPILE needs TARGET: a precompiled header is made with the options of the
#> target that compiles the files. Give TARGET in place of OUT_VAR, or leave PRECOMPILE out.

qarn_rpc_generate(OUT_VAR files PROTOS echo.proto PROTOC_OUT_DIR generated SYSTEM)
#> qarn-rpc-gen: SYSTEM needs TARGET: it is for those that link the target. With OUT_VAR, give
#> your own target PROTOC_OUT_DIR as a SYSTEM include folder.

qarn_rpc_generate(TARGET echo PROTOS echo.proto SYSTEM)
# or
qarn_rpc_generate(TARGET echo PROTOS echo.proto PROTOC_OUT_DIR . SYSTEM)
#> qarn-rpc-gen: SYSTEM needs a folder with generated files alone, but they would go to
#> '@project@/build'. Give PROTOC_OUT_DIR, such as generated.

qarn_rpc_generate(TARGET echo PROTOS echo.proto text.proto MESSAGES_ONLY_PROTOS text.proto)
#> qarn-rpc-gen: '@project@/text.proto' stands in PROTOS and in MESSAGES_ONLY_PROTOS. Leave it in
#> the list that it belongs to.

qarn_rpc_generate(TARGET ehco PROTOS echo.proto)
#> qarn-rpc-gen: TARGET 'ehco' is not a target. Call add_executable() or add_library() ahead of
#> this call.

add_library(headers INTERFACE)
qarn_rpc_generate(TARGET headers PROTOS echo.proto)
#> qarn-rpc-gen: TARGET 'headers' compiles nothing (it is an alias, imported, an interface library
#> or a custom target). Name the executable or library that is to compile the generated files.

add_library(lib main.cc)
add_library(my::lib ALIAS lib)
qarn_rpc_generate(TARGET my::lib PROTOS echo.proto)
#> qarn-rpc-gen: TARGET 'my::lib' compiles nothing

qarn_rpc_generate(TARGET echo PROTOS echo.proto OPTIONS_TARGET mine)
#> qarn-rpc-gen: OPTIONS_TARGET 'mine' is not a target. Make the library ahead of this call.

add_library(mine OBJECT main.cc)
qarn_rpc_generate(TARGET echo PROTOS echo.proto OPTIONS_TARGET mine)
#> qarn-rpc-gen: OPTIONS_TARGET 'mine' is an object library. Its objects reach only what links it
#> directly: a program behind another object library would not link. Make it a static or a shared
#> library.

qarn_rpc_generate(TARGET echo PROTOS text.proto echo.proto OPTIONS_TARGET NONE)
#> qarn-rpc-gen: '@project@/echo.proto' imports the options schema, but OPTIONS_TARGET is NONE.
#> Leave the argument out, or name the library that has the schema's message code.

foreach(name IN ITEMS text echo)
  add_library(${name}_rpc SHARED main.cc)
  qarn_rpc_generate(TARGET ${name}_rpc PROTOS ${name}.proto)
endforeach()
target_link_libraries(echo text_rpc echo_rpc)
#> qarn-rpc-gen: 'echo' would hold the library of the options, 'qarn_rpc_service_options', twice:
#> in 'text_rpc' and 'echo_rpc'. The program would end when it starts.

qarn_rpc_install_options()
#> qarn_rpc_install_options: call it as qarn_rpc_install_options(EXPORT set), with the export set
#> of your libraries.

add_library(other main.cc)
qarn_rpc_generate(TARGET other PROTOS text.proto echo.proto)
qarn_rpc_generate(TARGET echo PROTOS echo.proto SERVICES_NAMESPACE api)
# or
add_library(other main.cc)
qarn_rpc_generate(TARGET other PROTOS text.proto echo.proto)
qarn_rpc_generate(TARGET echo PROTOS echo.proto)
#> qarn-rpc-gen: code of 'echo.proto' is written to '@project@/build' already, by the call with
#> TARGET other. Link a library that has it, or give this call a PROTOC_OUT_DIR of its own.

qarn_rpc_generate(TARGET echo PROTOS text.proto $<1:echo.proto>)
#> qarn-rpc-gen: PROTOS holds the generator expression '$<1:echo.proto>', but its value is needed
#> when CMake configures. Only DEPENDENCIES and PROTOC_OPTIONS take generator expressions.

qarn_rpc_generate(TARGET echo MESSAGES_ONLY_PROTOS $<1:echo.proto>)
#> qarn-rpc-gen: MESSAGES_ONLY_PROTOS holds the generator expression '$<1:echo.proto>', but its
#> value is needed when CMake configures. Only DEPENDENCIES and PROTOC_OPTIONS take generator
#> expressions.

qarn_rpc_generate(TARGET echo PROTOS echo.proto IMPORT_DIRS $<1:.>)
#> qarn-rpc-gen: IMPORT_DIRS holds the generator expression '$<1:.>', but its value is needed when
#> CMake configures. Only DEPENDENCIES and PROTOC_OPTIONS take generator expressions.

qarn_rpc_generate(TARGET echo PROTOS echo.proto PROTOC_OUT_DIR gen/$<CONFIG>)
#> qarn-rpc-gen: PROTOC_OUT_DIR holds the generator expression '$<CONFIG>', but its value is
#> needed when CMake configures. Only DEPENDENCIES and PROTOC_OPTIONS take generator expressions.

qarn_rpc_generate(TARGET echo PROTOS echo.proto SERVICES_NAMESPACE $<1:api>)
#> qarn-rpc-gen: SERVICES_NAMESPACE holds the generator expression '$<1:api>', but its value is
#> needed when CMake configures. Only DEPENDENCIES and PROTOC_OPTIONS take generator expressions.

qarn_rpc_generate(TARGET echo PROTOS echo.proto LINT LINT_OPTIONS off=$<1:x>)
#> qarn-rpc-gen: LINT_OPTIONS holds the generator expression '$<1:x>', but its value is needed
#> when CMake configures. Only DEPENDENCIES and PROTOC_OPTIONS take generator expressions.

file(WRITE "${CMAKE_BINARY_DIR}/made.proto" "")
qarn_rpc_generate(TARGET echo PROTOS ${CMAKE_BINARY_DIR}/made.proto IMPORT_DIRS .)
#> qarn-rpc-gen: '@project@/build/made.proto' is in the build folder, but would be imported as
#> 'build/made.proto', from '@project@'. Put the folder that its imports start from first in
#> IMPORT_DIRS.

qarn_rpc_generate(OUT_VAR files PROTOS echo.proto)
file(WRITE "${CMAKE_BINARY_DIR}/user_source/CMakeLists.txt" "add_library(user \${files})")
add_subdirectory("${CMAKE_BINARY_DIR}/user_source" user)
#> qarn-rpc-gen: the target 'user' of the folder '@project@/build/user_source' compiles
#> '@project@/build/echo.pb.cc', but the rule for that file is in '@project@', which made it for
#> OUT_VAR. Call qarn_rpc_generate() in the folder of the target, or give the call TARGET there.

qarn_rpc_generate(TARGET echo PROTOS echo.proto SERVICES_NAMESPACE "a,b")
#> qarn-rpc-gen: SERVICES_NAMESPACE 'a,b' is not the name of a C++ namespace. Write it like api or
#> team::api.

qarn_rpc_generate(TARGET echo PROTOS echo.proto SERVICES_NAMESPACE "a.b")
#> qarn-rpc-gen: SERVICES_NAMESPACE 'a.b' is not the name of a C++ namespace. Write it like api or
#> team::api.

qarn_rpc_generate(TARGET echo PROTOS echo.proto SERVICES_NAMESPACE "::a")
#> qarn-rpc-gen: SERVICES_NAMESPACE '::a' is not the name of a C++ namespace. Write it like api or
#> team::api.

qarn_rpc_generate(TARGET echo PROTOS echo.proto SERVICES_NAMESPACE "1st")
#> qarn-rpc-gen: SERVICES_NAMESPACE '1st' is not the name of a C++ namespace. Write it like api or
#> team::api.

qarn_rpc_generate(TARGET echo PROTOS echo.proto SERVICES_NAMESPACE "a b")
#> qarn-rpc-gen: SERVICES_NAMESPACE 'a b' is not the name of a C++ namespace. Write it like api or
#> team::api.

qarn_rpc_generate(TARGET echo PROTOS ehco.proto)
#> qarn-rpc-gen: 'ehco.proto' does not exist (looked for '@project@/ehco.proto'). Relative names
#> start at the folder of the CMakeLists.txt.

qarn_rpc_generate(TARGET echo PROTOS echo.proto IMPORT_DIRS build ..//other/)
#> qarn-rpc-gen: '@project@/echo.proto' is in none of the import folders ('@project@/build',
#> '@work@/other'). Add the folder that its imports start from to IMPORT_DIRS.

qarn_rpc_generate(TARGET echo PROTOS echo.proto PROTOC_OUT_DIR "gen#1")
#> qarn-rpc-gen: the generated files would go to '@project@/build/gen#1', and CMake has no rules
#> for files with '#', '<' or '>' in their path. Choose another build folder or PROTOC_OUT_DIR.

set(CMAKE_DISABLE_FIND_PACKAGE_Protobuf ON)
qarn_rpc_generate(TARGET echo PROTOS echo.proto)
#> qarn-rpc-gen: protobuf's C++ library was not found. On Debian or Ubuntu: apt-get install
#> libprotobuf-dev. Elsewhere, set CMAKE_PREFIX_PATH to where protobuf is installed.

set(ENV{PATH} "@project@/nowhere")
add_library(protobuf::libprotobuf INTERFACE IMPORTED)
unset(Protobuf_PROTOC_EXECUTABLE CACHE)
qarn_rpc_generate(TARGET echo PROTOS echo.proto)
#> qarn-rpc-gen: protoc was not found. On Debian or Ubuntu: apt-get install protobuf-compiler.
#> Elsewhere, set QARN_RPC_PROTOC_EXECUTABLE to its full path.

add_library(protobuf::libprotobuf INTERFACE IMPORTED)
set(QARN_RPC_PROTOC_EXECUTABLE /no/protoc)
qarn_rpc_generate(TARGET echo PROTOS echo.proto)
#> qarn-rpc-gen: '/no/protoc', from QARN_RPC_PROTOC_EXECUTABLE, does not run as protoc on this
#> machine. On Debian or Ubuntu: apt-get install protobuf-compiler. Elsewhere, set
#> QARN_RPC_PROTOC_EXECUTABLE to the full path of one that runs here.

add_library(protobuf::libprotobuf INTERFACE IMPORTED)
set(Protobuf_PROTOC_EXECUTABLE /no/protoc)
qarn_rpc_generate(TARGET echo PROTOS echo.proto)
#> qarn-rpc-gen: '/no/protoc', from Protobuf_PROTOC_EXECUTABLE, does not run as protoc on this
#> machine. On Debian or Ubuntu: apt-get install protobuf-compiler. Elsewhere, set
#> QARN_RPC_PROTOC_EXECUTABLE to the full path of one that runs here.

add_library(protobuf::libprotobuf INTERFACE IMPORTED)
set(CMAKE_CROSSCOMPILING TRUE)
set(Protobuf_PROTOC_EXECUTABLE /no/protoc)
qarn_rpc_generate(TARGET echo PROTOS echo.proto)
#> qarn-rpc-gen: '/no/protoc', from Protobuf_PROTOC_EXECUTABLE, does not run as protoc on this
#> machine. Is it the target system's? Set QARN_RPC_PROTOC_EXECUTABLE to the full path of one for
#> the machine that builds, of the same release as the target system's protobuf.

set(QARN_RPC_PLUGIN_EXECUTABLE /no/plugin)
qarn_rpc_generate(TARGET echo PROTOS echo.proto)
#> qarn-rpc-gen: QARN_RPC_PLUGIN_EXECUTABLE is '/no/plugin', which does not exist. Set it to the
#> full path of protoc-gen-qarn-rpc-any.

include("@prefix@/share/cmake/qarn-rpc-gen/QarnRpcGenerate.cmake")
qarn_rpc_generate(TARGET echo PROTOS echo.proto)
#> qarn-rpc-gen: the target qarn-rpc-gen::protoc-gen-qarn-rpc-any is missing. Call
#> find_package(qarn-rpc-gen REQUIRED) first, or set QARN_RPC_PLUGIN_EXECUTABLE to the full path
#> of protoc-gen-qarn-rpc-any.

set(CMAKE_CROSSCOMPILING TRUE)
qarn_rpc_generate(TARGET echo PROTOS echo.proto)
#> qarn-rpc-gen: no protoc-gen-qarn-rpc-any for the machine that builds was found. Install one
#> there and put it on the PATH, or set QARN_RPC_PLUGIN_EXECUTABLE to its full path.

set(QARN_RPC_LINT_EXECUTABLE /no/linter)
qarn_rpc_generate(TARGET echo PROTOS echo.proto LINT)
#> qarn-rpc-gen: QARN_RPC_LINT_EXECUTABLE is '/no/linter', which does not exist. Set it to the
#> full path of protoc-gen-qarn-rpc-lint.

set(QARN_RPC_PLUGIN_EXECUTABLE @prefix@/bin/protoc-gen-qarn-rpc-any)
set(QARN_RPC_LINT ON)
include("@prefix@/share/cmake/qarn-rpc-gen/QarnRpcGenerate.cmake")
qarn_rpc_generate(TARGET echo PROTOS echo.proto)
#> qarn-rpc-gen: LINT or QARN_RPC_LINT is on, but the target
#> qarn-rpc-gen::protoc-gen-qarn-rpc-lint is missing. Call find_package(qarn-rpc-gen REQUIRED)
#> first, with a qarn-rpc-gen that was built with protobuf 3.12 or newer, or set
#> QARN_RPC_LINT_EXECUTABLE to the full path of protoc-gen-qarn-rpc-lint.

set(CMAKE_CROSSCOMPILING TRUE)
set(QARN_RPC_PLUGIN_EXECUTABLE @prefix@/bin/protoc-gen-qarn-rpc-any)
qarn_rpc_generate(TARGET echo PROTOS echo.proto LINT)
#> qarn-rpc-gen: LINT or QARN_RPC_LINT is on, but no protoc-gen-qarn-rpc-lint for the machine that
#> builds was found. Install one there and put it on the PATH, or set QARN_RPC_LINT_EXECUTABLE to
#> its full path.

find_package(qarn-rpc-gen 99 REQUIRED)
#> compatible with requested version "99"

qarn_rpc_check_runtime(my_runtime)
#> qarn_rpc_check_runtime: call it as qarn_rpc_check_runtime(TARGET library), with the library of
#> your runtime.

qarn_rpc_check_runtime(TARGET my_runtime)
#> qarn_rpc_check_runtime: TARGET 'my_runtime' is not a target. Make or find the library of your
#> runtime ahead of this call.
