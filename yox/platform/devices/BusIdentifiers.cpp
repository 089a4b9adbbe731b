#include "yox/platform/devices/BusIdentifiers.h"

#include <algorithm>
#include <charconv>

namespace yox::platform::bus {
namespace {

constexpr std::string_view kWhiteSpace = " \t\n\r\v\f";

bool IsLower(char c) { return c >= 'a' && c <= 'z'; }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }
bool IsUpperHex(char c) { return IsDigit(c) || (c >= 'A' && c <= 'F'); }
char Upper(char c) { return IsLower(c) ? static_cast<char>(c - 'a' + 'A') : c; }

std::string Hex(std::uint32_t number, std::size_t digits) {
  std::string text(digits, '0');
  for (std::size_t i = digits; i-- > 0; number >>= 4) text[i] = "0123456789ABCDEF"[number & 0xF];
  return text;
}

std::string_view Trimmed(std::string_view text) {
  text.remove_prefix(std::min(text.size(), text.find_first_not_of(kWhiteSpace)));
  return text.substr(0, text.find_last_not_of(kWhiteSpace) + 1);
}

// `number` is written only when all of the text is a number.
std::optional<std::uint32_t> Parse(std::string_view digits) {
  std::uint32_t number = 0;
  const char* const end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, number, 16);
  if (error != std::errc() || stop != end) return std::nullopt;
  return number;
}

// The text with "_" for what an ID cannot hold, cut off or filled up to `width`.
std::string Field(std::string_view text, std::size_t width) {
  std::string field(text.substr(0, width));
  std::ranges::replace_if(
      field, [](char c) { return c <= ' ' || c > '~' || c == ','; }, '_');
  field.resize(width, '_');
  return field;
}

std::string UpperField(std::string_view text) {
  text = Trimmed(text);
  std::string field = Field(text, text.size());
  std::ranges::transform(field, field.begin(), Upper);
  return field;
}

struct PeripheralType {
  std::uint32_t number;
  std::string_view name;
};
constexpr PeripheralType kPeripheralTypes[] = {
    {0, "Disk"}, {1, "Sequential"}, {5, "CdRom"}, {7, "Optical"}, {8, "Changer"},
};

}  // namespace

std::optional<std::uint32_t> ModaliasNumber(std::string_view modalias, std::string_view tag) {
  const std::size_t colon = modalias.find(':');
  if (colon == std::string_view::npos) return std::nullopt;
  const auto take = [&rest = modalias](auto accepts) {
    const auto end = std::ranges::find_if_not(rest, accepts);
    const std::string_view taken(rest.begin(), end);
    rest.remove_prefix(taken.size());
    return taken;
  };
  modalias.remove_prefix(colon + 1);
  while (!modalias.empty()) {
    const std::string_view name = take(IsLower);
    const std::string_view digits = take(IsUpperHex);
    if (name.empty() || digits.empty()) return std::nullopt;
    if (name == tag) return Parse(digits);
  }
  return std::nullopt;
}

std::optional<std::uint32_t> Hexadecimal(std::string_view text) {
  text = Trimmed(text);
  if (text.starts_with("0x") || text.starts_with("0X")) text.remove_prefix(2);
  return Parse(text);
}

Names Pci(std::string_view modalias, std::optional<std::uint32_t> revision) {
  if (!modalias.starts_with("pci:")) return {};
  const auto vendor = ModaliasNumber(modalias, "v");
  const auto device = ModaliasNumber(modalias, "d");
  const auto subsystem_vendor = ModaliasNumber(modalias, "sv");
  const auto subsystem_device = ModaliasNumber(modalias, "sd");
  const auto base_class = ModaliasNumber(modalias, "bc");
  const auto sub_class = ModaliasNumber(modalias, "sc");
  const auto interface = ModaliasNumber(modalias, "i");
  if (!vendor || !device) return {};

  const std::string chip = "PCI\\VEN_" + Hex(*vendor, 4) + "&DEV_" + Hex(*device, 4);
  const std::string rev = revision ? "&REV_" + Hex(*revision, 2) : "";
  Names names{chip, {}};
  const auto add = [&](const std::string& id) { names.hardware_ids.push_back(id); };
  if (subsystem_vendor && subsystem_device) {
    const std::string board =
        chip + "&SUBSYS_" + Hex(*subsystem_device, 4) + Hex(*subsystem_vendor, 4);
    names.device = board;
    if (revision) add(board + rev);
    add(board);
  }
  names.device += rev;
  if (revision) add(chip + rev);
  add(chip);
  if (base_class && sub_class) {
    const std::string kind = chip + "&CC_" + Hex(*base_class, 2) + Hex(*sub_class, 2);
    if (interface) add(kind + Hex(*interface, 2));
    add(kind);
  }
  return names;
}

