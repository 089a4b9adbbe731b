#pragma once

#include <array>
#include <cstddef>
#include <optional>

#include "yox/device/MachineInformation.h"

namespace yox::device {

// A key of the record's cache file and the member of the same name.
struct CacheKey {
  const char* name = nullptr;
  std::optional<MachineInformation::Text> text;  // std::nullopt: os_is_s_mode, a boolean
};

inline constexpr std::size_t kCacheKeyCount = 24;
inline constexpr std::size_t kSModePosition = 6;

// The keys in the order of reading and writing: the rows of YOX_MACHINE_TEXTS by their positions.
consteval std::array<CacheKey, kCacheKeyCount> OrderedCacheKeys() {
  std::array<CacheKey, kCacheKeyCount> keys;
  keys[kSModePosition - 1] = {"os_is_s_mode", std::nullopt};
#define YOX_CACHED(name, position, ...) \
  if (position != 0) keys.at(std::size_t{position} - 1) = {#name, MachineInformation::Text::name};
  YOX_MACHINE_TEXTS(YOX_CACHED, YOX_CACHED)
#undef YOX_CACHED
  return keys;
}
inline constexpr std::array kCacheKeys = OrderedCacheKeys();

}  // namespace yox::device
