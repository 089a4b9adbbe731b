# A component is a folder below yox/: one object library, whose list of components says which others it
# may include.
#
#   yox_component(foundation
#     PUBLIC_HEADERS Version.h ...      installed
#     SOURCES Version.cpp ...
#     TESTS VersionTest.cpp ...         compiled into the program yox_tests_foundation
#     COMPONENTS clientbase ...         of lower layers
#     LINK JsonCpp::JsonCpp ...)        libraries that the sources use
#
# Sources that only one system compiles are in the folders linux/ and windows/ of the platform.

set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set_property(GLOBAL PROPERTY YOX_COMPONENTS "")
set_property(GLOBAL PROPERTY YOX_PUBLIC_HEADERS "")

if(YOX_LIBRARY_TYPE STREQUAL STATIC)
  set(YOX_OBJECT_DEFINITION YOX_STATIC)
else()
  set(YOX_OBJECT_DEFINITION YOX_BUILDING)
endif()

if(WIN32)
  set(YOX_SYSTEM windows)
else()
  set(YOX_SYSTEM linux)
endif()

# How components are compiled.
add_library(yox_objects INTERFACE)
if(NOT WIN32 AND NOT MSVC)
  # Calls within the library go to its own functions even when a program defines the same names, so
  # they may be inlined.
  target_compile_options(yox_objects INTERFACE -fno-semantic-interposition)
endif()

# What the components' headers are precompiled for, once. It has no definitions: GCC takes what was precompiled only
# where all definitions are that it had.
if(YOX_PRECOMPILE)
  file(CONFIGURE OUTPUT precompiled.cpp CONTENT "")
  add_library(yox_precompiled OBJECT ${CMAKE_CURRENT_BINARY_DIR}/precompiled.cpp)
  target_link_libraries(yox_precompiled PRIVATE yox_build yox_objects)
  yox_precompile(yox_precompiled)
endif()

function(yox_component name)
  cmake_parse_arguments(PARSE_ARGV 1 component "" "" "PUBLIC_HEADERS;SOURCES;TESTS;COMPONENTS;LINK")
  set(target yox_${name})
  add_library(${target} OBJECT ${component_SOURCES})
  list(TRANSFORM component_COMPONENTS PREPEND yox_)
  target_include_directories(${target} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>)
  target_compile_definitions(${target} PRIVATE ${YOX_OBJECT_DEFINITION})
  target_link_libraries(${target} PUBLIC ${component_COMPONENTS} PRIVATE yox_build yox_objects ${component_LINK})
  yox_precompile(${target} AS yox_precompiled)
  set_property(GLOBAL APPEND PROPERTY YOX_COMPONENTS ${target})
  set_property(GLOBAL APPEND PROPERTY YOX_LIBRARIES ${component_LINK})
  foreach(test IN LISTS component_TESTS)
    set_property(GLOBAL APPEND PROPERTY YOX_TESTS_OF_${target} ${CMAKE_CURRENT_SOURCE_DIR}/${test})
  endforeach()
  foreach(header IN LISTS component_PUBLIC_HEADERS)
    cmake_path(ABSOLUTE_PATH header)
    set_property(GLOBAL APPEND PROPERTY YOX_PUBLIC_HEADERS ${header})
  endforeach()
endfunction()
