#include "yox/platform/system/windows/WindowsLocale.h"

#include <windows.h>

#include "yox/platform/system/RegistryFacts.h"

namespace yox::platform {
namespace {

WString Geographic(GEOID place, GEOTYPE what) {
  constexpr LANGID kEnglish = MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US);
  wchar_t text[256] = {};
  return GetGeoInfoW(place, what, text, static_cast<int>(std::size(text)), kEnglish) > 0
             ? WString(text)
             : WString();
}

WString OfLocale(const WString& locale, LCTYPE what) {
  wchar_t text[256] = {};
  return GetLocaleInfoEx(locale.c_str(), what, text, static_cast<int>(std::size(text))) > 0
             ? WString(text)
             : WString();
}

}  // namespace

LocaleFacts WindowsLocale::Facts() {
  LocaleFacts facts;
  const ChosenRegion chosen = ReadChosenRegion(registry_, users_);
  // GetUserGeoID alone would be the location of the service's own account, which no user has
  // chosen.
  const GEOID place =
      chosen == ChosenRegion() ? GetUserGeoID(GEOCLASS_NATION) : static_cast<GEOID>(chosen.place);
  facts.country_code = Geographic(place, GEO_ISO2);
  if (facts.country_code.empty()) facts.country_code = chosen.code;
  facts.region_name = Geographic(place, GEO_FRIENDLYNAME);
  if (!facts.country_code.empty()) {
    facts.country_name = OfLocale(L"en-" + facts.country_code, LOCALE_SENGLISHCOUNTRYNAME);
  }
  // Each name is used for the other if that is missing: not every system has both.
  if (facts.country_name.empty()) facts.country_name = facts.region_name;
  if (facts.region_name.empty()) facts.region_name = facts.country_name;

  wchar_t language[LOCALE_NAME_MAX_LENGTH] = {};
  if (GetSystemDefaultLocaleName(language, LOCALE_NAME_MAX_LENGTH) > 0) {
    facts.language_code = language;
    facts.language_name = OfLocale(facts.language_code, LOCALE_SENGLISHDISPLAYNAME);
  }
  return facts;
}

}  // namespace yox::platform
