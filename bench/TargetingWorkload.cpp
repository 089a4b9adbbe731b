#include "bench/TargetingWorkload.h"

#include <algorithm>
#include <cstdio>
#include <set>
#include <span>
#include <sstream>
#include <string_view>

namespace targeting {
namespace {

using Kind = Criterion::Kind;
using Strings = std::vector<std::string>;

constexpr std::uint64_t kSeed = 20240;
constexpr std::size_t kDevices = 1000;
constexpr std::size_t kLists = 200;  // those with a roll-out are left out afterwards

Strings Words(std::string_view text) {
  std::istringstream in{std::string(text)};
  Strings words;
  for (std::string word; in >> word;) words.push_back(word);
  return words;
}

const Strings kCountries = Words(
    "US GB DE FR IN BR JP CA AU IT ES NL SE PL MX KR CH BE AT NO DK FI IE PT CZ ZA SG NZ AR CL");
const Strings kOsNames = {"NorthOS", "SouthOS", "EastOS Server", "WestOS LTS"};
const Strings kChannels = Words("stable beta preview internal");
const Strings kManufacturers = {"Acme Computing", "Bolt Systems Inc.", "Cirrus Devices",
                                "Dyna Works GmbH"};
const Strings kHosts = Words("lt ws srv kiosk");
const Strings kDomains = Words("corp lab shop");
const Strings kCpus = {"Core A5", "Core A7", "Core A9", "Zeta 5", "Zeta 7"};
const Strings kTagNames = Words(
    "ring site dept owner tier room fleet wave policy image cost vlan role shift lab stage audit "
    "dock badge sla proj team bios_pin av vpn disk mdm kiosk loaner exec field remote pilot qa dev "
    "build edge pos call hr");
const Strings kTagValues = Words("a b canary prod on");

const Strings kModels = [] {
  Strings models;
  for (const std::string& family : Words("Aster Borealis Cobalt Dune Ember Fjord")) {
    for (const char* number : {"1400", "1500", "7300", "9500"}) {
      for (const char* generation : {"1", "2", "3"}) {
        models.push_back(family + " " + number + " G" + generation);
      }
    }
  }
  return models;
}();

// SplitMix64 by Vigna.
class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}

  std::size_t Below(std::size_t limit) {
    std::uint64_t z = state_ += 0x9E3779B97F4A7C15U;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9U;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBU;
    return (z ^ (z >> 31)) % limit;
  }
  void Skip(int draws) {
    for (int i = 0; i < draws; ++i) Below(1);
  }
  template <class Values>
  const auto& Pick(const Values& values) {
    return std::data(values)[Below(std::size(values))];
  }
  // Earlier values more often than later ones.
  const std::string& Skewed(const Strings& values) {
    const std::size_t first = Below(values.size());
    return values[std::min(first, Below(values.size()))];
  }
  Strings Sample(Strings values, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
      std::swap(values[i], values[i + Below(values.size() - i)]);
    }
    values.resize(count);
    return values;
  }
  std::string Hexadecimal(std::size_t count) {
    std::string text;
    while (text.size() < count) text += "0123456789abcdef"[Below(16)];
    return text;
  }
  std::string Number(std::size_t first, std::size_t count, std::size_t step = 1) {
    return std::to_string(first + Below(count) * step);
  }

 private:
  std::uint64_t state_;
};

