# How everything in this tree is compiled. Only what the compiler must know of the language reaches a
# project that builds this one as a folder: its build type, warnings and install rules are its own.

if(PROJECT_IS_TOP_LEVEL AND NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "" FORCE)
endif()

set(CMAKE_EXPORT_COMPILE_COMMANDS ${PROJECT_IS_TOP_LEVEL})
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_EXTENSIONS OFF)

# Sanitizers as a list: "address;undefined", "thread", "fuzzer-no-link;address".
set(YOX_SANITIZE "" CACHE STRING "Sanitizers to compile and link with")

add_library(yox_build INTERFACE)
target_compile_features(yox_build INTERFACE cxx_std_20)

# yox_precompile(TARGET [HEADERS...]): precompiles the headers and those of the standard library for all sources of
# the target. yox_precompile(TARGET AS OTHER): takes what was made for a target that is compiled alike.
function(yox_precompile target)
  if(NOT YOX_PRECOMPILE)
    return()
  endif()
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND NOT CMAKE_BUILD_TYPE STREQUAL "Debug" AND NOT target MATCHES "tests")
    # Once it optimises, GCC warns of system headers that were precompiled as of the program's own.
    return()
  endif()
  if(ARGV1 STREQUAL "AS")
    target_precompile_headers(${target} REUSE_FROM ${ARGV2})
  else()
    target_precompile_headers(${target} PRIVATE <algorithm> <array> <atomic> <chrono> <filesystem> <functional> <map>
                              <memory> <optional> <set> <span> <string> <string_view> <thread> <utility> <vector>
                              ${ARGN})
  endif()
  # Compiler caches would otherwise see another header in each build.
  target_compile_options(${target} PRIVATE $<IF:$<CXX_COMPILER_ID:Clang>,SHELL:-Xclang -fno-pch-timestamp,-fpch-preprocess>)
endfunction()

if(NOT PROJECT_IS_TOP_LEVEL)
  return()
endif()

# The preset release does without, so that every source includes what it uses.
option(YOX_PRECOMPILE "Precompile the headers that most sources include" OFF)

# Halves what compiling the tests costs. The presets with sanitizers do without, so that every test includes what it
# uses.
option(YOX_BATCH_TESTS "Compile the tests of a component as one source" OFF)

# yox_batch(VARIABLE NAME SOURCES...): sets the variable to one source, NAME.cpp, that includes the others; without
# YOX_BATCH_TESTS to the sources themselves.
#
# What is in a batch shares its anonymous namespaces: a name that is at the top of one test can be in no other of its
# component. It includes paths that begin at the checkout, so that compiler caches find it wherever the checkout is.
function(yox_batch variable name)
  if(NOT YOX_BATCH_TESTS)
    set(${variable} ${ARGN} PARENT_SCOPE)
    return()
  endif()
  set(content "")
  foreach(source IN LISTS ARGN)
    cmake_path(ABSOLUTE_PATH source)
    cmake_path(RELATIVE_PATH source BASE_DIRECTORY ${PROJECT_SOURCE_DIR})
    string(APPEND content "#include \"${source}\"\n")
  endforeach()
  set(batch ${CMAKE_CURRENT_BINARY_DIR}/batches/${name}.cpp)
  file(CONFIGURE OUTPUT ${batch} CONTENT "${content}")
  if(NOT MSVC)
    # A local name of one test may be a global one of another.
    set_source_files_properties(${batch} PROPERTIES COMPILE_OPTIONS -Wno-shadow)
  endif()
  set(${variable} ${batch} PARENT_SCOPE)
endfunction()

find_program(YOX_CCACHE ccache)
if(YOX_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  # What a source includes is known from the compiler's list of dependencies: nothing is preprocessed twice.
  set(CMAKE_CXX_COMPILER_LAUNCHER
      ${CMAKE_COMMAND} -E env CCACHE_BASEDIR=${PROJECT_SOURCE_DIR} CCACHE_NOHASHDIR=1 CCACHE_DEPEND=1
      CCACHE_SLOPPINESS=pch_defines,time_macros ${YOX_CCACHE})
endif()

if(MSVC)
  target_compile_options(yox_build INTERFACE /W4 /permissive- /utf-8 /Zc:__cplusplus
                                          /wd4251 /wd4275) # exported classes hold private std types
else()
  target_compile_options(
    yox_build INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow
                        $<$<BOOL:${YOX_WARNINGS_AS_ERRORS}>:-Werror>)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # It takes the short form of a moved std::basic_string for uninitialised, and sees overlaps
  # in every "literal" + text that it inlines (GCC bug 105651).
  target_compile_options(yox_build INTERFACE -Wno-maybe-uninitialized -Wno-restrict)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # Its memory is reclaimed from a gigabyte on (in kilobytes; by default from 128 MB): looking for what a source no
  # longer needs costs up to a fifth of its time.
  target_compile_options(yox_build INTERFACE --param=ggc-min-heapsize=1000000)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  # Proves that data is used with the lock that yox/base/ThreadSafety.h says guards it.
  target_compile_options(yox_build INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-Wthread-safety>)
endif()

find_program(YOX_LLD ld.lld)
if(YOX_LLD AND NOT WIN32)
  # Several times as fast as the system's linker on programs with debugging data.
  add_link_options(-fuse-ld=lld)
endif()

if(YOX_SANITIZE)
  list(JOIN YOX_SANITIZE "," sanitizers)
  target_compile_options(yox_build INTERFACE -fsanitize=${sanitizers} -fno-omit-frame-pointer
                                             -fno-sanitize-recover=all)
  target_link_options(yox_build INTERFACE -fsanitize=${sanitizers})
  if("thread" IN_LIST YOX_SANITIZE)
    # Threads pause at their locks when a test asks for it: yox/base/SchedulePoint.h.
    target_compile_definitions(yox_build INTERFACE YOX_PERTURB_SCHEDULES)
  endif()
endif()