Names Usb(const UsbNumbers& numbers) {
  const std::string product =
      "USB\\VID_" + Hex(numbers.vendor, 4) + "&PID_" + Hex(numbers.product, 4);
  const std::string interface = numbers.interface ? "&MI_" + Hex(*numbers.interface, 2) : "";
  Names names{product + interface, {}};
  if (numbers.release) {
    names.hardware_ids.push_back(product + "&REV_" + Hex(*numbers.release, 4) + interface);
  }
  names.hardware_ids.push_back(product + interface);
  return names;
}

Names Hid(std::string_view modalias, std::optional<std::uint16_t> release,
          std::optional<std::uint8_t> interface) {
  if (!modalias.starts_with("hid:")) return {};
  const auto vendor = ModaliasNumber(modalias, "v");
  const auto product = ModaliasNumber(modalias, "p");
  if (!vendor || !product) return {};
  Names names = Usb({static_cast<std::uint16_t>(*vendor), static_cast<std::uint16_t>(*product),
                     release, interface});
  names.device.replace(0, 3, "HID");
  for (std::string& id : names.hardware_ids) id.replace(0, 3, "HID");
  names.hardware_ids.emplace_back("HID_DEVICE");
  return names;
}

Names Acpi(std::string_view id) {
  std::string name(id);
  std::ranges::transform(name, name.begin(), Upper);
  const bool well_formed =
      std::ranges::all_of(name, [](char c) { return IsDigit(c) || (c >= 'A' && c <= 'Z'); });
  if (name.empty() || !well_formed || name.starts_with("LNX")) return {};

  Names names{"ACPI\\" + name, {}};
  // Three or four letters of the maker, four digits of the product (ACPI 6.5, _HID).
  const std::size_t vendor = std::max<std::size_t>(name.size(), 4) - 4;
  if ((vendor == 3 || vendor == 4) && std::ranges::all_of(name.substr(vendor), IsUpperHex)) {
    names.hardware_ids.push_back("ACPI\\VEN_" + name.substr(0, vendor) + "&DEV_" +
                                 name.substr(vendor));
  }
  names.hardware_ids.push_back("ACPI\\" + name);
  names.hardware_ids.push_back("*" + name);
  return names;
}

std::string_view FirstAcpiId(std::string_view modalias) {
  constexpr std::string_view kPrefix = "acpi:";
  if (!modalias.starts_with(kPrefix)) return {};
  modalias.remove_prefix(kPrefix.size());
  return Trimmed(modalias.substr(0, modalias.find(':')));
}

std::string_view FirstPnpId(std::string_view firmware_id) {
  constexpr std::string_view kPrefix = "PNP:";
  if (!firmware_id.starts_with(kPrefix)) return {};
  firmware_id = Trimmed(firmware_id.substr(kPrefix.size()));
  return firmware_id.substr(0, firmware_id.find_first_of(kWhiteSpace));
}

Names Storage(const StorageTexts& texts) {
  if (Trimmed(texts.product).empty()) return {};
  const auto* const type = std::ranges::find(kPeripheralTypes, texts.type, &PeripheralType::number);
  const bool known = type != std::end(kPeripheralTypes);
  const std::string kind(known ? type->name : "Other");
  const std::string bus = std::string(texts.enumerator) + "\\";
  const std::string vendor = Field(texts.vendor, 8);
  const std::string product = vendor + Field(texts.product, 16);
  const std::string revision = Field(texts.revision, 4);

  Names names;
  names.device = bus + UpperField(kind) + "&VEN_" + UpperField(texts.vendor) + "&PROD_" +
                 UpperField(texts.product);
  names.hardware_ids = {bus + kind + product + revision, bus + kind + product, bus + kind + vendor,
                        bus + product + revision[0], product + revision[0]};
  if (known) {
    names.hardware_ids.push_back(bus + "Gen" + kind);
    names.hardware_ids.push_back("Gen" + kind);
  }
  return names;
}

Names Monitor(std::string_view edid) {
  using namespace std::string_view_literals;
  if (edid.size() < 128 || !edid.starts_with("\0\xFF\xFF\xFF\xFF\xFF\xFF\0"sv)) return {};
  const auto byte = [&](std::size_t at) {
    return std::uint32_t{static_cast<unsigned char>(edid[at])};
  };
  // Three letters of five bits each, A being 1; then the product's number, low byte first.
  const std::uint32_t maker = byte(8) << 8 | byte(9);
  std::string name;
  for (const unsigned shift : {10U, 5U, 0U}) {
    const std::uint32_t letter = maker >> shift & 0x1F;
    if (letter < 1 || letter > 26) return {};
    name += static_cast<char>('A' + letter - 1);
  }
  name += Hex(byte(11) << 8 | byte(10), 4);
  return {"DISPLAY\\" + name, {"MONITOR\\" + name}};
}

}  // namespace yox::platform::bus
