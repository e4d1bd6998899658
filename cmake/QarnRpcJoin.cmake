# Run by the build, with UNIT: writes the source file UNIT, which includes the
# RPC files that UNIT.in lists by their names without .rpc.cpp. Macros of one
# file could change the next, or be its macros of the same name, so each file's
# are undefined after it.

cmake_policy(VERSION 3.20...3.31)
file(READ "${UNIT}.in" bases)
set(text "")
foreach(base IN LISTS bases)
  string(APPEND text "#include \"${base}.rpc.cpp\"\n")
  file(READ "${base}.rpc.h" header)
  string(REGEX MATCHALL "\n#define [A-Za-z0-9_]+" macros "${header}")
  list(TRANSFORM macros REPLACE "\n#define (.*)" "#undef \\1\n")
  string(APPEND text ${macros})
endforeach()
file(WRITE "${UNIT}" "${text}")
