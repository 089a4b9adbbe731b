#pragma once

#include <optional>

#include "yox/device/MachineInformation.h"

namespace yox::device {

// A key of the record's cache file, and the member that it holds.
struct CacheKey {
  const char* name;
  std::optional<MachineInformation::Text> text;  // nothing: os_is_s_mode, a boolean
};

#define YOX_CACHED_TEXT(member) \
  { #member, MachineInformation::Text::member }
// In the order of reading and writing. Other versions of the client read and write the same file:
// do not edit.
inline constexpr CacheKey kCacheKeys[] = {
    YOX_CACHED_TEXT(serial_number),
    YOX_CACHED_TEXT(os_name),
    YOX_CACHED_TEXT(os_region),
    YOX_CACHED_TEXT(os_language),
    YOX_CACHED_TEXT(os_version),
    {"os_is_s_mode", std::nullopt},
    YOX_CACHED_TEXT(os_update_title),
    YOX_CACHED_TEXT(os_update_description),
    YOX_CACHED_TEXT(os_description),
    YOX_CACHED_TEXT(device_brand),
    YOX_CACHED_TEXT(device_subbrand),
    YOX_CACHED_TEXT(device_family),
    YOX_CACHED_TEXT(device_model),
    YOX_CACHED_TEXT(device_mt),
    YOX_CACHED_TEXT(device_tag),
    YOX_CACHED_TEXT(device_info_datetime),
    YOX_CACHED_TEXT(device_enclosuretype),
    YOX_CACHED_TEXT(device_bios_version),
    YOX_CACHED_TEXT(device_bios_version_short),
    YOX_CACHED_TEXT(device_bios_release_date),
    YOX_CACHED_TEXT(device_ec_release_date),
    YOX_CACHED_TEXT(device_manufacturer),
    YOX_CACHED_TEXT(device_ec_version),
    YOX_CACHED_TEXT(device_smbios_version),
};
#undef YOX_CACHED_TEXT

}  // namespace yox::device
