# Run by the build, with UNIT, APART and SERVICES_NAMESPACE: writes the source files
# UNIT, which includes the RPC files that UNIT.in lists by their names without
# .rpc.cpp, and APART, which includes those of them that cannot follow the others.
#
# What clashes is known only now: it depends on all names in the files. Macros never
# clash, since each file's are undefined after it.

cmake_policy(VERSION 3.20...3.31)

# Sets `result` to whether a file joins those of the variables that begin with
# `unit`, and if so adds it to them: `namespace` is that of its services, `declared`
# are the names that it declares there, and `used` the messages that it uses, all
# from the global namespace on.
function(add_to unit namespace declared used result)
  set(${result} FALSE PARENT_SCOPE)
  # Two declarations of one name, or of the name of a message or a namespace.
  set(outer "${namespace}")
  while(outer)
    list(APPEND used "${outer}")
    string(REGEX REPLACE "(^|::)[A-Za-z0-9_]+$" "" outer "${outer}")
  endwhile()
  list(APPEND declared ${${unit}_declared})
  list(APPEND used ${${unit}_used})
  list(REMOVE_DUPLICATES used)
  set(all ${declared} ${used})
  list(LENGTH all count)
  list(REMOVE_DUPLICATES all)
  list(LENGTH all different_count)
  if(different_count LESS count)
    return()
  endif()
  foreach(other IN LISTS ${unit}_namespaces)
    # The names of a package p.api are seen in the services namespace api of p.
    if(SERVICES_NAMESPACE AND (other STREQUAL "${namespace}::${SERVICES_NAMESPACE}"
                               OR namespace STREQUAL "${other}::${SERVICES_NAMESPACE}"))
      return()
    endif()
    # After p::std, std is that in all of p.
    if(other MATCHES "^(.+)::(boost|std)(::|$)")
      if("${namespace}::" MATCHES "^${CMAKE_MATCH_1}::")
        return()
      endif()
    endif()
  endforeach()
  set(${unit}_declared "${declared}" PARENT_SCOPE)
  set(${unit}_used "${used}" PARENT_SCOPE)
  set(${unit}_namespaces ${${unit}_namespaces} "${namespace}" PARENT_SCOPE)
  set(${result} TRUE PARENT_SCOPE)
endfunction()

file(READ "${UNIT}.in" bases)
set(UNIT_text "")
set(APART_text "// The files of the unit that cannot be joined with the others.\n")
foreach(base IN LISTS bases)
  file(READ "${base}.rpc.h" header)
  # Not the runtime's.
  string(REPLACE "namespace qarn { namespace rpc {" "" namespace "${header}")
  string(REGEX MATCHALL "\nnamespace [A-Za-z0-9_:]+ {" namespace "${namespace}")
  list(TRANSFORM namespace REPLACE "\nnamespace (.*) {" "\\1")
  list(JOIN namespace "::" namespace)
  set(declared "")
  string(REGEX MATCHALL "\n(enum [A-Za-z0-9_]+Method {|  [A-Za-z0-9_]+,)" lines "${header}")
  foreach(line IN LISTS lines)
    if(line MATCHES "enum (.*)Method")
      list(APPEND declared "${CMAKE_MATCH_1}" "${CMAKE_MATCH_1}Method" "${CMAKE_MATCH_1}Methods")
    else()
      string(REGEX MATCH "[A-Za-z0-9_]+" name "${line}")
      list(APPEND declared "${name}")
    endif()
  endforeach()
  list(TRANSFORM declared PREPEND "${namespace}::")
  list(TRANSFORM declared REPLACE "^::" "")
  string(REGEX MATCHALL "\n  typedef ::[A-Za-z0-9_:]+ (request|response)" used "${header}")
  list(TRANSFORM used REPLACE "\n  typedef ::(.*) .*" "\\1")
  set(unit UNIT)
  add_to(UNIT "${namespace}" "${declared}" "${used}" is_added)
  if(NOT is_added)
    set(unit APART)
    add_to(APART "${namespace}" "${declared}" "${used}" is_added)
  endif()
  if(NOT is_added)
    message(FATAL_ERROR "qarn-rpc-gen: '${base}.rpc.cpp' can be joined neither with the RPC files \
of its unit nor with those that cannot be joined with them either. \
Give its .proto file the source property SKIP_UNITY_BUILD_INCLUSION.")
  endif()
  string(APPEND ${unit}_text "#include \"${base}.rpc.cpp\"\n")
  string(REGEX MATCHALL "\n#define [A-Za-z0-9_]+" macros "${header}")
  list(TRANSFORM macros REPLACE "\n#define (.*)" "#undef \\1\n")
  string(APPEND ${unit}_text ${macros})
endforeach()
file(WRITE "${UNIT}" "${UNIT_text}")
file(WRITE "${APART}" "${APART_text}")
