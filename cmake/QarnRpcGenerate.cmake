# qarn_rpc_generate(): message and RPC code from .proto files, as a part of the
# caller's build. docs/qarn_rpc_generate.md explains every
# argument.
#
#   qarn_rpc_generate(
#     TARGET target | OUT_VAR variable    # compiles the code, or names its files
#     PROTOS file...                      # messages and RPC code of these
#     [MESSAGES_ONLY_PROTOS file...]      # messages alone of these
#     [IMPORT_DIRS dir...]                # default: the caller's source folder
#     [PROTOC_OUT_DIR dir]                # default: the caller's build folder
#     [SERVICES_NAMESPACE namespace]
#     [OPTIONS_TARGET library]            # in place of qarn_rpc_service_options
#     [NO_MESSAGES]                       # RPC code alone
#     [BATCH]                             # one run of protoc for all files
#     [DEPENDENCIES file-or-target...]
#     [PROTOC_OPTIONS option...])
#
# QARN_RPC_PROTO_DIR, the folder under which the options schema is imported, is
# set by the package's configuration and by the source tree.

include_guard(GLOBAL)
# The caller's project may be older; the functions here are not.
cmake_policy(VERSION 3.20...3.31)
include("${CMAKE_CURRENT_LIST_DIR}/QarnRpcTools.cmake")

function(qarn_rpc_generate)
  set(flags NO_MESSAGES BATCH)
  set(values TARGET OUT_VAR PROTOC_OUT_DIR SERVICES_NAMESPACE OPTIONS_TARGET)
  set(lists PROTOS MESSAGES_ONLY_PROTOS IMPORT_DIRS DEPENDENCIES PROTOC_OPTIONS)
  cmake_parse_arguments(PARSE_ARGV 0 arg "${flags}" "${values}" "${lists}")

  _qarn_rpc_check_keywords()
  _qarn_rpc_check_values()
  _qarn_rpc_find_protobuf()
  _qarn_rpc_resolve_paths()
  _qarn_rpc_find_protoc(protoc protoc_version)
  _qarn_rpc_find_plugin(plugin)

  set(generated "")
  if(arg_NO_MESSAGES)
    _qarn_rpc_add_runs("${protos}" RPC)
  else()
    _qarn_rpc_add_runs("${protos}" MESSAGES RPC)
    _qarn_rpc_add_runs("${messages_only_protos}" MESSAGES)
  endif()

  _qarn_rpc_choose_options_target()
  if(arg_TARGET)
    _qarn_rpc_extend_target()
  else()
    set(${arg_OUT_VAR} "${generated}" PARENT_SCOPE)
  endif()
endfunction()

# ------------------------------------------------------------------------------
# Checks. They read the caller's arguments as arg_NAME.

# Refuses calls that are wrong whatever the values are.
function(_qarn_rpc_check_keywords)
  if(arg_UNPARSED_ARGUMENTS)
    list(JOIN arg_UNPARSED_ARGUMENTS " " unknown)
    list(JOIN flags ", " known_flags)
    list(JOIN values ", " known_values)
    list(JOIN lists ", " known_lists)
    _qarn_rpc_fail("unknown argument: ${unknown}. \
Known are ${known_values}, ${known_lists}, ${known_flags}.")
  endif()
  if(arg_KEYWORDS_MISSING_VALUES)
    list(JOIN arg_KEYWORDS_MISSING_VALUES ", " names)
    _qarn_rpc_fail("no value after ${names}. Give one, or leave the keyword out.")
  endif()
  if(arg_TARGET AND arg_OUT_VAR)
    _qarn_rpc_fail("both TARGET and OUT_VAR are given. \
TARGET compiles the generated files, OUT_VAR only names them; choose one.")
  endif()
  if(NOT arg_TARGET AND NOT arg_OUT_VAR)
    _qarn_rpc_fail("neither TARGET nor OUT_VAR is given. \
Name the target that is to compile the generated files, or a variable for their names.")
  endif()
  if(NOT arg_PROTOS AND NOT arg_MESSAGES_ONLY_PROTOS)
    _qarn_rpc_fail("PROTOS is missing. Name the .proto files after it.")
  endif()
  if(arg_NO_MESSAGES AND arg_MESSAGES_ONLY_PROTOS)
    _qarn_rpc_fail("NO_MESSAGES and MESSAGES_ONLY_PROTOS contradict each other. \
Leave one out, or make two calls.")
  endif()
