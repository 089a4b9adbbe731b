// Decisions per second over many devices and lists, beside an evaluator of the same rules written
// by hand over values that were parsed beforehand.

#include <benchmark/benchmark.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "yox/applicability/ApplicabilityEvaluator.h"
#include "yox/clientbase/Log.h"
#include "yox/clientbase/SaltedHash.h"
#include "yox/clientbase/String.h"
#include "yox/device/MachineInformation.h"
#include "yox/foundation/Version.h"

#include "bench/AllocationCounter.h"
#include "bench/Ratios.h"

namespace {

using YOX::String;
using YOX::WString;
using Pairs = ApplicabilityEvaluator::Pairs;
using Field = FilterField;

constexpr int kDevices = 1000;
constexpr int kLists = 64;

class Random {
 public:
  std::uint32_t Below(std::size_t limit) {
    state_ ^= state_ << 13;
    state_ ^= state_ >> 7;
    state_ ^= state_ << 17;
    return static_cast<std::uint32_t>(state_ % limit);
  }
  template <class T, std::size_t N>
  const T& Of(const T (&all)[N]) {
    return all[Below(N)];
  }

 private:
  std::uint64_t state_ = 0x9E3779B97F4A7C15;
};

// --- devices
// ---------------------------------------------------------------------------------------

struct Record : MachineInformation {};

struct Device {
  std::shared_ptr<MachineInformation> record = std::make_shared<Record>();
  WString client_version;
  Pairs tags;
};

constexpr const char* kCountries[] = {"US", "CA", "DE", "FR", "JP", "BR", "IN", "GB"};
constexpr const char* kFamilies[] = {"Falcon 14",     "Falcon 16", "Heron 13",
                                     "Kestrel Tower", "Osprey X2", "Heron 15 G2"};
constexpr const char* kMakers[] = {"Contoso", "Fabrikam", "Northwind Traders"};
constexpr const char* kLanguages[] = {"en-US", "de-DE", "fr-FR", "ja-JP", "pt-BR"};
constexpr const char* kOsVersions[] = {"10.0.19045.3803", "10.0.22621.2861", "10.0.22631.4460",
                                       "10.0.26100.2033"};
constexpr const char* kClientVersions[] = {"4.1.0.7", "4.2.10.0", "4.2.11.3", "5.0.0.1"};
constexpr const char* kTagNames[] = {"Device.Usage.IsManagedDevice", "Device.Hardware.Npu.Exists",
                                     "Ring", "DaysSinceOobe", "Device.Hardware.Gpu.Exists"};

WString Wide(const std::string& text) { return String::UTF8ToUTF16(text); }

std::vector<Device> MakeDevices(Random& random) {
  std::vector<Device> devices(kDevices);
  for (int i = 0; i < kDevices; ++i) {
    Device& device = devices[static_cast<std::size_t>(i)];
    MachineInformation& record = *device.record;
    record.set_os_region(Wide(random.Of(kCountries)));
    record.set_device_family(Wide(random.Of(kFamilies)));
    record.set_device_manufacturer(Wide(random.Of(kMakers)));
    record.set_device_model(Wide("FA" + std::to_string(14 + random.Below(6)) + "-2210"));
    record.set_os_language(Wide(random.Of(kLanguages)));
    record.set_os_version(Wide(random.Of(kOsVersions)));
    record.set_serial_number(Wide("SN" + std::to_string(100000 + i)));
    device.client_version = Wide(random.Of(kClientVersions));
    device.tags.emplace_back(Wide(kTagNames[0]), Wide(random.Below(2) != 0 ? "true" : "false"));
    device.tags.emplace_back(Wide(kTagNames[1]), Wide(random.Below(2) != 0 ? "true" : "false"));
    device.tags.emplace_back(Wide(kTagNames[2]), Wide(std::to_string(random.Below(4))));
    device.tags.emplace_back(Wide(kTagNames[3]), Wide(std::to_string(random.Below(900))));
  }
  return devices;
}

// --- lists
// -----------------------------------------------------------------------------------------

std::string DayFromToday(int days) {
  const std::time_t moment = std::time(nullptr) + days * 86400;
  char text[16];
  std::tm fields{};
  localtime_r(&moment, &fields);
  std::strftime(text, sizeof text, "%Y-%m-%d", &fields);
  return text;
}

std::string MakeCriterion(Random& random, Field& field) {
  switch (random.Below(10)) {
    case 0:
      field = Field::country;
      return std::string(random.Of(kCountries)) + "," + random.Of(kCountries);
    case 1:
      field = Field::family;
      return random.Below(2) != 0 ? "Falcon*,Heron 13" : "*G2*";
    case 2:
      field = Field::mfr;
      return random.Below(3) != 0 ? "contoso" : "!Fabrikam";
    case 3:
      field = Field::model;
      return "FA" + std::to_string(14 + random.Below(6)) + "*,*-9910";
    case 4:
      field = Field::language;
      return random.Below(2) != 0 ? "en-*" : "de-DE, fr-FR";
    case 5:
      field = Field::os_version;
      return std::string(random.Below(2) != 0 ? ">=" : "<") + random.Of(kOsVersions);
    case 6:
      field = Field::version;
      return std::string(random.Below(2) != 0 ? ">" : "<=") + random.Of(kClientVersions);
    case 7:
      field = Field::tag;
      return random.Below(2) != 0
                 ? "!Device.Usage.IsManagedDevice|true,DaysSinceOobe|>=" +
                       std::to_string(random.Below(900))
                 : "Device.Hardware.Npu.Exists|true,Ring|" + std::to_string(random.Below(4));
    case 8:
      field = Field::date_range;
      return (random.Below(2) != 0 ? "*" : DayFromToday(-30)) + "|" +
             DayFromToday(static_cast<int>(random.Below(60)) - 20);
    default:
      field = Field::date_function;
      return DayFromToday(-static_cast<int>(random.Below(40)) + 5) + "|28|" +
             (random.Below(2) != 0 ? "linear" : "exponentialNormal");
  }
}

// Half of the lists end in filters that no device meets.
std::vector<ApplicabilityFilter> MakeLists(Random& random) {
  std::vector<ApplicabilityFilter> lists;
  for (int i = 0; i < kLists; ++i) {
    ApplicabilityFilter::List filters(1 + random.Below(8));
    const bool never = i % 2 == 0;
    for (Filter& filter : filters) {
      const std::uint32_t criteria = 1 + random.Below(3);
      for (std::uint32_t c = 0; c < criteria; ++c) {
        Field field{};
        const std::string text = MakeCriterion(random, field);
        filter.Set(field, Wide(text));
      }
      if (never) filter.Set(Field::language, Wide("xx-XX,yy-*"));
      if (random.Below(3) == 0) filter.Set(Field::value, Wide("false"));
    }
    lists.emplace_back(std::move(filters));
  }
  return lists;
}

// --- the peer: the same rules by hand, over values parsed beforehand
// ---------------------------------

struct ParsedText {
  enum Form { kEqual, kPrefix, kSuffix, kInfix } form = kEqual;
  bool negated = false;
  WString text;
};
struct ParsedVersion {
  enum Operator { kNot, kAtLeast, kGreater, kAtMost, kLess } op;
  Version version;
};
struct ParsedTerm {
  int tag = 0;  // -1: a key that no device has
  bool key_only = false;
  bool number = false;
  int at_least = 0;
  WString value;
};
struct ParsedRange {
  int first = INT32_MIN, last = INT32_MAX;  // yyyymmdd
};
struct ParsedRollout {
  std::int64_t start;
  int days;
  double base;  // 0: linear
};
struct ParsedFilter {
  std::vector<ParsedText> country, family, mfr, model, language;
  std::vector<ParsedVersion> os_version, version;
  std::vector<ParsedTerm> tags;
  std::vector<ParsedRange> ranges;
  std::vector<ParsedRollout> rollouts;
  bool value = true;
};
struct ParsedDevice {
  WString country, family, mfr, model, language;
  Version os_version, version;
  std::array<const WString*, 5> tags{};
  std::array<WString, 5> tag_values;
  std::array<int, 5> tag_numbers{};
  int bucket;
};

WString Folded(WString text) {
  for (auto& unit : text) unit = String::FoldCase(unit);
  return text;
}

std::vector<WString> Pieces(const WString& text, char separator) {
  std::vector<WString> pieces = String::Split(text, static_cast<YOX::WChar>(separator));
  for (WString& piece : pieces) String::trim(piece, String::kWhiteSpace);
  return pieces;
}

std::vector<ParsedText> ParseTexts(const WString& required) {
  std::vector<ParsedText> parsed;
  for (WString piece : Pieces(required, ',')) {
    ParsedText& text = parsed.emplace_back();
    text.negated = piece.front() == '!';
    if (text.negated) piece.erase(0, 1);
    const bool opens = piece.front() == '*';
    const bool closes = piece.back() == '*';
    if (opens) piece.erase(0, 1);
    if (closes && !piece.empty()) piece.pop_back();
    text.form = opens && closes ? ParsedText::kInfix
                : opens         ? ParsedText::kSuffix
                : closes        ? ParsedText::kPrefix
                                : ParsedText::kEqual;
    text.text = Folded(piece);
  }
  return parsed;
}

std::vector<ParsedVersion> ParseVersions(const WString& required) {
  std::vector<ParsedVersion> parsed;
  for (const WString& piece : Pieces(required, ',')) {
    const bool equal = piece[1] == '=';
    const auto op = piece[0] == '!'   ? ParsedVersion::kNot
                    : piece[0] == '>' ? (equal ? ParsedVersion::kAtLeast : ParsedVersion::kGreater)
                                      : (equal ? ParsedVersion::kAtMost : ParsedVersion::kLess);
    parsed.push_back({op, Version::Parse(piece.substr(equal ? 2 : 1))});
  }
  return parsed;
}

int TagIndex(const WString& key) {
  for (std::size_t i = 0; i < std::size(kTagNames); ++i) {
    if (Folded(key) == Folded(Wide(kTagNames[i]))) return static_cast<int>(i);
  }
  return -1;
}

// The key and value form with a negated key is not written by MakeCriterion but for the managed
// device, whose first other key is the NPU's.
std::vector<ParsedTerm> ParseTerms(const WString& required) {
  std::vector<ParsedTerm> parsed;
  for (const WString& piece : Pieces(required, ',')) {
    const auto halves = Pieces(piece, '|');
    WString key = halves[0];
    ParsedTerm& term = parsed.emplace_back();
    term.key_only = halves.size() == 1;
    if (key.front() == '!') {
      term.tag = TagIndex(key.substr(1)) == 0 ? 1 : 0;
    } else {
      term.tag = TagIndex(key);
    }
    if (!term.key_only) {
      if (halves[1].front() == '>') {
        term.number = true;
        term.at_least = String::ToInteger(halves[1].substr(2));
      } else {
        term.value = Folded(halves[1]);
      }
    }
  }
  return parsed;
}

int DayNumber(const WString& date, int open) {
  const auto parts = Pieces(date, '-');
  if (parts.size() != 3) return open;
  return String::ToInteger(parts[0]) * 10000 + String::ToInteger(parts[1]) * 100 +
         String::ToInteger(parts[2]);
}

std::int64_t Midnight(const WString& date) {
  const auto parts = Pieces(date, '-');
  std::tm fields{};
  fields.tm_year = String::ToInteger(parts[0]) - 1900;
  fields.tm_mon = String::ToInteger(parts[1]) - 1;
  fields.tm_mday = String::ToInteger(parts[2]);
  fields.tm_isdst = -1;
  return std::mktime(&fields);
}

ParsedFilter ParseFilter(const Filter& filter) {
  ParsedFilter parsed;
  if (filter.IsSet(Field::country)) parsed.country = ParseTexts(filter.country());
  if (filter.IsSet(Field::family)) parsed.family = ParseTexts(filter.family());
  if (filter.IsSet(Field::mfr)) parsed.mfr = ParseTexts(filter.mfr());
  if (filter.IsSet(Field::model)) parsed.model = ParseTexts(filter.model());
  if (filter.IsSet(Field::language)) parsed.language = ParseTexts(filter.language());
  if (filter.IsSet(Field::os_version)) parsed.os_version = ParseVersions(filter.os_version());
  if (filter.IsSet(Field::version)) parsed.version = ParseVersions(filter.version());
  if (filter.IsSet(Field::tag)) parsed.tags = ParseTerms(filter.tag());
  if (filter.IsSet(Field::date_range)) {
    const auto ends = Pieces(filter.date_range(), '|');
    parsed.ranges.push_back({DayNumber(ends[0], INT32_MIN), DayNumber(ends[1], INT32_MAX)});
  }
  if (filter.IsSet(Field::date_function)) {
    const auto parts = Pieces(filter.date_function(), '|');
    parsed.rollouts.push_back(
        {Midnight(parts[0]), String::ToInteger(parts[1]), parts[2].front() == 'l' ? 0.0 : 1.2});
  }
  parsed.value = filter.value() != Wide("false");
  return parsed;
}

ParsedDevice ParseDevice(const Device& device) {
  const MachineInformation& record = *device.record;
  ParsedDevice parsed;
  parsed.country = Folded(record.os_region());
  parsed.family = Folded(record.device_family());
  parsed.mfr = Folded(record.device_manufacturer());
  parsed.model = Folded(record.device_model());
  parsed.language = Folded(record.os_language());
  parsed.os_version = Version::Parse(record.os_version());
  parsed.version = Version::Parse(device.client_version);
  for (const auto& pair : device.tags) {
    const auto i = static_cast<std::size_t>(TagIndex(pair.getKey()));
    parsed.tag_values[i] = Folded(pair.getValue());
    String::TryToInteger(pair.getValue(), parsed.tag_numbers[i]);
  }
  const std::string hash =
      YOX::utility::SHA256WithSalt(String::UTF16ToUTF8(record.serial_number()));
  parsed.bucket = std::stoi(hash.substr(0, 3), nullptr, 16);
  return parsed;
}

bool HoldsText(const std::vector<ParsedText>& required, const WString& actual) {
  if (required.empty()) return true;
  for (const ParsedText& text : required) {
    bool holds = true;
    switch (text.form) {
      case ParsedText::kEqual:
        holds = actual == text.text;
        break;
      case ParsedText::kPrefix:
        holds = actual.starts_with(text.text);
        break;
      case ParsedText::kSuffix:
        holds = actual.ends_with(text.text);
        break;
      case ParsedText::kInfix:
        holds = actual.find(text.text) != WString::npos;
        break;
    }
    if (holds != text.negated) return true;
  }
  return false;
}

bool HoldsVersion(const std::vector<ParsedVersion>& required, const Version& actual) {
  if (required.empty()) return true;
  for (const ParsedVersion& version : required) {
    switch (version.op) {
      case ParsedVersion::kNot:
        if (actual != version.version) return true;
        break;
      case ParsedVersion::kAtLeast:
        if (actual >= version.version) return true;
        break;
      case ParsedVersion::kGreater:
        if (actual > version.version) return true;
        break;
      case ParsedVersion::kAtMost:
        if (actual <= version.version) return true;
        break;
      case ParsedVersion::kLess:
        if (actual < version.version) return true;
        break;
    }
  }
  return false;
}

bool HoldsTags(const std::vector<ParsedTerm>& required, const ParsedDevice& device) {
  for (const ParsedTerm& term : required) {
    if (term.tag < 0) return false;
    const auto i = static_cast<std::size_t>(term.tag);
    if (term.key_only) continue;
    if (term.number ? device.tag_numbers[i] < term.at_least : device.tag_values[i] != term.value) {
      return false;
    }
  }
  return true;
}

bool HoldsDates(const ParsedFilter& filter, const ParsedDevice& device) {
  if (!filter.ranges.empty()) {
    const std::time_t now = std::time(nullptr);
    thread_local std::time_t minute = -1;
    thread_local int today = 0;
    if (now / 60 != minute) {
      std::tm fields{};
      localtime_r(&now, &fields);
      today = (fields.tm_year + 1900) * 10000 + (fields.tm_mon + 1) * 100 + fields.tm_mday;
      minute = now / 60;
    }
    for (const ParsedRange& range : filter.ranges) {
      if (today < range.first || today > range.last) return false;
    }
  }
  for (const ParsedRollout& rollout : filter.rollouts) {
    const std::int64_t now = std::time(nullptr);
    if (now < rollout.start) return false;
    const std::int64_t elapsed = (now - rollout.start) / 86400 + 1;
    if (elapsed >= rollout.days) continue;
    const double share = rollout.base == 0.0
                             ? static_cast<double>(elapsed) / rollout.days
                             : std::pow(rollout.base, static_cast<double>(elapsed - rollout.days) /
                                                          (rollout.days / 20.0));
    if (device.bucket > share * 4095.0) return false;
  }
  return true;
}

bool DecideByHand(const std::vector<ParsedFilter>& filters, const ParsedDevice& device) {
  for (const ParsedFilter& filter : filters) {
    if (HoldsText(filter.country, device.country) && HoldsDates(filter, device) &&
        HoldsText(filter.family, device.family) && HoldsText(filter.language, device.language) &&
        HoldsText(filter.mfr, device.mfr) && HoldsText(filter.model, device.model) &&
        HoldsVersion(filter.os_version, device.os_version) &&
        HoldsVersion(filter.version, device.version) && HoldsTags(filter.tags, device)) {
      return filter.value;
    }
  }
  return filters.empty();
}

// --- the race
// ----------------------------------------------------------------------------------------

struct World {
  std::vector<Device> devices;
  std::vector<ApplicabilityFilter> lists;
  std::vector<ParsedDevice> parsed_devices;
  std::vector<std::vector<ParsedFilter>> parsed_lists;

