# 64-bit Windows programs from Debian: g++-mingw-w64-x86-64-posix builds them, Wine runs them.
# QUILLO_WINDOWS_PREFIX, a variable of CMake or of the environment, names the folder of libraries built for Windows;
# what needs none leaves it out.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_VERSION 10.0)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(triple x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${triple}-gcc-posix)
set(CMAKE_CXX_COMPILER ${triple}-g++-posix)
set(CMAKE_RC_COMPILER ${triple}-windres)

if(NOT QUILLO_WINDOWS_PREFIX)
    set(QUILLO_WINDOWS_PREFIX "$ENV{QUILLO_WINDOWS_PREFIX}")
endif()
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES QUILLO_WINDOWS_PREFIX)

# Programs come from this machine; headers, libraries and packages only from the folders for Windows.
set(CMAKE_FIND_ROOT_PATH ${QUILLO_WINDOWS_PREFIX} /usr/${triple})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# A program that needs no file of the compiler beside it: libgcc, libstdc++ and winpthread are linked into it.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")

set(CMAKE_CROSSCOMPILING_EMULATOR wine)
