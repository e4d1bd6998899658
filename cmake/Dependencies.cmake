# Finds what the plugin is built with: protobuf (library, compiler library and
# protoc) and Boost's headers. What the project has already comes first, since a
# project may build protobuf itself. Current protobuf releases bring a CMake
# package, Debian's 3.21 does not, so CMake's own module is the second choice.
#
# Sets QARN_RPC_PROTOC, what runs protoc (a path or a generator expression), and
# QARN_RPC_PROTOBUF_IMPORT_DIRS, the folders of protobuf's own .proto files.

include("${CMAKE_CURRENT_LIST_DIR}/QarnRpcTools.cmake")
include("${CMAKE_CURRENT_LIST_DIR}/ProtobufArchives.cmake")

if(NOT TARGET protobuf::libprotobuf)
  # CMake's module takes this to mean archives; a CMake package is what it is.
  # The module keeps what it found, which is of the other kind once the option
  # changes.
  set(Protobuf_USE_STATIC_LIBS "${QARN_RPC_STATIC}")
  if(DEFINED QARN_RPC_STATIC_BEFORE AND NOT QARN_RPC_STATIC STREQUAL QARN_RPC_STATIC_BEFORE)
    foreach(library IN ITEMS Protobuf Protobuf_LITE Protobuf_PROTOC)
      unset(${library}_LIBRARY_RELEASE CACHE)
      unset(${library}_LIBRARY_DEBUG CACHE)
    endforeach()
  endif()
  set(QARN_RPC_STATIC_BEFORE "${QARN_RPC_STATIC}" CACHE INTERNAL
    "The option at the last configuration")
  find_package(Protobuf CONFIG QUIET)
  if(NOT Protobuf_FOUND)
    find_package(Protobuf MODULE)
  endif()
endif()
if(QARN_RPC_STATIC)
  qarn_rpc_use_protobuf_archives()
endif()
if(NOT TARGET protobuf::libprotobuf OR NOT TARGET protobuf::libprotoc)
  message(FATAL_ERROR
    "protobuf was not found, or without its compiler library. "
    "On Debian or Ubuntu: apt-get install protobuf-compiler libprotobuf-dev libprotoc-dev. "
    "Elsewhere, set CMAKE_PREFIX_PATH to where protobuf is installed.")
endif()
_qarn_rpc_protobuf_dirs(include_dirs QARN_RPC_PROTOBUF_IMPORT_DIRS)
_qarn_rpc_find_protoc("${include_dirs}" QARN_RPC_PROTOC version)

# Not through CMake's module, which is gone from CMake 3.30 on, nor through
# Boost's package alone, which older installations lack: headers are all.
if(NOT TARGET Boost::headers AND NOT Boost_INCLUDE_DIR)
  find_package(Boost CONFIG QUIET)
endif()
if(NOT TARGET Boost::headers)
  find_path(Boost_INCLUDE_DIR boost/version.hpp HINTS "${BOOST_ROOT}" ENV BOOST_ROOT
    PATH_SUFFIXES include DOC "The folder with Boost's headers")
  if(NOT Boost_INCLUDE_DIR)
    message(FATAL_ERROR
      "Boost's headers were not found. "
      "On Debian or Ubuntu: apt-get install libboost-dev. "
      "Elsewhere, set CMAKE_PREFIX_PATH to where Boost is installed.")
  endif()
  add_library(Boost::headers INTERFACE IMPORTED)
  set_target_properties(Boost::headers PROPERTIES
    INTERFACE_INCLUDE_DIRECTORIES "${Boost_INCLUDE_DIR}")
endif()