  World() {
    Random random;
    devices = MakeDevices(random);
    lists = MakeLists(random);
    for (const Device& device : devices) parsed_devices.push_back(ParseDevice(device));
    for (const ApplicabilityFilter& list : lists) {
      std::vector<ParsedFilter>& parsed = parsed_lists.emplace_back();
      for (const Filter& filter : list.filters()) parsed.push_back(ParseFilter(filter));
    }
  }

  bool Decide(std::size_t list, std::size_t device, WString& reason) const {
    const Device& d = devices[device];
    struct Deciding : ApplicabilityEvaluator {};  // nothing but decisions: no thread, no watch
    static Deciding evaluator;
    return evaluator.EvaluateApplicability(d.record, d.client_version, lists[list], nullptr,
                                           nullptr, d.tags, reason);
  }
};

const World& TheWorld() {
  static const World world;
  return world;
}

// Both must give the same answer for every pair before any time is taken.
void CheckThatBothAgree() {
  const World& world = TheWorld();
  std::size_t applying = 0;
  for (std::size_t list = 0; list < kLists; ++list) {
    for (std::size_t device = 0; device < kDevices; ++device) {
      const bool ours = world.Decide(list, device, ApplicabilityEvaluator::discard_reason_);
      if (ours != DecideByHand(world.parsed_lists[list], world.parsed_devices[device])) {
        std::fprintf(stderr, "list %zu and device %zu: the two evaluators disagree\n", list,
                     device);
        std::exit(1);
      }
      applying += ours ? 1 : 0;
    }
  }
  std::printf("%d lists x %d devices: %.0f%% apply, both evaluators agree\n", kLists, kDevices,
              100.0 * static_cast<double>(applying) / (kLists * kDevices));
}

template <class Decide>
void Race(benchmark::State& state, Decide decide) {
  // Each thread begins elsewhere, and visits all pairs in an order that no branch predictor learns.
  std::size_t i = static_cast<std::size_t>(state.thread_index()) * 7919;
  const yox_bench::Allocations before = yox_bench::AllocationsSoFar();
  std::int64_t decisions = 0;
  for (auto _ : state) {
    i += 2654435761;
    benchmark::DoNotOptimize(decide(i / 1000 % kLists, i % kDevices));
    ++decisions;
  }
  state.SetItemsProcessed(decisions);
  if (state.threads() == 1) {
    const yox_bench::Allocations after = yox_bench::AllocationsSoFar();
    const auto per_decision = [&](std::uint64_t count) {
      return static_cast<double>(count) / static_cast<double>(decisions);
    };
    state.counters["allocations"] = per_decision(after.count - before.count);
    state.counters["bytes"] = per_decision(after.bytes - before.bytes);
  }
}

void Library(benchmark::State& state) {
  const World& world = TheWorld();
  Race(state, [&](std::size_t list, std::size_t device) {
    return world.Decide(list, device, ApplicabilityEvaluator::discard_reason_);
  });
}
BENCHMARK(Library)->Threads(1)->Threads(2)->UseRealTime();

void LibraryWithReason(benchmark::State& state) {
  const World& world = TheWorld();
  WString reason;
  Race(state,
       [&](std::size_t list, std::size_t device) { return world.Decide(list, device, reason); });
}
BENCHMARK(LibraryWithReason)->UseRealTime();

// With somebody reading the log: every failing criterion asks the throttle.
void LibraryWithLog(benchmark::State& state) {
  const World& world = TheWorld();
  YOX::Log::SetSink([](std::string_view, YOX::LogLevel, std::string_view) {});
  Race(state, [&](std::size_t list, std::size_t device) {
    return world.Decide(list, device, ApplicabilityEvaluator::discard_reason_);
  });
  YOX::Log::SetSink({});
}
BENCHMARK(LibraryWithLog)->UseRealTime();

void ByHand(benchmark::State& state) {
  const World& world = TheWorld();
  Race(state, [&](std::size_t list, std::size_t device) {
    return DecideByHand(world.parsed_lists[list], world.parsed_devices[device]);
  });
}
BENCHMARK(ByHand)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  CheckThatBothAgree();
  return yox_bench::RunWithRatios(
      argc, argv,
      {{"a decision, ours to by hand (at most 3)", "Library/real_time/threads:1",
        "ByHand/real_time"},
       {"a decision with its reason, to by hand", "LibraryWithReason/real_time",
        "ByHand/real_time"},
       {"a decision with its log read, to by hand", "LibraryWithLog/real_time", "ByHand/real_time"},
       {"two threads' time per decision, to one's", "Library/real_time/threads:2",
        "Library/real_time/threads:1"}});
}
