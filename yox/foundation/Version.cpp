#include "yox/foundation/Version.h"

#include <array>
#include <limits>

using yox::WString;
using yox::WStringView;
using namespace yox::literals;

Version Version::Parse(const WString& text) {
  Version version;
  TryParseVersion(text, version);
  return version;
}

bool Version::TryParse(const WString& text, Version& out) { return TryParseVersion(text, out); }

bool Version::TryParseVersion(WStringView text, Version& out) {
  constexpr std::array kNames = {"version"_wv, "version"_wv, "build"_wv, "revision"_wv};
  std::array<int, 4> numbers = {0, 0, kMissing, kMissing};
  std::size_t count = 0;
  for (;;) {
    if (count == numbers.size()) return false;
    const std::size_t dot = text.find('.');
    if (!TryParseComponent(text.substr(0, dot), kNames[count], out, numbers[count])) return false;
    ++count;
    if (dot == WStringView::npos) break;
    text.remove_prefix(dot + 1);
  }
  if (count < 2) return false;
  out = Version(numbers[0], numbers[1], numbers[2], numbers[3]);
  return true;
}

bool Version::TryParseComponent(WStringView component, WStringView /*componentName*/,
                                Version& /*out*/, int& value) {
  bool any = false;
  std::int64_t number = 0;
  for (const auto unit : component) {
    if (unit < '0' || unit > '9') continue;
    any = true;
    number = number * 10 + (unit - '0');
    if (number > std::numeric_limits<int>::max()) return false;
  }
  if (any) value = static_cast<int>(number);
  return any;
}

int Version::CompareTo(const Version& other) const {
  const auto order = *this <=> other;
  return order > 0 ? 1 : order < 0 ? -1 : 0;
}
