# What compiles the generated files: the library of the options schema, the
# caller's target, and the two ways to compile RPC files faster.

include_guard(GLOBAL)
cmake_policy(VERSION 3.20...3.31)
set(_QARN_RPC_SCRIPT_DIR "${CMAKE_CURRENT_LIST_DIR}" CACHE INTERNAL
  "The folder of the scripts that qarn_rpc_generate() runs in a build")

# How many RPC files UNITY joins at most: enough that what they all include costs
# little, and few enough that an edit of one compiles few others, and that all
# processors have a unit to compile. Not made of the number of processors, so that
# all machines compile the same.
set(_QARN_RPC_UNIT_SIZE 10 CACHE INTERNAL "The most RPC files in one unit")

# Sets `result` to the library with the message code of the options schema:
# `options_target`, the one that the build makes for all, or nothing for NONE. It
# must be in a program once.
function(_qarn_rpc_choose_options_target options_target result)
  if(options_target STREQUAL "NONE")
    set(${result} "" PARENT_SCOPE)
    return()
  endif()
  if(options_target)
    _qarn_rpc_check_copies_of("${options_target}")
    set(${result} "${options_target}" PARENT_SCOPE)
    return()
  endif()
  set(${result} qarn_rpc_service_options PARENT_SCOPE)
  if(TARGET qarn_rpc_service_options)
    return()
  endif()
  # Without a type BUILD_SHARED_LIBS chooses it.
  set(type "")
  if(QARN_RPC_SHARED_OPTIONS)
    set(type SHARED)
  endif()
  add_library(qarn_rpc_service_options ${type})
  add_library(qarn-rpc-gen::service_options ALIAS qarn_rpc_service_options)
  # Message code marks nothing for export, so all of it is visible.
  set_target_properties(qarn_rpc_service_options PROPERTIES
    POSITION_INDEPENDENT_CODE ON
    AUTOMOC OFF AUTOUIC OFF AUTORCC OFF
    CXX_VISIBILITY_PRESET default
    VISIBILITY_INLINES_HIDDEN OFF)
  set(options_dir "${CMAKE_BINARY_DIR}/qarn_rpc_service_options")
  qarn_rpc_generate(
    TARGET qarn_rpc_service_options
    MESSAGES_ONLY_PROTOS "${QARN_RPC_PROTO_DIR}/morvane/qarn/rpc/service_options.proto"
    IMPORT_DIRS "${QARN_RPC_PROTO_DIR}"
    PROTOC_OUT_DIR "${options_dir}"
    SYSTEM
    OPTIONS_TARGET qarn_rpc_service_options)
endfunction()

# Sets `result` to words for set_source_files_properties(): nothing, or this folder
# and the one that made `target`, if that is another one. CMake keeps the properties
# of sources for each folder.
function(_qarn_rpc_folders_of_sources target result)
  set(words "")
  get_target_property(home "${target}" BINARY_DIR)
  if(NOT home STREQUAL CMAKE_CURRENT_BINARY_DIR)
    set(words DIRECTORY "${CMAKE_CURRENT_SOURCE_DIR}" TARGET_DIRECTORY "${target}")
  endif()
  set(${result} "${words}" PARENT_SCOPE)
endfunction()

# Keeps `files` out of what CMake does to sources by global switches. Message
# code cannot be joined with other message code, since all of it has the same
# names in its unnamed parts; RPC code is joined by _qarn_rpc_join() alone, so
# never with the caller's own sources.
#
# Message code is protobuf's text, so its warnings are not the caller's to mend;
# RPC code is to be free of them. Linters look at neither, with a CMake that knows
# SKIP_LINTING (3.27).
#
# `folders` are words of CMake that say for which folders' targets.
function(_qarn_rpc_set_source_properties files folders)
  if(folders)
    set_source_files_properties(${files} ${folders} PROPERTIES GENERATED ON)
  endif()
  set_source_files_properties(${files} ${folders} PROPERTIES
    SKIP_UNITY_BUILD_INCLUSION ON
    SKIP_AUTOGEN ON
    SKIP_LINTING ON
    CXX_SCAN_FOR_MODULES OFF)
  set(message_files "${files}")
  list(FILTER message_files INCLUDE REGEX "\\.pb\\.cc$")
  if(message_files)
    # A source's own options come last.
    set(no_warnings -w)
    if(MSVC)
      set(no_warnings /w)
    endif()
    set_property(SOURCE ${message_files} ${folders}
      APPEND PROPERTY COMPILE_OPTIONS ${no_warnings})
  endif()
endfunction()

# Whether RPC files are to be joined: because the call says so, or because the
# target, or without one the folder, joins its sources anyway.
function(_qarn_rpc_wants_unity unity target result)
  if(NOT unity AND target)
    get_target_property(unity "${target}" UNITY_BUILD)
  elseif(NOT unity)
    set(unity "${CMAKE_UNITY_BUILD}")
  endif()
  set(${result} "${unity}" PARENT_SCOPE)
endfunction()