endfunction()

# Refuses values that could only fail later, and less clearly.
function(_qarn_rpc_check_values)
  if(arg_TARGET)
    _qarn_rpc_check_target()
  endif()
  if(arg_OPTIONS_TARGET AND NOT TARGET "${arg_OPTIONS_TARGET}")
    _qarn_rpc_fail("OPTIONS_TARGET '${arg_OPTIONS_TARGET}' is not a target. \
Make the library ahead of this call.")
  endif()
  set(identifier "[A-Za-z_][A-Za-z0-9_]*")
  if(arg_SERVICES_NAMESPACE
     AND NOT arg_SERVICES_NAMESPACE MATCHES "^${identifier}(::${identifier})*$")
    _qarn_rpc_fail("SERVICES_NAMESPACE '${arg_SERVICES_NAMESPACE}' \
is not the name of a C++ namespace. Write it like api or team::api.")
  endif()
endfunction()

function(_qarn_rpc_check_target)
  if(NOT TARGET "${arg_TARGET}")
    _qarn_rpc_fail("TARGET '${arg_TARGET}' is not a target. \
Call add_executable() or add_library() ahead of this call.")
  endif()
  get_target_property(aliased "${arg_TARGET}" ALIASED_TARGET)
  get_target_property(is_imported "${arg_TARGET}" IMPORTED)
  get_target_property(type "${arg_TARGET}" TYPE)
  if(aliased OR is_imported OR type MATCHES "INTERFACE|UTILITY")
    _qarn_rpc_fail("TARGET '${arg_TARGET}' compiles nothing \
(it is an alias, imported, an interface library or a custom target). \
Name the executable or library that is to compile the generated files.")
  endif()
  # Elsewhere the target would not know the rules that write its sources.
  get_target_property(home "${arg_TARGET}" BINARY_DIR)
  if(NOT home STREQUAL CMAKE_CURRENT_BINARY_DIR)
    _qarn_rpc_fail("TARGET '${arg_TARGET}' was made in another folder. \
Call qarn_rpc_generate() in the CMakeLists.txt that makes the target.")
  endif()
endfunction()

# ------------------------------------------------------------------------------
# Paths. Everything that reaches protoc is absolute and normal, since it
# compares paths as texts.

# Sets in the caller: import_dirs, import_options, out_dir, protos and
# messages_only_protos.
function(_qarn_rpc_resolve_paths)
  if(NOT arg_IMPORT_DIRS)
    set(arg_IMPORT_DIRS "${CMAKE_CURRENT_SOURCE_DIR}")
  endif()
  set(import_dirs "")
  foreach(dir IN LISTS arg_IMPORT_DIRS)
    _qarn_rpc_absolute("${dir}" "${CMAKE_CURRENT_SOURCE_DIR}" dir)
    list(APPEND import_dirs "${dir}")
  endforeach()
  _qarn_rpc_protobuf_import_dirs(protobuf_dirs)
  set(import_options ${import_dirs} "${QARN_RPC_PROTO_DIR}" ${protobuf_dirs})
  list(REMOVE_DUPLICATES import_options)
  list(TRANSFORM import_options PREPEND "--proto_path=")

  if(NOT arg_PROTOC_OUT_DIR)
    set(arg_PROTOC_OUT_DIR "${CMAKE_CURRENT_BINARY_DIR}")
  endif()
  _qarn_rpc_absolute("${arg_PROTOC_OUT_DIR}" "${CMAKE_CURRENT_BINARY_DIR}" out_dir)
  if(out_dir MATCHES "[#<>]")
    _qarn_rpc_fail("the generated files would go to '${out_dir}', \
and CMake has no rules for files with '#', '<' or '>' in their path. \
Choose another build folder or PROTOC_OUT_DIR.")
  endif()

  _qarn_rpc_resolve_protos("${arg_PROTOS}" protos)
  _qarn_rpc_resolve_protos("${arg_MESSAGES_ONLY_PROTOS}" messages_only_protos)
  foreach(proto IN LISTS messages_only_protos)
    if(proto IN_LIST protos)
      _qarn_rpc_fail("'${proto}' stands in PROTOS and in MESSAGES_ONLY_PROTOS. \
Leave it in the list that it belongs to.")
    endif()
  endforeach()

  foreach(name import_dirs import_options out_dir protos messages_only_protos)
    set(${name} "${${name}}" PARENT_SCOPE)
  endforeach()
