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
    "OUT_DIR;PROTOC;PROTOC_VERSION;PLUGIN;LINTER;SERVICES_NAMESPACE;EXPORT_MACRO;BATCH"
    "KINDS;PROTOS;NAMES;IMPORT_DIRS;PROTOC_OPTIONS;LINT_PARAMETERS;DEPENDENCIES;ALL_PROTOS")
  _qarn_rpc_staging_dir("${arg_OUT_DIR}" protoc_dir)
  _qarn_rpc_protoc_arguments("${arg_KINDS}" "${arg_IMPORT_DIRS}" "${protoc_dir}"
    "${arg_PLUGIN}" "${arg_SERVICES_NAMESPACE}" "${arg_EXPORT_MACRO}" "${arg_PROTOC_VERSION}"
    arguments)
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
    _qarn_rpc_lint_arguments("${arg_LINTER}" "${arg_LINT_PARAMETERS}" "${protoc_dir}"
      lint_arguments)
    # First, since protoc stops at the first plugin that fails.
    list(PREPEND arguments ${lint_arguments})
    list(APPEND tools ${arg_LINTER})
  endif()
  list(JOIN arg_KINDS " and " what)
  string(REPLACE "MESSAGES" "message" what "${what}")
  list(LENGTH arg_PROTOS count)
  set(bases "${arg_NAMES}")
  list(TRANSFORM bases REPLACE "\\.proto(devel)?$" "")
  list(TRANSFORM bases PREPEND "${arg_OUT_DIR}/" OUTPUT_VARIABLE paths)
  list(TRANSFORM paths REPLACE "/[^/]+$" "" OUTPUT_VARIABLE folders)
  # Which of these a file imports is not known where protoc cannot say it.
  set(possible_imports ${arg_ALL_PROTOS}
    "${QARN_RPC_PROTO_DIR}/morvane/qarn/rpc/service_options.proto")

  # The rule of one file, in parts and then as a whole. @BASE@ stands for its import
  # name less .proto, @FOLDER@ for the folder of its generated files.
  list(TRANSFORM extensions PREPEND "${protoc_dir}/@BASE@" OUTPUT_VARIABLE staged)
  set(outputs ${staged})
  set(copies "")
  if(NOT protoc_dir STREQUAL arg_OUT_DIR)
    set(copies COMMAND "${CMAKE_COMMAND}" -E copy_if_different ${staged} "@FOLDER@")
    if(CMAKE_GENERATOR MATCHES "Ninja")
      list(TRANSFORM extensions PREPEND "${arg_OUT_DIR}/@BASE@" OUTPUT_VARIABLE copied)
      list(APPEND outputs ${copied})
    endif()
  endif()
  set(is_batch FALSE)
  set(input "@PROTO@")
  set(input_name "@NAME@")
  set(depends "${input}")
  set(depfile "")
  if(arg_BATCH AND count GREATER 1)
    # protoc writes no depfile for several files.
    set(is_batch TRUE)
    set(input ${arg_PROTOS})
    set(input_name "${count} files")
    set(depends ${possible_imports})
    _qarn_rpc_for_all("${outputs}" "${bases}" "${folders}" outputs)
    _qarn_rpc_for_all("${copies}" "${bases}" "${folders}" copies)
  elseif(arg_PROTOC_VERSION AND arg_PROTOC_VERSION VERSION_LESS 3
      # protoc writes paths without escaping them.
      OR "${protoc_dir};${arg_IMPORT_DIRS};${arg_PROTOS}" MATCHES "[] \t$#:\\%*?[]"
      OR NOT (CMAKE_GENERATOR MATCHES "Ninja|Makefiles"
              OR CMAKE_VERSION VERSION_GREATER_EQUAL 3.21))
    list(APPEND depends ${possible_imports})
  else()
    # Two runs over one file, for messages and for RPC code, have one each.
    set(depfile "${protoc_dir}/@BASE@.pb.d")
    if("RPC" IN_LIST arg_KINDS)
      set(depfile "${protoc_dir}/@BASE@.rpc.d")
    endif()
    list(APPEND arguments "--dependency_out=${depfile}")
    list(PREPEND depfile DEPFILE)
  endif()
  set(rule
    OUTPUT ${outputs}
    COMMAND ${arg_PROTOC} ${arg_PROTOC_OPTIONS} ${arguments} ${input}
    ${copies}
    DEPENDS ${depends} ${arg_DEPENDENCIES} ${tools}
    ${depfile}
    COMMENT "Generating ${what} code for ${input_name}"
    # Drops what a generator expression leaves empty.
    COMMAND_EXPAND_LISTS
    VERBATIM)
  if(is_batch)
    add_custom_command(${rule})
  else()
    foreach(proto name base folder IN ZIP_LISTS arg_PROTOS arg_NAMES bases folders)
      string(REPLACE "@BASE@" "${base}" file_rule "${rule}")
      string(REPLACE "@FOLDER@" "${folder}" file_rule "${file_rule}")
      string(REPLACE "@NAME@" "${name}" file_rule "${file_rule}")
      string(REPLACE "@PROTO@" "${proto}" file_rule "${file_rule}")
      add_custom_command(${file_rule})
    endforeach()
  endif()

  list(REMOVE_DUPLICATES folders)
  string(REPLACE ";${arg_OUT_DIR}" ";${protoc_dir}" staging_folders ";${folders}")
  file(MAKE_DIRECTORY ${folders} ${staging_folders})

  if(count EQUAL 1)
    list(TRANSFORM extensions PREPEND "${paths}" OUTPUT_VARIABLE generated)
  else()
    set(generated "")
    foreach(extension IN LISTS extensions)
      list(TRANSFORM paths APPEND "${extension}" OUTPUT_VARIABLE files)
      list(APPEND generated ${files})
    endforeach()
  endif()
  if(CMAKE_GENERATOR MATCHES "Makefiles")
    string(REPLACE ";${arg_OUT_DIR}/" ";${protoc_dir}/" staged ";${generated}")
    list(REMOVE_AT staged 0)
    _qarn_rpc_add_copies_for_make("${generated}" "${staged}")
  endif()
  set(${result} "${generated}" PARENT_SCOPE)
