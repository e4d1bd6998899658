# Finds what qarn_rpc_generate() runs and links: protobuf, protoc and the plugin.
# Each function is called anew by every qarn_rpc_generate(): imported targets
# and found paths are only known in the folder that found them and below.

include_guard(GLOBAL)
cmake_policy(VERSION 3.20...3.31)

# Ends the configure step with a text that says what is wrong and what to do.
function(_qarn_rpc_fail text)
  message(FATAL_ERROR "qarn_rpc_generate: ${text}")
endfunction()

# Finds a program on the host's PATH, also when everything else is looked up in
# the target's system.
function(_qarn_rpc_find_on_path cache_variable name)
  find_program(${cache_variable} ${name}
    PATHS ENV PATH NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
  mark_as_advanced(${cache_variable})
endfunction()

# Makes sure that protobuf::libprotobuf exists. Current protobuf releases bring
# a CMake package, Debian's does not. A macro, for the module's variables: they
# are to reach _qarn_rpc_find_protoc().
macro(_qarn_rpc_find_protobuf)
  if(NOT TARGET protobuf::libprotobuf)
    if(CMAKE_CROSSCOMPILING AND NOT Protobuf_PROTOC_EXECUTABLE)
      # Ahead of the module, which would take the target system's.
      _qarn_rpc_find_on_path(Protobuf_PROTOC_EXECUTABLE protoc)
    endif()
    find_package(Protobuf CONFIG QUIET)
    if(NOT TARGET protobuf::libprotobuf)
      find_package(Protobuf MODULE QUIET)
    endif()
  endif()
  if(NOT TARGET protobuf::libprotobuf)
    _qarn_rpc_fail("protobuf's C++ library was not found. \
On Debian or Ubuntu: apt-get install libprotobuf-dev. \
Elsewhere, set CMAKE_PREFIX_PATH to where protobuf is installed.")
  endif()
endmacro()

# The folders under which protobuf's own .proto files are imported, of which the
# options schema needs one. protoc finds them by itself only when it stands
# where it was installed with them.
function(_qarn_rpc_protobuf_import_dirs result)
  set(import_dirs "")
  get_target_property(include_dirs protobuf::libprotobuf INTERFACE_INCLUDE_DIRECTORIES)
  foreach(dir IN LISTS include_dirs)
    if(EXISTS "${dir}/google/protobuf/descriptor.proto")
      list(APPEND import_dirs "${dir}")
    endif()
  endforeach()
  set(${result} "${import_dirs}" PARENT_SCOPE)
endfunction()

# Sets in the caller what runs protoc (a path or a generator expression) in
# `protoc`, and in `protoc_takes_depfile` whether it has --dependency_out.
function(_qarn_rpc_find_protoc)
  if(QARN_RPC_PROTOC_EXECUTABLE)
    set(protoc "${QARN_RPC_PROTOC_EXECUTABLE}")
    set(came_from "QARN_RPC_PROTOC_EXECUTABLE")
  elseif(TARGET protobuf::protoc AND NOT CMAKE_CROSSCOMPILING)
    get_target_property(is_imported protobuf::protoc IMPORTED)
    if(NOT is_imported)  # Built with this project, so it is a current one.
      set(protoc "$<TARGET_FILE:protobuf::protoc>" PARENT_SCOPE)
      set(protoc_takes_depfile TRUE PARENT_SCOPE)
      return()
    endif()
    get_target_property(protoc protobuf::protoc LOCATION)
    set(came_from "the target protobuf::protoc")
  elseif(Protobuf_PROTOC_EXECUTABLE)
    set(protoc "${Protobuf_PROTOC_EXECUTABLE}")
    set(came_from "Protobuf_PROTOC_EXECUTABLE")
  else()
    _qarn_rpc_find_on_path(QARN_RPC_PROTOC_ON_PATH protoc)
    set(protoc "${QARN_RPC_PROTOC_ON_PATH}")
    set(came_from "the PATH")
  endif()
  if(NOT protoc)
    _qarn_rpc_fail("protoc was not found. \
On Debian or Ubuntu: apt-get install protobuf-compiler. \
Elsewhere, set QARN_RPC_PROTOC_EXECUTABLE to its full path.")
  endif()
  _qarn_rpc_protoc_version("${protoc}" version)
  if(NOT version)
    _qarn_rpc_fail("'${protoc}', from ${came_from}, does not run as protoc on this machine. \
On Debian or Ubuntu: apt-get install protobuf-compiler. \
Elsewhere, set QARN_RPC_PROTOC_EXECUTABLE to the full path of one that runs here.")
  endif()
  set(protoc "${protoc}" PARENT_SCOPE)
  if(version VERSION_LESS 3)
    set(protoc_takes_depfile FALSE PARENT_SCOPE)
  else()
    set(protoc_takes_depfile TRUE PARENT_SCOPE)
  endif()
endfunction()

# The version that `protoc` gives itself, or nothing when it does not run. Asked
# for once in a configure step.
function(_qarn_rpc_protoc_version protoc result)
  string(MD5 key "${protoc}")
  get_property(version GLOBAL PROPERTY _qarn_rpc_protoc_version_${key})
  if(NOT version)
    execute_process(COMMAND "${protoc}" --version
      OUTPUT_VARIABLE output ERROR_QUIET RESULT_VARIABLE status)
    if(status STREQUAL "0" AND output MATCHES "libprotoc ([0-9.]+)")
      set(version "${CMAKE_MATCH_1}")
      set_property(GLOBAL PROPERTY _qarn_rpc_protoc_version_${key} "${version}")
    endif()
  endif()
  set(${result} "${version}" PARENT_SCOPE)
endfunction()

# Sets in the caller what protoc is to start (a path or a generator expression)
# in `plugin`. A cross build cannot run the plugin of its target system.
function(_qarn_rpc_find_plugin)
  if(QARN_RPC_PLUGIN_EXECUTABLE)
    if(NOT EXISTS "${QARN_RPC_PLUGIN_EXECUTABLE}")
      _qarn_rpc_fail("QARN_RPC_PLUGIN_EXECUTABLE is \
'${QARN_RPC_PLUGIN_EXECUTABLE}', which does not exist. \
Set it to the full path of protoc-gen-qarn-rpc.")
    endif()
    set(plugin "${QARN_RPC_PLUGIN_EXECUTABLE}" PARENT_SCOPE)
  elseif(NOT CMAKE_CROSSCOMPILING)
    if(NOT TARGET qarn-rpc-gen::protoc-gen-qarn-rpc)
      _qarn_rpc_fail("the target qarn-rpc-gen::protoc-gen-qarn-rpc is missing. \
Call find_package(qarn-rpc-gen REQUIRED) first, \
or set QARN_RPC_PLUGIN_EXECUTABLE to the full path of protoc-gen-qarn-rpc.")
    endif()
    set(plugin "$<TARGET_FILE:qarn-rpc-gen::protoc-gen-qarn-rpc>" PARENT_SCOPE)
  else()
    _qarn_rpc_find_on_path(QARN_RPC_PLUGIN_ON_PATH protoc-gen-qarn-rpc)
    if(NOT QARN_RPC_PLUGIN_ON_PATH)
      _qarn_rpc_fail("no protoc-gen-qarn-rpc for the machine that builds was found. \
Install one there and put it on the PATH, \
or set QARN_RPC_PLUGIN_EXECUTABLE to its full path.")
    endif()
    set(plugin "${QARN_RPC_PLUGIN_ON_PATH}" PARENT_SCOPE)
  endif()
endfunction()