endfunction()

# The absolute, normal form of `path`, without a slash at its end.
function(_qarn_rpc_absolute path base result)
  cmake_path(ABSOLUTE_PATH path BASE_DIRECTORY "${base}" NORMALIZE)
  string(REGEX REPLACE "(.)/$" "\\1" path "${path}")
  set(${result} "${path}" PARENT_SCOPE)
endfunction()

# The absolute paths of `files`, each once. Refuses files that protoc could not
# find, and files that no import folder holds.
function(_qarn_rpc_resolve_protos files result)
  set(resolved "")
  foreach(file IN LISTS files)
    _qarn_rpc_absolute("${file}" "${CMAKE_CURRENT_SOURCE_DIR}" path)
    # A file in the build folder may be one that the build has yet to write.
    cmake_path(IS_PREFIX CMAKE_BINARY_DIR "${path}" may_be_generated)
    if(NOT EXISTS "${path}" AND NOT may_be_generated)
      _qarn_rpc_fail("'${file}' does not exist (looked for '${path}'). \
Relative names start at the folder of the CMakeLists.txt.")
    endif()
    _qarn_rpc_import_name("${path}" name)
    if(NOT name)
      list(JOIN import_dirs "', '" dirs)
      _qarn_rpc_fail("'${path}' is in none of the import folders ('${dirs}'). \
Add the folder that its imports start from to IMPORT_DIRS.")
    endif()
    list(APPEND resolved "${path}")
  endforeach()
  list(REMOVE_DUPLICATES resolved)
  set(${result} "${resolved}" PARENT_SCOPE)
endfunction()

# The name under which other files import `path`: what is left of it below the
# first import folder that holds it, as protoc has it. Empty when none does.
function(_qarn_rpc_import_name path result)
  set(${result} "" PARENT_SCOPE)
  foreach(dir IN LISTS import_dirs)
    cmake_path(IS_PREFIX dir "${path}" is_inside)
    if(is_inside)
      cmake_path(RELATIVE_PATH path BASE_DIRECTORY "${dir}" OUTPUT_VARIABLE name)
      set(${result} "${name}" PARENT_SCOPE)
      return()
    endif()
  endforeach()
endfunction()

# ------------------------------------------------------------------------------
# Runs of protoc. `kinds`, the arguments after the files, are MESSAGES and RPC.

# Adds one run for each of `files`, or with BATCH one for all, and appends what
# they write to `generated` in the caller.
function(_qarn_rpc_add_runs files)
  set(kinds ${ARGN})
  if(files AND arg_BATCH)
    _qarn_rpc_add_run(${files})
  else()
    foreach(file IN LISTS files)
      _qarn_rpc_add_run("${file}")
    endforeach()
  endif()
  set(generated "${generated}" PARENT_SCOPE)
endfunction()

# Adds one run of protoc over the files given.
function(_qarn_rpc_add_run)
  set(files ${ARGN})
  set(outputs "")
  foreach(file IN LISTS files)
    _qarn_rpc_import_name("${file}" name)
    string(REGEX REPLACE "\\.proto(devel)?$" "" base "${out_dir}/${name}")
    # In the order in which protoc's depfile names them: Ninja compares its
    # first name with the first output and runs for ever when they differ.
    if("MESSAGES" IN_LIST kinds)
      list(APPEND outputs "${base}.pb.cc" "${base}.pb.h")
    endif()
    if("RPC" IN_LIST kinds)
      list(APPEND outputs "${base}.rpc.cpp" "${base}.rpc.h")
    endif()
    cmake_path(GET base PARENT_PATH folder)
    file(MAKE_DIRECTORY "${folder}")
  endforeach()

  set(generators "")
  set(tools "${protoc}")
  # These releases take proto3's `optional` only when they are told to.
  if(protoc_version VERSION_GREATER_EQUAL 3.12 AND protoc_version VERSION_LESS 3.15)
    list(APPEND generators --experimental_allow_proto3_optional)
  endif()
  if("MESSAGES" IN_LIST kinds)
    list(APPEND generators "--cpp_out=${out_dir}")
  endif()
  if("RPC" IN_LIST kinds)
    list(APPEND tools "${plugin}")
    list(APPEND generators
      "--plugin=protoc-gen-qarn-rpc=${plugin}" "--qarn-rpc_out=${out_dir}")
    if(arg_SERVICES_NAMESPACE)
      list(APPEND generators
        "--qarn-rpc_opt=services_namespace=${arg_SERVICES_NAMESPACE}")
    endif()
  endif()

  _qarn_rpc_can_use_depfile(can_use_depfile)
  if(can_use_depfile)
    list(APPEND generators "--dependency_out=${base}.rpc.d")
    set(inputs "${files}")
    set(depfile DEPFILE "${base}.rpc.d")
  else()
    # Which of these a file imports is not known, so each may be.
    set(inputs ${protos} ${messages_only_protos}
      "${QARN_RPC_PROTO_DIR}/morvane/qarn/rpc/service_options.proto")
    set(depfile "")
  endif()

  list(JOIN kinds " and " what)
  string(REPLACE "MESSAGES" "message" what "${what}")
  list(LENGTH files count)
  if(count GREATER 1)
    set(name "${count} files")
  endif()
  add_custom_command(
    OUTPUT ${outputs}
    COMMAND "${protoc}" ${import_options} ${arg_PROTOC_OPTIONS} ${generators} ${files}
    DEPENDS ${inputs} ${arg_DEPENDENCIES} ${tools}
    ${depfile}
    COMMENT "Generating ${what} code for ${name}"
    VERBATIM)
  set(generated ${generated} ${outputs} PARENT_SCOPE)