endfunction()

# Sets `result` to `part` of a rule, once for each of `bases`, with the one of
# `folders` that belongs to it.
function(_qarn_rpc_for_all part bases folders result)
  set(all "")
  foreach(base folder IN ZIP_LISTS bases folders)
    string(REPLACE "@BASE@" "${base}" items "${part}")
    string(REPLACE "@FOLDER@" "${folder}" items "${items}")
    list(APPEND all ${items})
  endforeach()
  set(${result} "${all}" PARENT_SCOPE)
endfunction()

# The arguments that all runs have in common.
function(_qarn_rpc_protoc_arguments
         kinds import_dirs dir plugin services_namespace export_macro protoc_version result)
  list(REMOVE_DUPLICATES import_dirs)
  list(TRANSFORM import_dirs PREPEND "--proto_path=" OUTPUT_VARIABLE arguments)
  # These releases take proto3's `optional` only when they are told to.
  if(protoc_version VERSION_GREATER_EQUAL 3.12 AND protoc_version VERSION_LESS 3.15)
    list(APPEND arguments --experimental_allow_proto3_optional)
  endif()
  if("MESSAGES" IN_LIST kinds)
    set(parameter "")
    if(export_macro)
      set(parameter "dllexport_decl=${export_macro}:")
    endif()
    list(APPEND arguments "--cpp_out=${parameter}${dir}")
  endif()
  if("RPC" IN_LIST kinds)
    list(APPEND arguments "--plugin=protoc-gen-qarn-rpc=${plugin}" "--qarn-rpc_out=${dir}")
    if(services_namespace)
      list(APPEND arguments "--qarn-rpc_opt=services_namespace=${services_namespace}")
    endif()
  endif()
  set(${result} "${arguments}" PARENT_SCOPE)
endfunction()

# What makes the same run lint, or nothing without a `linter`. protoc writes files
# when all plugins have succeeded, so an error of the linter leaves them as they were.
function(_qarn_rpc_lint_arguments linter parameters dir result)
  set(arguments "")
  if(linter)
    list(TRANSFORM parameters PREPEND "--qarn-rpc-lint_opt=")
    set(arguments
      "--plugin=protoc-gen-qarn-rpc-lint=${linter}" "--qarn-rpc-lint_out=${dir}" ${parameters})
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
