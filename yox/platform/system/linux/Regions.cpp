#include "yox/platform/system/linux/Regions.h"

#include <algorithm>
#include <iterator>
#include <span>

namespace yox::platform {
namespace {

struct Row {
  std::string_view code;
  std::string_view name;
};

#include "yox/platform/system/linux/Regions.inc"

static_assert(std::ranges::is_sorted(kLanguages, {}, &Row::code) &&
              std::ranges::is_sorted(kRegions, {}, &Row::code) &&
              std::ranges::is_sorted(kZoneCountries, {}, &Row::code));

std::string_view Find(std::span<const Row> rows, std::string_view code,
                      std::string_view otherwise) {
  const auto row = std::ranges::lower_bound(rows, code, {}, &Row::code);
  return row != rows.end() && row->code == code ? row->name : otherwise;
}

}  // namespace

std::string LanguageName(std::string_view code) {
  std::string lower;
  std::ranges::transform(code, std::back_inserter(lower), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return std::string(Find(kLanguages, lower, lower));
}

std::string_view RegionName(std::string_view code) { return Find(kRegions, code, code); }

std::string_view CountryOfZone(std::string_view zone) { return Find(kZoneCountries, zone, {}); }

}  // namespace yox::platform
