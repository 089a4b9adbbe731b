# What is the same for every program and library of the Windows build, whichever compiler.

# Windows 10, version 1809, is the oldest that the library runs on; texts go to the *W calls only.
target_compile_definitions(yox_build INTERFACE
  _WIN32_WINNT=0x0A00 NTDDI_VERSION=0x0A000006 UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN)

# Programs find the libraries that stand beside them, in the build tree as installed.
if(NOT CMAKE_RUNTIME_OUTPUT_DIRECTORY)
  set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
endif()

if(MINGW)
  # The compiler's runtime is shared: a copy in each of program and library would break exceptions
  # and error codes between the two.
  foreach(name libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${name}
                    OUTPUT_VARIABLE library OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    if(NOT IS_ABSOLUTE "${library}")
      message(FATAL_ERROR "The compiler has no ${name}")
    endif()
    set(copy ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${name})
    if(${library} IS_NEWER_THAN ${copy})
      file(MAKE_DIRECTORY ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
      file(COPY_FILE ${library} ${copy})
      # Nine tenths of it are debugging data.
      execute_process(COMMAND ${CMAKE_STRIP} ${copy} COMMAND_ERROR_IS_FATAL ANY)
    endif()
    if(YOX_INSTALL)
      install(PROGRAMS ${copy} DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT library)
    endif()
  endforeach()
  if(PROJECT_IS_TOP_LEVEL AND CMAKE_BUILD_TYPE STREQUAL "Release")
    # A test case is a process, and each loads all of its program.
    add_link_options(-s)
  endif()
endif()

# Gives a library or program the version that its properties show in the system's file manager.
enable_language(RC)
function(yox_version_resource name file type description)
  set(resource ${CMAKE_CURRENT_BINARY_DIR}/${name}-version.rc)
  configure_file(${PROJECT_SOURCE_DIR}/packaging/windows.rc.in ${resource} @ONLY)
  target_sources(${name} PRIVATE ${resource})
endfunction()
