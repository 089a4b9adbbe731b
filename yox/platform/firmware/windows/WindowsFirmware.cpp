#include "yox/platform/firmware/windows/WindowsFirmware.h"

#include <windows.h>

#include <string>

#include "yox/platform/firmware/Smbios.h"

namespace yox::platform {

std::optional<FirmwareFacts> WindowsFirmware::Read() const {
  constexpr DWORD kRawSmbios = 0x52534D42;  // 'RSMB'
  std::string table(GetSystemFirmwareTable(kRawSmbios, 0, nullptr, 0), '\0');
  const UINT size =
      GetSystemFirmwareTable(kRawSmbios, 0, table.data(), static_cast<DWORD>(table.size()));
  if (size > table.size()) return std::nullopt;  // it grew in between
  table.resize(size);
  return smbios::Read(table);
}

}  // namespace yox::platform
