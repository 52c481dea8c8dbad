# 64-bit Windows from Linux, with the mingw-w64 compiler that uses POSIX threads.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)
# What is cross-built (ORVANE_WINDOWS_LIBRARIES) lies beside the compiler's own libraries; nothing
# of this machine's is used but programs.
set(CMAKE_FIND_ROOT_PATH ${ORVANE_WINDOWS_LIBRARIES} /usr/x86_64-w64-mingw32)
set(CMAKE_TRY_COMPILE_PLATFORM_VARIABLES ORVANE_WINDOWS_LIBRARIES)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_CROSSCOMPILING_EMULATOR ${CMAKE_CURRENT_LIST_DIR}/../scripts/windows/wine)
