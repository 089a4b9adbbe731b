#include "yox/device/RegionInformation.h"

#include <optional>

#include "yox/base/Json.h"
#include "yox/base/String.h"
#include "yox/clientbase/CountryCodeAgent.h"
#include "yox/clientbase/FileSystem.h"
#include "yox/clientbase/Paths.h"
#include "yox/clientbase/System.h"
#include "yox/device/CacheFile.h"
#include "yox/platform/files/PathText.h"

using namespace yox::literals;
using YOX::String;
using YOX::System;
using yox::WString;

namespace {

constexpr yox::WStringView kFile = "\\RegionInformationCached.json"_wv;

}  // namespace

struct RegionInformation::Field {
  const char* key;
  WString RegionInformation::*value;
  WString (*read)();
};

// In the order in which the values are read from the system.
const RegionInformation::Field RegionInformation::kFields[] = {
    {"country_code", &RegionInformation::country_code_, CountryCodeAgent::GetCountryCode},
    {"language_code", &RegionInformation::language_code_,
     CountryCodeAgent::GetSystemDefaultLanguageCode},
    {"country_name", &RegionInformation::country_name_, CountryCodeAgent::GetEnglishCountryName},
    {"language_name", &RegionInformation::language_name_,
     CountryCodeAgent::GetSystemDefaultLanguageName},
    {"region_name", &RegionInformation::region_name_, CountryCodeAgent::GetEnglishRegionName},
    {"region_info_datetime", &RegionInformation::region_info_datetime_, System::GetTime},
};

RegionInformation* RegionInformation::GetInstance() {
  static RegionInformation* const instance = new RegionInformation;
  return instance;
}

void RegionInformation::Init(bool force) {
  if (!force && LoadRegionInformationFromFile()) return;
  WString user;
  System::GetLoggedInUserSID(user);
  if (!user.empty()) {
    InitValuesFromApis();
    SaveRegionInformationToFile();
  } else if (!LoadRegionInformationFromFile()) {
    // Values that were read without a user must not reach the file.
    InitValuesFromApis();
  }
}

void RegionInformation::InitValuesFromApis() {
  for (const Field& field : kFields) this->*field.value = field.read();
}

bool RegionInformation::LoadRegionInformationFromFile() {
  try {
    WString path;
    if (YOX::utility::GetYoxAppDataRootPath(path)) path = yox::device::CachePath(kFile);
    if (!FileSystem::fileExists(path)) {
      path = FileSystem::GetCommonApplicationDataPath() +
             yox::platform::NativePath("\\tervan\\yox"_w + WString(yox::device::kSharedFolder) +
                                       WString(kFile));
    }
    const std::optional<std::string> text = yox::device::ReadCacheFile(path);
    if (text) DeSerialize(*text);
    return text.has_value();
  } catch (...) {
    return false;
  }
}

bool RegionInformation::SaveRegionInformationToFile() const {
  try {
    return yox::device::WriteCacheFile(yox::device::CachePath(kFile),
                                       [this] { return Serialize(); });
  } catch (...) {
    return false;
  }
}

std::string RegionInformation::Serialize() const {
  try {
    Json::Value root;
    for (const Field& field : kFields) root[field.key] = String::UTF16ToUTF8(this->*field.value);
    return yox::JsonText(root, yox::JsonStyle::kCompact);
  } catch (...) {
    return {};
  }
}

void RegionInformation::DeSerialize(const std::string& text) {
  // The order of reading: if a key cannot be converted, the members of those after it keep their
  // values.
  constexpr const char* kOrder[] = {"region_name",   "country_code",  "country_name",
                                    "language_code", "language_name", "region_info_datetime"};
  try {
    const std::optional<Json::Value> document = yox::ParseLenientJson(text);
    if (!document) return;
    const Json::Value& root = *document;
    for (const std::string_view key : kOrder) {
      for (const Field& field : kFields) {
        if (key == field.key) {
          this->*field.value = String::UTF8ToUTF16(root[field.key].asString());
        }
      }
    }
  } catch (...) {  // NOLINT(bugprone-empty-catch): what was read before stays
  }
}
