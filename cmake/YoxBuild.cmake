# How everything in this tree is compiled. Nothing here reaches a consumer.

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "" FORCE)
endif()

set(CMAKE_EXPORT_COMPILE_COMMANDS ${PROJECT_IS_TOP_LEVEL})
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_EXTENSIONS OFF)

find_program(YOX_CCACHE ccache)
if(PROJECT_IS_TOP_LEVEL AND YOX_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER
      ${CMAKE_COMMAND} -E env CCACHE_BASEDIR=${PROJECT_SOURCE_DIR} CCACHE_NOHASHDIR=1 ${YOX_CCACHE})
endif()

# Sanitizers as a list: "address;undefined", "thread", "fuzzer-no-link;address".
set(YOX_SANITIZE "" CACHE STRING "Sanitizers to compile and link with")

add_library(yox_build INTERFACE)
target_compile_features(yox_build INTERFACE cxx_std_20)
set_target_properties(yox_build PROPERTIES EXPORT_NAME build)
if(PROJECT_IS_TOP_LEVEL)
  if(MSVC)
    target_compile_options(yox_build INTERFACE /W4 /permissive- /utf-8 /Zc:__cplusplus
                                            /wd4251 /wd4275) # exported classes hold private std types
  else()
    target_compile_options(
      yox_build INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow
                          $<$<BOOL:${YOX_WARNINGS_AS_ERRORS}>:-Werror>)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
      # It takes the short form of a moved std::basic_string for uninitialised, and sees overlaps
      # in every "literal" + text that it inlines (GCC bug 105651).
      target_compile_options(yox_build INTERFACE -Wno-maybe-uninitialized -Wno-restrict)
    endif()
  endif()
  if(YOX_SANITIZE)
    list(JOIN YOX_SANITIZE "," sanitizers)
    target_compile_options(yox_build INTERFACE -fsanitize=${sanitizers} -fno-omit-frame-pointer
                                               -fno-sanitize-recover=all)
    target_link_options(yox_build INTERFACE -fsanitize=${sanitizers})
  endif()
endif()
