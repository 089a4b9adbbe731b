#include "yox/platform/simulated/DeviceProfileReader.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <utility>

#include "yox/base/Base64.h"
#include "yox/base/Json.h"
#include "yox/base/JsonFields.h"
#include "yox/platform/registry/RegistryPaths.h"

namespace yox {
namespace {

using platform::Accelerator;
using platform::DeviceProfile;
using platform::DisplayAdapter;
using platform::FirmwareFacts;
using platform::LocalDate;
using platform::LocaleFacts;
using platform::OperatingSystemUpdate;
using platform::RegistryType;
using platform::RegistryValue;
using Bytes = std::vector<std::uint8_t>;

// Reads "2026-03-01" and "12:00:00": digits where the pattern has '0', its own letters elsewhere.
bool HasForm(std::string_view text, std::string_view pattern) {
  return std::ranges::equal(text, pattern, [](char letter, char form) {
    return form == '0' ? letter >= '0' && letter <= '9' : letter == form;
  });
}

int NumberAt(std::string_view text, std::size_t at, std::size_t size) {
  int number = 0;
  for (const char digit : text.substr(at, size)) number = number * 10 + (digit - '0');
  return number;
}

constexpr std::string_view kDateForm = "0000-00-00";
constexpr std::string_view kTimeForm = "0000-00-00T00:00:00";

std::optional<LocalDate> ParseDate(std::string_view text) {
  const LocalDate date{NumberAt(text, 0, 4), NumberAt(text, 5, 2), NumberAt(text, 8, 2)};
  const std::chrono::year_month_day day{std::chrono::year{date.year},
                                        std::chrono::month{static_cast<unsigned>(date.month)},
                                        std::chrono::day{static_cast<unsigned>(date.day)}};
  if (!day.ok()) return std::nullopt;
  return date;
}

void AppendPadded(std::string& text, int number, std::size_t digits) {
  const std::string plain = std::to_string(number);
  text.append(digits - std::min(digits, plain.size()), '0');
  text += plain;
}

std::string DateText(const LocalDate& date) {
  std::string text;
  AppendPadded(text, date.year, 4);
  text += '-';
  AppendPadded(text, date.month, 2);
  text += '-';
  AppendPadded(text, date.day, 2);
  return text;
}

constexpr std::string_view kHexDigits = "0123456789abcdef";

std::optional<Bytes> FromHexadecimal(std::string_view text) {
  if (text.size() % 2 != 0) return std::nullopt;
  Bytes bytes;
  for (std::size_t i = 0; i < text.size(); i += 2) {
    std::size_t byte = 0;
    for (const char letter : text.substr(i, 2)) {
      const bool capital = letter >= 'A' && letter <= 'F';
      const std::size_t digit = kHexDigits.find(capital ? static_cast<char>(letter + 32) : letter);
      if (digit == std::string_view::npos) return std::nullopt;
      byte = byte * 16 + digit;
    }
    bytes.push_back(static_cast<std::uint8_t>(byte));
  }
  return bytes;
}

std::string ToHexadecimal(const Bytes& bytes) {
  std::string text;
  for (const std::uint8_t byte : bytes) {
    text += kHexDigits[byte >> 4];
    text += kHexDigits[byte & 0xF];
  }
  return text;
}

enum class DataForm { kText, kTexts, kNumber32, kNumber64, kBytes };

struct RegistryTypeRow {
  std::string_view name;
  RegistryType type;
  DataForm form;
};
constexpr RegistryTypeRow kRegistryTypes[] = {
    {"REG_SZ", RegistryType::kText, DataForm::kText},
    {"REG_EXPAND_SZ", RegistryType::kExpandableText, DataForm::kText},
    {"REG_BINARY", RegistryType::kBinary, DataForm::kBytes},
    {"REG_DWORD", RegistryType::kDword, DataForm::kNumber32},
    {"REG_MULTI_SZ", RegistryType::kMultiText, DataForm::kTexts},
    {"REG_QWORD", RegistryType::kQword, DataForm::kNumber64},
};

template <class T>
T ReadAs(const JsonNode& node) {
  T value{};
  ReadJson(node, value);
  return value;
}

WString ReadRegistryText(const JsonNode& node) {
  WString text = ReadAs<WString>(node);
  if (text.find(WChar{0}) != WString::npos) node.Fail("a text with a null character");
  return text;
}

Bytes ReadRegistryData(const JsonNode& data, DataForm form) {
  switch (form) {
    case DataForm::kText:
      return RegistryValue::Text(ReadRegistryText(data)).data;
    case DataForm::kTexts: {
      const auto texts = ReadAs<std::vector<WString>>(data);
      for (Json::ArrayIndex i = 0; i < data.value().size(); ++i) {
        if (ReadRegistryText(data.Element(i)).empty()) {
          data.Element(i).Fail("an empty text would end the list");
        }
      }
      return RegistryValue::MultiText(texts).data;
    }
    case DataForm::kNumber32:
      return RegistryValue::Dword(ReadAs<std::uint32_t>(data)).data;
    case DataForm::kNumber64:
      return RegistryValue::Qword(ReadAs<std::uint64_t>(data)).data;
    case DataForm::kBytes:
      break;
  }
  data.Require(data.value().isString(), "a string");
  std::optional<Bytes> bytes = FromHexadecimal(data.value().asString());
  if (!bytes) data.Fail("expected pairs of hexadecimal digits");
  return *std::move(bytes);
}

std::uint64_t BytesNumber(const Bytes& bytes) {
  std::uint64_t number = 0;
  for (std::size_t i = bytes.size(); i-- > 0;) number = (number << 8) | bytes[i];
  return number;
}

WString TextAt(const Bytes& bytes, std::size_t at) {
  WString text;
  for (; at + 1 < bytes.size(); at += 2) {
    const auto unit = static_cast<WChar>(bytes[at] | (bytes[at + 1] << 8));
    if (unit == 0) break;
    text += unit;
  }
  return text;
}

Json::Value WriteRegistryData(const Bytes& bytes, DataForm form) {
  switch (form) {
    case DataForm::kText:
      return WriteJson(TextAt(bytes, 0));
    case DataForm::kTexts: {
      Json::Value texts(Json::arrayValue);
      for (std::size_t at = 0; at + 1 < bytes.size();) {
        const WString text = TextAt(bytes, at);
        if (text.empty()) break;
        texts.append(WriteJson(text));
        at += (text.size() + 1) * 2;
      }
      return texts;
    }
    case DataForm::kNumber32:
    case DataForm::kNumber64:
      return Json::UInt64{BytesNumber(bytes)};
    case DataForm::kBytes:
      break;
  }
  return ToHexadecimal(bytes);
}

struct ServiceStateRow {
  std::string_view name;
  DeviceProfile::ServiceState state;
};
constexpr ServiceStateRow kServiceStates[] = {
    {"stopped", DeviceProfile::ServiceState::kStopped},
    {"running", DeviceProfile::ServiceState::kRunning},
    {"paused", DeviceProfile::ServiceState::kPaused},
};

// The row of a table that a node's text names; fails with the names that there are.
template <class Row, std::size_t kSize>
const Row& ReadRow(const JsonNode& node, const Row (&rows)[kSize]) {
  node.Require(node.value().isString(), "a string");
  const std::string text = node.value().asString();
  const Row* const row = std::ranges::find(rows, std::string_view(text), &Row::name);
  if (row != std::end(rows)) return *row;
  std::string names;
  for (const Row& known : rows) names += (names.empty() ? "" : ", ") + std::string(known.name);
  node.Fail("expected one of " + names);
}

}  // namespace

// Types that are one string or number in a document.
struct JsonLeaf {
  static void List(const std::string&, std::vector<std::string>&) {}
};

template <>
struct JsonCodec<LocalDate> : JsonLeaf {
  static void Read(const JsonNode& node, LocalDate& date) {
    node.Require(node.value().isString(), "a string");
    const std::string text = node.value().asString();
    const std::optional<LocalDate> read = HasForm(text, kDateForm) ? ParseDate(text) : std::nullopt;
    if (!read) node.Fail("expected a date YYYY-MM-DD");
    date = *read;
  }
  static Json::Value Write(const LocalDate& date) { return DateText(date); }
};

template <>
struct JsonCodec<platform::LocalTime> : JsonLeaf {
  static void Read(const JsonNode& node, platform::LocalTime& time) {
    node.Require(node.value().isString(), "a string");
    const std::string text = node.value().asString();
    const std::string_view local = std::string_view(text).substr(0, kTimeForm.size());
    const std::string_view offset = std::string_view(text).substr(local.size());
    const bool has_offset = HasForm(offset, "+00:00") || HasForm(offset, "-00:00");
    const std::optional<LocalDate> date =
        HasForm(local, kTimeForm) ? ParseDate(local) : std::nullopt;
    if (!date || (!offset.empty() && !has_offset) || NumberAt(text, 11, 2) > 23 ||
        NumberAt(text, 14, 2) > 59 || NumberAt(text, 17, 2) > 59 ||
        (has_offset && (NumberAt(offset, 1, 2) > 24 || NumberAt(offset, 4, 2) > 59))) {
      node.Fail("expected a local time YYYY-MM-DDThh:mm:ss");
    }
    time = {*date, SecondsAt(text, 11) + NumberAt(text, 17, 2)};
    if (has_offset) time.utc_offset = (offset[0] == '-' ? -1 : 1) * SecondsAt(offset, 1);
  }
  static Json::Value Write(const platform::LocalTime& time) {
    std::string text = DateText(time.date) + 'T';
    AppendClock(text, time.second_of_day);
    text += ':';
    AppendPadded(text, time.second_of_day % 60, 2);
    if (time.utc_offset) {
      text += *time.utc_offset < 0 ? '-' : '+';
      AppendClock(text, std::abs(*time.utc_offset));
    }
    return text;
  }

