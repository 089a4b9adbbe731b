#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>

// The fields of a filter after `default`, in their order.
// clang-format off
#define YOX_FILTER_FIELDS(X) \
  X(value)                   \
  X(mfr)                     \
  X(family)                  \
  X(model)                   \
  X(sku)                     \
  X(tag)                     \
  X(country)                 \
  X(language)                \
  X(os)                      \
  X(os_bitness)              \
  X(enclosure)               \
  X(os_description)          \
  X(device_subscription)     \
  X(version)                 \
  X(os_version)              \
  X(target_version)          \
  X(sn_hash)                 \
  X(org_hash)                \
  X(date_range)              \
  X(date_function)           \
  X(installed_items)         \
  X(registry)                \
  X(hardware_id)
// clang-format on

// Global, as the class Filter is.
#define YOX_ENUMERATOR(name) name,
enum class FilterField : std::uint8_t { default_, YOX_FILTER_FIELDS(YOX_ENUMERATOR) };
#undef YOX_ENUMERATOR

namespace yox::decision {

using ::FilterField;

// The fields' names, as documents and reason texts spell them, by FilterField.
#define YOX_NAME(name) #name,
inline constexpr std::string_view kFilterFieldNames[] = {"default", YOX_FILTER_FIELDS(YOX_NAME)};
#undef YOX_NAME

inline constexpr std::size_t kFilterFieldCount = std::size(kFilterFieldNames);

}  // namespace yox::decision
