#include "yox/clientbase/SMBiosInformationRetriever.h"

#include "yox/platform/Platform.h"
#include "yox/platform/firmware/Firmware.h"

using yox::WString;
using yox::platform::FirmwareFacts;
using yox::platform::Platform;

namespace {

WString Fact(WString FirmwareFacts::*fact) {
  const FirmwareFacts* const facts = Platform::Get().firmware().Facts();
  return facts != nullptr ? facts->*fact : WString();
}

}  // namespace

SMBiosInformationRetriever* SMBiosInformationRetriever::GetInstance() {
  static SMBiosInformationRetriever retriever;
  return Platform::Get().firmware().Facts() != nullptr ? &retriever : nullptr;
}

void SMBiosInformationRetriever::ReInitialize() { Platform::Get().firmware().Reread(); }

WString SMBiosInformationRetriever::GetManufacturer() const {
  return Fact(&FirmwareFacts::manufacturer);
}
WString SMBiosInformationRetriever::GetFamily() const { return Fact(&FirmwareFacts::family); }
WString SMBiosInformationRetriever::GetModelNumber() const {
  return Fact(&FirmwareFacts::model_number);
}
WString SMBiosInformationRetriever::GetSKU() const { return Fact(&FirmwareFacts::sku); }
WString SMBiosInformationRetriever::GetSerialNumber() const {
  return Fact(&FirmwareFacts::serial_number);
}
WString SMBiosInformationRetriever::GetOrlaSerialNumber() const {
  return Fact(&FirmwareFacts::baseboard_serial_number);
}
WString SMBiosInformationRetriever::GetEnclosureType() const {
  return Fact(&FirmwareFacts::enclosure_type);
}
WString SMBiosInformationRetriever::GetBiosVersion() const {
  return Fact(&FirmwareFacts::bios_version);
}
WString SMBiosInformationRetriever::GetBiosVersionShort() const {
  return Fact(&FirmwareFacts::bios_version_short);
}
WString SMBiosInformationRetriever::GetBiosReleaseDate() const {
  return Fact(&FirmwareFacts::bios_release_date);
}
WString SMBiosInformationRetriever::GetEcVersion() const {
  return Fact(&FirmwareFacts::ec_version);
}
WString SMBiosInformationRetriever::GetECReleaseDate() const {
  return Fact(&FirmwareFacts::ec_release_date);
}
WString SMBiosInformationRetriever::GetSmBiosVersion() const {
  return Fact(&FirmwareFacts::smbios_version);
}
