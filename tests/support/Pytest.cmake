# What the tests that are written in Python share: the interpreter, an entry of
# CTest, the compilers, and a file that tells the tests where everything is.
#
#   QARN_RPC_TEST_COMPILERS        the compilers that were found
#   QARN_RPC_TEST_COMPILER_NAMES   their names, in the same order: g++, clang++
#   QARN_RPC_MISSING_COMPILERS     the names of those that were not

# The system's pytest belongs to the system's Python, which another one on the PATH
# may hide.
find_package(Python3 3.9 COMPONENTS Interpreter)
set(QARN_RPC_PYTHON "")
foreach(python IN ITEMS "${Python3_EXECUTABLE}" /usr/bin/python3)
  if(NOT QARN_RPC_PYTHON)
    execute_process(
      COMMAND "${python}" -c "import pytest, sys; assert sys.version_info >= (3, 9)"
      RESULT_VARIABLE status OUTPUT_QUIET ERROR_QUIET)
    if(status EQUAL 0)
      set(QARN_RPC_PYTHON "${python}")
    endif()
  endif()
endforeach()
if(NOT QARN_RPC_PYTHON)
  message(FATAL_ERROR
    "The tests need Python 3.9 or newer with pytest, which was not found. "
    "On Debian or Ubuntu: apt-get install python3-pytest. "
    "To build without the tests, configure with -DQARN_RPC_BUILD_TESTS=OFF.")
endif()

set(QARN_RPC_BUILT_JSON "${PROJECT_BINARY_DIR}/tests/built.json")
file(MAKE_DIRECTORY "${PROJECT_BINARY_DIR}/tests/tmp")

# qarn_rpc_add_pytest(NAME LABEL TESTS ARGUMENT...): one CTest entry, which runs
# TESTS, a file below tests/ or one test of it, such as
# docs/links_test.py::test_links. conftest.py says what the arguments are, and when
# the entry is skipped. All that it writes is below the build folder. The time limit
# is for a busy machine.
function(qarn_rpc_add_pytest name label tests)
  add_test(NAME ${name}
    COMMAND "${QARN_RPC_PYTHON}" -X utf8 -m pytest "--basetemp=${PROJECT_BINARY_DIR}/tests/tmp/${name}"
      "--built=${QARN_RPC_BUILT_JSON}" ${ARGN} "${tests}"
    WORKING_DIRECTORY "${PROJECT_SOURCE_DIR}/tests")
  set_tests_properties(${name} PROPERTIES
    LABELS ${label} TIMEOUT 1200 SKIP_RETURN_CODE 77
    # What else may be installed for pytest has no part here. Without compiled files
    # that are kept, each entry would compile pytest anew, for half a second.
    ENVIRONMENT "PYTEST_DISABLE_PLUGIN_AUTOLOAD=1;PYTEST_ADDOPTS=;PYTHONDONTWRITEBYTECODE=;\
PYTHONPYCACHEPREFIX=${PROJECT_BINARY_DIR}/tests/pycache")
endfunction()

find_program(QARN_RPC_GXX g++ DOC "The g++ that generated code is tried with")
find_program(QARN_RPC_CLANGXX clang++ DOC "The clang++ that generated code is tried with")
mark_as_advanced(QARN_RPC_GXX QARN_RPC_CLANGXX)

set(QARN_RPC_TEST_COMPILERS)
set(QARN_RPC_TEST_COMPILER_NAMES)
set(QARN_RPC_MISSING_COMPILERS)
foreach(pair IN ITEMS g++=QARN_RPC_GXX clang++=QARN_RPC_CLANGXX)
  string(REGEX MATCH "(.*)=(.*)" pair "${pair}")
  set(path "${${CMAKE_MATCH_2}}")
  if(path)
    list(APPEND QARN_RPC_TEST_COMPILERS "${path}")
    list(APPEND QARN_RPC_TEST_COMPILER_NAMES ${CMAKE_MATCH_1})
  else()
    list(APPEND QARN_RPC_MISSING_COMPILERS ${CMAKE_MATCH_1})
  endif()
endforeach()

# What protoc needs to take proto3 optional fields: 3.12 to 3.14 call them an
# experiment.
set(optional_option "")
if(Protobuf_VERSION AND Protobuf_VERSION VERSION_LESS 3.15)
  set(optional_option "\"--experimental_allow_proto3_optional\"")
endif()

# The C++ standards that generated code is compiled at, from the oldest.
set(QARN_RPC_STANDARDS c++11 c++14 c++17 c++20 c++23 c++26)