Device MakeDevice(Random& random) {
  Device device;
  const auto set = [&](Attribute attribute) -> std::string& {
    return device.attributes[static_cast<std::size_t>(attribute)];
  };
  set(Attribute::kModel) = random.Skewed(kModels);
  const std::string& country = set(Attribute::kCountry) = random.Skewed(kCountries);
  set(Attribute::kOsName) = random.Skewed(kOsNames);
  set(Attribute::kChannel) = random.Skewed(kChannels);
  std::string text = random.Number(9, 3) + ".";
  text += random.Number(0, 4) + ".";
  set(Attribute::kOsVersion) = text + random.Number(19000, 12, 250);
  text = random.Number(1, 5) + ".";
  text += random.Number(0, 12) + ".";
  set(Attribute::kVersion) = text + random.Number(0, 30);
  set(Attribute::kManufacturer) = random.Skewed(kManufacturers);
  random.Skip(3);  // attributes that no rule looks at, here and below
  text = random.Pick(kHosts) + "-";
  for (const char c : country) text += static_cast<char>(c | 0x20);
  text += "-" + random.Hexadecimal(6) + ".";
  set(Attribute::kHostname) = text + random.Pick(kDomains) + ".example";
  random.Skip(16);
  text = random.Pick(kCpus) + " ";
  set(Attribute::kCpu) = text + random.Number(1000, 9000);
  random.Skip(18);
  device.tag_order = random.Sample(kTagNames, 20);
  for (const std::string& name : device.tag_order) device.tags[name] = random.Skewed(kTagValues);
  device.id = random.Hexadecimal(32);
  for (const std::size_t at : {20, 16, 12, 8}) device.id.insert(at, "-");
  return device;
}

std::vector<int> Version(const std::string& text) {
  std::vector<int> numbers;
  std::istringstream in(text);
  for (std::string number; std::getline(in, number, '.');) numbers.push_back(std::stoi(number));
  return numbers;
}

// FNV-1a.
std::uint32_t Hash(const std::string& text) {
  std::uint32_t hash = 2166136261;
  for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 16777619;
  return hash;
}

bool Meets(const Criterion& criterion, const Device& device) {
  const std::string& actual = device[criterion.attribute];
  switch (criterion.kind) {
    case Kind::kIn:
      return std::ranges::count(criterion.values, actual) != 0;
    case Kind::kPrefix:
      return actual.starts_with(criterion.value);
    case Kind::kSuffix:
      return actual.ends_with(criterion.value);
    case Kind::kContains:
      return actual.find(criterion.value) != std::string::npos;
    case Kind::kAtLeast:
      return Version(actual) >= Version(criterion.value);
    case Kind::kLess:
      return Version(actual) < Version(criterion.value);
    case Kind::kSame:
      return Version(actual) == Version(criterion.value);
    case Kind::kTag: {
      const auto tag = device.tags.find(criterion.tag);
      return tag != device.tags.end() && tag->second == criterion.value;
    }
    case Kind::kRollout:
      return Hash(criterion.tag + ":" + device.id) % 100 <
             static_cast<std::uint32_t>(std::stoi(criterion.value));
  }
  return false;
}

bool Meets(const Rule& rule, const Device& device) {
  return std::ranges::all_of(rule, [&](const auto& criterion) { return Meets(criterion, device); });
}

