#pragma once

#include <cstdint>
#include <optional>

#include "yox/base/WString.h"
#include "yox/platform/registry/Registry.h"
#include "yox/platform/users/Users.h"

// Reads facts about the device that the system keeps in the registry. A missing key, a value of
// another type and a failed read all mean that the fact is not known.
namespace yox::platform {

// A key below HKEY_LOCAL_MACHINE, in the 64-bit view.
RegistryKey KeyOfMachine(WStringView path);

// A key of the user on whose behalf this process runs: its own, or for a process of the system's
// account the user who is logged on. std::nullopt if there is none.
std::optional<RegistryKey> KeyOfUser(Users& users, WStringView path);

// A REG_SZ or REG_EXPAND_SZ, up to its terminator; empty if it is not known.
WString ReadText(Registry& registry, const RegistryKey& key, WStringView name);

// A REG_DWORD.
std::optional<std::uint32_t> ReadNumber(Registry& registry, const RegistryKey& key,
                                        WStringView name);

// The location of the device according to the user's settings, otherwise to the machine's.
struct ChosenRegion {
  std::uint32_t place = 0;  // Windows' number of it (GEOID), 94 for Germany; 0: not known
  WString code;             // "DE"; empty: not known

  friend bool operator==(const ChosenRegion&, const ChosenRegion&) = default;
};
ChosenRegion ReadChosenRegion(Registry& registry, Users& users);

}  // namespace yox::platform
