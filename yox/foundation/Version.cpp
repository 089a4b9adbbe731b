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
  std::int64_t number = kMissing;  // of the component so far
  for (std::size_t i = 0; i <= text.size(); ++i) {
    if (i == text.size() || text[i] == '.') {
      if (number == kMissing || count == numbers.size()) return std::nullopt;
      numbers[count++] = static_cast<int>(number);
      number = kMissing;
    } else if (text[i] >= '0' && text[i] <= '9') {
      number = (number == kMissing ? 0 : number * 10) + (text[i] - '0');
      if (number > std::numeric_limits<int>::max()) return std::nullopt;
    }
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
