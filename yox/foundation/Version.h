#pragma once

#include <array>
#include <compare>
#include <cstdint>
#include <optional>

#include "yox/base/Export.h"
#include "yox/base/WString.h"

// A dotted version of two to four numbers. A missing build or revision is -1 and therefore sorts
// before 0: 1.2 is less than 1.2.0, which is less than 1.2.0.0. A plain value; constant operations
// are safe from any thread. No operation throws.
class YOX_API Version {
 public:
  constexpr Version() : Version(0, 0) {}
  constexpr Version(int major, int minor) : Version(major, minor, kMissing) {}
  constexpr Version(int major, int minor, int build) : Version(major, minor, build, kMissing) {}
  constexpr Version(int major, int minor, int build, int revision)
      : major_(major), minor_(minor), build_(build), revision_(revision) {}

  // Returns the version in the text, or Version() if there is none.
  static Version Parse(const yox::WString& text);

  // Reads two to four components separated by dots. All characters of a component but the digits
  // 0-9 are ignored ("3a" is 3, "-5" is 5); a component without a digit, or beyond the range of
  // int, is a failure. Returns false on failure, and then leaves `out` as it was.
  static bool TryParse(const yox::WString& text, Version& out);
  static bool TryParseVersion(const yox::WString& text, Version& out);
  // Reads one component in the same way. `componentName` and `out` are not used.
  static bool TryParseComponent(const yox::WString& component, const yox::WString& componentName,
                                Version& out, int& value);
  // TryParseVersion for a view, without copying it. Returns std::nullopt on failure.
  static std::optional<Version> FromView(yox::WStringView text);

  // The components in order; a missing build or revision is -1.
  std::array<std::int32_t, 4> components() const { return {major_, minor_, build_, revision_}; }

  // Returns 1, 0 or -1: this version is greater than, equal to or less than the other.
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
