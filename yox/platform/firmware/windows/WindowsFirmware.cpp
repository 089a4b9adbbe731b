#include "yox/platform/firmware/windows/WindowsFirmware.h"

#include <windows.h>

#include <string>

#include "yox/platform/firmware/Smbios.h"

namespace yox::platform {
namespace {

std::optional<FirmwareFacts> Read() {
  constexpr DWORD kRawSmbios = 0x52534D42;  // 'RSMB'
  std::string table(GetSystemFirmwareTable(kRawSmbios, 0, nullptr, 0), '\0');
  const UINT size =
      GetSystemFirmwareTable(kRawSmbios, 0, table.data(), static_cast<DWORD>(table.size()));
  if (size > table.size()) return std::nullopt;
  table.resize(size);
  return smbios::Read(table);
}

}  // namespace

const FirmwareFacts* WindowsFirmware::Facts() {
  const std::lock_guard lock(mutex_);
  if (!read_) {
    facts_ = Read();
    read_ = true;
  }
  return facts_ ? &*facts_ : nullptr;
}

void WindowsFirmware::Reread() {
  std::optional<FirmwareFacts> facts = Read();
  const std::lock_guard lock(mutex_);
  facts_ = std::move(facts);
  read_ = true;
}

}  // namespace yox::platform
