# CMake's toolchain file for Windows on x86_64, with Debian's mingw-w64 and what
# scripts/release/windows_protobuf.sh installs.

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
# protobuf needs the threads of the C++ library, which is what "posix" gives it.
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
# Libraries and headers of this system are of no use; its programs are.
set(CMAKE_FIND_ROOT_PATH /usr/lib/protobuf-mingw-w64 /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
