// Decisions on a made-up fleet (TargetingWorkload.h), beside evaluators that know nothing but this
// workload, and LuaJIT. Each rule is a filter; what a filter cannot say twice of one attribute is a
// term over tags.

#include <benchmark/benchmark.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "yox/applicability/ApplicabilityEvaluator.h"
#include "yox/base/Log.h"
#include "yox/base/String.h"
#include "yox/decision/CompiledList.h"
#include "yox/decision/Decide.h"
#include "yox/decision/FactsRecord.h"
#include "yox/decision/PreparedDevice.h"
#include "yox/device/MachineInformation.h"
#include "yox/device/YoxInfo.h"
#include "yox/foundation/YOXHelperFactory.h"
#include "yox/platform/Platform.h"
#include "yox/platform/simulated/SimulatedDevice.h"
#include "yox/tags/AppAndTagCollection.h"

#include "bench/AllocationCounter.h"
#include "bench/Ratios.h"
#include "bench/TargetingByHand.h"
#ifdef YOX_BENCH_LUA
#include "bench/TargetingLua.h"
#endif
#include "bench/TargetingWorkload.h"
#include "tests/support/SubstitutedPlatform.h"
#include "tests/support/TemporaryFolder.h"

namespace {

using targeting::Attribute;
using targeting::Criterion;
using targeting::TheWorkload;
using yox::WString;
using yox::decision::FilterField;

WString Wide(const std::string& text) { return YOX::String::UTF8ToUTF16(text); }

struct Row {
  Attribute attribute;
  const char* name;  // of the tag that has the same text
  FilterField field;
};
constexpr std::array kRows = {
    Row{Attribute::kCountry, "country", FilterField::country},
    Row{Attribute::kModel, "model", FilterField::model},
    Row{Attribute::kOsName, "os_name", FilterField::os_description},
    Row{Attribute::kChannel, "channel", FilterField::enclosure},
    Row{Attribute::kOsVersion, "os_version", FilterField::os_version},
    Row{Attribute::kVersion, "version", FilterField::version},
    Row{Attribute::kManufacturer, "manufacturer", FilterField::mfr},
    Row{Attribute::kHostname, "hostname", FilterField::family},
    Row{Attribute::kCpu, "cpu", FilterField::language},
};
const Row& RowOf(Attribute attribute) { return kRows[static_cast<std::size_t>(attribute)]; }

std::string Pattern(const Criterion& criterion) {
  using enum Criterion::Kind;
  std::string values;
  for (const std::string& value : criterion.values) values += (values.empty() ? "" : ",") + value;
  switch (criterion.kind) {
    case kIn:
      return values;
    case kPrefix:
      return criterion.value + "*";
    case kSuffix:
      return "*" + criterion.value;
    case kContains:
      return "*" + criterion.value + "*";
    case kAtLeast:
      return ">=" + criterion.value;
    case kLess:
      return "<" + criterion.value;
    default:
      return criterion.value;
  }
}

Filter ToFilter(const targeting::Rule& rule) {
  Filter filter;
  std::string terms;
  for (const Criterion& criterion : rule) {
    const bool is_tag = criterion.kind == Criterion::Kind::kTag;
    const bool is_version = criterion.kind >= Criterion::Kind::kAtLeast && !is_tag;
    const Row& row = RowOf(criterion.attribute);
    const bool is_version_field =
        row.field == FilterField::os_version || row.field == FilterField::version;
    if (is_tag || is_version != is_version_field || filter.IsSet(row.field)) {
      const std::string tag = is_tag ? criterion.tag : std::string("x-") + row.name;
      terms += (terms.empty() ? "" : ",") + tag + "|" + Pattern(criterion);
    } else {
      filter.Set(row.field, Wide(Pattern(criterion)));
    }
  }
  if (!terms.empty()) filter.set_tag(Wide(terms));
  return filter;
}

struct Record : MachineInformation {};
struct Deciding : ApplicabilityEvaluator {  // nothing but decisions: no thread, no watch
  using ApplicabilityEvaluator::ApplicabilityEvaluator;
};

struct Device {
  std::shared_ptr<MachineInformation> record = std::make_shared<Record>();
  WString version;
  ApplicabilityEvaluator::Pairs tags;

