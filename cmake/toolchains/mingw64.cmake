# 64-bit Windows programs from Debian: g++-mingw-w64-x86-64-posix builds them, Wine runs them.
# QUILLO_WINDOWS_PREFIX, a variable of CMake or of the environment, names the folder of libraries built for Windows
# (tools/windows/build-deps.sh makes it); what needs none leaves it out.
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

# Programs and libraries that need no file of the compiler beside them: libgcc, libstdc++ and winpthread are linked
# into each, and no library hands them on to others; so is OpenMP, which CMake would otherwise find as a DLL.
set(CMAKE_EXE_LINKER_FLAGS_INIT "-static")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "-static -Wl,--exclude-libs,ALL")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "-static -Wl,--exclude-libs,ALL")
file(GLOB openmp "/usr/lib/gcc/${triple}/*-posix/libgomp.a")
set(OpenMP_gomp_LIBRARY "${openmp}" CACHE FILEPATH "OpenMP's run-time library")

# Qt's own tools (moc, rcc) are this machine's, of the same version.
set(QT_HOST_PATH /usr CACHE PATH "Where this machine's own Qt is")
file(GLOB qt_host_packages "/usr/lib/*/cmake/Qt6HostInfo")
cmake_path(GET qt_host_packages PARENT_PATH qt_host_packages)
set(QT_HOST_PATH_CMAKE_DIR "${qt_host_packages}" CACHE PATH "The packages of that Qt")

set(CMAKE_CROSSCOMPILING_EMULATOR "${CMAKE_CURRENT_LIST_DIR}/../../tools/windows/run-in-wine.sh")