# qarn_rpc_taken_standards(COMPILER RESULT): those of them at which the compiler
# takes the headers of protobuf and Boost. It may be too old for the newest, and
# current protobuf leaves the oldest behind. Like all that CMake finds, the
# result stays until the build folder is made anew.
function(qarn_rpc_taken_standards compiler result)
  string(MAKE_C_IDENTIFIER "QARN_RPC_STANDARDS_OF_${compiler}" cached)
  if(NOT DEFINED ${cached})
    # Headers that the compiler takes at one standard, it takes at newer ones,
    # so from there on the probe is empty, which is faster.
    set(probe "${CMAKE_CURRENT_BINARY_DIR}/standards.cc")
    file(WRITE "${probe}" "#include <boost/shared_ptr.hpp>\n#include <google/protobuf/message.h>\n")
    set(includes "")
    foreach(target IN ITEMS protobuf::libprotobuf Boost::headers)
      get_target_property(folders ${target} INTERFACE_INCLUDE_DIRECTORIES)
      foreach(folder IN LISTS folders)
        # Naming the compiler's own folder again would change its order.
        if(NOT folder STREQUAL "/usr/include" AND IS_DIRECTORY "${folder}")
          list(APPEND includes -isystem "${folder}")
        endif()
      endforeach()
    endforeach()
    set(taken "")
    foreach(standard IN LISTS QARN_RPC_STANDARDS)
      execute_process(
        COMMAND "${compiler}" -std=${standard} ${includes} -fsyntax-only "${probe}"
        RESULT_VARIABLE status OUTPUT_QUIET ERROR_QUIET)
      if(status EQUAL 0)
        list(APPEND taken ${standard})
        file(WRITE "${probe}" "")
      endif()
    endforeach()
    if(NOT taken)
      message(FATAL_ERROR "${compiler} takes the headers of protobuf and Boost at no standard")
    endif()
    set(${cached} "${taken}" CACHE INTERNAL "The standards that ${compiler} takes")
  endif()
  set(${result} "${${cached}}" PARENT_SCOPE)
endfunction()

# qarn_rpc_write_built_json(): what the fixture `built` of conftest.py reads.
function(qarn_rpc_write_built_json)
  set(compilers "")
  foreach(name compiler IN ZIP_LISTS QARN_RPC_TEST_COMPILER_NAMES QARN_RPC_TEST_COMPILERS)
    qarn_rpc_taken_standards("${compiler}" standards)
    list(JOIN standards "\", \"" standards)
    list(APPEND compilers
      "\"${name}\": {\"path\": \"${compiler}\", \"standards\": [\"${standards}\"]}")
  endforeach()
  list(JOIN compilers ",\n    " compilers)
  set(libraries "$<TARGET_FILE:protobuf::libprotobuf>")
  if(TARGET absl::base)
    # Current protobuf's message code calls Abseil by itself.
    find_package(PkgConfig REQUIRED)
    pkg_check_modules(QARN_RPC_PROTOBUF_LINK REQUIRED QUIET protobuf)
    list(APPEND libraries ${QARN_RPC_PROTOBUF_LINK_LDFLAGS})
  endif()
  list(JOIN libraries "\", \"" libraries)
  set(includes "$<TARGET_PROPERTY:protobuf::libprotobuf,INTERFACE_INCLUDE_DIRECTORIES>")
  string(APPEND includes ";$<TARGET_PROPERTY:Boost::headers,INTERFACE_INCLUDE_DIRECTORIES>")
  file(GENERATE OUTPUT "${QARN_RPC_BUILT_JSON}" CONTENT "{
  \"build\": \"${PROJECT_BINARY_DIR}\",
  \"compilers\": {${compilers}},
  \"config\": \"$<CONFIG>\",
  \"cxx\": \"${CMAKE_CXX_COMPILER}\",
  \"libraries\": [\"${libraries}\"],
  \"plugin\": \"$<TARGET_FILE:protoc-gen-qarn-rpc>\",
  \"plugin_any\": \"$<TARGET_FILE:protoc-gen-qarn-rpc-any>\",
  \"plugin_lint\": \"$<TARGET_FILE:protoc-gen-qarn-rpc-lint>\",
  \"protoc\": \"$<TARGET_FILE:protobuf::protoc>\",
  \"protoc_options\": [${optional_option}],
  \"static\": $<BOOL:${QARN_RPC_STATIC}>,
  \"system_folders\": [\"$<JOIN:$<REMOVE_DUPLICATES:${includes}>,\",\">\"]
}
")
endfunction()
