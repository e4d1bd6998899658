# protobuf's archives, for QARN_RPC_STATIC.

# Makes sure that protobuf::libprotobuf and protobuf::libprotoc are archives, or
# fails with what to install. Debian's CMake package of current releases knows
# shared libraries only, although the archives are there: then the targets are
# led to those, and to the archives that pkg-config names for them.
function(qarn_rpc_use_protobuf_archives)
  if(NOT TARGET protobuf::libprotobuf OR NOT TARGET protobuf::libprotoc)
    _qarn_rpc_fail_without_archives("but they were not found")
  endif()
  get_target_property(is_imported protobuf::libprotobuf IMPORTED)
  if(NOT is_imported)
    get_target_property(type protobuf::libprotobuf TYPE)
    if(NOT type STREQUAL "STATIC_LIBRARY")
      message(FATAL_ERROR
        "QARN_RPC_STATIC needs protobuf's archives, but this build makes protobuf's "
        "library a shared one. Build protobuf with BUILD_SHARED_LIBS and "
        "protobuf_BUILD_SHARED_LIBS set to OFF, or set QARN_RPC_STATIC to OFF.")
    endif()
    return()
  endif()
  get_target_property(library protobuf::libprotobuf LOCATION)
  # With MinGW, .dll.a is what a shared library is linked by.
  if(library MATCHES "\\.a$" AND NOT library MATCHES "\\.dll\\.a$")
    return()
  endif()

  cmake_path(GET library PARENT_PATH folder)
  foreach(name IN ITEMS protobuf protoc upb)
    find_library(QARN_RPC_${name}_ARCHIVE lib${name}.a HINTS "${folder}")
    mark_as_advanced(QARN_RPC_${name}_ARCHIVE)
  endforeach()
  if(NOT QARN_RPC_protobuf_ARCHIVE OR NOT QARN_RPC_protoc_ARCHIVE)
    _qarn_rpc_fail_without_archives("but only ${library} was found")
  endif()
  find_package(PkgConfig QUIET)
  if(PKG_CONFIG_FOUND)
    pkg_check_modules(QARN_RPC_PROTOBUF QUIET protobuf)
  endif()
  if(NOT QARN_RPC_PROTOBUF_FOUND)
    _qarn_rpc_fail_without_archives("and pkg-config to name those that they need in turn, \
but it does not know protobuf" pkg-config)
  endif()

  # libupb is part of the compiler library since it can run more than C++, and
  # in no pkg-config file.
  set(protoc_needs protobuf::libprotobuf)
  if(QARN_RPC_upb_ARCHIVE)
    list(PREPEND protoc_needs "${QARN_RPC_upb_ARCHIVE}")
  endif()
  set(protobuf_needs "${QARN_RPC_PROTOBUF_STATIC_LDFLAGS}")
  list(REMOVE_ITEM protobuf_needs -lprotobuf)
  foreach(name IN ITEMS protobuf protoc)
    set_target_properties(protobuf::lib${name} PROPERTIES
      IMPORTED_CONFIGURATIONS ""
      IMPORTED_LOCATION "${QARN_RPC_${name}_ARCHIVE}"
      INTERFACE_COMPILE_OPTIONS "${QARN_RPC_PROTOBUF_STATIC_CFLAGS_OTHER}"
      INTERFACE_LINK_LIBRARIES "${${name}_needs}")
    set_property(TARGET protobuf::lib${name} APPEND PROPERTY
      INTERFACE_INCLUDE_DIRECTORIES ${QARN_RPC_PROTOBUF_STATIC_INCLUDE_DIRS})
  endforeach()
endfunction()

# `what` ends the sentence, and `ARGN` names further packages.
function(_qarn_rpc_fail_without_archives what)
  list(JOIN ARGN " " more)
  string(STRIP "protobuf-compiler libprotobuf-dev libprotoc-dev ${more}" packages)
  message(FATAL_ERROR
    "QARN_RPC_STATIC needs protobuf's archives (libprotobuf.a, libprotoc.a), ${what}. "
    "On Debian or Ubuntu: apt-get install ${packages}. "
    "Elsewhere, set CMAKE_PREFIX_PATH to where protobuf is installed, "
    "or set QARN_RPC_STATIC to OFF to build with shared libraries.")
endfunction()
