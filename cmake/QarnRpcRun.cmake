# The runs of protoc, as rules of the build that touch a generated file only
# when its text changes.
#
# protoc writes to a folder of its own, the staging folder, and what differs is
# copied from there. The staged files are what the build compares with the .proto
# files, since protoc writes them at each run; the files that compilers read stay
# as old as their text. A run that is cut off leaves those whole.

include_guard(GLOBAL)
cmake_policy(VERSION 3.20...3.31)

# Adds a run of protoc for each file of PROTOS, or with BATCH one for all, and
# sets `result` to the files that compilers read.
#
#   KINDS: MESSAGES, RPC or both. NAMES: the import names of PROTOS, in order.
#   ALL_PROTOS: what a file may import, where protoc cannot say what it read.
#   The rest are arguments of qarn_rpc_generate() and what it has found.
#
# A call may have thousands of files, so what they have in common is worked out
# ahead of the loop.
function(_qarn_rpc_add_runs result)
  cmake_parse_arguments(PARSE_ARGV 1 arg ""
    "OUT_DIR;PROTOC;PROTOC_VERSION;PLUGIN;SERVICES_NAMESPACE;BATCH"
    "KINDS;PROTOS;NAMES;IMPORT_DIRS;PROTOC_OPTIONS;DEPENDENCIES;ALL_PROTOS")
  set(${result} "" PARENT_SCOPE)
  if(NOT arg_PROTOS)
    return()
  endif()

  _qarn_rpc_staging_dir("${arg_OUT_DIR}" protoc_dir)
  _qarn_rpc_protoc_arguments("${arg_KINDS}" "${arg_IMPORT_DIRS}" "${protoc_dir}"
    "${arg_PLUGIN}" "${arg_SERVICES_NAMESPACE}" "${arg_PROTOC_VERSION}" arguments)
  set(tools "${arg_PROTOC}")
  # In the order in which protoc's depfile names them: Ninja compares its first
  # name with the first output and runs for ever when they differ.
  set(extensions "")
  if("MESSAGES" IN_LIST arg_KINDS)
    list(APPEND extensions .pb.cc .pb.h)
  endif()
  if("RPC" IN_LIST arg_KINDS)
    list(APPEND extensions .rpc.cpp .rpc.h)
    list(APPEND tools "${arg_PLUGIN}")
  endif()
  list(TRANSFORM extensions PREPEND "@" OUTPUT_VARIABLE outputs_of_base)
  list(JOIN arg_KINDS " and " what)
  string(REPLACE "MESSAGES" "message" what "${what}")
  list(LENGTH arg_PROTOS count)
  set(bases "${arg_NAMES}")
  list(TRANSFORM bases REPLACE "\\.proto(devel)?$" "")
  # Which of these a file imports is not known where protoc cannot say it.
  set(possible_imports ${arg_ALL_PROTOS}
    "${QARN_RPC_PROTO_DIR}/morvane/qarn/rpc/service_options.proto")

  if(arg_BATCH AND count GREATER 1)
    _qarn_rpc_add_run("${protoc_dir}" "${arg_OUT_DIR}" "${bases}" "${outputs_of_base}"
      "${arg_PROTOC};${arg_PROTOC_OPTIONS};${arguments};${arg_PROTOS}"
      "${possible_imports};${arg_DEPENDENCIES};${tools}" ""
      "Generating ${what} code for ${count} files")
  else()
    # protoc takes --dependency_out with one file only, and writes paths without
    # escaping them.
    set(unsafe "[] \t$#:\\%*?[]")
    set(has_depfiles TRUE)
    if((arg_PROTOC_VERSION AND arg_PROTOC_VERSION VERSION_LESS 3)
       OR "${protoc_dir};${arg_IMPORT_DIRS};${arg_PROTOS}" MATCHES "${unsafe}"
       OR NOT (CMAKE_GENERATOR MATCHES "Ninja|Makefiles"
               OR CMAKE_VERSION VERSION_GREATER_EQUAL 3.21))
      set(has_depfiles FALSE)
      list(APPEND arg_DEPENDENCIES ${possible_imports})
    endif()
    set(depfile "")
    # Two runs over one file, for messages and for RPC code, have one each.
    set(depfile_extension .pb.d)
    if("RPC" IN_LIST arg_KINDS)
      set(depfile_extension .rpc.d)
    endif()
    foreach(proto name base IN ZIP_LISTS arg_PROTOS arg_NAMES bases)
      if(has_depfiles)
        set(depfile "${protoc_dir}/${base}${depfile_extension}")
      endif()
      _qarn_rpc_add_run("${protoc_dir}" "${arg_OUT_DIR}" "${base}" "${outputs_of_base}"
        "${arg_PROTOC};${arg_PROTOC_OPTIONS};${arguments};${proto}"
        "${proto};${arg_DEPENDENCIES};${tools}" "${depfile}"
        "Generating ${what} code for ${name}")
    endforeach()
  endif()

  set(generated "")
  set(staged "")
  foreach(extension IN LISTS extensions)
    list(TRANSFORM bases APPEND "${extension}" OUTPUT_VARIABLE names)
    list(TRANSFORM names PREPEND "${arg_OUT_DIR}/" OUTPUT_VARIABLE files)
    list(APPEND generated ${files})
    list(TRANSFORM names PREPEND "${protoc_dir}/" OUTPUT_VARIABLE files)
    list(APPEND staged ${files})
  endforeach()
  list(TRANSFORM bases REPLACE "(^|/)[^/]+$" "" OUTPUT_VARIABLE folders)
  list(REMOVE_DUPLICATES folders)
  file(MAKE_DIRECTORY "${arg_OUT_DIR}" "${protoc_dir}")
  foreach(folder IN LISTS folders)
    file(MAKE_DIRECTORY "${arg_OUT_DIR}/${folder}" "${protoc_dir}/${folder}")
  endforeach()
  if(CMAKE_GENERATOR MATCHES "Makefiles")
    _qarn_rpc_add_copies_for_make("${generated}" "${staged}")
  endif()
  set(${result} "${generated}" PARENT_SCOPE)
