# Finds what qarn_rpc_generate() and this project's own build run: protobuf's
# library, protoc and the plugin; and checks that protoc and library fit.

include_guard(GLOBAL)
cmake_policy(VERSION 3.20...3.31)

# Ends the configure step with a text that says what is wrong and what to do.
function(_qarn_rpc_fail text)
  message(FATAL_ERROR "qarn-rpc-gen: ${text}")
endfunction()

# Says `text` at the first call of a configure step, and nothing at later ones.
# `kind` is STATUS or WARNING.
function(_qarn_rpc_say_once kind text)
  string(MD5 key "${text}")
  get_property(said GLOBAL PROPERTY _qarn_rpc_said_${key})
  if(NOT said)
    message(${kind} "qarn-rpc-gen: ${text}")
    set_property(GLOBAL PROPERTY _qarn_rpc_said_${key} TRUE)
  endif()
endfunction()

# Finds the first of `names` on the host's PATH, also when everything else is
# looked up in the target's system.
function(_qarn_rpc_find_on_path cache_variable names)
  find_program(${cache_variable} NAMES ${names}
    PATHS ENV PATH NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
  mark_as_advanced(${cache_variable})
endfunction()

# Makes sure that protobuf::libprotobuf exists. What the project has comes
# first, since it may build protobuf itself. Current protobuf releases bring a
# CMake package, Debian's 3.21 does not.
function(_qarn_rpc_find_protobuf)
  if(TARGET protobuf::libprotobuf)
    return()
  endif()
  if(CMAKE_CROSSCOMPILING AND NOT Protobuf_PROTOC_EXECUTABLE)
    # Ahead of the module, which would take the target system's.
    _qarn_rpc_find_on_path(Protobuf_PROTOC_EXECUTABLE protoc)
  endif()
  # What one folder finds serves the other folders too: looking for it takes
  # longer than all else that a call does. Known from CMake 3.24 on.
  set(CMAKE_FIND_PACKAGE_TARGETS_GLOBAL TRUE)
  find_package(Protobuf CONFIG QUIET)
  if(NOT TARGET protobuf::libprotobuf)
    find_package(Protobuf MODULE QUIET)
  endif()
  if(NOT TARGET protobuf::libprotobuf)
    _qarn_rpc_fail("protobuf's C++ library was not found. \
On Debian or Ubuntu: apt-get install libprotobuf-dev. \
Elsewhere, set CMAKE_PREFIX_PATH to where protobuf is installed.")
  endif()
endfunction()

# Sets `result` to the include folders of Boost, which RPC code includes: those of
# the project's Boost::headers, or where it is installed. Leaves it alone where the
# compiler looks anyway, or where Boost is not found. Folders and no library, since a library
# would have to be found again by those who use an exported target.
function(_qarn_rpc_find_boost result)
  if(NOT TARGET Boost::headers AND NOT QARN_RPC_BOOST_INCLUDE_DIR)
    find_path(QARN_RPC_BOOST_INCLUDE_DIR boost/version.hpp
      HINTS "${Boost_INCLUDE_DIR}" "${Boost_ROOT}" ENV Boost_ROOT "${BOOST_ROOT}" ENV BOOST_ROOT
      PATH_SUFFIXES include)
    mark_as_advanced(QARN_RPC_BOOST_INCLUDE_DIR)
  endif()
  set(dirs "${QARN_RPC_BOOST_INCLUDE_DIR}")
  if(TARGET Boost::headers)
    get_target_property(dirs Boost::headers INTERFACE_INCLUDE_DIRECTORIES)
  endif()
  if(dirs AND NOT dirs IN_LIST CMAKE_CXX_IMPLICIT_INCLUDE_DIRECTORIES)
    set(${result} "${dirs}" PARENT_SCOPE)
  endif()
endfunction()

# Sets `include_result` to the include folders of protobuf's library, and
# `import_result` to those of them under which protobuf's own .proto files are
# imported, of which the options schema needs one: protoc finds them by itself
# only when it stands where it was installed with them.
#
# A library that is built in the same project names its folders inside
# $<BUILD_INTERFACE:...>; a distribution's CMake package may leave out a folder in
# which compilers look anyway.
function(_qarn_rpc_protobuf_dirs include_result import_result)
  get_target_property(dirs protobuf::libprotobuf INTERFACE_INCLUDE_DIRECTORIES)
  set(include_dirs "")
  if(dirs)
    string(REGEX REPLACE "\\$<BUILD_INTERFACE:([^>]*)>" "\\1" dirs "${dirs}")
    string(GENEX_STRIP "${dirs}" include_dirs)
  endif()
  set(import_dirs "")
  foreach(dir IN LISTS include_dirs)
    if(EXISTS "${dir}/google/protobuf/descriptor.proto")
      list(APPEND import_dirs "${dir}")
    endif()
  endforeach()
  if(NOT import_dirs)
    find_path(QARN_RPC_PROTOBUF_INCLUDE_DIR google/protobuf/descriptor.proto)
    mark_as_advanced(QARN_RPC_PROTOBUF_INCLUDE_DIR)
    if(QARN_RPC_PROTOBUF_INCLUDE_DIR)
      list(APPEND include_dirs "${QARN_RPC_PROTOBUF_INCLUDE_DIR}")
      list(APPEND import_dirs "${QARN_RPC_PROTOBUF_INCLUDE_DIR}")
    endif()
  endif()
  set(${include_result} "${include_dirs}" PARENT_SCOPE)
  set(${import_result} "${import_dirs}" PARENT_SCOPE)
endfunction()

# What runs protoc (a path or a generator expression) in `result`, and its
# version in `version_result`: empty for one that this build makes, which is a
# current one. It must fit the library with the headers in `include_dirs`.
function(_qarn_rpc_find_protoc include_dirs result version_result)
  if(QARN_RPC_PROTOC_EXECUTABLE)
    set(protoc "${QARN_RPC_PROTOC_EXECUTABLE}")
    set(came_from "QARN_RPC_PROTOC_EXECUTABLE")
  elseif(TARGET protobuf::protoc AND NOT CMAKE_CROSSCOMPILING)
    get_target_property(is_imported protobuf::protoc IMPORTED)
    if(NOT is_imported)
      set(${result} "$<TARGET_FILE:protobuf::protoc>" PARENT_SCOPE)
      set(${version_result} "" PARENT_SCOPE)
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
  # Asked for and compared once in a configure step.
  set(property "_qarn_rpc_version_of ${protoc} with ${include_dirs}")
  get_property(version GLOBAL PROPERTY "${property}")
  if(NOT version)
    _qarn_rpc_ask_version("${protoc}" "${came_from}" version)
    _qarn_rpc_check_skew("${protoc}" "${came_from}" "${version}" "${include_dirs}")
    set_property(GLOBAL PROPERTY "${property}" "${version}")
  endif()
  set(${result} "${protoc}" PARENT_SCOPE)
  set(${version_result} "${version}" PARENT_SCOPE)
endfunction()

# Sets `result` to the version that `protoc` gives itself, which must run here.
function(_qarn_rpc_ask_version protoc came_from result)
  execute_process(COMMAND "${protoc}" --version
    OUTPUT_VARIABLE output ERROR_QUIET RESULT_VARIABLE status)
  if(status STREQUAL "0" AND output MATCHES "libprotoc ([0-9.]+)")
    set(${result} "${CMAKE_MATCH_1}" PARENT_SCOPE)
    return()
  endif()
  if(CMAKE_CROSSCOMPILING)
    _qarn_rpc_fail("'${protoc}', from ${came_from}, does not run as protoc on this machine. \
Is it the target system's? \
Set QARN_RPC_PROTOC_EXECUTABLE to the full path of one for the machine that builds, \
of the same release as the target system's protobuf.")
  endif()
  _qarn_rpc_fail("'${protoc}', from ${came_from}, does not run as protoc on this machine. \
On Debian or Ubuntu: apt-get install protobuf-compiler. \
Elsewhere, set QARN_RPC_PROTOC_EXECUTABLE to the full path of one that runs here.")
endfunction()

# The release of the library whose headers are in one of `include_dirs`, as its
# protoc writes it: 3.21.12 for library 3.21.12, and 36.2 for library 7.36.2,
# since from 22 on protoc leaves the first number out. Empty without headers.
# `header_result` is the header that says so.
function(_qarn_rpc_library_release include_dirs result header_result)
  set(release "")
  set(header "")
  foreach(dir IN LISTS include_dirs)
    set(header "${dir}/google/protobuf/stubs/common.h")
    if(EXISTS "${header}")
      file(STRINGS "${header}" line LIMIT_COUNT 1
        REGEX "^#define GOOGLE_PROTOBUF_VERSION [0-9]+")
      if(line MATCHES "VERSION ([0-9]+)([0-9][0-9][0-9])([0-9][0-9][0-9])")
        # As numbers, without leading zeros.
        math(EXPR minor "1${CMAKE_MATCH_2} - 1000")
        math(EXPR patch "1${CMAKE_MATCH_3} - 1000")
        set(release "${minor}.${patch}")
        if(CMAKE_MATCH_1 LESS 4)
          string(PREPEND release "${CMAKE_MATCH_1}.")
        endif()
        break()
      endif()
    endif()
  endforeach()
  set(${result} "${release}" PARENT_SCOPE)
  set(${header_result} "${header}" PARENT_SCOPE)
endfunction()

# Warns when protoc and the library with the headers in `include_dirs` are of
# different releases, and fails when the code of that protoc cannot be compiled
# with that library.
function(_qarn_rpc_check_skew protoc came_from version include_dirs)
  _qarn_rpc_library_release("${include_dirs}" release header)
  if(NOT release OR release VERSION_EQUAL version)
    return()
  endif()
  # Generated code asks for its own release: up to 3.21 for the first two
  # numbers, today, in a header of its own, for all of them.
  string(REGEX MATCH "^3\\.[0-9]+|^[0-9]+" release_series "${release}")
  string(REGEX MATCH "^3\\.[0-9]+|^[0-9]+" version_series "${version}")
  cmake_path(REPLACE_FILENAME header "../runtime_version.h" OUTPUT_VARIABLE exact_header)
  set(what "protoc is of release ${version} ('${protoc}', from ${came_from}), \
but protobuf's library of release ${release} ('${header}').")
  set(remedy "Install both of one release, or set QARN_RPC_PROTOC_EXECUTABLE \
to the full path of a protoc ${release} that runs on this machine.")
  if(NOT release_series STREQUAL version_series OR EXISTS "${exact_header}")
    _qarn_rpc_fail("${what} The library refuses to compile what this protoc writes. ${remedy}")
  endif()
  _qarn_rpc_say_once(WARNING "${what} ${remedy}")
endfunction()

# What protoc is to start (a path or a generator expression). The program that
# takes .proto files of any syntax comes first; it is missing where protobuf is
# older than 3.12. A cross build cannot run the plugin of its target system.
function(_qarn_rpc_find_plugin result)
  set(found "")
  if(QARN_RPC_PLUGIN_EXECUTABLE)
    if(NOT EXISTS "${QARN_RPC_PLUGIN_EXECUTABLE}")
      _qarn_rpc_fail("QARN_RPC_PLUGIN_EXECUTABLE is \
'${QARN_RPC_PLUGIN_EXECUTABLE}', which does not exist. \
Set it to the full path of protoc-gen-qarn-rpc-any.")
    endif()
    set(plugin "${QARN_RPC_PLUGIN_EXECUTABLE}")
  elseif(NOT CMAKE_CROSSCOMPILING)
    if(TARGET qarn-rpc-gen::protoc-gen-qarn-rpc-any)
      set(found protoc-gen-qarn-rpc-any)
    elseif(TARGET qarn-rpc-gen::protoc-gen-qarn-rpc)
      set(found protoc-gen-qarn-rpc)
    endif()
    set(plugin "$<TARGET_FILE:qarn-rpc-gen::${found}>")
    if(NOT found)
      _qarn_rpc_fail("the target qarn-rpc-gen::protoc-gen-qarn-rpc-any is missing. \
Call find_package(qarn-rpc-gen REQUIRED) first, \
or set QARN_RPC_PLUGIN_EXECUTABLE to the full path of protoc-gen-qarn-rpc-any.")
    endif()
  else()
    _qarn_rpc_find_on_path(QARN_RPC_PLUGIN_ON_PATH
      "protoc-gen-qarn-rpc-any;protoc-gen-qarn-rpc")
    if(NOT QARN_RPC_PLUGIN_ON_PATH)
      _qarn_rpc_fail("no protoc-gen-qarn-rpc-any for the machine that builds was found. \
Install one there and put it on the PATH, \
or set QARN_RPC_PLUGIN_EXECUTABLE to its full path.")
    endif()
    set(plugin "${QARN_RPC_PLUGIN_ON_PATH}")
    cmake_path(GET plugin STEM LAST_ONLY found)
  endif()
  if(found STREQUAL "protoc-gen-qarn-rpc")
    _qarn_rpc_say_once(STATUS "there is no protoc-gen-qarn-rpc-any, so protoc-gen-qarn-rpc is \
used, which protoc refuses to run on files with proto3 optional or an edition")
  endif()
  set(${result} "${plugin}" PARENT_SCOPE)
endfunction()

# Sets `result` to the linter that protoc is to start (a path or a generator
# expression). It is looked for as the plugin is.
function(_qarn_rpc_find_linter result)
  if(QARN_RPC_LINT_EXECUTABLE)
    if(NOT EXISTS "${QARN_RPC_LINT_EXECUTABLE}")
      _qarn_rpc_fail("QARN_RPC_LINT_EXECUTABLE is \
'${QARN_RPC_LINT_EXECUTABLE}', which does not exist. \
Set it to the full path of protoc-gen-qarn-rpc-lint.")
    endif()
    set(linter "${QARN_RPC_LINT_EXECUTABLE}")
  elseif(NOT CMAKE_CROSSCOMPILING)
    if(NOT TARGET qarn-rpc-gen::protoc-gen-qarn-rpc-lint)
      _qarn_rpc_fail("LINT or QARN_RPC_LINT is on, \
but the target qarn-rpc-gen::protoc-gen-qarn-rpc-lint is missing. \
Call find_package(qarn-rpc-gen REQUIRED) first, \
with a qarn-rpc-gen that was built with protobuf 3.12 or newer, \
or set QARN_RPC_LINT_EXECUTABLE to the full path of protoc-gen-qarn-rpc-lint.")
    endif()
    set(linter "$<TARGET_FILE:qarn-rpc-gen::protoc-gen-qarn-rpc-lint>")
  else()
    _qarn_rpc_find_on_path(QARN_RPC_LINT_ON_PATH protoc-gen-qarn-rpc-lint)
    if(NOT QARN_RPC_LINT_ON_PATH)
      _qarn_rpc_fail("LINT or QARN_RPC_LINT is on, \
but no protoc-gen-qarn-rpc-lint for the machine that builds was found. \
Install one there and put it on the PATH, \
or set QARN_RPC_LINT_EXECUTABLE to its full path.")
    endif()
    set(linter "${QARN_RPC_LINT_ON_PATH}")
  endif()
  set(${result} "${linter}" PARENT_SCOPE)
endfunction()

# Sets `result` to what the linter must know: the namespace, and the C++ standard
# of `target`, which target_compile_features() sets too, or of the compiler where
# there is none. It knows none after 20.
function(_qarn_rpc_lint_parameters target services_namespace result)
  set(standard "")
  if(target)
    get_target_property(standard "${target}" CXX_STANDARD)
  endif()
  if(NOT standard)
    set(standard "${CMAKE_CXX_STANDARD_DEFAULT}")
  endif()
  set(parameters "")
  if(standard MATCHES "^(11|14|17)$")
    set(parameters "standard=${standard}")
  elseif(standard MATCHES "^2")
    set(parameters "standard=20")
  endif()
  if(services_namespace)
    list(APPEND parameters "services_namespace=${services_namespace}")
  endif()
  set(${result} "${parameters}" PARENT_SCOPE)
endfunction()
