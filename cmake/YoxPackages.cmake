# The packages: what belongs to which, and what they say of themselves. scripts/package builds them.
#
#   component    Debian package       content
#   library      libyoxX.Y            the shared library
#   development  libyox-dev           headers, CMake package, pkg-config file
#   tools        yoxctl               programs, manual pages, completions
#   service      yoxd                 the service
#   sqlite       yox-sqlite3          extension for SQLite
#   postgresql   postgresql-NN-yox    extension for PostgreSQL NN
#   python       python3-yox          Python package
#
# Install rules name their component. The archives have all components together.
set(YOX_COMPONENTS_OF_PACKAGES library development tools service sqlite postgresql python)

# ---- files that only packages have ----

include(GNUInstallDirs)
cmake_path(SET pc_folder ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX}/${pc_folder} OUTPUT_VARIABLE up)
configure_file(${PROJECT_SOURCE_DIR}/packaging/yox.pc.in ${PROJECT_BINARY_DIR}/yox.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/yox.pc DESTINATION ${pc_folder} COMPONENT development)

# What the program says of itself, as a page and as completions. A cross-built program cannot be asked.
if(TARGET yoxctl AND NOT CMAKE_CROSSCOMPILING)
  set(reference ${PROJECT_BINARY_DIR}/reference)
  set(outputs "")
  foreach(form man bash zsh fish)
    add_custom_command(OUTPUT ${reference}/${form} DEPENDS yoxctl VERBATIM
      COMMAND ${CMAKE_COMMAND} -E make_directory ${reference}
      COMMAND sh -c "\"$0\" --reference ${form} > ${reference}/${form}" $<TARGET_FILE:yoxctl>)
    list(APPEND outputs ${reference}/${form})
  endforeach()
  add_custom_command(OUTPUT ${reference}/yoxctl.1.gz DEPENDS ${reference}/man VERBATIM
    COMMAND sh -c "gzip -9nc ${reference}/man > ${reference}/yoxctl.1.gz")
  add_custom_target(yox_reference ALL DEPENDS ${outputs} ${reference}/yoxctl.1.gz)
  install(FILES ${reference}/yoxctl.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
  set(data ${CMAKE_INSTALL_DATADIR})
  install(FILES ${reference}/bash DESTINATION ${data}/bash-completion/completions RENAME yoxctl COMPONENT tools)
  install(FILES ${reference}/zsh DESTINATION ${data}/zsh/vendor-completions RENAME _yoxctl COMPONENT tools)
  install(FILES ${reference}/fish DESTINATION ${data}/fish/vendor_completions.d RENAME yoxctl.fish COMPONENT tools)
endif()
if(TARGET yoxctl) # for editors
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/schemas DESTINATION ${CMAKE_INSTALL_DATADIR}/yox COMPONENT tools)
endif()

# ---- CPack ----

