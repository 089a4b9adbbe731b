# The libraries that the rooms use; a room names those it needs in its LINK list.
find_package(jsoncpp REQUIRED)
find_package(spdlog REQUIRED)
if(YOX_SYSTEM STREQUAL linux)
  find_package(OpenSSL REQUIRED)
endif()
