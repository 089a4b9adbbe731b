#pragma once

#include <string>
#include <string_view>

// English names and countries from tables of the library's own, the same on every system.
namespace yox::platform {

// Returns the name of a language of ISO 639, such as "German" for "de" in either case; a code
// without a name is returned in lower case.
std::string LanguageName(std::string_view code);

// Returns the name of a region, such as "Germany" for "DE" and "Latin America" for "419"; a code
// without a name is returned as it is.
std::string_view RegionName(std::string_view code);

// Returns the country of a time zone, current or former name, such as "US" for "US/Pacific"; empty
// for one that is in no country or unknown.
std::string_view CountryOfZone(std::string_view zone);

}  // namespace yox::platform
