#include "yox/platform/apps/linux/LinuxApplications.h"

#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <set>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "yox/base/Log.h"
#include "yox/base/String.h"
#include "yox/platform/apps/linux/InstalledPackages.h"
#include "yox/platform/files/linux/RootFiles.h"
#include "yox/platform/registry/linux/Database.h"
#include "yox/platform/system/linux/ProgramOutput.h"

namespace yox::platform {
namespace {

namespace fs = std::filesystem;

constexpr const char* kFlatpaks = "var/lib/flatpak/app";
constexpr const char* kSnapFolders[] = {"snap", "var/lib/snapd/snap"};

constexpr std::size_t kMostStatus = std::size_t{1} << 28;
constexpr std::size_t kMostMetainfo = std::size_t{1} << 24;

using Packages = std::vector<InstalledPackage>;

// Why a database cannot be read, for people.
class Unreadable : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

std::string ReadWhole(const fs::path& file) {
  errno = 0;
  const auto text = ReadRootFile(file, kMostStatus);
  if (!text) {
    throw Unreadable(errno != 0 ? std::generic_category().message(errno) : "not a regular file");
  }
  return *text;
}

std::vector<fs::path> FoldersIn(const fs::path& folder, std::error_code& error) {
  std::vector<fs::path> folders;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    std::error_code unknown;
    if (entry->is_directory(unknown)) folders.push_back(entry->path());
  }
  return folders;
}

Packages ReadDpkg(const fs::path& file, const std::string&) {
  return ReadDpkgStatus(ReadWhole(file));
}

Packages ReadApk(const fs::path& file, const std::string&) {
  return ReadApkInstalled(ReadWhole(file));
}

Packages ReadPacman(const fs::path& folder, const std::string&) {
  Packages packages;
  std::error_code error;
  for (const fs::path& package : FoldersIn(folder, error)) {
    if (auto read = ReadPacmanDesc(ReadRootFile(package / "desc").value_or(""))) {
      packages.push_back(std::move(*read));
    }
  }
  if (error) throw Unreadable(error.message());
  return packages;
}

Packages ReadRpmSqlite(const fs::path& file, const std::string&) {
  Packages packages;
  try {
    Database database(file);
    Statement headers = database.Prepare("SELECT blob FROM Packages");
    while (headers.Step()) {
      if (auto package = ReadRpmHeader(headers.Bytes(0))) packages.push_back(std::move(*package));
    }
  } catch (const DatabaseError& failure) {
    throw Unreadable(failure.what());
  }
  return packages;
}

// The formats "ndb" and Berkeley DB, which only rpm reads. An rpm that does not know the format may
// say that there are no packages, but a database that is there has some.
Packages ReadRpmWithItsTool(const fs::path& file, const std::string& rpm) {
  constexpr std::chrono::seconds kLimit{30};
  const auto output = ProgramOutput(
      {rpm, "-qa", "--dbpath", file.parent_path(), "--queryformat", kRpmQueryFormat}, kLimit);
  Packages packages = ReadRpmQuery(output.value_or(""));
  if (packages.empty()) throw Unreadable(rpm + " does not read it");
  return packages;
}

Packages ReadNothing(const fs::path&, const std::string&) {
  throw Unreadable("this format is not supported");
}

struct PackageDatabase {
  const char* manager;
  const char* place;  // a file or a folder
  char separator;     // of name and architecture in a key: "vim:amd64", "vim.x86_64"
  Packages (*read)(const fs::path& place, const std::string& rpm);
};
constexpr PackageDatabase kDatabases[] = {
    {"dpkg", "var/lib/dpkg/status", ':', ReadDpkg},
    {"rpm", "usr/lib/sysimage/rpm/rpmdb.sqlite", '.', ReadRpmSqlite},
    {"rpm", "var/lib/rpm/rpmdb.sqlite", '.', ReadRpmSqlite},
    {"rpm", "usr/lib/sysimage/rpm/Packages.db", '.', ReadRpmWithItsTool},
    {"rpm", "var/lib/rpm/Packages.db", '.', ReadRpmWithItsTool},
    {"rpm", "usr/lib/sysimage/rpm/Packages", '.', ReadRpmWithItsTool},
    {"rpm", "var/lib/rpm/Packages", '.', ReadRpmWithItsTool},
    {"pacman", "var/lib/pacman/local", '.', ReadPacman},
    {"apk", "lib/apk/db/installed", '.', ReadApk},
    {"apk", "usr/lib/apk/db/installed", '.', ReadApk},
    {"portage", "var/db/pkg", '.', ReadNothing},
    {"xbps", "var/db/xbps", '.', ReadNothing},
    {"pkgtools", "var/lib/pkgtools/packages", '.', ReadNothing},
    {"nix", "nix/var/nix/db/db.sqlite", '.', ReadNothing},
    {"guix", "var/guix/db/db.sqlite", '.', ReadNothing},
};

// Calls `visit` with each database that is there, once: some are reached by two names.
template <class Visit>  // (database, place)
void ForEachDatabase(const fs::path& root, const Visit& visit) {
  std::set<fs::path> visited;
  for (const PackageDatabase& database : kDatabases) {
    std::error_code missing;
    const fs::path place = fs::canonical(root / database.place, missing);
    if (!missing && visited.insert(place).second) visit(database, place);
  }
}

void Add(Applications::ByKey& installed, const Packages& packages, char separator) {
  for (const InstalledPackage& package : packages) {
    std::string key = package.name;
    if (!package.architecture.empty()) key += separator + package.architecture;
    installed.emplace(String::UTF8ToUTF16(key),
                      InstalledApplication{String::UTF8ToUTF16(package.name),
                                           String::UTF8ToUTF16(package.publisher),
                                           String::UTF8ToUTF16(package.version)});
  }
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
  ForEachDatabase(root_, [&](const PackageDatabase& database, const fs::path& place) {
    try {
      Add(installed, database.read(place, rpm_), database.separator);
    } catch (const Unreadable& failure) {
      g_log.e("%s %s: %s", "LinuxApplications::Installed", place.string(), failure.what());
    }
  });
  return installed;
}

std::vector<WString> LinuxApplications::Unread() {
  std::vector<WString> unread;
  ForEachDatabase(root_, [&](const PackageDatabase& database, const fs::path& place) {
    try {
      database.read(place, rpm_);
    } catch (const Unreadable& failure) {
      unread.push_back(String::UTF8ToUTF16(std::string(database.manager) + ", " + place.string() +
                                           ": " + failure.what()));
    }
  });
  return unread;
}

std::map<WString, WString> LinuxApplications::Store() {
  std::map<WString, WString> store;
  std::error_code error;
  for (const fs::path& folder : FoldersIn(root_ / kFlatpaks, error)) {
    const fs::path active = folder / "current/active";
    if (!fs::is_directory(active, error)) continue;  // removed, its data kept
    const std::string id = folder.filename().string();
    store.emplace(String::UTF8ToUTF16(id), String::UTF8ToUTF16(FlatpakVersion(active, id)));
  }
  for (const char* const snaps : kSnapFolders) {
    for (const fs::path& folder : FoldersIn(root_ / snaps, error)) {
      const auto yaml = ReadRootFile(folder / "current/meta/snap.yaml");
      const auto snap = yaml ? ReadSnapYaml(*yaml) : std::nullopt;
      if (!snap) continue;
      store.emplace(String::UTF8ToUTF16(snap->name), String::UTF8ToUTF16(snap->version));
    }
  }
  return store;
}

std::uint64_t LinuxApplications::Generation() {
  // FNV-1a over whole numbers.
  constexpr std::uint64_t kFnvPrime = 1099511628211U;
  std::uint64_t generation = 14695981039346656037U;
  const auto add = [&](std::uint64_t number) { generation = (generation ^ number) * kFnvPrime; };
  for (const PackageDatabase& database : kDatabases) {
    const std::string place = root_ / database.place;
    // The latest changes of a SQLite database are in the file beside it.
    for (const std::string& file : {place, place + "-wal"}) {
      struct stat status {};
      if (stat(file.c_str(), &status) != 0) status = {};
      add(static_cast<std::uint64_t>(status.st_ino));
      add(static_cast<std::uint64_t>(status.st_size));
      add(static_cast<std::uint64_t>(status.st_mtim.tv_sec));
      add(static_cast<std::uint64_t>(status.st_mtim.tv_nsec));
    }
  }
  return generation;
}

}  // namespace yox::platform
