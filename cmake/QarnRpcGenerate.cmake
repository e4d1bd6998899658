# qarn_rpc_generate(): message and RPC code from .proto files, as a part of the
# caller's build. docs/qarn_rpc_generate.md explains every argument.
#
#   qarn_rpc_generate(
#     TARGET target | OUT_VAR variable    # compiles the code, or names its files
#     [PROTOS file...]                    # messages and RPC code of these; default:
#                                         # the .proto files among TARGET's sources
#     [MESSAGES_ONLY_PROTOS file...]      # messages alone of these
#     [IMPORT_DIRS dir...]                # default: the caller's folders
#     [PROTOC_OUT_DIR dir]                # default: the caller's build folder
#     [SERVICES_NAMESPACE namespace]
#     [EXPORT_MACRO macro]                # exports messages of a shared library
#     [OPTIONS_TARGET library | NONE]     # in place of qarn_rpc_service_options
#     [NO_MESSAGES]                       # RPC code alone
#     [BATCH]                             # one run of protoc for all files
#     [UNITY]                             # compiles the RPC files joined
#     [PRECOMPILE]                        # compiles them with a precompiled header
#     [RUNTIME_TARGET library]            # the RPC runtime, which is linked
#     [PUBLIC | PRIVATE]                  # what those that link TARGET get
#     [HEADERS_VAR variable] [SOURCES_VAR variable]
#     [SYSTEM]                            # no warnings from the headers elsewhere
#     [DEPENDENCIES file-or-target...]
#     [PROTOC_OPTIONS option...]
#     [LINT]                              # protoc-gen-qarn-rpc-lint reads PROTOS too
#     [LINT_OPTIONS parameter...])        # of the linter, such as off=RULE
#
# QARN_RPC_LINT switches LINT on for all calls.
#
# QARN_RPC_SHARED_OPTIONS, set ahead of the first call, makes the library of the
# options a shared one; qarn_rpc_install_options(), at the end, installs it.
#
# QARN_RPC_PROTO_DIR, the folder under which the options schema is imported, is
# set by the package's configuration and by the source tree.
#
# The files beside this one hold what happens here, one concern each: what is
# looked for, what is refused, what runs, and what compiles the result. Their
# functions get all that they need as arguments.

include_guard(GLOBAL)
# The caller's project may be older; the functions here are not.
cmake_policy(VERSION 3.20...3.31)
include("${CMAKE_CURRENT_LIST_DIR}/QarnRpcTools.cmake")
include("${CMAKE_CURRENT_LIST_DIR}/QarnRpcCheck.cmake")
include("${CMAKE_CURRENT_LIST_DIR}/QarnRpcRun.cmake")
include("${CMAKE_CURRENT_LIST_DIR}/QarnRpcCompile.cmake")

