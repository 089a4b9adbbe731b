# The target yox_mosquitto: the client library for MQTT, for the programs that use it.
include_guard(GLOBAL)

add_library(yox_mosquitto INTERFACE)
if(WIN32)
  # Static, where it was built for the target; it comes without a package file.
  find_package(OpenSSL REQUIRED)
  # A static one does not say what it needs itself.
  set_property(TARGET OpenSSL::Crypto APPEND PROPERTY INTERFACE_LINK_LIBRARIES ws2_32 crypt32)
  find_path(MOSQUITTO_INCLUDE_DIR mosquitto.h REQUIRED)
  find_library(MOSQUITTO_LIBRARY NAMES mosquitto_static mosquitto REQUIRED)
  target_include_directories(yox_mosquitto SYSTEM INTERFACE ${MOSQUITTO_INCLUDE_DIR})
  target_compile_definitions(yox_mosquitto INTERFACE LIBMOSQUITTO_STATIC)
  target_link_libraries(yox_mosquitto INTERFACE ${MOSQUITTO_LIBRARY} OpenSSL::SSL OpenSSL::Crypto)
else()
  find_package(PkgConfig REQUIRED)
  pkg_check_modules(mosquitto REQUIRED IMPORTED_TARGET GLOBAL libmosquitto)
  target_link_libraries(yox_mosquitto INTERFACE PkgConfig::mosquitto)
endif()
