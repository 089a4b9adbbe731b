#include "yox/clientbase/CountryCodeAgent.h"

#include "yox/clientbase/platform/Platform.h"

using YOX::WString;

namespace {

YOX::platform::LocaleFacts Facts() { return YOX::platform::Platform::Get().locale().Facts(); }

}  // namespace

WString CountryCodeAgent::GetCountryCode() { return Facts().country_code; }
WString CountryCodeAgent::GetEnglishCountryName() { return Facts().country_name; }
WString CountryCodeAgent::GetEnglishRegionName() { return Facts().region_name; }
WString CountryCodeAgent::GetSystemDefaultLanguageCode() { return Facts().language_code; }
WString CountryCodeAgent::GetSystemDefaultLanguageName() { return Facts().language_name; }
