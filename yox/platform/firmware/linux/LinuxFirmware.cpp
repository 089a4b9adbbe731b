#include "yox/platform/firmware/linux/LinuxFirmware.h"

#include <string>
#include <system_error>

#include "yox/base/String.h"
#include "yox/platform/files/linux/RootFiles.h"
#include "yox/platform/firmware/Smbios.h"

namespace yox::platform {
namespace {

struct Text {
  const char* file;
  WString FirmwareFacts::*fact;
};
constexpr Text kTexts[] = {
    {"sys_vendor", &FirmwareFacts::manufacturer},
    {"product_name", &FirmwareFacts::model_number},
    {"product_family", &FirmwareFacts::family},
    {"product_sku", &FirmwareFacts::sku},
    {"product_serial", &FirmwareFacts::serial_number},
    {"board_serial", &FirmwareFacts::baseboard_serial_number},
    {"bios_version", &FirmwareFacts::bios_version},
    {"bios_release", &FirmwareFacts::bios_version_short},
    {"bios_date", &FirmwareFacts::bios_release_date},
    {"ec_firmware_release", &FirmwareFacts::ec_version},
};

std::optional<FirmwareFacts> ReadTexts(const std::filesystem::path& folder) {
  std::error_code error;
  if (!std::filesystem::is_directory(folder, error)) return std::nullopt;
  FirmwareFacts facts;
  for (const Text& text : kTexts) {
    facts.*text.fact =
        smbios::WithoutPlaceholder(String::UTF8ToUTF16(ReadRootLine(folder / text.file)));
  }
  facts.bios_release_date = smbios::IsoDate(facts.bios_release_date);
  facts.enclosure_type =
      smbios::EnclosureName(static_cast<unsigned>(ReadRootNumber(folder / "chassis_type")));
  return facts;
}

// Boards without SMBIOS are described by a device tree. Its strings end with a zero byte.
std::optional<FirmwareFacts> ReadDeviceTree(const std::filesystem::path& folder) {
  std::error_code error;
  if (!std::filesystem::is_directory(folder, error)) return std::nullopt;
  const auto text = [&](const char* property) {
    const std::string bytes = ReadRootLine(folder / property);
    return smbios::WithoutPlaceholder(String::UTF8ToUTF16(bytes.substr(0, bytes.find('\0'))));
  };
  FirmwareFacts facts;
  facts.model_number = text("model");
  facts.serial_number = text("serial-number");
  return facts;
}

}  // namespace

std::optional<FirmwareFacts> LinuxFirmware::Read() const {
  const std::filesystem::path tables = root_ / "sys/firmware/dmi/tables";
  if (const auto structures = ReadRootFile(tables / "DMI")) {
    const auto entry_point = ReadRootFile(tables / "smbios_entry_point");
    if (auto facts = smbios::Read(entry_point.value_or(""), *structures)) return facts;
  }
  if (auto facts = ReadTexts(root_ / "sys/class/dmi/id")) return facts;
  return ReadDeviceTree(root_ / "sys/firmware/devicetree/base");
}

}  // namespace yox::platform