set(CPACK_PACKAGE_NAME yox)
set(CPACK_PACKAGE_VENDOR "The yox authors")
set(CPACK_PACKAGE_CONTACT "The yox authors <yox@packages.invalid>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_GENERATOR DEB) # scripts/package writes the others
set(CPACK_COMPONENTS_ALL ${YOX_COMPONENTS_OF_PACKAGES})
if(NOT TARGET yoxd)
  list(REMOVE_ITEM CPACK_COMPONENTS_ALL service)
endif()
if(NOT TARGET yox_sqlite)
  list(REMOVE_ITEM CPACK_COMPONENTS_ALL sqlite)
endif()
if(NOT YOX_INSTALL_POSTGRESQL OR NOT TARGET yox_postgresql)
  list(REMOVE_ITEM CPACK_COMPONENTS_ALL postgresql)
endif()

# ---- licences ----

# The licences of others' work that is compiled into the library and the programs, or is beside them on Windows, as Debian's
# packages state them, and the texts to which those refer.
set(sources libcli11-dev libfmt-dev libspdlog-dev unicode-data libicu72)
if(WIN32)
  list(APPEND sources libjsoncpp-dev libpugixml-dev libssl-dev libmosquitto-dev libcurl4-openssl-dev
                      libz-mingw-w64-dev mingw-w64-x86-64-dev g++-mingw-w64-x86-64-posix)
endif()
set(notices ${PROJECT_BINARY_DIR}/THIRD-PARTY.txt)
set(text "Licences of others' work that is part of yox, by the Debian package that it comes from.\n")
string(APPEND text "Texts to which they refer as files of /usr/share/common-licenses are at the end.\n")
foreach(package IN LISTS sources)
  if(EXISTS /usr/share/doc/${package}/copyright)
    file(READ /usr/share/doc/${package}/copyright copyright)
    string(APPEND text "\n\n==== ${package} ====\n\n${copyright}")
  else()
    message(STATUS "THIRD-PARTY.txt lacks the licence of ${package}")
  endif()
endforeach()
string(REGEX MATCHALL "/usr/share/common-licenses/[A-Za-z0-9.-]*[A-Za-z0-9]" references "${text}")
list(REMOVE_DUPLICATES references)
list(SORT references)
foreach(reference IN LISTS references)
  if(EXISTS ${reference})
    file(READ ${reference} licence)
    string(APPEND text "\n\n==== ${reference} ====\n\n${licence}")
  endif()
endforeach()
file(WRITE ${notices} "${text}")
if(WIN32)
  install(FILES LICENSE DESTINATION . RENAME LICENSE.txt COMPONENT library)
  install(FILES ${notices} DESTINATION . COMPONENT library)
elseif(NOT CMAKE_INSTALL_PREFIX STREQUAL /usr) # Debian's packages have them in folders of their own
  install(FILES LICENSE ${notices} DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/yox COMPONENT library)
endif()

# ---- Debian ----

set(release ${PROJECT_VERSION}-1)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS OFF)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/yox)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

# yox_debian_package(COMPONENT NAME NAME SECTION S [ARCHITECTURE all] DEPENDS ... SUMMARY text DESCRIPTION text)
function(yox_debian_package component)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "NAME;SECTION;ARCHITECTURE;DEPENDS;SUMMARY;DESCRIPTION" "")
  if(NOT component IN_LIST CPACK_COMPONENTS_ALL)
    return()
  endif()
  string(TOUPPER ${component} upper)
  foreach(of NAME SECTION ARCHITECTURE DEPENDS)
    if(arg_${of})
      set(CPACK_DEBIAN_${upper}_PACKAGE_${of} "${arg_${of}}" PARENT_SCOPE)
    endif()
  endforeach()
  set(CPACK_DEBIAN_${upper}_DESCRIPTION "${arg_SUMMARY}\n${arg_DESCRIPTION}" PARENT_SCOPE)
  if(arg_ARCHITECTURE STREQUAL all)
    set(CPACK_DEBIAN_${upper}_PACKAGE_SHLIBDEPS OFF PARENT_SCOPE)
  endif()
  set(documents ${CMAKE_INSTALL_DATADIR}/doc/${arg_NAME})
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/debian/copyright ${PROJECT_BINARY_DIR}/debian/changelog.Debian.gz
                ${PROJECT_BINARY_DIR}/THIRD-PARTY.txt
          DESTINATION ${documents} COMPONENT ${component})
endfunction()