endfunction()

# Adds the run `command` of protoc, which writes to `protoc_dir`, for .proto files
# with the import names `bases`, less .proto. `outputs_of_base` are what it writes
# for each, with @ in place of the name.
function(_qarn_rpc_add_run
         protoc_dir out_dir bases outputs_of_base command depends depfile comment)
  set(outputs "")
  set(copied "")
  set(copies "")
  foreach(base IN LISTS bases)
    string(REPLACE "@" "${protoc_dir}/${base}" staged "${outputs_of_base}")
    list(APPEND outputs ${staged})
    if(NOT protoc_dir STREQUAL out_dir)
      cmake_path(GET base PARENT_PATH folder)
      list(APPEND copies COMMAND "${CMAKE_COMMAND}" -E copy_if_different
        ${staged} "${out_dir}/${folder}")
      if(CMAKE_GENERATOR MATCHES "Ninja")
        string(REPLACE "@" "${out_dir}/${base}" files "${outputs_of_base}")
        list(APPEND copied ${files})
      endif()
    endif()
  endforeach()
  if(depfile)
    list(APPEND command "--dependency_out=${depfile}")
    list(PREPEND depfile DEPFILE)
  endif()
  add_custom_command(
    OUTPUT ${outputs} ${copied}
    COMMAND ${command}
    ${copies}
    DEPENDS ${depends}
    ${depfile}
    COMMENT "${comment}"
    # Drops what a generator expression leaves empty.
    COMMAND_EXPAND_LISTS
    VERBATIM)
endfunction()

# The arguments that all runs have in common.
function(_qarn_rpc_protoc_arguments
         kinds import_dirs dir plugin services_namespace protoc_version result)
  list(REMOVE_DUPLICATES import_dirs)
  list(TRANSFORM import_dirs PREPEND "--proto_path=" OUTPUT_VARIABLE arguments)
  # These releases take proto3's `optional` only when they are told to.
  if(protoc_version VERSION_GREATER_EQUAL 3.12 AND protoc_version VERSION_LESS 3.15)
    list(APPEND arguments --experimental_allow_proto3_optional)
  endif()
  if("MESSAGES" IN_LIST kinds)
    list(APPEND arguments "--cpp_out=${dir}")
  endif()
  if("RPC" IN_LIST kinds)
    list(APPEND arguments "--plugin=protoc-gen-qarn-rpc=${plugin}" "--qarn-rpc_out=${dir}")
    if(services_namespace)
      list(APPEND arguments "--qarn-rpc_opt=services_namespace=${services_namespace}")
    endif()
  endif()
  set(${result} "${arguments}" PARENT_SCOPE)
endfunction()

# The staging folder of `out_dir`: one for each, since several calls may write
# files of the same names to several folders. `out_dir` itself, and said in one
# line, with generators that would see an untouched file as one that was never
# made.
function(_qarn_rpc_staging_dir out_dir result)
  if(NOT CMAKE_GENERATOR MATCHES "Ninja|Makefiles")
    _qarn_rpc_say_once(STATUS "the generator ${CMAKE_GENERATOR} compiles all that protoc writes, \
changed or not; Ninja and Makefiles compile what changed")
    set(${result} "${out_dir}" PARENT_SCOPE)
    return()
  endif()
  string(MD5 key "${out_dir}")
  string(SUBSTRING "${key}" 0 8 key)
  set(${result} "${CMAKE_CURRENT_BINARY_DIR}/CMakeFiles/qarn_rpc_staging.dir/${key}" PARENT_SCOPE)
endfunction()

# Makefiles know the outputs of a rule by their times alone, so the generated
# files cannot be outputs of the run that may leave them old. Each has a rule of
# its own, which depends on no file: it brings a file back that was deleted. A
# target runs protoc ahead of that.
function(_qarn_rpc_add_copies_for_make files staged)
  list(GET staged 0 first)
  string(MD5 key "${first}")
  string(SUBSTRING "${key}" 0 8 key)
  set(target "qarn_rpc_run_${key}")
  add_custom_target(${target} DEPENDS ${staged})
  foreach(file staged_file IN ZIP_LISTS files staged)
    add_custom_command(
      OUTPUT "${file}"
      COMMAND "${CMAKE_COMMAND}" -E copy_if_different "${staged_file}" "${file}"
      DEPENDS ${target}
      COMMENT ""
      VERBATIM)
  endforeach()
endfunction()
