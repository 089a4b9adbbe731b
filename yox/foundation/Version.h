#pragma once

#include <compare>
#include <cstdint>

#include "yox/base/Export.h"
#include "yox/base/WString.h"

// A dotted version of two to four numbers. A missing build or revision is -1 and sorts before
// 0: 1.2 is less than 1.2.0, which is less than 1.2.0.0. A plain value.
class YOX_API Version {
 public:
  Version() : Version(0, 0) {}
  Version(int major, int minor) : Version(major, minor, kMissing) {}
  Version(int major, int minor, int build) : Version(major, minor, build, kMissing) {}
  Version(int major, int minor, int build, int revision)
      : major_(major), minor_(minor), build_(build), revision_(revision) {}

  // The version that the text holds, and 0.0 without build and revision when it holds none.
  static Version Parse(const yox::WString& text);

  // Reads two to four components divided by dots. Of a component only the digits 0-9 count,
  // wherever they stand; one without a digit, or out of the range of int, fails. Answers false and
  // leaves `out` as it was on failure. Never throws.
  static bool TryParse(const yox::WString& text, Version& out);
  static bool TryParseVersion(yox::WStringView text, Version& out);
  // `componentName` and `out` are not used.
  static bool TryParseComponent(yox::WStringView component, yox::WStringView componentName,
                                Version& out, int& value);

  // 1, 0 or -1: this version is greater, equal or less.
  int CompareTo(const Version& other) const;
  bool Equals(const Version& other) const { return *this == other; }

  friend bool operator==(const Version&, const Version&) = default;
  friend auto operator<=>(const Version&, const Version&) = default;

 private:
  static constexpr std::int32_t kMissing = -1;

  std::int32_t major_;
  std::int32_t minor_;
  std::int32_t build_;
  std::int32_t revision_;
};