  explicit Device(const targeting::Device& device) : version(Wide(device[Attribute::kVersion])) {
    record->set_os_region(Wide(device[Attribute::kCountry]));
    record->set_device_model(Wide(device[Attribute::kModel]));
    record->set_os_description(Wide(device[Attribute::kOsName]));
    record->set_device_enclosuretype(Wide(device[Attribute::kChannel]));
    record->set_os_version(Wide(device[Attribute::kOsVersion]));
    record->set_device_manufacturer(Wide(device[Attribute::kManufacturer]));
    record->set_device_family(Wide(device[Attribute::kHostname]));
    record->set_os_language(Wide(device[Attribute::kCpu]));
    for (const auto& [name, value] : device.tags) tags.emplace_back(Wide(name), Wide(value));
    for (const Row& row : kRows) {
      if (row.attribute == Attribute::kCountry || row.attribute == Attribute::kOsName ||
          row.attribute == Attribute::kChannel) {
        continue;  // no rule looks at them twice
      }
      tags.emplace_back(Wide(std::string("x-") + row.name), Wide(device[row.attribute]));
    }
  }
};

yox::decision::PreparedDevice Prepare(const targeting::Device& device,
                                      const ApplicabilityEvaluator::Pairs& tags) {
  yox::decision::FactsRecord facts;
  for (const Row& row : kRows) {
    facts.text(row.field) = yox::decision::Given<WString>::Known(Wide(device[row.attribute]));
  }
  facts.tags = tags;
  return yox::decision::PreparedDevice(facts);
}

struct World {
  std::vector<Device> devices;
  std::vector<yox::decision::PreparedDevice> prepared;
  std::vector<ApplicabilityFilter> lists;
  std::vector<std::shared_ptr<const yox::decision::CompiledList>> compiled;
  targeting::TextEvaluator text{TheWorkload()};
  targeting::DigestEvaluator digest{TheWorkload()};

  World() {
    for (const targeting::Device& device : TheWorkload().devices) {
      prepared.push_back(Prepare(device, devices.emplace_back(device).tags));
    }
    for (const targeting::List& list : TheWorkload().lists) {
      ApplicabilityFilter::List filters;
      for (const targeting::Rule& rule : list) filters.push_back(ToFilter(rule));
      filters.emplace_back().set_default(Wide("false"));
      compiled.push_back(lists.emplace_back(filters).snapshot());
    }
  }

