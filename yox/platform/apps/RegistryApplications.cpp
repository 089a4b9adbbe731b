#include "yox/platform/apps/RegistryApplications.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

#include "yox/base/String.h"
#include "yox/platform/system/RegistryFacts.h"

namespace yox::platform {
namespace {

constexpr WStringView kUninstall = "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall"_wv;
constexpr WStringView kUninstall32 =
    "SOFTWARE\\WOW6432Node\\Microsoft\\Windows\\CurrentVersion\\Uninstall"_wv;
constexpr WStringView kStagedPackages =
    "SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Appx\\AppxAllUserStore\\Applications"_wv;
constexpr WStringView kUsersPackages =
    "Software\\Classes\\Local Settings\\Software\\Microsoft\\Windows\\CurrentVersion\\AppModel\\"
    "Repository\\Packages"_wv;

// A package's version is four numbers of at most 16 bits.
std::optional<std::array<std::uint32_t, 4>> PackageVersion(WStringView text) {
  std::array<std::uint32_t, 4> numbers{};
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    const WStringView digits = text.substr(0, text.find(WChar{'.'}));
    const bool is_last = i + 1 == numbers.size();
    if (digits.empty() || digits.size() > 5 || is_last != (digits.size() == text.size())) {
      return std::nullopt;
    }
    for (const WChar digit : digits) {
      if (digit < '0' || digit > '9') return std::nullopt;
      numbers[i] = 10 * numbers[i] + static_cast<std::uint32_t>(digit - '0');
    }
    text.remove_prefix(is_last ? digits.size() : digits.size() + 1);
  }
  return numbers;
}

}  // namespace

Applications::ByKey RegistryApplications::Installed(ApplicationSource source) {
  ByKey installed;
  const std::optional<RegistryKey> uninstall =
      source == ApplicationSource::kUser      ? KeyOfUser(users_, kUninstall)
      : source == ApplicationSource::kMachine ? KeyOfMachine(kUninstall)
                                              : KeyOfMachine(kUninstall32);
  std::vector<WString> names;
  if (!uninstall || registry_.SubKeys(*uninstall, names) != RegistryStatus::kOk) return installed;
  for (const WString& name : names) {
    RegistryKey key = *uninstall;
    key.path += "\\"_w + name;
    InstalledApplication application{ReadText(registry_, key, "DisplayName"_wv),
                                     ReadText(registry_, key, "Publisher"_wv),
                                     ReadText(registry_, key, "DisplayVersion"_wv)};
    if (!application.name.empty()) installed.emplace(name, std::move(application));
  }
  return installed;
}

std::map<WString, WString> RegistryApplications::Store() {
  std::map<WString, WString> packages;
  for (const std::optional<RegistryKey>& key :
       {std::optional(KeyOfMachine(kStagedPackages)), KeyOfUser(users_, kUsersPackages)}) {
    std::vector<WString> names;
    if (!key || registry_.SubKeys(*key, names) != RegistryStatus::kOk) continue;
    for (const WString& full_name : names) {
      auto package = ReadPackageFullName(full_name);
      if (!package) continue;
      const auto [known, is_new] = packages.insert(*package);
      if (!is_new && PackageVersion(known->second) < PackageVersion(package->second)) {
        known->second = std::move(package->second);
      }
    }
  }
  return packages;
}

std::optional<std::pair<WString, WString>> ReadPackageFullName(WStringView full_name) {
  // Name, version, architecture, resource, publisher.
  const std::vector<WString> parts = String::Split(full_name, WChar{'_'});
  if (parts.size() != 5 || parts[0].empty() || !PackageVersion(parts[1])) return std::nullopt;
  if (!parts[3].empty() && parts[3] != "neutral"_wv) return std::nullopt;
  return std::pair(parts[0], parts[1]);
}

}  // namespace yox::platform
