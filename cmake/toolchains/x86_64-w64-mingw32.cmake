# Builds for 64-bit Windows on Debian, with the cross compiler that has POSIX threads.
# Packages are found only below YOX_WINDOWS_DEPS, where scripts/windows-dependencies puts them.

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_VERSION 10.0)
set(CMAKE_SYSTEM_PROCESSOR AMD64)

set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

cmake_path(GET CMAKE_CURRENT_LIST_DIR PARENT_PATH yox_root)
cmake_path(GET yox_root PARENT_PATH yox_root)
set(YOX_WINDOWS_DEPS "${yox_root}/build/windows-deps" CACHE PATH "libraries built for the target")

# Compile checks run in a project of their own and read this file again.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES YOX_WINDOWS_DEPS)

set(CMAKE_FIND_ROOT_PATH "${YOX_WINDOWS_DEPS}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Programs of the target, discovered and run as tests, start through Wine.
set(CMAKE_CROSSCOMPILING_EMULATOR "${yox_root}/scripts/wine")

unset(yox_root)
