# A room is a folder below yox/: one object library, whose link list names the rooms below it.
#
#   yox_room(foundation
#     PUBLIC_HEADERS Version.h ...      installed
#     SOURCES Version.cpp ...
#     TESTS VersionTest.cpp ...         go into the program yox_tests
#     ROOMS clientbase                  rooms below
#     LINK JsonCpp::JsonCpp ...)        libraries that the sources use
#
# Sources that only one system compiles stand in the folders linux/ and windows/ of the platform.

set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set_property(GLOBAL PROPERTY YOX_ROOMS "")
set_property(GLOBAL PROPERTY YOX_TESTS "")
set_property(GLOBAL PROPERTY YOX_PUBLIC_HEADERS "")

if(WIN32)
  set(YOX_SYSTEM windows)
else()
  set(YOX_SYSTEM linux)
endif()

function(yox_room name)
  cmake_parse_arguments(PARSE_ARGV 1 room "" "" "PUBLIC_HEADERS;SOURCES;TESTS;ROOMS;LINK")
  set(target yox_${name})
  add_library(${target} OBJECT ${room_SOURCES})
  list(TRANSFORM room_ROOMS PREPEND yox_)
  target_include_directories(${target} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>)
  target_compile_definitions(${target} PRIVATE YOX_BUILDING)
  if(NOT WIN32 AND NOT MSVC)
    # The library's own calls of its exported functions are its own affair: they may be inlined.
    target_compile_options(${target} PRIVATE -fno-semantic-interposition)
  endif()
  target_link_libraries(${target} PUBLIC ${room_ROOMS} PRIVATE yox_build ${room_LINK})
  set_property(GLOBAL APPEND PROPERTY YOX_ROOMS ${target})
  set_property(GLOBAL APPEND PROPERTY YOX_ROOM_LIBRARIES ${room_LINK})
  foreach(test IN LISTS room_TESTS)
    set_property(GLOBAL APPEND PROPERTY YOX_TESTS ${CMAKE_CURRENT_SOURCE_DIR}/${test})
  endforeach()
  foreach(header IN LISTS room_PUBLIC_HEADERS)
    cmake_path(ABSOLUTE_PATH header)
    set_property(GLOBAL APPEND PROPERTY YOX_PUBLIC_HEADERS ${header})
  endforeach()
endfunction()