function(qarn_rpc_generate)
  set(flags NO_MESSAGES BATCH UNITY PRECOMPILE SYSTEM PUBLIC PRIVATE LINT)
  set(values TARGET OUT_VAR PROTOC_OUT_DIR SERVICES_NAMESPACE EXPORT_MACRO OPTIONS_TARGET RUNTIME_TARGET HEADERS_VAR SOURCES_VAR)
  set(lists PROTOS MESSAGES_ONLY_PROTOS IMPORT_DIRS DEPENDENCIES PROTOC_OPTIONS LINT_OPTIONS)
  cmake_parse_arguments(PARSE_ARGV 0 arg "${flags}" "${values}" "${lists}")

  # A project may have hundreds of calls, and functions of CMake take their time: the
  # checks of an argument are called where it is given.
  if(arg_UNPARSED_ARGUMENTS OR arg_KEYWORDS_MISSING_VALUES)
    _qarn_rpc_check_keywords("${arg_UNPARSED_ARGUMENTS}" "${arg_KEYWORDS_MISSING_VALUES}"
      ${values} ${lists} ${flags})
  endif()
  # A list in quotes is a list too.
  if("${arg_PROTOS};${arg_MESSAGES_ONLY_PROTOS};${arg_IMPORT_DIRS};${arg_DEPENDENCIES}"
     MATCHES "\\\\;")
    foreach(keyword IN ITEMS PROTOS MESSAGES_ONLY_PROTOS IMPORT_DIRS DEPENDENCIES)
      string(REPLACE "\\;" ";" arg_${keyword} "${arg_${keyword}}")
    endforeach()
  endif()
  if("${ARGV}" MATCHES "\\$<")
    foreach(keyword IN LISTS values ITEMS PROTOS MESSAGES_ONLY_PROTOS IMPORT_DIRS LINT_OPTIONS)
      _qarn_rpc_check_no_genex(${keyword} "${arg_${keyword}}")
    endforeach()
  endif()
  if(NOT arg_PROTOS AND NOT arg_MESSAGES_ONLY_PROTOS AND TARGET "${arg_TARGET}")
    get_target_property(arg_PROTOS "${arg_TARGET}" SOURCES)
    list(FILTER arg_PROTOS INCLUDE REGEX "\\.proto(devel)?$")
  endif()
  _qarn_rpc_check_combination("${arg_TARGET}" "${arg_OUT_VAR}"
    "${arg_PROTOS}" "${arg_MESSAGES_ONLY_PROTOS}" "${arg_NO_MESSAGES}" "${arg_PRECOMPILE}")
  if(arg_TARGET)
    _qarn_rpc_check_target("${arg_TARGET}")
  endif()
  if(arg_PUBLIC OR arg_PRIVATE OR arg_RUNTIME_TARGET)
    _qarn_rpc_check_target_arguments("${arg_TARGET}" "${arg_PUBLIC}" "${arg_PRIVATE}"
      "${arg_SYSTEM}" "${arg_RUNTIME_TARGET}")
  endif()
  if(arg_OPTIONS_TARGET)
    _qarn_rpc_check_options_target("${arg_OPTIONS_TARGET}")
  endif()
  if(arg_SERVICES_NAMESPACE)
    _qarn_rpc_check_namespace("${arg_SERVICES_NAMESPACE}")
  endif()
  if(arg_EXPORT_MACRO)
    _qarn_rpc_check_export_macro("${arg_EXPORT_MACRO}" "${arg_NO_MESSAGES}")
  endif()

  if(NOT TARGET protobuf::libprotobuf)
    _qarn_rpc_find_protobuf()
  endif()
  _qarn_rpc_protobuf_dirs(protobuf_include_dirs protobuf_import_dirs)

  # Everything that reaches protoc is absolute and normal, since it compares
  # paths as texts.
  _qarn_rpc_absolute_protos("${arg_PROTOS}" protos built_protos)
  set(messages_only_protos "")
  if(arg_MESSAGES_ONLY_PROTOS)
    _qarn_rpc_absolute_protos("${arg_MESSAGES_ONLY_PROTOS}" messages_only_protos built)
    list(APPEND built_protos ${built})
  endif()
  set(import_dirs "")
  if(arg_IMPORT_DIRS)
    foreach(dir IN LISTS arg_IMPORT_DIRS)
      _qarn_rpc_absolute("${dir}" "${CMAKE_CURRENT_SOURCE_DIR}" dir)
      list(APPEND import_dirs "${dir}")
    endforeach()
  else()
    _qarn_rpc_default_import_dirs("${protos};${messages_only_protos}" import_dirs)
  endif()
  set(inherited_dirs "")
  if(arg_TARGET)
    get_target_property(libraries "${arg_TARGET}" LINK_LIBRARIES)
    if(libraries)
      _qarn_rpc_inherited_import_dirs("${libraries}" inherited_dirs)
    endif()
  endif()
  set(out_dir "${CMAKE_CURRENT_BINARY_DIR}")
  if(arg_PROTOC_OUT_DIR)
    _qarn_rpc_absolute("${arg_PROTOC_OUT_DIR}" "${CMAKE_CURRENT_BINARY_DIR}" out_dir)
  endif()
  if(out_dir MATCHES "[#<>]")
    _qarn_rpc_refuse_out_dir("${out_dir}")
  endif()
  if(arg_SYSTEM)
    _qarn_rpc_check_system("${arg_TARGET}" "${out_dir}")
  endif()
  _qarn_rpc_import_names("${protos}" "${import_dirs}" names)
  if(messages_only_protos)
    _qarn_rpc_import_names("${messages_only_protos}" "${import_dirs}" messages_only_names)
    _qarn_rpc_check_no_file_twice("${protos}" "${messages_only_protos}")
  endif()
  if(arg_OPTIONS_TARGET STREQUAL "NONE")
    _qarn_rpc_check_no_schema("${protos};${messages_only_protos}")
  endif()

  _qarn_rpc_find_protoc("${protobuf_include_dirs}" protoc protoc_version)
  _qarn_rpc_find_plugin(plugin)
  set(linter "")
  set(lint_parameters "")
  if(arg_LINT OR QARN_RPC_LINT)
    _qarn_rpc_find_linter(linter)
    _qarn_rpc_lint_parameters("${arg_TARGET}" "${arg_SERVICES_NAMESPACE}" lint_parameters)
    list(APPEND lint_parameters ${arg_LINT_OPTIONS})
  endif()
  set(common
    OUT_DIR "${out_dir}"
    IMPORT_DIRS ${import_dirs} ${inherited_dirs} "${QARN_RPC_PROTO_DIR}" ${protobuf_import_dirs}
    PROTOC "${protoc}"
    PROTOC_VERSION "${protoc_version}"
    PLUGIN "${plugin}"
    LINTER "${linter}"
    LINT_PARAMETERS ${lint_parameters}
    SERVICES_NAMESPACE "${arg_SERVICES_NAMESPACE}"
    EXPORT_MACRO "${arg_EXPORT_MACRO}"
    BATCH "${arg_BATCH}"
    PROTOC_OPTIONS ${arg_PROTOC_OPTIONS}
    # Any of the files may import those. CMake knows no weaker way to wait for a file.
    DEPENDENCIES ${arg_DEPENDENCIES} ${built_protos}
    ALL_PROTOS ${protos} ${messages_only_protos})
  set(kinds MESSAGES RPC)
  if(arg_NO_MESSAGES)
    set(kinds RPC)
  endif()
  set(user "TARGET ${arg_TARGET}")
  if(arg_OUT_VAR)
    set(user "OUT_VAR ${arg_OUT_VAR}")
  endif()
  set(generated "")
  if(protos)
    _qarn_rpc_check_written_once("${kinds}" "${names}" "${out_dir}" "${user}")
    _qarn_rpc_add_runs(generated KINDS ${kinds} PROTOS ${protos} NAMES ${names} ${common})
  endif()
  if(messages_only_protos)
    _qarn_rpc_check_written_once(MESSAGES "${messages_only_names}" "${out_dir}" "${user}")
    _qarn_rpc_add_runs(messages_only_generated KINDS MESSAGES
      PROTOS ${messages_only_protos} NAMES ${messages_only_names} ${common})
    list(APPEND generated ${messages_only_generated})
  endif()

  foreach(list IN ITEMS HEADERS SOURCES)
    if(arg_${list}_VAR)
      set(ending "\\.(cc|cpp)$")
      if(list STREQUAL "HEADERS")
        set(ending "\\.h$")
      endif()
      set(files "${generated}")
      list(FILTER files INCLUDE REGEX "${ending}")
      set(${arg_${list}_VAR} "${files}" PARENT_SCOPE)
    endif()
  endforeach()

  _qarn_rpc_choose_options_target("${arg_OPTIONS_TARGET}" options_target)
  set(folders "")
  if(arg_TARGET)
    _qarn_rpc_folders_of_sources("${arg_TARGET}" folders)
  endif()
  _qarn_rpc_set_source_properties("${generated}" "${folders}")
  _qarn_rpc_wants_unity("${arg_UNITY}" "${arg_TARGET}" wants_unity)
  if(wants_unity)
    _qarn_rpc_join("${generated}" "${protos}" "${names}" "${out_dir}"
      "${arg_SERVICES_NAMESPACE}" "${folders}" generated)
  endif()
  if(arg_TARGET)
    set(boost_dirs "")
    if(protos)
      _qarn_rpc_find_boost(boost_dirs)
    endif()
    set_property(TARGET "${arg_TARGET}" APPEND PROPERTY QARN_RPC_IMPORT_DIRS ${import_dirs})
    # For the lists of files that editors show.
    target_sources("${arg_TARGET}" PRIVATE ${protos} ${messages_only_protos})
    _qarn_rpc_extend_target("${arg_TARGET}" "${generated}" "${out_dir}"
      "${arg_PRIVATE}" "${arg_SYSTEM}" "${boost_dirs}"
      "${options_target};protobuf::libprotobuf;${arg_RUNTIME_TARGET}" "${folders}"
      "${arg_PRECOMPILE}" "${protoc}" "${plugin}")
  else()
    _qarn_rpc_check_users_of("${generated}")
    set(${arg_OUT_VAR} "${generated}" PARENT_SCOPE)
  endif()
endfunction()

# Installs the library of the options schema, with its header, and adds it to an
# export set, which needs it when it has a library with generated code.
#
#   qarn_rpc_install_options(EXPORT set)
function(qarn_rpc_install_options)
  cmake_parse_arguments(PARSE_ARGV 0 arg "" "EXPORT" "")
  if(arg_UNPARSED_ARGUMENTS OR NOT arg_EXPORT)
    message(FATAL_ERROR "qarn_rpc_install_options: call it as \
qarn_rpc_install_options(EXPORT set), with the export set of your libraries.")
  endif()
  _qarn_rpc_choose_options_target("" library)
  # The folders that install() takes by itself.
  set(include_dir include)
  if(CMAKE_INSTALL_INCLUDEDIR)
    set(include_dir "${CMAKE_INSTALL_INCLUDEDIR}")
  endif()
  install(TARGETS ${library} EXPORT "${arg_EXPORT}" INCLUDES DESTINATION "${include_dir}")
  install(FILES
    "${CMAKE_BINARY_DIR}/qarn_rpc_service_options/morvane/qarn/rpc/service_options.pb.h"
    DESTINATION "${include_dir}/morvane/qarn/rpc")
endfunction()
