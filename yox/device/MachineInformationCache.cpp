#include <optional>

#include "yox/base/Json.h"
#include "yox/base/String.h"
#include "yox/clientbase/FileSystem.h"
#include "yox/clientbase/Paths.h"
#include "yox/device/CacheFile.h"
#include "yox/device/CacheKeys.h"
#include "yox/device/MachineCache.h"
#include "yox/device/MachineInformation.h"

using namespace yox::literals;
using YOX::String;
using yox::WString;

constexpr yox::WStringView MachineInformation::s_MachineInformationSharedFolderSubPath =
    yox::device::kSharedFolder;
constexpr yox::WStringView MachineInformation::s_MachineInformationFileName =
    yox::device::kMachineFile;

void MachineInformation::Initialize() {
  const yox::RecursiveMutexLock lock(lock_);
  if (initialized_.exchange(true)) return;
  FileSystem::createDirectory(yox::device::CachePath({}), true);
  if (!LoadMachineInformationFromFile()) {
    ReadMachineInformation(false);
    SaveMachineInformationToFile();
  }
}

void MachineInformation::ReInitialize(bool force) {
  if (!force) return;
  const yox::RecursiveMutexLock lock(lock_);
  ReadMachineInformation(force);
  SaveMachineInformationToFile();
}

bool MachineInformation::LoadMachineInformationFromFile() {
  try {
    const std::optional<std::string> text =
        yox::device::ReadCacheFile(yox::device::CachePath(s_MachineInformationFileName));
    if (text) DeSerialize(*text);
    return text.has_value();
  } catch (...) {
    return false;
  }
}

bool MachineInformation::SaveMachineInformationToFile() {
  try {
    return yox::device::WriteCacheFile(yox::device::CachePath(s_MachineInformationFileName),
                                       [this] { return Serialize(); });
  } catch (...) {
    return false;
  }
}

std::string MachineInformation::Serialize() {
  try {
    Json::Value root;
    for (const yox::device::CacheKey& key : yox::device::kCacheKeys) {
      if (!key.text) {
        root[key.name] = os_is_s_mode();
      } else if (*key.text == Text::device_manufacturer) {
        root[key.name] = String::UTF16ToUTF8(device_manufacturer());  // can be overridden
      } else {
        root[key.name] = String::UTF16ToUTF8(View(*key.text));
      }
    }
    return yox::JsonText(root, yox::JsonStyle::kCompact);
  } catch (...) {
    return {};
  }
}

void MachineInformation::DeSerialize(const std::string& text) {
  try {
    const std::optional<Json::Value> document = yox::ParseLenientJson(text);
    if (!document) return;
    const Json::Value& root = *document;
    for (const yox::device::CacheKey& key : yox::device::kCacheKeys) {
      if (key.text) {
        Set(*key.text, String::UTF8ToUTF16(root[key.name].asString()));
      } else {
        set_os_is_s_mode(root[key.name].asBool());
      }
    }
  } catch (...) {  // NOLINT(bugprone-empty-catch): what was read before stays
  }
}

std::optional<WString> yox::device::UnusableMachineCache() {
  const WString path = CachePath(kMachineFile);
  const std::optional<std::string> text = ReadCacheFile(path);
  if (!text) return std::nullopt;
  try {
    const std::optional<Json::Value> document = ParseLenientJson(*text);
    if (document && document->isObject()) return std::nullopt;
  } catch (const Json::Exception&) {  // NOLINT(bugprone-empty-catch): nested too deeply
  }
  return path;
}
