# What the tests that run compilers by themselves share: Python, the compilers,
# and a file that tells the scripts where everything is.
#
#   QARN_RPC_COMPILE_TESTS       whether they can run at all
#   QARN_RPC_TEST_COMPILERS      the compilers that were found
#   QARN_RPC_MISSING_COMPILERS   the names of those that were not

find_package(Python3 3.7 COMPONENTS Interpreter)
find_program(QARN_RPC_GXX g++)
find_program(QARN_RPC_CLANGXX clang++)

set(QARN_RPC_TEST_COMPILERS)
set(QARN_RPC_MISSING_COMPILERS)
if(QARN_RPC_GXX)
  list(APPEND QARN_RPC_TEST_COMPILERS "${QARN_RPC_GXX}")
else()
  list(APPEND QARN_RPC_MISSING_COMPILERS g++)
endif()
if(QARN_RPC_CLANGXX)
  list(APPEND QARN_RPC_TEST_COMPILERS "${QARN_RPC_CLANGXX}")
else()
  list(APPEND QARN_RPC_MISSING_COMPILERS clang++)
endif()

set(QARN_RPC_COMPILE_TESTS ${Python3_FOUND})
if(NOT Python3_FOUND)
  message(STATUS "Python 3 was not found: tests that compile generated code are left out")
endif()

# qarn_rpc_write_compile_config(FILE BUILD_FOLDER): the JSON file that the
# scripts read.
function(qarn_rpc_write_compile_config file build)
  set(includes "$<TARGET_PROPERTY:protobuf::libprotobuf,INTERFACE_INCLUDE_DIRECTORIES>")
  string(APPEND includes ";$<TARGET_PROPERTY:Boost::headers,INTERFACE_INCLUDE_DIRECTORIES>")
  file(GENERATE OUTPUT "${file}" CONTENT "{
  \"build\": \"${build}\",
  \"golden\": \"${PROJECT_SOURCE_DIR}/tests/golden\",
  \"libraries\": [\"$<TARGET_FILE:protobuf::libprotobuf>\"],
  \"plugin\": \"$<TARGET_FILE:protoc-gen-qarn-rpc>\",
  \"proto\": \"${PROJECT_SOURCE_DIR}/proto\",
  \"protoc\": \"$<TARGET_FILE:protobuf::protoc>\",
  \"runtime\": \"${PROJECT_SOURCE_DIR}/tests/support/runtime\",
  \"system_folders\": [\"$<JOIN:${includes},\",\">\"]
}
")
endfunction()

# qarn_rpc_add_script_test(NAME LABEL COMMAND...): one CTest entry. Exit status
# 77 means skipped. The time limit is for a busy machine.
function(qarn_rpc_add_script_test name label)
  add_test(NAME ${name} COMMAND Python3::Interpreter ${ARGN})
  set_tests_properties(${name} PROPERTIES
    LABELS ${label} TIMEOUT 1200 SKIP_RETURN_CODE 77)
endfunction()
