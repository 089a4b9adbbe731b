#include "yox/platform/system/linux/LinuxLocale.h"

#include <unicode/timezone.h>
#include <unicode/uloc.h>

#include <algorithm>
#include <cstdlib>
#include <map>
#include <string>
#include <system_error>

#include "yox/base/String.h"
#include "yox/platform/files/linux/RootFiles.h"
#include "yox/platform/system/linux/Assignments.h"

namespace yox::platform {
namespace {

using Settings = std::map<std::string, std::string, std::less<>>;

Settings ReadSettings(const std::filesystem::path& root) {
  for (const char* const file : {"etc/locale.conf", "etc/default/locale"}) {
    if (const auto text = ReadRootFile(root / file)) return ReadAssignments(*text);
  }
  const char* const language = root == "/" ? std::getenv("LANG") : nullptr;
  return language != nullptr ? Settings{{"LANG", language}} : Settings();
}

std::string Setting(const Settings& settings, std::string_view name) {
  const auto setting = settings.find(name);
  return setting != settings.end() ? setting->second : std::string();
}

// The language and the country of "de_AT.UTF-8@euro"; both empty for C and POSIX.
struct LanguageAndCountry {
  std::string language;
  std::string country;
};
LanguageAndCountry ParseLocale(std::string_view locale) {
  const std::string_view name = locale.substr(0, locale.find_first_of(".@"));
  if (name == "C" || name == "POSIX") return {};
  const std::size_t border = std::min(name.find('_'), name.size());
  return {std::string(name.substr(0, border)),
          std::string(name.substr(std::min(border + 1, name.size())))};
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

std::string CountryOfZone(const std::string& zone) {
  constexpr std::string_view kWholeWorld = "001";
  char country[8] = {};
  UErrorCode error = U_ZERO_ERROR;
  icu::TimeZone::getRegion(icu::UnicodeString::fromUTF8(zone), country, sizeof country, error);
  return U_SUCCESS(error) && country != kWholeWorld ? country : std::string();
}

template <class Describe>
WString EnglishName(const std::string& locale, Describe describe) {
  WChar name[128];
  UErrorCode error = U_ZERO_ERROR;
  const int32_t length = describe(locale.c_str(), "en", name, int32_t{std::size(name)}, &error);
  return U_SUCCESS(error) && length > 0 ? WString(name, static_cast<std::size_t>(length))
                                        : WString();
}

}  // namespace

LocaleFacts LinuxLocale::Facts() {
  const Settings settings = ReadSettings(root_);
  LocaleFacts facts;

  const LanguageAndCountry language = ParseLocale(Setting(settings, "LANG"));
  if (!language.language.empty()) {
    const std::string code =
        language.language + (language.country.empty() ? "" : "-" + language.country);
    facts.language_code = String::UTF8ToUTF16(code);
    facts.language_name = EnglishName(code, uloc_getDisplayName);
  }

  std::string country;
  for (const char* const name : {"LC_ALL", "LC_MONETARY", "LC_PAPER", "LANG"}) {
    if (country.empty()) country = ParseLocale(Setting(settings, name)).country;
  }
  if (country.empty()) country = CountryOfZone(ZoneName(root_));
  if (!country.empty()) {
    facts.country_code = String::UTF8ToUTF16(country);
    facts.country_name = EnglishName("und-" + country, uloc_getDisplayCountry);
    facts.region_name = facts.country_name;
  }
  return facts;
}

}  // namespace yox::platform