if(NOT WIN32 AND CMAKE_INSTALL_PREFIX STREQUAL /usr)
  set(epoch $ENV{SOURCE_DATE_EPOCH})
  if(NOT epoch)
    set(epoch 0)
  endif()
  execute_process(COMMAND date -u -R -d @${epoch} OUTPUT_VARIABLE date OUTPUT_STRIP_TRAILING_WHITESPACE
                  COMMAND_ERROR_IS_FATAL ANY)
  configure_file(packaging/debian/changelog.in ${PROJECT_BINARY_DIR}/debian/changelog.Debian @ONLY)
  execute_process(COMMAND gzip -9nf ${PROJECT_BINARY_DIR}/debian/changelog.Debian COMMAND_ERROR_IS_FATAL ANY)

  set(library libyox${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
  yox_debian_package(library NAME ${library} SECTION libs
    SUMMARY "device management for clients (shared library)"
    DESCRIPTION "Decides which content applies to this device, and tells what the\ndevice is: hardware, firmware, operating system, region, tags.")
  # Which package a program that was linked with the library needs; and the linker's cache is written again.
  file(WRITE ${PROJECT_BINARY_DIR}/debian/shlibs "libyox ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR} ${library} (>= ${PROJECT_VERSION})\n")
  set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA
      ${PROJECT_BINARY_DIR}/debian/shlibs ${PROJECT_SOURCE_DIR}/packaging/debian/triggers)
  yox_debian_package(development NAME libyox-dev SECTION libdevel
    DEPENDS "${library} (= ${release}), libjsoncpp-dev"
    SUMMARY "device management for clients (development files)"
    DESCRIPTION "Headers of the C++ and the C interface, the package for CMake and\nthe file for pkg-config.")
  yox_debian_package(tools NAME yoxctl SECTION admin DEPENDS "${library} (= ${release})"
    SUMMARY "device management for clients (command line)"
    DESCRIPTION "Evaluates, explains and checks filter lists, on this device or on a\ndevice profile, and shows the device's record, tags and registry.")
  yox_debian_package(service NAME yoxd SECTION admin DEPENDS "${library} (= ${release})"
    SUMMARY "device management for clients (service)"
    DESCRIPTION "Connects to an MQTT broker, decides the filter lists that arrive there\nand reports what it decided.")
  yox_debian_package(sqlite NAME yox-sqlite3 SECTION database
    SUMMARY "filter lists in SQLite"
    DESCRIPTION "An extension that decides filter lists for the devices in a table.")
  set(server "")
  if(YOX_PG_CONFIG)
    execute_process(COMMAND ${YOX_PG_CONFIG} --version OUTPUT_VARIABLE server)
    string(REGEX REPLACE "^PostgreSQL ([0-9]+).*" "postgresql-\\1" server "${server}")
  endif()
  yox_debian_package(postgresql NAME ${server}-yox SECTION database DEPENDS "${server}"
    SUMMARY "filter lists in PostgreSQL"
    DESCRIPTION "An extension that decides filter lists for the devices in a table.")
  yox_debian_package(python NAME python3-yox SECTION python ARCHITECTURE all
    DEPENDS "python3:any, ${library} (>= ${PROJECT_VERSION})"
    SUMMARY "filter lists in Python"
    DESCRIPTION "Decides, explains and checks filter lists, for one device or for a\nfleet.")

  set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/debian/python/postinst
                                                ${PROJECT_SOURCE_DIR}/packaging/debian/python/prerm)
  set(scripts ${PROJECT_SOURCE_DIR}/packaging/debian/service)
  set(CPACK_DEBIAN_SERVICE_PACKAGE_CONTROL_EXTRA ${scripts}/postinst ${scripts}/prerm ${scripts}/postrm)
  set(python ${CMAKE_INSTALL_PREFIX}/lib/python3/dist-packages)
  install(FILES bindings/python/yox/__init__.py bindings/python/yox/_native.py bindings/python/yox/py.typed
          DESTINATION ${python}/yox COMPONENT python)
  file(WRITE ${PROJECT_BINARY_DIR}/METADATA "Metadata-Version: 2.1\nName: yox\nVersion: ${PROJECT_VERSION}\n")
  install(FILES ${PROJECT_BINARY_DIR}/METADATA DESTINATION ${python}/yox-${PROJECT_VERSION}.dist-info COMPONENT python)
endif()

include(CPack)