endfunction()

# Whether protoc can tell the build what the run over `files` has read. It takes
# --dependency_out with one file only, and writes paths without escaping them.
function(_qarn_rpc_can_use_depfile result)
  set(${result} FALSE PARENT_SCOPE)
  list(LENGTH files count)
  if(count EQUAL 1 AND NOT (protoc_version AND protoc_version VERSION_LESS 3)
     AND NOT "${files};${out_dir};${import_options}" MATCHES "[] \t$#:\\%*?[]"
     AND (CMAKE_GENERATOR MATCHES "Ninja|Makefiles" OR CMAKE_VERSION VERSION_GREATER_EQUAL 3.21))
    set(${result} TRUE PARENT_SCOPE)
  endif()
endfunction()

# ------------------------------------------------------------------------------
# What compiles the result.

# Sets options_target in the caller: the library with the message code of the
# options schema. It must be in a program once, so the build makes one for all.
function(_qarn_rpc_choose_options_target)
  if(arg_OPTIONS_TARGET)
    set(options_target "${arg_OPTIONS_TARGET}" PARENT_SCOPE)
    return()
  endif()
  set(options_target qarn_rpc_service_options PARENT_SCOPE)
  if(TARGET qarn_rpc_service_options)
    return()
  endif()
  # Without a type, so that BUILD_SHARED_LIBS chooses it.
  add_library(qarn_rpc_service_options)
  set_target_properties(qarn_rpc_service_options PROPERTIES
    POSITION_INDEPENDENT_CODE ON)
  set(options_dir "${CMAKE_BINARY_DIR}/qarn_rpc_service_options")
  qarn_rpc_generate(
    TARGET qarn_rpc_service_options
    MESSAGES_ONLY_PROTOS "${QARN_RPC_PROTO_DIR}/morvane/qarn/rpc/service_options.proto"
    IMPORT_DIRS "${QARN_RPC_PROTO_DIR}"
    PROTOC_OUT_DIR "${options_dir}"
    OPTIONS_TARGET qarn_rpc_service_options)
  # The warnings of this message code are not its users' to mend.
  target_include_directories(qarn_rpc_service_options SYSTEM
    INTERFACE "$<BUILD_INTERFACE:${options_dir}>")
endfunction()

# Gives arg_TARGET the generated files, their folder and the libraries that they
# need.
function(_qarn_rpc_extend_target)
  target_sources("${arg_TARGET}" PRIVATE ${generated})
  target_include_directories("${arg_TARGET}" PUBLIC "$<BUILD_INTERFACE:${out_dir}>")
  # By property: target_link_libraries() refuses a target to which the caller
  # gives libraries without PUBLIC or PRIVATE.
  set(libraries "${options_target}" protobuf::libprotobuf)
  list(REMOVE_ITEM libraries "${arg_TARGET}")
  set_property(TARGET "${arg_TARGET}" APPEND PROPERTY LINK_LIBRARIES ${libraries})
  set_property(TARGET "${arg_TARGET}" APPEND PROPERTY INTERFACE_LINK_LIBRARIES ${libraries})
endfunction()
