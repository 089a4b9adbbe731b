#include "yox/foundation/Version.h"

#include <array>
#include <limits>

using yox::WString;
using yox::WStringView;

namespace {

std::optional<int> ReadComponent(WStringView component) {
  std::optional<std::int64_t> number;
  for (const auto unit : component) {
    if (unit < '0' || unit > '9') continue;
    number = number.value_or(0) * 10 + (unit - '0');
    if (*number > std::numeric_limits<int>::max()) return std::nullopt;
  }
  if (!number) return std::nullopt;
  return static_cast<int>(*number);
}

}  // namespace

Version Version::Parse(const WString& text) {
  Version version;
  TryParseVersion(text, version);
  return version;
}

bool Version::TryParse(const WString& text, Version& out) { return TryParseVersion(text, out); }

bool Version::TryParseVersion(const WString& text, Version& out) {
  const std::optional<Version> version = FromView(text);
  if (version) out = *version;
  return version.has_value();
}

std::optional<Version> Version::FromView(WStringView text) {
  std::array<int, 4> numbers = {0, 0, kMissing, kMissing};
  std::size_t count = 0;
  const yox::WChar* unit = text.data();
  const yox::WChar* const end = unit + text.size();
  for (;; ++unit) {
    std::uint64_t number = 0;
    bool has_digit = false;
    for (; unit != end && *unit != '.'; ++unit) {
      const unsigned digit = unsigned{*unit} - '0';
      if (digit > 9) continue;
      number = number * 10 + digit;
      has_digit = true;
      if (number > std::numeric_limits<int>::max()) return std::nullopt;
    }
    if (!has_digit || count == numbers.size()) return std::nullopt;
    numbers[count++] = static_cast<int>(number);
    if (unit == end) break;
  }
  if (count < 2) return std::nullopt;
  return Version(numbers[0], numbers[1], numbers[2], numbers[3]);
}

bool Version::TryParseComponent(const WString& component, const WString& /*componentName*/,
                                Version& /*out*/, int& value) {
  const std::optional<int> number = ReadComponent(component);
  if (number) value = *number;
  return number.has_value();
}

int Version::CompareTo(const Version& other) const {
  const auto order = *this <=> other;
  return order > 0 ? 1 : order < 0 ? -1 : 0;
}
