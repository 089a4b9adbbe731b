#include "tests/support/Generators.h"

#include <json/json.h>

#include <algorithm>
#include <initializer_list>
#include <span>

#include "yox/base/String.h"

using yox::decision::FilterField;
using yox::decision::kFilterFieldNames;

namespace yox_test {
namespace {

using Words = std::span<const std::string_view>;

constexpr std::string_view kCountries[] = {"US", "CA", "DE", "FR", "JP", "BR", "IN", "ZA"};
constexpr std::string_view kLanguages[] = {"en-US", "en-GB", "de-DE", "fr-FR", "ja-JP", "pt-BR"};
constexpr std::string_view kMakers[] = {"Contoso", "Fabrikam Ltd.", "Northwind", "Ältere Geräte"};
constexpr std::string_view kFamilies[] = {"Falcon 14", "Falcon 16 Gen 2", "Heron Tower",
                                          "Osprey Mini", "Kestrel X"};
constexpr std::string_view kModels[] = {"FA14-2210", "FA16-3300", "HT-900", "OM-11", "KX-2000"};
constexpr std::string_view kSkus[] = {"FALCON14-16-512", "FALCON16-32-1T", "HERON-64-2T", ""};
constexpr std::string_view kEnclosures[] = {"Notebook", "Desktop", "Mini PC", "Convertible"};
constexpr std::string_view kSystems[] = {"Microsoft Windows 11 Pro", "Microsoft Windows 11 Home",
                                         "Microsoft Windows 10 Enterprise"};
constexpr std::string_view kSystemVersions[] = {"10.0.19045.3803", "10.0.22631.4460",
                                                "10.0.26100.2314", "10.0.17763.1"};
constexpr std::string_view kClientVersions[] = {"4.2.10.0", "4.3.0.17", "5.0.1.2", "3.9.99.1"};
constexpr std::string_view kTargetVersions[] = {"1.0", "1.4.2", "2.0.0.1", "10.11.12", "1.4.2 "};
constexpr std::string_view kTagKeys[] = {"Device.Usage.IsManagedDevice",
                                         "Device.Hardware.Npu.Exists",
                                         "Device.Hardware.Gpu.Intel",
                                         "Ring",
                                         "Channel",
                                         "Campaign.2026"};
constexpr std::string_view kTagValues[] = {"true", "false", "beta", "12", "2.1.0", "Büro 7"};
constexpr std::string_view kRealms[] = {"contoso", "fabrikam", "NORTHWIND", "bücherei"};
constexpr std::string_view kSubscriptions[] = {"1b4e28ba-2fa1-11d2-883f-0016d3cca427",
                                               "6fa459ea-ee8a-3ca4-894e-db77e160355e",
                                               "16fd2706-8baf-433b-82eb-8c7fada847da"};
constexpr std::string_view kRegistryNames[] = {"Channel", "Level", "Owner"};
constexpr std::string_view kHardwareIds[] = {"PCI\\VEN_8086&DEV_7D45", "PCI\\VEN_10DE&DEV_2204",
                                             "USB\\VID_046D&PID_C52B", "ACPI\\PNP0C0A"};
constexpr std::string_view kApplications[] = {"Contoso Editor", "Fabrikam Viewer",
                                              "Northwind Sync"};
constexpr std::string_view kBitness[] = {"32", "64", "ARM64"};
constexpr std::string_view kGrowths[] = {"linear", "exponentialNormal", "exponentialSlow",
                                         "Linear"};
constexpr std::string_view kComparisons[] = {">=", ">", "<=", "<", "!", ""};
// Texts that a careless author or another tool may leave in any field.
constexpr std::string_view kOddities[] = {" ",
                                          "*",
                                          "!",
                                          "!*",
                                          ",",
                                          "a*b",
                                          "!a*b",
                                          "**x**",
                                          "|",
                                          "||",
                                          "key|>abc",
                                          "!! x",
                                          ">=",
                                          ">1..2",
                                          "2026-|*",
                                          "*|*|*",
                                          "0-0-0|0|x",
                                          "\t true \v",
                                          "İıſ",
                                          "ΑΣΣ*",
                                          "*\xF0\x9F\x98\x80",
                                          ">=1.2,,<",
                                          "HKLM:a|b",
                                          "HKLM\\a/b:c|d",
                                          "99999999999|1",
                                          "x|y|z|w",
                                          "2026-01-01|99999999999|linear"};

std::string Cased(Random& random, std::string_view text) {
  std::string cased(text);
  const std::size_t way = random.Below(4);
  for (char& c : cased) {
    if (way == 0 && c >= 'a' && c <= 'z') c = static_cast<char>(c - 32);
    if (way == 1 && c >= 'A' && c <= 'Z') c = static_cast<char>(c + 32);
  }
  return cased;
}

bool IsAscii(std::string_view text) {
  return std::ranges::all_of(text, [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

// A pattern that the word matches.
std::string PatternFor(Random& random, std::string_view word) {
  const std::size_t cut = word.size() / 2;
  std::string pattern;
  switch (IsAscii(word) && cut > 0 ? random.Below(6) : 0) {  // no cut inside a character
    case 3:
      pattern = std::string(word.substr(0, cut)) + "*";
      break;
    case 4:
      pattern = "*" + std::string(word.substr(cut));
      break;
    case 5:
      pattern = "*" + std::string(word.substr(cut / 2, cut)) + "*";
      break;
    default:
      pattern = word;
  }
  pattern = Cased(random, pattern);
  return random.Percent(10) ? " " + pattern + " " : pattern;
}

std::string TextCriterion(Random& random, Words words) {
  if (random.Percent(15)) return "!" + PatternFor(random, random.Pick(words));
  std::string list;
  for (const std::string_view word : words) {
    if (random.Percent(30)) continue;
    if (!list.empty()) list += ',';
    list += PatternFor(random, word);
  }
  return list.empty() ? PatternFor(random, random.Pick(words)) : list;
}

std::string VersionCriterion(Random& random, Words versions) {
  std::string list;
  for (int i = random.Between(1, 2); i > 0; --i) {
    if (!list.empty()) list += ',';
    list += random.Pick(kComparisons);
    list += random.Pick(versions);
  }
  return list;
}

std::string TagTerm(Random& random) {
  std::string term = random.Percent(50) ? "!" : "";
  term += random.Pick(kTagKeys);
  if (random.Percent(60)) {
    term += '|';
    if (random.Percent(30)) {
      term += random.Percent(50) ? ">=1.5.0" : "<100";
    } else {
      term += random.Percent(30) ? "!" : "";
      term += random.Pick(kTagValues);
    }
  }
  return term;
}

std::string TagCriterion(Random& random) {
  std::string list = TagTerm(random);
  if (random.Percent(30)) list += "," + TagTerm(random);
  return list;
}

std::string TwoDigits(int number) {
  return {static_cast<char>('0' + number / 10), static_cast<char>('0' + number % 10)};
}

// The parts of a braced list are drawn in their order, unlike the operands of "+".
std::string Joined(std::initializer_list<std::string> parts) {
  std::string joined;
  for (const std::string& part : parts) joined += part;
  return joined;
}

std::string Day(Random& random, int first_year, int last_year) {
  return Joined({std::to_string(random.Between(first_year, last_year)), "-",
                 TwoDigits(random.Between(1, 12)), "-", TwoDigits(random.Between(1, 28))});
}

std::string DateRange(Random& random) {
  const std::string start = random.Percent(40) ? "*" : Day(random, 2024, 2026);
  const std::string end = random.Percent(40) ? "*" : Day(random, 2026, 2028);
  return start + "|" + end;
}

std::string DateFunction(Random& random) {
  std::string function =
      Joined({Day(random, 2025, 2026), "|", std::to_string(random.Between(7, 400)), "|",
              std::string(random.Pick(kGrowths))});
  if (random.Percent(30)) function += random.Percent(80) ? "|tenant" : "|device";
  return function;
}

// The first digits of a hash, some of the sixteen.
std::string HashCriterion(Random& random) {
  std::string list;
  for (const char digit : std::string_view("0123456789abcdef")) {
    if (random.Percent(40)) continue;
    if (!list.empty()) list += ',';
    list += digit;
    list += '*';
  }
  return list;
}

constexpr std::string_view kRegistryKey = "SOFTWARE\\Contoso\\App";

std::string RegistryCriterion(Random& random) {
  std::string path = "HKLM\\" + std::string(kRegistryKey);
  if (random.Percent(30)) std::ranges::replace(path, '\\', '/');
  std::string requirement = path + ":" + std::string(random.Pick(kRegistryNames)) + "|";
  if (random.Percent(60)) requirement += PatternFor(random, random.Pick(kTagValues));
  return requirement;
}

std::string InstalledItems(Random& random) {
  std::string list;
  for (int i = random.Between(1, 2); i > 0; --i) {
    if (!list.empty()) list += ',';
    list += PatternFor(random, random.Pick(kApplications));
    if (random.Percent(50)) list += random.Percent(50) ? "|>=7.0" : "|7.1.0";
  }
  return list;
}

// One criterion: a text that some of the devices meet, and one that none does.
struct Row {
  std::string_view field;
  bool common;
  std::string (*make)(Random&);
  std::string_view never;
};

constexpr Row kRows[] = {
    {"country", true, [](Random& r) { return TextCriterion(r, kCountries); }, "QQ,Q1"},
    {"language", true, [](Random& r) { return TextCriterion(r, kLanguages); }, "xx-*"},
    {"mfr", true, [](Random& r) { return TextCriterion(r, kMakers); }, "*nobody*"},
    {"family", true, [](Random& r) { return TextCriterion(r, kFamilies); }, "Nowhere*"},
    {"model", true, [](Random& r) { return TextCriterion(r, kModels); }, "*-none"},
    {"enclosure", true, [](Random& r) { return TextCriterion(r, kEnclosures); }, "Teapot"},
    {"os_version", true, [](Random& r) { return VersionCriterion(r, kSystemVersions); }, ">=99.0"},
    {"version", true, [](Random& r) { return VersionCriterion(r, kClientVersions); }, "<0.1"},
    {"tag", true, TagCriterion, "Never.Stored|yes"},
    {"date_range", true, DateRange, "2099-01-01|*"},
    {"date_function", true, DateFunction, "2099-01-01|30|linear"},
    {"os_description", false, [](Random& r) { return TextCriterion(r, kSystems); }, "Plan 9"},
    {"sku", false, [](Random& r) { return TextCriterion(r, Words(kSkus).first(3)); }, {}},
    {"os", false, [](Random& r) { return PatternFor(r, "Windows"); }, "Linux"},
    {"os_bitness", false, [](Random& r) { return TextCriterion(r, kBitness); }, "128"},
    {"device_subscription", false, [](Random& r) { return TextCriterion(r, kSubscriptions); },
     "none"},
    {"target_version", false, [](Random& r) { return VersionCriterion(r, kTargetVersions); },
     ">99.0"},
    {"sn_hash", false, HashCriterion, "xyz*"},
    {"org_hash", false, HashCriterion, "xyz*"},
    {"installed_items", false, InstalledItems, "Never Installed"},
    {"registry", false, RegistryCriterion, "HKLM\\SOFTWARE\\Nobody:Nothing|"},
    {"hardware_id", false, [](Random& r) { return std::string(r.Pick(kHardwareIds)); }, "NONE\\0"},
};

std::string Written(const Json::Value& document) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = " ";
  return Json::writeString(builder, document) + "\n";
}

Json::Value TextValue(const std::string& data) {
  Json::Value value;
  value["type"] = "REG_SZ";
  value["data"] = data;
  return value;
}

}  // namespace

GeneratedDevice MakeDevice(Random& random, Mix mix) {
  GeneratedDevice device;
  device.now = Joined({Day(random, 2026, 2026), "T", TwoDigits(random.Between(0, 23)), ":",
                       TwoDigits(random.Between(0, 59)), ":", TwoDigits(random.Between(0, 59))});
  device.client_version = random.Pick(kClientVersions);
  device.manufacturer = random.Pick(kMakers);
  const std::size_t family = random.Below(std::size(kFamilies));
  device.family = kFamilies[family];
  device.model_number = kModels[family];
  device.sku = random.Pick(kSkus);
  device.serial_number = "SN" + std::to_string(random.Below(100'000'000));
  device.enclosure_type = random.Pick(kEnclosures);
  device.os_version = random.Pick(kSystemVersions);
  device.os_caption = random.Pick(kSystems);
  device.country_code = random.Pick(kCountries);
  device.language_code = random.Pick(kLanguages);
  device.realm = random.Pick(kRealms);
  for (const std::string_view key : kTagKeys) {
    if (random.Percent(50)) device.tags.emplace_back(key, random.Pick(kTagValues));
  }
  if (mix == Mix::kCommon) return device;

  constexpr int kArchitectures[] = {0, 5, 9, 9, 9, 12};
  device.os_architecture = random.Pick(kArchitectures);
  device.has_firmware = random.Percent(90);
  device.has_organisation = random.Percent(80);
  for (const std::string_view id : kSubscriptions) {
    if (random.Percent(40)) device.subscriptions.emplace_back(id);
  }
  for (const std::string_view name : kRegistryNames) {
    if (random.Percent(60)) device.registry_values.emplace_back(name, random.Pick(kTagValues));
  }
  for (const std::string_view id : kHardwareIds) {
    if (random.Percent(50)) device.hardware_ids.emplace_back(id);
  }
  for (const std::string_view name : kApplications) {
    if (random.Percent(50)) {
      device.installed_apps.push_back({"{" + std::to_string(random.Below(10'000)) + "}",
                                       std::string(name), random.Percent(50) ? "7.1.0" : "6.0"});
    }
  }
  return device;
}

GeneratedList MakeList(Random& random, Mix mix, std::size_t most) {
  const auto rows = std::span(kRows).first(
      mix == Mix::kCommon ? static_cast<std::size_t>(std::ranges::count(kRows, true, &Row::common))
                          : std::size(kRows));
  GeneratedList list;
  list.never_applies = random.Percent(50);
  list.filters.resize(1 + random.Below(most));
  for (auto& filter : list.filters) {
    std::vector<const Row*> drawn;
    for (const Row& row : rows) drawn.push_back(&row);
    const std::size_t count = 1 + random.Below(4);
    for (std::size_t i = 0; i < count; ++i)
      std::swap(drawn[i], drawn[i + random.Below(drawn.size() - i)]);
    drawn.resize(count);
    const auto never =
        std::ranges::find_if(drawn, [](const Row* row) { return !row->never.empty(); });
    for (auto row = drawn.begin(); row != drawn.end(); ++row) {
      const bool odd = mix == Mix::kEverything && random.Percent(5);
      const bool fails = list.never_applies && row == never;
      filter.emplace_back((*row)->field, fails ? std::string((*row)->never)
                                         : odd ? std::string(random.Pick(kOddities))
                                               : (*row)->make(random));
    }
    if (list.never_applies && never == drawn.end()) filter.emplace_back("country", kRows[0].never);
    if (random.Percent(20)) filter.emplace_back("value", random.Percent(50) ? "true" : "false");
  }
  if (!list.never_applies && random.Percent(20)) {
    list.filters.push_back({{"default", random.Percent(50) ? "true" : "false"}});
  }
  return list;
}

GeneratedArguments MakeArguments(Random& random) {
  GeneratedArguments arguments;
  if (random.Percent(70)) arguments.target_version = random.Pick(kTargetVersions);
  for (const std::string_view key : kTagKeys) {
    if (random.Percent(15)) arguments.extra_tags.emplace_back(key, random.Pick(kTagValues));
  }
  return arguments;
}

std::string GeneratedDevice::ToProfile() const {
  Json::Value root(Json::objectValue);
  root["clock"]["now"] = now;
  root["clock"]["time_zone"] = "UTC";
  root["client"]["version"] = client_version;
  if (has_firmware) {
    Json::Value& firmware = root["firmware"];
    firmware["manufacturer"] = manufacturer;
    firmware["family"] = family;
    firmware["model_number"] = model_number;
    firmware["sku"] = sku;
    firmware["serial_number"] = serial_number;
    firmware["enclosure_type"] = enclosure_type;
  }
  root["os"]["version"] = os_version;
  root["os"]["caption"] = os_caption;
  root["os"]["architecture"] = os_architecture;
  root["region"]["country_code"] = country_code;
  root["region"]["language_code"] = language_code;
  if (has_organisation) {
    Json::Value& organisation = root["organisation"];
    organisation["realm"] = realm;
    organisation["subscriptions"] = Json::Value(Json::arrayValue);
    for (const std::string& id : subscriptions) organisation["subscriptions"].append(id);
  }
  for (const auto& [key, value] : tags) {
    root["registry"]["HKLM\\SOFTWARE\\Tervan\\YOX\\Applicability\\Tags"][key] = TextValue(value);
  }
  for (const auto& [name, data] : registry_values) {
    root["registry"]["HKLM\\" + std::string(kRegistryKey)][name] = TextValue(data);
  }
  for (const std::string& id : hardware_ids) {
    Json::Value device;
    device["instance_id"] = id + "\\1&2&3";
    device["hardware_ids"].append(id);
    root["devices"].append(device);
  }
  for (const Application& application : installed_apps) {
    Json::Value entry;
    entry["key"] = application.key;
    entry["name"] = application.name;
    entry["version"] = application.version;
    root["installed_apps"].append(entry);
  }
  return Written(root);
}

void GeneratedDevice::Fill(MachineInformation& record) const {
  const auto wide = [](std::string_view text) { return YOX::String::UTF8ToUTF16(text); };
  record.set_device_manufacturer(wide(manufacturer));
  record.set_device_family(wide(family));
  record.set_device_model(wide(model_number));
  record.set_device_enclosuretype(wide(enclosure_type));
  record.set_serial_number(wide(serial_number));
  record.set_os_version(wide(os_version));
  record.set_os_description(wide(os_caption));
  record.set_os_language(wide(language_code));
  record.set_os_region(wide(country_code));
}

ApplicabilityFilter GeneratedList::ToFilters() const {
  ApplicabilityFilter::List list;
  for (const auto& fields : filters) {
    Filter& filter = list.emplace_back();
    for (const auto& [name, text] : fields) {
      const auto* field = std::ranges::find(kFilterFieldNames, name);
      filter.Set(static_cast<FilterField>(field - std::begin(kFilterFieldNames)),
                 YOX::String::UTF8ToUTF16(text));
    }
  }
  return ApplicabilityFilter(std::move(list));
}

ApplicabilityEvaluator::Pairs ToPairs(const TextPairs& texts) {
  ApplicabilityEvaluator::Pairs pairs;
  pairs.reserve(texts.size());
  for (const auto& [key, value] : texts) {
    pairs.push_back({YOX::String::UTF8ToUTF16(key), YOX::String::UTF8ToUTF16(value)});
  }
  return pairs;
}

std::string GeneratedList::ToDocument() const {
  Json::Value root;
  root["filters"] = Json::Value(Json::arrayValue);
  for (const auto& fields : filters) {
    Json::Value filter(Json::objectValue);
    for (const auto& [field, text] : fields) filter[std::string(field)] = text;
    root["filters"].append(filter);
  }
  return Written(root);
}

}  // namespace yox_test