// The next criterion that a rule has not got yet.
Criterion DrawCriterion(Random& random, const std::vector<Device>& devices, const std::string& salt,
                        std::set<std::string>& used) {
  const auto is_new = [&](const std::string& what) { return used.insert(what).second; };
  const auto name = [](const char* kind, Attribute attribute) {
    return kind + std::to_string(static_cast<int>(attribute));
  };
  using enum Attribute;
  for (;;) {
    const std::size_t lot = random.Below(100);
    const Device& device = random.Pick(devices);
    Criterion drawn;
    if (lot < 35) {
      const std::pair<Attribute, const Strings&> row =
          random.Pick(std::to_array<std::pair<Attribute, const Strings&>>({{kCountry, kCountries},
                                                                           {kModel, kModels},
                                                                           {kOsName, kOsNames},
                                                                           {kChannel, kChannels}}));
      drawn.attribute = row.first;
      if (!is_new(name("in", drawn.attribute))) continue;
      const std::size_t count = 1 + random.Below(std::min<std::size_t>(12, row.second.size() - 1));
      drawn.values = random.Sample(row.second, count);
      return drawn;
    }
    if (lot < 55) {
      drawn.kind = random.Pick(std::array{Kind::kPrefix, Kind::kSuffix, Kind::kContains});
      drawn.attribute = random.Pick(std::array{kModel, kHostname, kManufacturer, kOsVersion, kCpu});
      const std::string entry =
          name("text", drawn.attribute) + std::to_string(static_cast<int>(drawn.kind));
      if (!is_new(entry)) continue;
      const std::string& text = device[drawn.attribute];
      const std::size_t size = std::min(2 + random.Below(5), text.size());
      std::size_t begin = drawn.kind == Kind::kSuffix ? text.size() - size : 0;
      if (drawn.kind == Kind::kContains) {
        begin = random.Below(std::max<std::size_t>(1, text.size() - size));
      }
      drawn.value = text.substr(begin, size);
      if (drawn.value.front() != ' ' && drawn.value.back() != ' ') return drawn;
      used.erase(entry);
    } else if (lot < 75) {
      drawn.attribute = random.Pick(std::array{kVersion, kOsVersion});
      drawn.kind = random.Pick(
          std::array{Kind::kAtLeast, Kind::kLess, Kind::kAtLeast, Kind::kLess, Kind::kSame});
      drawn.value = device[drawn.attribute];
      if (is_new(name("version", drawn.attribute) + std::to_string(static_cast<int>(drawn.kind)))) {
        return drawn;
      }
    } else if (lot < 90) {
      drawn.kind = Kind::kTag;
      drawn.tag = random.Pick(device.tag_order);
      drawn.value = device.tags.at(drawn.tag);
      if (is_new("tag" + drawn.tag)) return drawn;
    } else if (is_new("rollout")) {
      drawn.kind = Kind::kRollout;
      drawn.tag = salt;
      drawn.value = random.Number(5, 19, 5);
      return drawn;
    }
  }
}

// A rule that some of a sample of devices meet: 5 to 28 in a hundred.
Rule DrawRule(Random& random, const std::vector<Device>& devices, const std::string& salt,
              std::span<const Device* const> sample) {
  for (;;) {
    std::size_t count = random.Below(4);
    count = 1 + std::min(count, random.Below(5));
    std::set<std::string> used;
    Rule rule;
    while (rule.size() < count) rule.push_back(DrawCriterion(random, devices, salt, used));
    const auto met =
        std::ranges::count_if(sample, [&](auto* device) { return Meets(rule, *device); });
    const double share = static_cast<double>(met) / static_cast<double>(sample.size());
    if (share >= 0.05 && share <= 0.28) return rule;
  }
}

}  // namespace

int Workload::Expected(std::size_t device, std::size_t list) const {
  const List& rules = lists[list];
  const auto met =
      std::ranges::find_if(rules, [&](const Rule& rule) { return Meets(rule, devices[device]); });
  return met == rules.end() ? -1 : static_cast<int>(met - rules.begin());
}

const Workload& TheWorkload() {
  static const Workload kWorkload = [] {
    Workload workload;
    workload.tag_names = kTagNames;
    std::ranges::sort(workload.tag_names);
    Random random(kSeed);
    for (std::size_t i = 0; i < kDevices; ++i) workload.devices.push_back(MakeDevice(random));
    for (std::size_t i = 0; i < kLists; ++i) {
      std::vector<const Device*> sample;
      while (sample.size() < 250) sample.push_back(&random.Pick(workload.devices));
      char name[16];
      std::snprintf(name, sizeof name, "L%03dR", static_cast<int>(i));
      const std::size_t count = 1 + random.Below(8);
      List list;
      while (list.size() < count) {
        list.push_back(
            DrawRule(random, workload.devices, name + std::to_string(list.size()), sample));
      }
      const auto grows = [](const Rule& rule) {
        return std::ranges::any_of(rule, [](auto& c) { return c.kind == Kind::kRollout; });
      };
      if (std::ranges::none_of(list, grows)) workload.lists.push_back(std::move(list));
    }
    return workload;
  }();
  return kWorkload;
}

}  // namespace targeting
