#include "yox/platform/firmware/Smbios.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include "yox/base/EnclosureNames.h"
#include "yox/base/String.h"

namespace yox::smbios {
namespace {

using platform::FirmwareFacts;

// Compared without regard to letter case.
constexpr std::array kPlaceholders = {
    "To Be Filled By O.E.M."_wv,
    "To Be Filled By O.E.M"_wv,
    "To Be Filled By OEM"_wv,
    "To Be Filled"_wv,
    "Filled By O.E.M."_wv,
    "Fill By OEM"_wv,
    "O.E.M."_wv,
    "O.E.M"_wv,
    "OEM"_wv,
    "OEM Default string"_wv,
    "Default string"_wv,
    "Default"_wv,
    "System Manufacturer"_wv,
    "System Vendor"_wv,
    "System Product Name"_wv,
    "System Name"_wv,
    "System Model"_wv,
    "System Version"_wv,
    "System Family"_wv,
    "System SKU"_wv,
    "System SKU#"_wv,
    "System SKUNumber"_wv,
    "System Serial Number"_wv,
    "Base Board Serial Number"_wv,
    "Chassis Serial Number"_wv,
    "MB-1234567890"_wv,
    "BSN12345678901234567"_wv,
    "Product Name"_wv,
    "Manufacturer"_wv,
    "Serial Number"_wv,
    "Serial"_wv,
    "SKU Number"_wv,
    "SKU"_wv,
    "Family"_wv,
    "Type1Family"_wv,
    "Type1ProductConfigId"_wv,
    "Type1Sku0"_wv,
    "Not Specified"_wv,
    "Not Applicable"_wv,
    "Not Available"_wv,
    "Not Provided"_wv,
    "Not Defined"_wv,
    "Not Set"_wv,
    "N/A"_wv,
    "None"_wv,
    "Null"_wv,
    "Empty"_wv,
    "Unknown"_wv,
    "Undefined"_wv,
    "Invalid"_wv,
    "TBD"_wv,
    "01234567"_wv,
    "012345678"_wv,
    "0123456789"_wv,
    "1234567"_wv,
    "12345678"_wv,
    "123456789"_wv,
    "1234567890"_wv,
    "0123456789ABCDEF"_wv,
    "System manufacturer System Product Name"_wv,
};

std::uint64_t Number(std::string_view bytes, std::size_t offset, std::size_t size) {
  std::uint64_t number = 0;
  if (bytes.size() < size || offset > bytes.size() - size) return 0;
  for (std::size_t i = size; i-- > 0;) {
    number = (number << 8) | static_cast<unsigned char>(bytes[offset + i]);
  }
  return number;
}

WString Dotted(std::uint64_t major, std::uint64_t minor) {
  return String::UTF8ToUTF16(std::to_string(major) + "." + std::to_string(minor));
}

struct EntryPoint {
  WString version;
  std::uint64_t address = 0;
  std::uint64_t length = 0;  // at most so many bytes of structures
};

bool SumsToZero(std::string_view bytes) {
  unsigned sum = 0;
  for (const char byte : bytes) sum += static_cast<unsigned char>(byte);
  return (sum & 0xFF) == 0;
}

// Where each kind of entry point keeps what is needed of it.
struct EntryPointKind {
  std::string_view anchor;
  std::size_t length_field;  // of the entry point itself
  std::size_t shortest;
  std::size_t major, minor;
  std::size_t table_length, table_length_size;
  std::size_t address, address_size;
};
constexpr EntryPointKind kEntryPoints[] = {
    {"_SM3_", 0x06, 0x18, 0x07, 0x08, 0x0C, 4, 0x10, 8},
    {"_SM_", 0x05, 0x1E, 0x06, 0x07, 0x16, 2, 0x18, 4},
};

std::optional<EntryPoint> ReadEntryPoint(std::string_view bytes) {
  for (const EntryPointKind& kind : kEntryPoints) {
    if (!bytes.starts_with(kind.anchor)) continue;
    const std::size_t length = Number(bytes, kind.length_field, 1);
    if (length < kind.shortest || length > bytes.size() || !SumsToZero(bytes.substr(0, length))) {
      return std::nullopt;
    }
    return EntryPoint{Dotted(Number(bytes, kind.major, 1), Number(bytes, kind.minor, 1)),
                      Number(bytes, kind.address, kind.address_size),
                      Number(bytes, kind.table_length, kind.table_length_size)};
  }
  return std::nullopt;
}

bool HasAnchor(std::string_view bytes) {
  return std::ranges::any_of(kEntryPoints,
                             [&](const auto& kind) { return bytes.starts_with(kind.anchor); });
}

constexpr std::size_t kHeader = 4;
constexpr std::size_t kWindowsHeader = 8;

// One structure: its formatted area, and the strings after it.
struct Structure {
  std::string_view fields;
  std::string_view strings;

