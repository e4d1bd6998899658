# qarn_rpc_check_runtime(): a target that says whether an RPC runtime fits the
# generated code. docs/runtime.md explains what it says.
#
#   qarn_rpc_check_runtime(TARGET library)
#
# Adds the target check_runtime_LIBRARY, with "_" for each "::" in the name, to
# the caller's project. It is built on request alone, runs check_runtime.sh with
# the library's include folders, definitions and options, and fails unless the
# runtime fits.

include_guard(GLOBAL)
cmake_policy(VERSION 3.20...3.31)
include("${CMAKE_CURRENT_LIST_DIR}/QarnRpcTools.cmake")

# Beside this file's folder: in the source tree, and where it is installed.
set(_qarn_rpc_check_runtime_places
  "${CMAKE_CURRENT_LIST_DIR}/../scripts" "${CMAKE_CURRENT_LIST_DIR}/../../qarn-rpc-gen"
  CACHE INTERNAL "Where check_runtime.sh can be")
set(_qarn_rpc_check_runtime_module "${CMAKE_CURRENT_LIST_FILE}"
  CACHE INTERNAL "The file of qarn_rpc_check_runtime()")

function(qarn_rpc_check_runtime)
  cmake_parse_arguments(PARSE_ARGV 0 arg "" "TARGET" "")
  if(NOT arg_TARGET OR arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "qarn_rpc_check_runtime: \
call it as qarn_rpc_check_runtime(TARGET library), with the library of your runtime.")
  endif()
  if(NOT TARGET "${arg_TARGET}")
    message(FATAL_ERROR "qarn_rpc_check_runtime: TARGET '${arg_TARGET}' is not a target. \
Make or find the library of your runtime ahead of this call.")
  endif()
  find_program(QARN_RPC_BASH bash)
  mark_as_advanced(QARN_RPC_BASH)
  if(NOT QARN_RPC_BASH)
    message(FATAL_ERROR "qarn_rpc_check_runtime: bash was not found, \
which check_runtime.sh needs. Install it, or set QARN_RPC_BASH to its full path.")
  endif()
  find_file(QARN_RPC_CHECK_RUNTIME check_runtime.sh
    PATHS ${_qarn_rpc_check_runtime_places} NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH REQUIRED)
  mark_as_advanced(QARN_RPC_CHECK_RUNTIME)
  _qarn_rpc_find_protobuf()
  _qarn_rpc_protobuf_dirs(include_dirs import_dirs)
  _qarn_rpc_find_protoc("${include_dirs}" protoc protoc_version)
  _qarn_rpc_find_plugin(plugin)

  string(REPLACE "::" "_" name "check_runtime_${arg_TARGET}")
  set(folder "${CMAKE_CURRENT_BINARY_DIR}/CMakeFiles/${name}.dir")
  set(run "${folder}/run-$<CONFIG>.cmake")
  _qarn_rpc_write_runtime_check("${run}" "${arg_TARGET}" "${folder}" "${protoc}" "${plugin}")
  add_custom_target(${name}
    COMMAND "${CMAKE_COMMAND}" -P "${run}"
    COMMENT "Checking whether ${arg_TARGET} fits the code of protoc-gen-qarn-rpc"
    USES_TERMINAL VERBATIM)
  # The build may write the library's headers, and make the tools.
  foreach(target IN ITEMS "${arg_TARGET}" protobuf::protoc
      qarn-rpc-gen::protoc-gen-qarn-rpc qarn-rpc-gen::protoc-gen-qarn-rpc-any)
    if(TARGET "${target}")
      add_dependencies(${name} "${target}")
    endif()
  endforeach()
endfunction()

