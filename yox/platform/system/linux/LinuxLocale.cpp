#include "yox/platform/system/linux/LinuxLocale.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <system_error>

#include "yox/base/String.h"
#include "yox/platform/files/linux/RootFiles.h"
#include "yox/platform/system/linux/Assignments.h"
#include "yox/platform/system/linux/Lines.h"
#include "yox/platform/system/linux/Regions.h"
#include "yox/platform/users/linux/LinuxUsers.h"

namespace yox::platform {
namespace {

using Conversation = SystemBus::Conversation;

constexpr const char* kLanguage = "LANG";
// What people set for the country they are in. LC_TIME and LC_NUMERIC are not among them: they are
// often set for a taste in dates, such as "en_DK".
constexpr const char* kFormats[] = {"LC_ALL",       "LC_MONETARY", "LC_ADDRESS",
                                    "LC_TELEPHONE", "LC_PAPER",    "LC_MEASUREMENT"};

std::string Setting(const Assignments& settings, std::string_view name) {
  const auto setting = settings.find(name);
  return setting != settings.end() ? setting->second : std::string();
}

bool SetsAnything(const Assignments& settings) {
  return !Setting(settings, kLanguage).empty() ||
         std::ranges::any_of(kFormats,
                             [&](const char* name) { return !Setting(settings, name).empty(); });
}

Assignments Settings(LinuxLocale::Environment environment) {
  Assignments settings;
  if (environment == nullptr) return settings;
  const auto add = [&](const char* name) {
    if (const char* const value = environment(name)) settings.emplace(name, value);
  };
  add(kLanguage);
  std::ranges::for_each(kFormats, add);
  return settings;
}

Assignments SystemSettings(const std::filesystem::path& root, Conversation& bus,
                           LinuxLocale::Environment environment) {
  for (const char* const file : {"etc/locale.conf", "etc/default/locale"}) {
    const Assignments settings = ReadAssignments(ReadRootFile(root / file).value_or(""));
    if (SetsAnything(settings)) return settings;
  }
  std::string lines;
  for (const std::string& line :
       bus.Texts({"org.freedesktop.locale1", "/org/freedesktop/locale1", "org.freedesktop.locale1"},
                 "Locale")
           .value_or(std::vector<std::string>())) {
    lines += line + "\n";
  }
  const Assignments settings = ReadAssignments(lines);
  return SetsAnything(settings) ? settings : Settings(environment);
}

// The formats of the user's account, in the form of the system's settings.
Assignments AccountSettings(Conversation& bus, const std::string& system_language) {
  constexpr const char* kService = "org.freedesktop.Accounts";
  const auto user = LoggedOnUser(bus);
  if (!user) return {};
  const auto path = bus.PathFor({kService, "/org/freedesktop/Accounts", kService}, "FindUserById",
                                std::int64_t{*user});
  if (!path) return {};
  const Conversation::Object account{kService, *path, "org.freedesktop.Accounts.User"};
  const std::string language = bus.Text(account, "Language").value_or("");
  return {{kLanguage, language.empty() ? system_language : language},
          {"LC_ALL", bus.Text(account, "FormatsLocale").value_or("")}};
}

// The language and the country of "de_AT.UTF-8@euro"; both empty for C and POSIX. A country is two
// letters, or the three digits of a region of the UN ("es_419").
struct LanguageAndCountry {
  std::string language;
  std::string country;
};
LanguageAndCountry ParseLocale(std::string_view locale) {
  std::string_view name = locale.substr(0, locale.find_first_of(".@"));
  if (name == "C" || name == "POSIX") return {};
  const std::string_view language = TakeUpTo(name, '_');
  const auto consists_of = [&](char first, char last) {
    return std::ranges::all_of(name, [=](char c) { return c >= first && c <= last; });
  };
  const bool is_country =
      (name.size() == 2 && consists_of('A', 'Z')) || (name.size() == 3 && consists_of('0', '9'));
  return {std::string(language), is_country ? std::string(name) : std::string()};
}

std::string CountryOf(const Assignments& settings, std::string_view name) {
  return ParseLocale(Setting(settings, name)).country;
}

// The country of the first format that does not just follow the language.
std::string ChosenCountry(const Assignments& settings) {
  const std::string of_language = CountryOf(settings, kLanguage);
  for (const char* const name : kFormats) {
    std::string country = CountryOf(settings, name);
    if (!country.empty() && country != of_language) return country;
  }
  return {};
}

// "Europe/Berlin", from where the link to the zone's file points.
std::string ZoneName(const std::filesystem::path& root) {
  std::error_code no_link;
  const std::string target =
      std::filesystem::read_symlink(root / "etc/localtime", no_link).string();
  constexpr std::string_view kFolder = "zoneinfo/";
  const std::size_t folder = target.find(kFolder);
  return folder != std::string::npos ? target.substr(folder + kFolder.size())
                                     : ReadRootLine(root / "etc/timezone");
}

// The countries of a row stand first, the most populous one before the others:
// "DE,DK,NO,SE,SJ\t+5230+01322\tEurope/Berlin\tmost of Germany".
std::string CountryInTable(std::string_view table, std::string_view zone) {
  while (!table.empty()) {
    std::string_view line = TakeLine(table);
    if (line.starts_with('#')) continue;
    std::string_view countries = TakeUpTo(line, '\t');
    TakeUpTo(line, '\t');  // the place
    if (TakeUpTo(line, '\t') == zone) return std::string(TakeUpTo(countries, ','));
  }
  return {};
}

std::string CountryOfPlace(const std::filesystem::path& root) {
  const std::string zone = ZoneName(root);
  if (zone.empty()) return {};
  // zone.tab has a row for each country's own name of a zone, zone1970.tab one for each zone.
  for (const char* const table : {"zone.tab", "zone1970.tab"}) {
    const auto text = ReadRootFile(root / "usr/share/zoneinfo" / table);
    std::string country = CountryInTable(text.value_or(""), zone);
    if (!country.empty()) return country;
  }
  // Former names ("US/Pacific") are in neither, and not every system has the tables.
  return std::string(CountryOfZone(zone));
}

// "German (Austria)". What is within the outer brackets has square ones: "Burmese (Myanmar
// [Burma])".
std::string DisplayName(const LanguageAndCountry& locale) {
  std::string name = LanguageName(locale.language);
  if (locale.country.empty()) return name;
  std::string region(RegionName(locale.country));
  std::ranges::replace(region, '(', '[');
  std::ranges::replace(region, ')', ']');
  return name + " (" + region + ")";
}

}  // namespace

LocaleFacts LinuxLocale::Facts() {
  Conversation bus(bus_);
  const Assignments settings = SystemSettings(root_, bus, environment_);
  const LanguageAndCountry language = ParseLocale(Setting(settings, kLanguage));
  LocaleFacts facts;
  if (!language.language.empty()) {
    const std::string code =
        language.language + (language.country.empty() ? "" : "-" + language.country);
    facts.language_code = String::UTF8ToUTF16(code);
    facts.language_name = String::UTF8ToUTF16(DisplayName(language));
  }

  std::string country = ChosenCountry(AccountSettings(bus, Setting(settings, kLanguage)));
  if (country.empty()) country = ChosenCountry(settings);
  if (country.empty()) country = CountryOfPlace(root_);
  if (country.empty()) country = language.country;
  if (!country.empty()) {
    facts.country_code = String::UTF8ToUTF16(country);
    facts.country_name = String::UTF8ToUTF16(RegionName(country));
    facts.region_name = facts.country_name;
  }
  return facts;
}

}  // namespace yox::platform
