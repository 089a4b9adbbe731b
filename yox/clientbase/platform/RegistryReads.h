#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "yox/clientbase/WString.h"
#include "yox/clientbase/platform/Registry.h"

// Reads of values below HKEY_LOCAL_MACHINE by the platform in use. A value of another type than the
// one asked for is none. Safe from any thread.
namespace YOX::platform {

std::optional<WString> ReadMachineText(WStringView key, WStringView value);
// The texts of a multi-text; none when there is no such value.
std::vector<WString> ReadMachineTexts(WStringView key, WStringView value);
std::optional<std::uint32_t> ReadMachineDword(WStringView key, WStringView value);

}  // namespace YOX::platform
