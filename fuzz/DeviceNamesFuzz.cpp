#include <string>

#include "yox/platform/devices/BusIdentifiers.h"
#include "yox/platform/registry/MultiString.h"

#include "fuzz/FuzzInput.h"

namespace {

namespace bus = yox::platform::bus;

// Names have an instance part and IDs, none of them empty, or nothing.
void CheckNames(const bus::Names& names) {
  if (names.empty()) return;
  FUZZ_CHECK(!names.device.empty());
  for (const std::string& id : names.hardware_ids) {
    FUZZ_CHECK(!id.empty());
    for (const char c : id) FUZZ_CHECK(c > ' ' && c <= '~' && c != ',');
  }
}

}  // namespace

// A line of a bus's text, read as every bus would; the rest is an EDID and a multi-string.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  yox_fuzz::FuzzInput input(data, size);
  const std::string_view text = input.Line();
  const std::string_view rest = input.Rest();
  CheckNames(bus::Pci(text, bus::Hexadecimal(rest.substr(0, 8))));
  CheckNames(bus::Hid(text, std::nullopt, std::nullopt));
  CheckNames(bus::Acpi(bus::FirstAcpiId(text)));
  CheckNames(bus::Acpi(bus::FirstPnpId(text)));
  CheckNames(bus::Storage({"SCSI", 0, text, rest, text}));
  CheckNames(bus::Monitor(rest));

  const auto texts = yox::platform::ReadMultiString(yox::platform::kMultiStringType, rest);
  const std::string written = yox::platform::WriteMultiString(texts);
  FUZZ_CHECK(yox::platform::ReadMultiString(yox::platform::kMultiStringType, written) == texts);
  FUZZ_CHECK(yox::platform::ReadMultiString(1, rest).empty());
  return 0;
}