# Joins the RPC files among `files` to units of at most _QARN_RPC_UNIT_SIZE, of
# about the same size, and sets `result` to `files` with the units in place of
# what is in them. Each unit has a second source for the files that turn out not to
# join with the others, which is mostly empty. A .proto file with the source
# property SKIP_UNITY_BUILD_INCLUSION stays by itself; `protos` and `names` are all
# files of the call that have RPC code.
function(_qarn_rpc_join files protos names out_dir services_namespace folders result)
  set(bases "")
  foreach(proto name IN ZIP_LISTS protos names)
    get_source_file_property(is_apart "${proto}" SKIP_UNITY_BUILD_INCLUSION)
    if(NOT is_apart)
      string(REGEX REPLACE "\\.proto(devel)?$" "" base "${out_dir}/${name}")
      list(APPEND bases "${base}")
    endif()
  endforeach()
  list(LENGTH bases left)
  math(EXPR units "(${left} + ${_QARN_RPC_UNIT_SIZE} - 1) / ${_QARN_RPC_UNIT_SIZE}")
  set(begin 0)
  string(MD5 key "${bases}")
  string(SUBSTRING "${key}" 0 8 key)
  while(units GREATER 0)
    math(EXPR size "(${left} + ${units} - 1) / ${units}")
    list(SUBLIST bases ${begin} ${size} unit_bases)
    set(unit_dir "${CMAKE_CURRENT_BINARY_DIR}/CMakeFiles/qarn_rpc_unity.dir")
    set(unit "${unit_dir}/${key}_unity_${units}.cpp")
    set(apart "${unit_dir}/${key}_apart_${units}.cpp")
    list(TRANSFORM unit_bases APPEND .rpc.h OUTPUT_VARIABLE headers)
    list(TRANSFORM unit_bases APPEND .rpc.cpp OUTPUT_VARIABLE sources)
    # As a file, since a command line cannot be of any length.
    file(GENERATE OUTPUT "${unit}.in" CONTENT "${unit_bases}")
    add_custom_command(
      OUTPUT "${unit}" "${apart}"
      COMMAND "${CMAKE_COMMAND}" "-DUNIT=${unit}" "-DAPART=${apart}"
        "-DSERVICES_NAMESPACE=${services_namespace}"
        -P "${_QARN_RPC_SCRIPT_DIR}/QarnRpcJoin.cmake"
      DEPENDS ${headers} "${unit}.in" "${_QARN_RPC_SCRIPT_DIR}/QarnRpcJoin.cmake"
      COMMENT "Joining ${size} RPC files"
      VERBATIM)
    # Still written with the target, and read by its unit alone.
    set_source_files_properties(${sources} ${folders} PROPERTIES HEADER_FILE_ONLY ON)
    _qarn_rpc_set_source_properties("${unit};${apart}" "${folders}")
    list(APPEND files "${unit}" "${apart}")
    math(EXPR begin "${begin} + ${size}")
    math(EXPR left "${left} - ${size}")
    math(EXPR units "${units} - 1")
  endwhile()
  set(${result} "${files}" PARENT_SCOPE)
endfunction()

# Gives `target` the generated files, their folder and the libraries that they
# need. With `is_private` those that link the target get neither; with `is_system`
# it is a system folder for them. `boost_dirs` are a system folder for all. With
# `is_elsewhere` another folder made the target.
function(_qarn_rpc_extend_target
         target generated out_dir is_private is_system boost_dirs libraries is_elsewhere
         precompile protoc plugin)
  set(scope PUBLIC)
  if(is_private)
    set(scope PRIVATE)
  endif()
  target_include_directories("${target}" ${scope} "$<BUILD_INTERFACE:${out_dir}>")
  if(is_system)
    target_include_directories("${target}" SYSTEM INTERFACE "$<BUILD_INTERFACE:${out_dir}>")
  endif()
  if(boost_dirs)
    target_include_directories("${target}" SYSTEM ${scope} "$<BUILD_INTERFACE:${boost_dirs}>")
  endif()
  # By property: target_link_libraries() refuses a target to which the caller
  # gives libraries without PUBLIC or PRIVATE.
  list(REMOVE_ITEM libraries "${target}")
  set_property(TARGET "${target}" APPEND PROPERTY LINK_LIBRARIES ${libraries})
  if(is_private)
    # A static library hands on what is to be linked.
    get_target_property(type "${target}" TYPE)
    if(NOT type STREQUAL "STATIC_LIBRARY")
      set(libraries "")
    endif()
    list(TRANSFORM libraries REPLACE "(.+)" "$<LINK_ONLY:\\1>")
  endif()
  set_property(TARGET "${target}" APPEND PROPERTY INTERFACE_LINK_LIBRARIES ${libraries})
  if(is_elsewhere)
    # The rules for the files are this folder's alone.
    string(MD5 key "${generated}")
    string(SUBSTRING "${key}" 0 8 key)
    add_custom_target(qarn_rpc_files_${key} DEPENDS ${generated})
    add_dependencies("${target}" qarn_rpc_files_${key})
  endif()
  if(precompile)
    set(rpc_files "${generated}")
    list(FILTER rpc_files INCLUDE REGEX "\\.cpp$")
    list(REMOVE_ITEM generated ${rpc_files})
    set(headers "${generated}")
    list(FILTER headers INCLUDE REGEX "\\.h$")
    if(rpc_files)
      _qarn_rpc_precompile(
        "${target}" "${rpc_files};${headers}" "${boost_dirs}" "${protoc}" "${plugin}")
    endif()
  endif()
  target_sources("${target}" PRIVATE ${generated})
