#include "yox/platform/apps/linux/LinuxApplications.h"

#include <sys/stat.h>

#include <string>
#include <system_error>
#include <vector>

#include "yox/base/Log.h"
#include "yox/base/String.h"
#include "yox/platform/apps/linux/InstalledPackages.h"
#include "yox/platform/files/linux/RootFiles.h"
#include "yox/platform/registry/linux/Database.h"

namespace yox::platform {
namespace {

namespace fs = std::filesystem;

constexpr const char* kDpkgStatus = "var/lib/dpkg/status";
constexpr const char* kRpmDatabases[] = {"usr/lib/sysimage/rpm/rpmdb.sqlite",
                                         "var/lib/rpm/rpmdb.sqlite"};
constexpr const char* kFlatpaks = "var/lib/flatpak/app";
constexpr const char* kSnapFolders[] = {"snap", "var/lib/snapd/snap"};

constexpr std::size_t kMostStatus = std::size_t{1} << 28;
constexpr std::size_t kMostMetainfo = std::size_t{1} << 24;

std::vector<InstalledPackage> ReadRpmDatabase(const fs::path& file) {
  std::vector<InstalledPackage> packages;
  std::error_code error;
  if (!fs::exists(file, error)) return packages;
  try {
    Database database(file);
    Statement headers = database.Prepare("SELECT blob FROM Packages");
    while (headers.Step()) {
      if (auto package = ReadRpmHeader(headers.Bytes(0))) packages.push_back(std::move(*package));
    }
  } catch (const DatabaseError& failure) {
    g_log.e("%s %s: %s", "LinuxApplications::ReadRpmDatabase", file.string(), failure.what());
  }
  return packages;
}

// The same database may be reached by two names.
bool IsAnother(const fs::path& file, const fs::path& former) {
  std::error_code error;
  return !fs::equivalent(file, former, error);
}

// "name:amd64", "name.x86_64"
void Add(Applications::ByKey& installed, const std::vector<InstalledPackage>& packages,
         char separator) {
  for (const InstalledPackage& package : packages) {
    std::string key = package.name;
    if (!package.architecture.empty()) key += separator + package.architecture;
    installed.emplace(String::UTF8ToUTF16(key),
                      InstalledApplication{String::UTF8ToUTF16(package.name),
                                           String::UTF8ToUTF16(package.publisher),
                                           String::UTF8ToUTF16(package.version)});
  }
}

std::vector<fs::path> FoldersIn(const fs::path& folder) {
  std::vector<fs::path> folders;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    std::error_code unknown;
    if (entry->is_directory(unknown)) folders.push_back(entry->path());
  }
  return folders;
}

std::string FlatpakVersion(const fs::path& active, const std::string& id) {
  const fs::path share = active / "files/share";
  for (const std::string& file :
       {"metainfo/" + id + ".metainfo.xml", "appdata/" + id + ".appdata.xml",
        "metainfo/" + id + ".appdata.xml"}) {
    if (const auto xml = ReadRootFile(share / file, kMostMetainfo)) {
      return ReadMetainfoVersion(*xml);
    }
  }
  return {};
}

}  // namespace

Applications::ByKey LinuxApplications::Installed(ApplicationSource source) {
  ByKey installed;
  if (source != ApplicationSource::kMachine) return installed;
  if (const auto status = ReadRootFile(root_ / kDpkgStatus, kMostStatus)) {
    Add(installed, ReadDpkgStatus(*status), ':');
  }
  const fs::path former = root_ / kRpmDatabases[0];
  for (const char* const name : kRpmDatabases) {
    const fs::path file = root_ / name;
    if (file == former || IsAnother(file, former)) Add(installed, ReadRpmDatabase(file), '.');
  }
  return installed;
}

std::map<WString, WString> LinuxApplications::Store() {
  std::map<WString, WString> store;
  for (const fs::path& folder : FoldersIn(root_ / kFlatpaks)) {
    const fs::path active = folder / "current/active";
    std::error_code error;
    if (!fs::is_directory(active, error)) continue;  // removed, its data kept
    const std::string id = folder.filename().string();
    store.emplace(String::UTF8ToUTF16(id), String::UTF8ToUTF16(FlatpakVersion(active, id)));
  }
  for (const char* const snaps : kSnapFolders) {
    for (const fs::path& folder : FoldersIn(root_ / snaps)) {
      const auto yaml = ReadRootFile(folder / "current/meta/snap.yaml");
      const auto snap = yaml ? ReadSnapYaml(*yaml) : std::nullopt;
      if (!snap) continue;
      store.emplace(String::UTF8ToUTF16(snap->name), String::UTF8ToUTF16(snap->version));
    }
  }
  return store;
}

std::uint64_t LinuxApplications::Generation() {
  constexpr std::uint64_t kFnvPrime = 1099511628211U;
  std::uint64_t generation = 14695981039346656037U;
  const auto add = [&](std::uint64_t number) { generation = (generation ^ number) * kFnvPrime; };
  const auto add_file = [&](const fs::path& file) {
    struct stat status {};
    if (stat(file.c_str(), &status) != 0) status = {};
    add(static_cast<std::uint64_t>(status.st_ino));
    add(static_cast<std::uint64_t>(status.st_size));
    add(static_cast<std::uint64_t>(status.st_mtim.tv_sec));
    add(static_cast<std::uint64_t>(status.st_mtim.tv_nsec));
  };
  add_file(root_ / kDpkgStatus);
  for (const char* const name : kRpmDatabases) {
    const fs::path file = root_ / name;
    add_file(file);
    add_file(file.string() + "-wal");  // where the latest changes stand
  }
  return generation;
}

}  // namespace yox::platform