 private:
  // "hh:mm" to seconds and back.
  static std::int32_t SecondsAt(std::string_view text, std::size_t at) {
    return (NumberAt(text, at, 2) * 60 + NumberAt(text, at + 3, 2)) * 60;
  }
  static void AppendClock(std::string& text, std::int32_t seconds) {
    AppendPadded(text, seconds / 3600, 2);
    text += ':';
    AppendPadded(text, seconds / 60 % 60, 2);
  }
};

template <>
struct JsonCodec<platform::NamedZone> : JsonLeaf {
  static void Read(const JsonNode& node, platform::NamedZone& zone) {
    ReadJson(node, zone.text);
    const std::optional<TimeZone> rule = TimeZone::Parse(node.value().asString());
    if (!rule) node.Fail("unknown time zone \"" + Printable(node.value().asString()) + "\"");
    zone.rule = *rule;
  }
  static Json::Value Write(const platform::NamedZone& zone) { return WriteJson(zone.text); }
};

template <>
struct JsonCodec<Bytes> : JsonLeaf {
  static void Read(const JsonNode& node, Bytes& bytes) {
    node.Require(node.value().isString(), "a string");
    const std::optional<std::string> read = FromBase64(node.value().asString());
    if (!read) node.Fail("malformed base64");
    bytes.assign(read->begin(), read->end());
  }
  static Json::Value Write(const Bytes& bytes) {
    return ToBase64(std::string(bytes.begin(), bytes.end()));
  }
};

template <>
struct JsonCodec<DeviceProfile::ServiceState> : JsonLeaf {
  static void Read(const JsonNode& node, DeviceProfile::ServiceState& state) {
    state = ReadRow(node, kServiceStates).state;
  }
  static Json::Value Write(DeviceProfile::ServiceState state) {
    return std::string(std::ranges::find(kServiceStates, state, &ServiceStateRow::state)->name);
  }
};

template <>
struct JsonCodec<RegistryValue> {
  static void Read(const JsonNode& node, RegistryValue& value) {
    const RegistryTypeRow* row = nullptr;
    node.ForEachMember([&](std::string_view key, const JsonNode& member) {
      if (key == "type") {
        row = &ReadRow(member, kRegistryTypes);
      } else if (key != "data") {
        member.Fail("unknown key");
      }
    });
    if (row == nullptr) node.Fail("a registry value needs a type");
    bool has_data = false;
    node.ForEachMember([&](std::string_view key, const JsonNode& member) {
      if (key != "data") return;
      has_data = true;
      value = {row->type, ReadRegistryData(member, row->form)};
    });
    if (!has_data) node.Fail("a registry value needs data");
  }
  static Json::Value Write(const RegistryValue& value) {
    // A type that the format has no name for is kept as its bytes.
    const RegistryTypeRow* row =
        std::ranges::find(kRegistryTypes, value.type, &RegistryTypeRow::type);
    if (row == std::end(kRegistryTypes)) {
      row = std::ranges::find(kRegistryTypes, DataForm::kBytes, &RegistryTypeRow::form);
    }
    Json::Value object(Json::objectValue);
    object["type"] = std::string(row->name);
    object["data"] = WriteRegistryData(value.data, row->form);
    return object;
  }
  static void List(const std::string& path, std::vector<std::string>& paths) {
    paths.push_back(path + ".type");
    paths.push_back(path + ".data");
  }
};

template <>
struct JsonFields<DeviceProfile::ClockSection> {
  using Section = DeviceProfile::ClockSection;
  static constexpr std::tuple kTable{JsonField{"now", &Section::now},
                                     JsonField{"time_zone", &Section::time_zone},
                                     JsonField{"uptime_seconds", &Section::uptime_seconds}};
};

template <>
struct JsonFields<DeviceProfile::ClientSection> {
  using Section = DeviceProfile::ClientSection;
  static constexpr std::tuple kTable{JsonField{"version", &Section::version},
                                     JsonField{"anonymous_metrics", &Section::anonymous_metrics}};
};

template <>
struct JsonFields<DeviceProfile::FirmwareSection> {
  static constexpr std::tuple kTable{
      JsonField{"manufacturer", &FirmwareFacts::manufacturer},
      JsonField{"family", &FirmwareFacts::family},
      JsonField{"model_number", &FirmwareFacts::model_number},
      JsonField{"sku", &FirmwareFacts::sku},
      JsonField{"serial_number", &FirmwareFacts::serial_number},
      JsonField{"baseboard_serial_number", &FirmwareFacts::baseboard_serial_number},
      JsonField{"enclosure_type", &FirmwareFacts::enclosure_type},
      JsonField{"bios_version", &FirmwareFacts::bios_version},
      JsonField{"bios_version_short", &FirmwareFacts::bios_version_short},
      JsonField{"bios_release_date", &FirmwareFacts::bios_release_date},
      JsonField{"ec_version", &FirmwareFacts::ec_version},
      JsonField{"ec_release_date", &FirmwareFacts::ec_release_date},
      JsonField{"smbios_version", &FirmwareFacts::smbios_version},
      JsonField{"smbios_table", &DeviceProfile::FirmwareSection::smbios_table}};
};

template <>
struct JsonFields<OperatingSystemUpdate> {
  static constexpr std::tuple kTable{JsonField{"result_code", &OperatingSystemUpdate::result_code},
                                     JsonField{"title", &OperatingSystemUpdate::title},
                                     JsonField{"description", &OperatingSystemUpdate::description},
                                     JsonField{"categories", &OperatingSystemUpdate::categories}};
};

template <>
struct JsonFields<DeviceProfile::OsSection> {
  using Section = DeviceProfile::OsSection;
  static constexpr std::tuple kTable{
      JsonField{"product_name", &Section::product_name},
      JsonField{"edition_id", &Section::edition_id},
      JsonField{"version", &Section::version},
      JsonField{"caption", &Section::caption},
      JsonField{"s_mode", &Section::s_mode},
      JsonField{"architecture", &Section::architecture},
      JsonField{"update_service_start_type", &Section::update_service_start_type},
      JsonField{"updates", &Section::updates}};
};

template <>
struct JsonFields<LocaleFacts> {
  static constexpr std::tuple kTable{JsonField{"country_code", &LocaleFacts::country_code},
                                     JsonField{"country_name", &LocaleFacts::country_name},
                                     JsonField{"region_name", &LocaleFacts::region_name},
                                     JsonField{"language_code", &LocaleFacts::language_code},
                                     JsonField{"language_name", &LocaleFacts::language_name}};
};

template <>
struct JsonFields<DeviceProfile::UserSection> {
  using Section = DeviceProfile::UserSection;
  static constexpr std::tuple kTable{JsonField{"sid", &Section::sid},
                                     JsonField{"system_process", &Section::system_process}};
};

template <>
struct JsonFields<DeviceProfile::Device> {
  using Section = DeviceProfile::Device;
  static constexpr std::tuple kTable{JsonField{"instance_id", &Section::instance_id},
                                     JsonField{"hardware_ids", &Section::hardware_ids}};
};

template <>
struct JsonFields<Accelerator> {
  static constexpr std::tuple kTable{JsonField{"manufacturer", &Accelerator::manufacturer},
                                     JsonField{"description", &Accelerator::description}};
};

template <>
struct JsonFields<DisplayAdapter> {
  static constexpr std::tuple kTable{
      JsonField{"description", &DisplayAdapter::description},
      JsonField{"software", &DisplayAdapter::software},
      JsonField{"dedicated_video_memory", &DisplayAdapter::dedicated_video_memory},
      JsonField{"dedicated_system_memory", &DisplayAdapter::dedicated_system_memory},
      JsonField{"shared_system_memory", &DisplayAdapter::shared_system_memory}};
};

template <>
struct JsonFields<DeviceProfile::Application> {
  using Section = DeviceProfile::Application;
  static constexpr std::tuple kTable{JsonField{"key", &Section::key},
                                     JsonField{"name", &Section::name},
                                     JsonField{"version", &Section::version}};
};

template <>
struct JsonFields<DeviceProfile::JoinSection> {
  using Section = DeviceProfile::JoinSection;
  static constexpr std::tuple kTable{JsonField{"domain", &Section::domain},
                                     JsonField{"cloud_device", &Section::cloud_device}};
};

template <>
struct JsonFields<DeviceProfile::OrganisationSection> {
  using Section = DeviceProfile::OrganisationSection;
  static constexpr std::tuple kTable{JsonField{"realm", &Section::realm},
                                     JsonField{"subscriptions", &Section::subscriptions}};
};

template <>
struct JsonFields<DeviceProfile::DeveloperSection> {
  using Section = DeviceProfile::DeveloperSection;
  static constexpr std::tuple kTable{
      JsonField{"device_model_override", &Section::device_model_override}};
};

template <>
struct JsonFields<DeviceProfile::ConfigurationSection> {
  using Section = DeviceProfile::ConfigurationSection;
  static constexpr std::tuple kTable{JsonField{"machine_type", &Section::machine_type},
                                     JsonField{"serial_number", &Section::serial_number},
                                     JsonField{"bios_version", &Section::bios_version},
                                     JsonField{"mtm", &Section::mtm},
                                     JsonField{"machine_model", &Section::machine_model}};
};

template <>
struct JsonFields<DeviceProfile> {
  static constexpr std::tuple kTable{
      JsonField{"clock", &DeviceProfile::clock},
      JsonField{"client", &DeviceProfile::client},
      JsonField{"firmware", &DeviceProfile::firmware},
      JsonField{"os", &DeviceProfile::os},
      JsonField{"region", &DeviceProfile::region},
      JsonField{"user", &DeviceProfile::user},
      JsonField{"registry", &DeviceProfile::registry},
      JsonField{"devices", &DeviceProfile::devices},
      JsonField{"accelerators", &DeviceProfile::accelerators},
      JsonField{"display_adapters", &DeviceProfile::display_adapters},
      JsonField{"installed_apps", &DeviceProfile::installed_apps},
      JsonField{"store_apps", &DeviceProfile::store_apps},
      JsonField{"services", &DeviceProfile::services},
      JsonField{"join", &DeviceProfile::join},
      JsonField{"organisation", &DeviceProfile::organisation},
      JsonField{"developer", &DeviceProfile::developer},
      JsonField{"configuration", &DeviceProfile::configuration},
      JsonField{"first_run_date", &DeviceProfile::first_run_date}};
};

namespace platform {
namespace {

// What a table of fields cannot say.
void CheckRegistry(const JsonNode& registry) {
  registry.ForEachMember([](std::string_view path, const JsonNode& key) {
    const std::optional<RegistryKey> place = ParseRegistryPath(String::UTF8ToUTF16(path));
    if (!place) key.Fail("a registry path begins with HKLM, HKCU or HKU");
    if (!IsRegistryPath(place->path)) key.Fail("not a registry path");
    key.ForEachMember([](std::string_view name, const JsonNode& value) {
      if (!IsRegistryValueName(String::UTF8ToUTF16(name)))
        value.Fail("not a registry value's name");
    });
  });
}

void CheckFirmware(const JsonNode& firmware) {
  firmware.ForEachMember([&](std::string_view key, const JsonNode& member) {
    const bool others = firmware.value().size() > (firmware.value().isMember("comment") ? 2 : 1);
    if (key == "smbios_table" && others) {
      member.Fail("stands instead of the other keys, not beside them");
    }
  });
}

}  // namespace

DeviceProfile ReadDeviceProfile(std::string_view utf8) {
  const Json::Value document = ParseDocument(utf8);
  const JsonNode root(document, utf8);
  DeviceProfile profile;
  ReadJson(root, profile);
  root.ForEachMember([](std::string_view key, const JsonNode& section) {
    if (key == "registry") CheckRegistry(section);
    if (key == "firmware") CheckFirmware(section);
  });
  return profile;
}

std::string WriteDeviceProfile(const DeviceProfile& profile) {
  return JsonText(WriteJson(profile));
}

std::vector<std::string> DeviceProfilePaths() { return JsonPaths<DeviceProfile>(); }

}  // namespace platform
}  // namespace yox