  bool Decide(std::size_t device, std::size_t list, WString& reason) const {
    static Deciding evaluator;
    const Device& d = devices[device];
    return evaluator.EvaluateApplicability(d.record, d.version, lists[list], nullptr, nullptr,
                                           d.tags, reason);
  }
};

const World& TheWorld() {
  static const World world;
  return world;
}

bool DecideSilently(std::size_t device, std::size_t list) {
  return TheWorld().Decide(device, list, ApplicabilityEvaluator::discard_reason_);
}

// One decision an iteration, device by device over all lists.
template <class Decide>
void Race(benchmark::State& state, Decide decide) {
  const std::size_t lists = TheWorld().lists.size();
  const std::size_t devices = TheWorld().devices.size();
  std::size_t list = 0;
  std::size_t device = devices / static_cast<std::size_t>(state.threads()) *
                       static_cast<std::size_t>(state.thread_index());
  const yox_bench::Allocations before = yox_bench::AllocationsSoFar();
  for (auto _ : state) {
    benchmark::DoNotOptimize(decide(device, list));
    if (++list < lists) continue;
    list = 0;
    if (++device == devices) device = 0;
  }
  if (state.threads() > 1) return;
  state.counters["allocations"] =
      benchmark::Counter(static_cast<double>(yox_bench::AllocationsSoFar().count - before.count),
                         benchmark::Counter::kAvgIterations);
}

void Text(benchmark::State& state) {
  Race(state,
       [](std::size_t device, std::size_t list) { return TheWorld().text.Decide(device, list); });
}
BENCHMARK(Text);

void TextWithNotes(benchmark::State& state) {
  std::array<std::int8_t, 8> failed{};
  Race(state, [&](std::size_t device, std::size_t list) {
    const int rule = TheWorld().text.DecideAndNote(device, list, failed);
    benchmark::DoNotOptimize(failed);
    return rule;
  });
}
BENCHMARK(TextWithNotes);

void Digest(benchmark::State& state) {
  Race(state,
       [](std::size_t device, std::size_t list) { return TheWorld().digest.Decide(device, list); });
}
BENCHMARK(Digest);

#ifdef YOX_BENCH_LUA
void Lua(benchmark::State& state) {
  static const targeting::LuaEvaluator evaluator(TheWorkload());
  Race(state, [](std::size_t device, std::size_t list) { return evaluator.Decide(device, list); });
}
BENCHMARK(Lua);
#endif

void Library(benchmark::State& state) { Race(state, DecideSilently); }
BENCHMARK(Library)->Threads(1)->Threads(2);

void LibraryWithReason(benchmark::State& state) {
  WString reason;
  Race(state, [&](std::size_t device, std::size_t list) {
    return TheWorld().Decide(device, list, reason);
  });
}
BENCHMARK(LibraryWithReason);

// Many lists on one prepared snapshot of a device.
void Prepared(benchmark::State& state) {
  const World& world = TheWorld();
  const yox::decision::Question question;
  std::size_t current = world.devices.size();
  std::optional<yox::decision::PreparedFacts> facts;
  Race(state, [&](std::size_t device, std::size_t list) {
    if (device != current) facts.emplace(world.prepared[current = device], question);
    return yox::decision::Decide(*world.compiled[list], *facts).applies;
  });
}
BENCHMARK(Prepared);

// The log has a reader, and its throttle drops every line: the same decision many times in a row,
// of lists in which no two filters fail with a line of one key.
// The first one writes its lines: a thousandth of them.
constexpr std::size_t kTimesInARow = 1024;

template <class Decide>
void RaceInARow(benchmark::State& state, Decide decide) {
  static const std::vector<std::pair<std::size_t, std::size_t>> pairs = [] {
    std::size_t lines = 0;
    YOX::Log::SetSink([&](std::string_view, YOX::LogLevel, std::string_view) { ++lines; });
    std::vector<std::pair<std::size_t, std::size_t>> quiet;
    for (std::size_t device = 0; device < TheWorld().devices.size(); device += 10) {
      for (std::size_t list = 0; list < TheWorld().lists.size(); ++list) {
        lines = 0;
        DecideSilently(device, list);
        if (std::exchange(lines, 0) == 0) continue;  // nothing to drop
        DecideSilently(device, list);
        if (lines == 0) quiet.emplace_back(device, list);
      }
    }
    YOX::Log::SetSink({});
    return quiet;
  }();
  YOX::Log::SetSink([](std::string_view, YOX::LogLevel, std::string_view) {});
  std::size_t i = 0;
  for (auto _ : state) {
    const auto& [device, list] = pairs[i / kTimesInARow];
    benchmark::DoNotOptimize(decide(device, list));
    if (++i == pairs.size() * kTimesInARow) i = 0;
  }
  YOX::Log::SetSink({});
}

void LibraryThrottled(benchmark::State& state) { RaceInARow(state, DecideSilently); }
BENCHMARK(LibraryThrottled);

void TextInARow(benchmark::State& state) {
  RaceInARow(state, [](std::size_t device, std::size_t list) {
    return TheWorld().text.Decide(device, list);
  });
}
BENCHMARK(TextInARow);

// The running service: what IsApplicable takes from the singletons, beside the same decision over
// the same objects as arguments. On a simulated device, and on one with this system's own registry
// and clock.
struct Service {
  yox::platform::SimulatedDevice platform;
  yox_test::SubstitutedPlatform native{platform};
  yox::platform::ScopedPlatform installed{platform};
  std::unique_ptr<ApplicabilityEvaluator> evaluator;
  std::shared_ptr<MachineInformation> record = TheWorld().devices.front().record;
  AppAndTagCollection* tags;
  WString version;
  ApplicabilityEvaluator::Pairs none;

