#include "yox/clientbase/CountryCodeAgent.h"

#include "yox/platform/Platform.h"
#include "yox/platform/system/Locale.h"

using yox::WString;

namespace {

yox::platform::LocaleFacts Facts() { return yox::platform::Platform::Get().locale().Facts(); }

}  // namespace

WString CountryCodeAgent::GetCountryCode() { return Facts().country_code; }
WString CountryCodeAgent::GetEnglishCountryName() { return Facts().country_name; }
WString CountryCodeAgent::GetEnglishRegionName() { return Facts().region_name; }
WString CountryCodeAgent::GetSystemDefaultLanguageCode() { return Facts().language_code; }
WString CountryCodeAgent::GetSystemDefaultLanguageName() { return Facts().language_name; }
