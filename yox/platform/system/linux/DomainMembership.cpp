#include "yox/platform/system/linux/DomainMembership.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "yox/platform/system/linux/Lines.h"

namespace yox::platform {
namespace {

// "key = value" by section. Names of keys are lower-case, and without the blanks that Samba ignores
// in them.
using Ini = std::map<std::string, std::map<std::string, std::string, std::less<>>, std::less<>>;

std::string LowerCase(std::string_view text) {
  std::string lower(text);
  std::ranges::transform(lower, lower.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return lower;
}

void ReadIni(std::string_view text, Ini& ini) {
  std::string section;
  while (!text.empty()) {
    std::string_view line = Trimmed(TakeLine(text));
    if (line.starts_with('#') || line.starts_with(';')) continue;
    if (line.starts_with('[') && line.ends_with(']')) {
      section = Trimmed(line.substr(1, line.size() - 2));
    } else if (line.find('=') != std::string_view::npos) {
      std::string key = LowerCase(TakeUpTo(line, '='));
      std::erase_if(key, [](char c) { return c == ' ' || c == '\t'; });
      ini[section][key] = LowerCase(Trimmed(line));
    }
  }
}

std::string_view Value(const Ini& ini, std::string_view section, std::string_view key) {
  const auto in = ini.find(section);
  if (in == ini.end()) return {};
  const auto value = in->second.find(key);
  return value != in->second.end() ? value->second : std::string_view();
}

bool IsInList(std::string_view list, std::string_view wanted) {
  while (!list.empty()) {
    if (Trimmed(TakeUpTo(list, ',')) == wanted) return true;
  }
  return false;
}

// Takes big-endian numbers and counted strings from the front of a keytab.
class KeytabReader {
 public:
  explicit KeytabReader(std::string_view bytes) : bytes_(bytes) {}

  std::optional<std::uint32_t> Number(std::size_t size) {
    const auto bytes = Bytes(size);
    if (!bytes) return std::nullopt;
    std::uint32_t number = 0;
    for (const char byte : *bytes) number = number << 8 | static_cast<unsigned char>(byte);
    return number;
  }
  std::optional<std::string_view> Bytes(std::size_t size) {
    if (size > bytes_.size()) return std::nullopt;
    const std::string_view taken = bytes_.substr(0, size);
    bytes_.remove_prefix(size);
    return taken;
  }
  std::optional<std::string_view> String() {
    const auto size = Number(2);
    return size ? Bytes(*size) : std::nullopt;
  }

 private:
  std::string_view bytes_;
};

bool IsMachine(KeytabReader entry) {
  const auto count = entry.Number(2);
  const auto realm = entry.String();
  const auto first = entry.String();
  if (!count || !realm || realm->empty() || !first) return false;
  return (*count == 1 && first->size() > 1 && first->ends_with('$')) ||
         (*count == 2 && *first == "host");
}

}  // namespace

bool SssdHasDomain(const std::vector<std::string_view>& files) {
  constexpr std::string_view kDomain = "domain/";
  Ini ini;
  for (const std::string_view file : files) ReadIni(file, ini);
  return std::ranges::any_of(ini, [&](const auto& entry) {
    const auto name = After(entry.first, kDomain);
    if (!name) return false;
    const std::string_view provider = Value(ini, entry.first, "id_provider");
    const bool enabled = IsInList(Value(ini, "sssd", "domains"), LowerCase(*name)) ||
                         Value(ini, entry.first, "enabled") == "true";
    return enabled && (provider == "ad" || provider == "ipa");
  });
}

bool WinbindHasDomain(std::string_view smb_conf) {
  Ini ini;
  ReadIni(smb_conf, ini);
  const std::string_view security = Value(ini, "global", "security");
  return security == "ads" || security == "domain";
}

bool KeytabHasMachine(std::string_view keytab) {
  KeytabReader file(keytab);
  if (file.Number(2) != 0x0502U) return false;
  for (;;) {
    const auto size = file.Number(4);
    // A negative size is a hole of that many bytes, where an entry was deleted.
    const auto length = static_cast<std::int32_t>(size.value_or(0));
    if (length == 0) return false;
    const auto entry = file.Bytes(length < 0 ? 0U - *size : *size);
    if (!entry) return false;
    if (length > 0 && IsMachine(KeytabReader(*entry))) return true;
  }
}

}  // namespace yox::platform