  Service() {
    platform.Change([](yox::platform::DeviceProfile& profile) {
      profile.client.version = TheWorld().devices.front().version;
    });
    yox::YOXHelperFactory::GetInstance()->SetMachineInformationAgent(record);
    tags = AppAndTagCollection::GetInstance();
    std::vector<YOXTag> list;
    for (const auto& pair : TheWorld().devices.front().tags) {
      list.emplace_back(pair.key(), pair.value());
    }
    tags->AddTags(list, false, false);
    version = YoxInfo::GetInstance()->GetYoxServiceVersion();
    evaluator = ApplicabilityEvaluator::CreateWithoutTasks();

    native.Set(yox::platform::Platform::Native().clock());
    auto& registry = yox::platform::Platform::Native().registry();
    // A key that every system has, and on Linux a registry that a process has written to.
    registry.CreateKey({HKEY_CURRENT_USER, YOX::String::UTF8ToUTF16("Software"), {}, {}});
    native.Set(registry);
  }
};
Service& TheService() {
  static Service service;
  return service;
}

void IsApplicable(benchmark::State& state) {
  Service& service = TheService();
  Race(state, [&](std::size_t, std::size_t list) {
    return service.evaluator->IsApplicable(TheWorld().lists[list], nullptr, service.none,
                                           ApplicabilityEvaluator::discard_reason_);
  });
}
BENCHMARK(IsApplicable);

void IsApplicableWithOwnRegistry(benchmark::State& state) {
  const yox::platform::ScopedPlatform installed(TheService().native);
  IsApplicable(state);
}
BENCHMARK(IsApplicableWithOwnRegistry);

void EvaluateOnTheSame(benchmark::State& state) {
  Service& service = TheService();
  Race(state, [&](std::size_t, std::size_t list) {
    return service.evaluator->EvaluateApplicability(
        service.record, service.version, TheWorld().lists[list], service.tags, nullptr,
        service.none, ApplicabilityEvaluator::discard_reason_);
  });
}
BENCHMARK(EvaluateOnTheSame);

// All must decide every pair rightly before any time is taken.
void CheckThatAllAgree() {
  const World& world = TheWorld();
#ifdef YOX_BENCH_LUA
  const targeting::LuaEvaluator lua(TheWorkload());
#endif
  const auto expect = [](bool is_so, const char* who, std::size_t device, std::size_t list) {
    if (is_so) return;
    std::fprintf(stderr, "%s is wrong on device %zu and list %zu\n", who, device, list);
    std::exit(1);
  };
  const yox::decision::Question question;
  for (std::size_t device = 0; device < world.devices.size(); ++device) {
    yox::decision::PreparedFacts facts(world.prepared[device], question);
    for (std::size_t list = 0; list < world.lists.size(); ++list) {
      const int rule = TheWorkload().Expected(device, list);
      expect(world.text.Decide(device, list) == rule, "the text evaluator", device, list);
      expect(world.digest.Decide(device, list) == rule, "the digest evaluator", device, list);
#ifdef YOX_BENCH_LUA
      expect(lua.Decide(device, list) == rule, "LuaJIT", device, list);
#endif
      expect(DecideSilently(device, list) == (rule >= 0), "the library", device, list);
      expect(Decide(*world.compiled[list], facts).applies == yox::decision::TruthOf(rule >= 0),
             "the library on prepared devices", device, list);
    }
  }
  std::printf("%zu lists x %zu devices: all evaluators agree\n", world.lists.size(),
              world.devices.size());
}

}  // namespace

int main(int argc, char** argv) {
  const yox_test::TemporaryFolder state;
  setenv("YOX_STATE_DIR", state.path().c_str(), 1);  // of Linux
  CheckThatAllAgree();
  return yox_bench::RunWithRatios(
      argc, argv,
      {{"a decision, to the text evaluator", "Library/threads:1", "Text", 1.3},
       {"a decision with its reason, to the text evaluator that notes why", "LibraryWithReason",
        "TextWithNotes", 2},
       {"a decision with every log line throttled, to the text evaluator", "LibraryThrottled",
        "TextInARow", 3},
       {"a decision on a prepared device, to the digest evaluator", "Prepared", "Digest", 1.5},
       {"IsApplicable, to EvaluateApplicability", "IsApplicable", "EvaluateOnTheSame", 1.3},
       {"IsApplicable with the system's own registry, to EvaluateApplicability",
        "IsApplicableWithOwnRegistry", "EvaluateOnTheSame", 1.3},
       {"a decision, to LuaJIT", "Library/threads:1", "Lua", 0.5},
       {"two threads' time per decision, to one's", "Library/threads:2", "Library/threads:1",
        0.6}});
}
