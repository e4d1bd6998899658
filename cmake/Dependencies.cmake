# Finds what the plugin is built with: protobuf (library, compiler library and
# protoc) and Boost's headers. Current protobuf releases bring a CMake package,
# Debian's does not, so CMake's own module is the second choice.

# CMake's module takes this to mean archives; a CMake package is what it is. The
# module keeps what it found, which is of the other kind once the option changes.
set(Protobuf_USE_STATIC_LIBS "${QARN_RPC_STATIC}")
if(DEFINED QARN_RPC_STATIC_BEFORE AND NOT QARN_RPC_STATIC STREQUAL QARN_RPC_STATIC_BEFORE)
  foreach(library IN ITEMS Protobuf Protobuf_LITE Protobuf_PROTOC)
    unset(${library}_LIBRARY_RELEASE CACHE)
    unset(${library}_LIBRARY_DEBUG CACHE)
  endforeach()
endif()
set(QARN_RPC_STATIC_BEFORE "${QARN_RPC_STATIC}" CACHE INTERNAL "The option at the last configuration")
find_package(Protobuf CONFIG QUIET)
if(NOT Protobuf_FOUND)
  find_package(Protobuf MODULE)
endif()
if(NOT TARGET protobuf::protoc OR NOT TARGET protobuf::libprotoc)
  message(FATAL_ERROR
    "protobuf was not found, or without its compiler library. "
    "On Debian or Ubuntu: apt-get install protobuf-compiler libprotobuf-dev libprotoc-dev. "
    "Elsewhere, set CMAKE_PREFIX_PATH to where protobuf is installed.")
endif()

find_package(Boost)
if(NOT TARGET Boost::headers)
  message(FATAL_ERROR
    "Boost's headers were not found. "
    "On Debian or Ubuntu: apt-get install libboost-dev. "
    "Elsewhere, set CMAKE_PREFIX_PATH to where Boost is installed.")
endif()
