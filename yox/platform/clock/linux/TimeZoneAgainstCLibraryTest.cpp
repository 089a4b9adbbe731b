#include <gtest/gtest.h>
#include <stdlib.h>
#include <time.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "yox/base/TimeZone.h"

namespace yox {
namespace {

struct NamedRule {
  std::string_view name;
  std::string_view rule;
};

#include "yox/base/TimeZones.inc"

// The zone of the C library for a test's lifetime.
class ScopedZone {
 public:
  explicit ScopedZone(const std::string& text) {
    if (const char* const former = getenv("TZ")) former_ = former;
    Set(text);
  }
  ~ScopedZone() {
    if (former_.empty()) {
      unsetenv("TZ");
      tzset();
    } else {
      Set(former_);
    }
  }
  ScopedZone(const ScopedZone&) = delete;
  ScopedZone& operator=(const ScopedZone&) = delete;

 private:
  static void Set(const std::string& text) {
    setenv("TZ", text.c_str(), 1);
    tzset();
  }

  std::string former_;
};

std::int64_t Mktime(int year, int month, int day) {
  tm fields{};
  fields.tm_year = year - 1900;
  fields.tm_mon = month - 1;
  fields.tm_mday = day;
  fields.tm_isdst = -1;
  return mktime(&fields);
}

tm Localtime(std::int64_t moment) {
  tm fields{};
  localtime_r(&moment, &fields);
  return fields;
}

std::vector<std::string> Rules() {
  std::vector<std::string> rules = {"AAA-1BBB,J60,J300", "AAA5BBB4:30,59/-5,299/30",
                                    "AAA-13BBB,M10.1.0/0,M4.1.0/0", "XXX3YYY,0/0,J365/25"};
  for (const NamedRule& named : kNamedRules) rules.emplace_back(named.rule);
  std::ranges::sort(rules);
  rules.erase(std::unique(rules.begin(), rules.end()), rules.end());
  return rules;
}

TEST(TimeZoneAgainstCLibrary, EveryRuleGivesTheSameOffsetsAndDays) {
  for (const std::string& rule : Rules()) {
    const std::optional<TimeZone> zone = TimeZone::Parse(rule);
    ASSERT_TRUE(zone.has_value()) << rule;
    const ScopedZone scoped(rule);
    // Steps of 11 hours and 7 seconds come by every hour of the day within weeks.
    for (std::int64_t moment = 0; moment < 8'000'000'000; moment += 39'607 * 13) {
      const tm expected = Localtime(moment);
      ASSERT_EQ(zone->OffsetAt(moment), expected.tm_gmtoff) << rule << " at " << moment;
      ASSERT_EQ(zone->ToLocalDate(moment),
                (LocalDate{expected.tm_year + 1900, expected.tm_mon + 1, expected.tm_mday}))
          << rule << " at " << moment;
    }
  }
}

TEST(TimeZoneAgainstCLibrary, EveryRuleChangesInTheSameSecond) {
  for (const std::string& rule : Rules()) {
    const TimeZone zone = *TimeZone::Parse(rule);
    const ScopedZone scoped(rule);
    constexpr std::int64_t kStep = 86'400;
    constexpr std::int64_t kStartOf2023 = 1'672'531'200;
    for (std::int64_t low = kStartOf2023; low < kStartOf2023 + 3 * 366 * kStep; low += kStep) {
      if (Localtime(low).tm_gmtoff == Localtime(low + kStep).tm_gmtoff) continue;
      std::int64_t before = low;
      std::int64_t behind = low + kStep;
      while (behind - before > 1) {
        const std::int64_t middle = (before + behind) / 2;
        (Localtime(middle).tm_gmtoff == Localtime(low).tm_gmtoff ? before : behind) = middle;
      }
      EXPECT_EQ(zone.OffsetAt(before), Localtime(before).tm_gmtoff) << rule << " at " << before;
      EXPECT_EQ(zone.OffsetAt(behind), Localtime(behind).tm_gmtoff) << rule << " at " << behind;
    }
  }
}

TEST(TimeZoneAgainstCLibrary, EveryDayBeginsWhereMktimeSays) {
  for (const std::string& rule : Rules()) {
    const TimeZone zone = *TimeZone::Parse(rule);
    const ScopedZone scoped(rule);
    for (int year : {1970, 1999, 2000, 2024, 2025, 2026, 2037, 2100}) {
      for (int day = 1; day <= 366; ++day) {
        const std::int64_t start = *zone.StartOfLocalDay(year, 1, day);
        const std::int64_t expected = std::max<std::int64_t>(Mktime(year, 1, day), -1);
        if (start == expected) continue;
        // Only of a midnight that comes twice mktime may give the second.
        const tm first = Localtime(start);
        const tm second = Localtime(expected);
        EXPECT_LT(start, expected) << rule << " " << year << " day " << day;
        EXPECT_EQ(first.tm_yday, second.tm_yday) << rule << " " << year << " day " << day;
        EXPECT_EQ(first.tm_hour * 60 + first.tm_min, 0) << rule << " " << year << " day " << day;
        EXPECT_EQ(second.tm_hour * 60 + second.tm_min, 0) << rule << " " << year << " day " << day;
      }
    }
  }
}

TEST(TimeZoneAgainstCLibrary, DatesOutOfTheirRangeCarryOverAlike) {
  const TimeZone zone = *TimeZone::Parse("Europe/Berlin");
  const ScopedZone scoped("CET-1CEST,M3.5.0,M10.5.0/3");
  for (const auto& [year, month, day] : {std::tuple{2024, 13, 45},
                                         {2024, 0, 0},
                                         {2026, -11, 400},
                                         {2026, 2, 31},
                                         {2026, 25, -31},
                                         {1970, 1, 1},
                                         {1970, 1, 2},
                                         {1969, 13, 1},
                                         {0, 1, 1},
                                         {-1, 1, 1},
                                         {9999, 99, 99},
                                         {2'000'000'000, 1, 1},
                                         {2'147'483'647, 12, 31},
                                         {2'147'483'647, 2'147'483'647, 1},
                                         {-2'147'481'748, 1, 1},
                                         {2000, 40'000'000, 1},
                                         {2000, -2'147'483'647, 1},
                                         {2000, 1, 1'500'000'000},
                                         {2000, 1, -2'147'483'647}}) {
    EXPECT_EQ(zone.StartOfLocalDay(year, month, day),
              std::max<std::int64_t>(Mktime(year, month, day), -1))
        << year << "-" << month << "-" << day;
  }
}

TEST(TimeZoneTable, HoldsTheRulesOfTheInstalledDatabase) {
  const std::filesystem::path database = "/usr/share/zoneinfo";
  std::string version;
  std::ifstream(database / "tzdata.zi") >> version >> version >> version;
  if (version != kDatabaseVersion) GTEST_SKIP() << "the installed database is " << version;

  std::map<std::string, std::string> installed;
  for (const auto& file : std::filesystem::recursive_directory_iterator(database)) {
    const std::string name = file.path().lexically_relative(database).generic_string();
    if (!file.is_regular_file() || name.starts_with("posix/") || name.starts_with("right/") ||
        name == "localtime" || name == "posixrules") {
      continue;
    }
    std::ifstream stream(file.path(), std::ios::binary);
    std::string content(std::istreambuf_iterator<char>(stream), {});
    if (!content.starts_with("TZif")) continue;
    content.pop_back();
    installed[name] = content.substr(content.rfind('\n') + 1);
  }
  std::map<std::string, std::string> table;
  for (const NamedRule& named : kNamedRules) table.emplace(named.name, named.rule);
  EXPECT_EQ(table, installed);
}

TEST(TimeZoneTable, EveryNameIsRead) {
  for (const NamedRule& named : kNamedRules) {
    EXPECT_EQ(TimeZone::Parse(named.name), TimeZone::Parse(named.rule)) << named.name;
  }
}

}  // namespace
}  // namespace yox