endfunction()

# ------------------------------------------------------------------------------
# PRECOMPILE. CMake has one precompiled header a target, for all its sources, so
# the RPC files of a target get a target of their own, with the same options.

# Compiles `files` in the helper of `target`, whose objects become the target's.
function(_qarn_rpc_precompile target files boost_dirs protoc plugin)
  set(helper "${target}_qarn_rpc")
  if(NOT TARGET ${helper})
    _qarn_rpc_add_probe("${protoc}" "${plugin}" header)
    add_library(${helper} OBJECT)
    add_dependencies(${helper} qarn_rpc_probe)
    # What is a system folder is not among the properties that can be copied.
    target_include_directories(${helper} SYSTEM PRIVATE "$<BUILD_INTERFACE:${boost_dirs}>")
    set_target_properties(${helper} PROPERTIES
      UNITY_BUILD OFF
      AUTOMOC OFF AUTOUIC OFF AUTORCC OFF
      DISABLE_PRECOMPILE_HEADERS OFF
      PRECOMPILE_HEADERS "${header}")
    target_sources("${target}" PRIVATE $<TARGET_OBJECTS:${helper}>)
    # When all is known that the project gives to the target.
    cmake_language(EVAL CODE "cmake_language(DEFER DIRECTORY [==[${CMAKE_SOURCE_DIR}]==]
      CALL _qarn_rpc_copy_options [==[${target}]==] [==[${helper}]==])")
  endif()
  target_sources(${helper} PRIVATE ${files})
endfunction()

# Gives `helper` what decides how `target` compiles.
function(_qarn_rpc_copy_options target helper)
  set(names
    CXX_STANDARD CXX_STANDARD_REQUIRED CXX_EXTENSIONS CXX_VISIBILITY_PRESET
    VISIBILITY_INLINES_HIDDEN POSITION_INDEPENDENT_CODE INTERPROCEDURAL_OPTIMIZATION
    INCLUDE_DIRECTORIES COMPILE_DEFINITIONS COMPILE_OPTIONS COMPILE_FEATURES COMPILE_FLAGS
    LINK_LIBRARIES NO_SYSTEM_FROM_IMPORTED MSVC_RUNTIME_LIBRARY)
  foreach(name IN LISTS names)
    get_property(is_set TARGET ${target} PROPERTY ${name} SET)
    if(is_set)
      get_target_property(value ${target} ${name})
      set_property(TARGET ${helper} PROPERTY ${name} "${value}")
    endif()
  endforeach()
  get_target_property(type ${target} TYPE)
  if(type MATCHES "SHARED|MODULE")
    get_target_property(symbol ${target} DEFINE_SYMBOL)
    if(NOT symbol)
      string(MAKE_C_IDENTIFIER "${target}_EXPORTS" symbol)
    endif()
    set_property(TARGET ${helper} APPEND PROPERTY COMPILE_DEFINITIONS "${symbol}")
    get_property(is_set TARGET ${target} PROPERTY POSITION_INDEPENDENT_CODE SET)
    if(NOT is_set)
      set_property(TARGET ${helper} PROPERTY POSITION_INDEPENDENT_CODE ON)
    endif()
  endif()
endfunction()

# Sets `result` to a header that the target qarn_rpc_probe writes: the includes
# that every generated header has. They are taken from the code of a message and
# a service, since they differ by protobuf release.
function(_qarn_rpc_add_probe protoc plugin result)
  set(dir "${CMAKE_BINARY_DIR}/CMakeFiles/qarn_rpc_probe.dir")
  set(header "${dir}/includes.h")
  set(${result} "${header}" PARENT_SCOPE)
  if(TARGET qarn_rpc_probe)
    return()
  endif()
  file(WRITE "${dir}/probe.proto" "syntax = \"proto3\";
message QarnRpcProbe { string text = 1; repeated int32 numbers = 2; }
service QarnRpcProbes { rpc Ask(QarnRpcProbe) returns (QarnRpcProbe); }
")
  add_custom_command(
    OUTPUT "${dir}/includes.new"
    BYPRODUCTS "${header}"
    COMMAND "${protoc}" "--proto_path=${dir}" "--cpp_out=${dir}"
      "--plugin=protoc-gen-qarn-rpc=${plugin}" "--qarn-rpc_out=${dir}" probe.proto
    COMMAND "${CMAKE_COMMAND}" "-DDIR=${dir}" -P "${_QARN_RPC_SCRIPT_DIR}/QarnRpcIncludes.cmake"
    DEPENDS "${protoc}" "${plugin}" "${_QARN_RPC_SCRIPT_DIR}/QarnRpcIncludes.cmake"
    COMMENT "Writing the includes of generated headers"
    VERBATIM)
  add_custom_target(qarn_rpc_probe DEPENDS "${dir}/includes.new")
endfunction()
