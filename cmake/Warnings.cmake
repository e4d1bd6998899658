# The target that our own code links to be compiled with warnings on.

add_library(qarn_rpc_warnings INTERFACE)
target_compile_options(qarn_rpc_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow
  $<$<BOOL:${QARN_RPC_WARNINGS_AS_ERRORS}>:-Werror>)
