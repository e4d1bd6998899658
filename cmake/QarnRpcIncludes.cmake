# Run by the build, with DIR: writes DIR/includes.new, the includes of the
# generated headers DIR/probe.pb.h and DIR/probe.rpc.h, and DIR/includes.h, which
# is left alone when nothing changes, since compilers read it.

cmake_policy(VERSION 3.20...3.31)
set(text "")
foreach(header IN ITEMS probe.pb.h probe.rpc.h)
  file(STRINGS "${DIR}/${header}" lines REGEX "^#include ")
  foreach(line IN LISTS lines)
    # port_def.inc defines macros for the rest of its header, and port_undef.inc
    # takes them back.
    if(NOT line MATCHES "port_(un)?def\\.inc|probe\\.pb\\.h")
      string(APPEND text "${line}\n")
    endif()
  endforeach()
endforeach()
file(WRITE "${DIR}/includes.new" "${text}")
execute_process(COMMAND "${CMAKE_COMMAND}" -E copy_if_different
  "${DIR}/includes.new" "${DIR}/includes.h" COMMAND_ERROR_IS_FATAL ANY)
