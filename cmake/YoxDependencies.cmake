# The libraries that the rooms use; a room names those it needs in its LINK list.
find_package(jsoncpp REQUIRED)
find_package(spdlog REQUIRED)
if(YOX_SYSTEM STREQUAL linux)
  find_package(OpenSSL REQUIRED)
  find_package(ICU REQUIRED COMPONENTS i18n uc)
  find_package(PkgConfig REQUIRED)
  pkg_check_modules(systemd REQUIRED IMPORTED_TARGET libsystemd)
endif()