  unsigned type() const { return static_cast<unsigned char>(fields[0]); }
  bool Has(std::size_t offset) const { return offset < fields.size(); }
  unsigned Byte(std::size_t offset) const {
    return static_cast<unsigned>(Number(fields, offset, 1));
  }
  WString Text(std::size_t offset) const {
    unsigned number = Byte(offset);
    std::string_view rest = strings;
    while (number > 0 && !rest.empty()) {
      const std::string_view text = rest.substr(0, rest.find('\0'));
      if (--number == 0) return WithoutPlaceholder(String::UTF8ToUTF16(text));
      rest.remove_prefix(std::min(text.size() + 1, rest.size()));
    }
    return {};
  }
  // Two bytes that hold a release number; 255 means that there is none.
  WString Release(std::size_t offset) const {
    if (!Has(offset + 1) || Byte(offset) == 0xFF || Byte(offset + 1) == 0xFF) return {};
    return Dotted(Byte(offset), Byte(offset + 1));
  }
};

// Removes the first structure from the bytes and returns it; std::nullopt if no whole one is left.
std::optional<Structure> TakeStructure(std::string_view& bytes) {
  const std::size_t length = Number(bytes, 1, 1);
  if (bytes.size() < kHeader || length < kHeader || length > bytes.size()) return std::nullopt;
  Structure structure{bytes.substr(0, length), bytes.substr(length)};
  const std::size_t end = structure.strings.find(std::string_view("\0\0", 2));
  structure.strings = structure.strings.substr(0, end);
  bytes.remove_prefix(end == std::string_view::npos ? bytes.size() : length + end + 2);
  return structure;
}

void TakeBios(const Structure& bios, FirmwareFacts& facts) {
  facts.bios_version = bios.Text(0x05);
  facts.bios_release_date = IsoDate(bios.Text(0x08));
  facts.bios_version_short = bios.Release(0x14);
  facts.ec_version = bios.Release(0x16);
}

void TakeSystem(const Structure& system, FirmwareFacts& facts) {
  facts.manufacturer = system.Text(0x04);
  facts.model_number = system.Text(0x05);
  facts.serial_number = system.Text(0x07);
  facts.sku = system.Text(0x19);
  facts.family = system.Text(0x1A);
}

void TakeBaseboard(const Structure& board, FirmwareFacts& facts) {
  facts.baseboard_serial_number = board.Text(0x07);
}

void TakeEnclosure(const Structure& enclosure, FirmwareFacts& facts) {
  facts.enclosure_type = EnclosureName(enclosure.Byte(0x05));
}

constexpr void (*kTakers[])(const Structure&, FirmwareFacts&) = {TakeBios, TakeSystem,
                                                                 TakeBaseboard, TakeEnclosure};

std::optional<FirmwareFacts> ReadStructures(std::string_view bytes, const WString& version) {
  constexpr unsigned kEndOfTable = 127;
  FirmwareFacts facts;
  bool any = false;
  bool taken[std::size(kTakers)] = {};
  while (const std::optional<Structure> structure = TakeStructure(bytes)) {
    any = true;
    const unsigned type = structure->type();
    if (type == kEndOfTable) break;
    // A blade or a dock describes itself in a second structure: the first is the device's.
    if (type < std::size(kTakers) && !taken[type]) {
      taken[type] = true;
      kTakers[type](*structure, facts);
    }
  }
  if (!any) return std::nullopt;
  facts.smbios_version = version;
  return facts;
}

// "XXXXXXX", "...", "000", and of a lone or doubled character only what cannot name anything.
bool IsFiller(WStringView text) {
  if (text.empty() || text.find_first_not_of(text[0]) != WStringView::npos) return false;
  const auto between = [&](char low, char high) { return text[0] >= low && text[0] <= high; };
  return text.size() > 2 ||
         !(between('1', '9') || between('A', 'Z') || between('a', 'z') || text[0] >= 0x80);
}

}  // namespace

std::optional<FirmwareFacts> Read(std::string_view bytes) {
  if (HasAnchor(bytes)) {
    const std::optional<EntryPoint> entry = ReadEntryPoint(bytes);
    // A dump's own address is after its entry point; one that was not rewritten points into the
    // machine's memory.
    constexpr std::uint64_t kUsualAddress = 32;
    std::uint64_t address = entry ? entry->address : kUsualAddress;
    if (address >= bytes.size()) address = kUsualAddress;
    if (address >= bytes.size()) return std::nullopt;
    const std::string_view structures = bytes.substr(static_cast<std::size_t>(address));
    return ReadStructures(
        entry ? structures.substr(0, static_cast<std::size_t>(entry->length)) : structures,
        entry ? entry->version : WString());
  }
  // Windows writes calling method, major and minor version, revision, and the length; a version
  // below four is no length that a structure may have.
  if (bytes.size() > kWindowsHeader && Number(bytes, 1, 1) < kHeader) {
    return ReadStructures(
        bytes.substr(kWindowsHeader, static_cast<std::size_t>(Number(bytes, 4, 4))),
        Dotted(Number(bytes, 1, 1), Number(bytes, 2, 1)));
  }
  return ReadStructures(bytes, {});
}

std::optional<FirmwareFacts> Read(std::string_view entry_point, std::string_view structures) {
  const std::optional<EntryPoint> entry = ReadEntryPoint(entry_point);
  return ReadStructures(structures, entry ? entry->version : WString());
}

WString WithoutPlaceholder(WStringView text) {
  constexpr WStringView kInvisible = " \t\n\r\v\f\x7F"_wv;
  const WStringView trimmed = String::Trimmed(text, kInvisible);
  const bool placeholder =
      IsFiller(trimmed) || std::ranges::any_of(kPlaceholders, [&](WStringView known) {
        return String::CaseInsesitiveEqual(trimmed, known);
      });
  return placeholder ? WString() : WString(trimmed);
}

std::span<const WStringView> Placeholders() { return kPlaceholders; }

WString EnclosureName(unsigned type) {
  const unsigned number = type & 0x7F;
  if (number == 0 || number > kEnclosureNames.size()) return {};
  return String::UTF8ToUTF16(kEnclosureNames[number - 1]);
}

WString IsoDate(WStringView text) {
  const auto digits = [&](std::size_t from, std::size_t count) {
    int number = 0;
    for (std::size_t i = from; i < from + count; ++i) {
      if (text[i] < '0' || text[i] > '9') return -1;
      number = number * 10 + (text[i] - '0');
    }
    return number;
  };
  if ((text.size() != 8 && text.size() != 10) || text[2] != '/' || text[5] != '/') {
    return WString(text);
  }
  const int month = digits(0, 2);
  const int day = digits(3, 2);
  const int year = digits(6, text.size() - 6);
  if (month < 1 || month > 12 || day < 1 || day > 31 || year < 0) return WString(text);
  const WStringView century = text.size() == 10 ? ""_wv : "19"_wv;
  return WString(century).append(text.substr(6)) + "-"_w + WString(text.substr(0, 2)) + "-"_w +
         WString(text.substr(3, 2));
}

}  // namespace yox::smbios