# Writes `run`, the script that the target runs: it checks the target `library`
# with `protoc` and `plugin`, and keeps what the compiler says in `folder`.
function(_qarn_rpc_write_runtime_check run library folder protoc plugin)
  set(standard "")
  if(CMAKE_CXX_STANDARD)
    set(standard "${CMAKE_CXX${CMAKE_CXX_STANDARD}_STANDARD_COMPILE_OPTION}")
  endif()
  set(include_dirs "$<TARGET_PROPERTY:${library},INTERFACE_INCLUDE_DIRECTORIES>")
  set(other_dirs "$<TARGET_PROPERTY:protobuf::libprotobuf,INTERFACE_INCLUDE_DIRECTORIES>")
  set(definitions "$<TARGET_PROPERTY:${library},INTERFACE_COMPILE_DEFINITIONS>")
  set(options "$<TARGET_PROPERTY:${library},INTERFACE_COMPILE_OPTIONS>")
  set(features "$<TARGET_PROPERTY:${library},INTERFACE_COMPILE_FEATURES>")
  foreach(number IN ITEMS 11 14 17 20 23)
    set(option "${CMAKE_CXX${number}_STANDARD_COMPILE_OPTION}")
    if(option AND (NOT CMAKE_CXX_STANDARD OR CMAKE_CXX_STANDARD LESS number))
      string(APPEND standard ";$<$<IN_LIST:cxx_std_${number},${features}>:${option}>")
    endif()
  endforeach()
  separate_arguments(flags NATIVE_COMMAND "${CMAKE_CXX_FLAGS}")
  if(CMAKE_CXX_COMPILER_TARGET AND CMAKE_CXX_COMPILE_OPTIONS_TARGET)
    list(APPEND flags "${CMAKE_CXX_COMPILE_OPTIONS_TARGET}${CMAKE_CXX_COMPILER_TARGET}")
  endif()
  if(CMAKE_SYSROOT)
    list(APPEND flags "--sysroot=${CMAKE_SYSROOT}")
  endif()
  # Options may depend on the language, which only CONDITION fixes here. The
  # compiler may be a launcher whose first argument is the compiler proper.
  file(GENERATE OUTPUT "${run}" CONTENT "\
set(ENV{CXX} [==[${CMAKE_CXX_COMPILER}${CMAKE_CXX_COMPILER_ARG1}]==])
set(ENV{PROTOC} [==[${protoc}]==])
set(ENV{QARN_RPC_PLUGIN} [==[${plugin}]==])
set(ENV{QARN_RPC_PROTO_DIR} [==[${QARN_RPC_PROTO_DIR}]==])
include([==[${_qarn_rpc_check_runtime_module}]==])
_qarn_rpc_run_runtime_check(
  [==[${library}]==]
  [==[${folder}]==]
  [==[${QARN_RPC_BASH}]==]
  [==[${QARN_RPC_CHECK_RUNTIME}]==]
  [==[${include_dirs}]==]
  [==[${other_dirs}]==]
  [==[${CMAKE_CXX_IMPLICIT_INCLUDE_DIRECTORIES}]==]
  [==[${definitions}]==]
  [==[${flags};${standard};${options}]==])
" CONDITION "$<COMPILE_LANGUAGE:CXX>")
endfunction()

# What the written script does: runs `script` with the options of `library`.
# `other_dirs` are the include folders of what generated code needs besides,
# `implicit_dirs` those that the compiler has anyway.
function(_qarn_rpc_run_runtime_check library folder bash script
    include_dirs other_dirs implicit_dirs definitions options)
  set(runtime_dir "")
  foreach(dir IN LISTS include_dirs)
    if(NOT runtime_dir AND EXISTS "${dir}/qarn/rpc.h")
      set(runtime_dir "${dir}")
    endif()
  endforeach()
  if(NOT runtime_dir)
    list(JOIN include_dirs "', '" dirs)
    message(FATAL_ERROR "qarn_rpc_check_runtime: there is no qarn/rpc.h in the include folders \
of '${library}' ('${dirs}'). Give that library the folder from which qarn/rpc.h is included.")
  endif()
  list(REMOVE_ITEM options "")
  list(TRANSFORM definitions REPLACE "^-D" "")
  list(TRANSFORM definitions PREPEND "-D")
  # Naming the compiler's own folders could change their order.
  set(dirs ${include_dirs} ${other_dirs})
  list(REMOVE_DUPLICATES dirs)
  list(REMOVE_ITEM dirs ${implicit_dirs} "")
  list(TRANSFORM dirs PREPEND "-I")
  # What it keeps after a misfit stays in the build folder, from the last run.
  file(REMOVE_RECURSE "${folder}/logs")
  file(MAKE_DIRECTORY "${folder}/logs")
  set(ENV{TMPDIR} "${folder}/logs")
  execute_process(
    COMMAND "${bash}" "${script}" "${runtime_dir}" ${options} ${definitions} ${dirs}
    RESULT_VARIABLE status)
  if(status EQUAL 1)
    message(FATAL_ERROR "qarn_rpc_check_runtime: '${library}' does not fit the code that \
protoc-gen-qarn-rpc generates; the lines above say what is wrong, docs/runtime.md what is needed.")
  elseif(NOT status EQUAL 0)
    message(FATAL_ERROR "qarn_rpc_check_runtime: '${library}' could not be checked; \
the line above says why.")
  endif()
endfunction()
