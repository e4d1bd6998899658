# The static link of the plugin, with QARN_RPC_STATIC. A build starts the plugin
# once for each .proto file, so what the loader does at every start counts: a
# dynamic start takes more than twice as long. The plugin opens no sockets, asks
# for no users and switches no locale, so the C library can be in it too.
#
# For Windows it means that the plugin needs no library but those that each
# Windows has.

if(QARN_RPC_STATIC AND NOT CMAKE_SYSTEM_NAME STREQUAL "Linux" AND NOT MINGW)
  message(FATAL_ERROR
    "QARN_RPC_STATIC is for Linux, and for Windows with MinGW. "
    "Set it to OFF to build with shared libraries.")
endif()

# Not for another system: lld does not link for all of them, and the list below
# was made on x86_64.
if(NOT CMAKE_CROSSCOMPILING)
  find_program(QARN_RPC_LLD ld.lld DOC "LLVM's linker, which the static link uses if it is installed")
endif()

# Makes the executable `program` a static one; does nothing without
# QARN_RPC_STATIC. `ARGN` names the libraries of ours that it is made of.
function(qarn_rpc_link_statically program)
  if(NOT QARN_RPC_STATIC)
    return()
  endif()
  foreach(target IN ITEMS ${program} ${ARGN})
    target_compile_options(${target} PRIVATE
      # Each function and object in a section of its own, for --gc-sections.
      -ffunction-sections
      -fdata-sections
      # Hardening whose cost is too small to be measured.
      -fstack-protector-strong
      # Fortify needs an optimised build.
      "$<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
  endforeach()
  target_link_options(${program} PRIVATE
    # Not -static-pie: its relocations touch every page of the read-only data
    # that holds a pointer, at each start, which costs about 4 % of it. Packing the
    # relocations (--pack-dyn-relocs=relr) makes the file smaller, but as many
    # pages are touched. The program reads one request, from protoc.
    -static
    # Drops what nothing calls, a sixth of the file.
    -Wl,--gc-sections)
  if(MINGW)
    target_link_options(${program} PRIVATE
      # With MinGW what it calls is in a library of its own, which this links.
      -fstack-protector-strong
      # The time of the link would make each build another file.
      -Wl,--no-insert-timestamp)
    return()
  endif()
  target_link_options(${program} PRIVATE
    # One segment for code and constants instead of three: fewer page faults.
    # It makes constants executable, which adds nothing of use to an attacker
    # beside 2 MB of code.
    -Wl,-z,noseparate-code
    # The tables of function pointers are read-only once the program runs.
    # It costs under 1 % of a start.
    -Wl,-z,relro
    -Wl,-z,now)
  if(QARN_RPC_LLD)
    # The functions that a start runs come first, side by side: fewer page
    # faults, 6 % of a start. Only lld orders functions by a list; without it the
    # program is the same but for this. bench/make_startup_order.sh writes the
    # list; lld skips the comments in it.
    set(order "${PROJECT_SOURCE_DIR}/bench/startup_order.txt")
    target_link_options(${program} PRIVATE
      -fuse-ld=lld
      # What -z noseparate-code is to GNU ld.
      -Wl,--no-rosegment
      "-Wl,--symbol-ordering-file=${order}"
      -Wl,--no-warn-symbol-ordering)
    set_property(TARGET ${program} APPEND PROPERTY LINK_DEPENDS "${order}")
  endif()
endfunction()
