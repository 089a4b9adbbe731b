#include "yox/platform/system/linux/LinuxJoinState.h"

#include <set>
#include <string>
#include <system_error>
#include <vector>

#include "yox/platform/files/linux/RootFiles.h"
#include "yox/platform/system/linux/DomainMembership.h"

namespace yox::platform {
namespace {

namespace fs = std::filesystem;

// Whether realmd has a configured realm; std::nullopt without realmd.
std::optional<bool> RealmdHasDomain(SystemBus& system_bus) {
  constexpr const char* kRealmd = "org.freedesktop.realmd";
  SystemBus::Conversation bus(system_bus);
  const auto realms =
      bus.Paths({kRealmd, "/org/freedesktop/realmd", "org.freedesktop.realmd.Provider"}, "Realms");
  if (!realms) return std::nullopt;
  for (const std::string& realm : *realms) {
    // The kind of configuration; empty for a realm that was only discovered.
    const auto kind = bus.Text({kRealmd, realm, "org.freedesktop.realmd.Realm"}, "Configured");
    if (!kind.value_or("").empty()) return true;
  }
  return false;
}

// sssd.conf, and the snippets beside it in the order of their names.
bool SssdFolderHasDomain(const fs::path& folder) {
  std::set<fs::path> snippets;
  std::error_code error;
  for (fs::directory_iterator entry(folder / "conf.d", error), end; !error && entry != end;
       entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    if (name.ends_with(".conf") && !name.starts_with('.')) snippets.insert(entry->path());
  }
  std::vector<std::string> texts = {ReadRootFile(folder / "sssd.conf").value_or("")};
  for (const fs::path& snippet : snippets) texts.push_back(ReadRootFile(snippet).value_or(""));
  return SssdHasDomain(std::vector<std::string_view>(texts.begin(), texts.end()));
}

bool FilesNameADomain(const fs::path& root) {
  return SssdFolderHasDomain(root / "etc/sssd") ||
         WinbindHasDomain(ReadRootFile(root / "etc/samba/smb.conf").value_or("")) ||
         KeytabHasMachine(ReadRootFile(root / "etc/krb5.keytab").value_or(""));
}

}  // namespace

JoinAnswer LinuxJoinState::Domain() {
  const std::optional<bool> realmd = RealmdHasDomain(bus_);
  const bool joined = realmd.value_or(false) || FilesNameADomain(root_);
  if (!joined && !realmd) return {};
  return {JoinAnswer::Outcome::kAsked, 0, joined};
}

}  // namespace yox::platform
