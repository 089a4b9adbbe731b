// What a decision costs as its inputs grow: the device's tags, applications and hardware IDs, and
// the exact alternatives of a filter. Each looks for a name that is there, and for one that is not.
// The target is a cost that stays the same.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "yox/applicability/ApplicabilityEvaluator.h"
#include "yox/base/String.h"
#include "yox/device/MachineInformation.h"
#include "yox/foundation/YOXTag.h"
#include "yox/platform/Platform.h"
#include "yox/platform/simulated/SimulatedDevice.h"
#include "yox/tags/AppAndTagCollection.h"

#include "bench/Ratios.h"

namespace {

using yox::WString;
using yox::decision::FilterField;

WString Wide(const std::string& text) { return YOX::String::UTF8ToUTF16(text); }

std::string Name(const char* kind, std::int64_t number) {
  return std::string(kind) + " " + std::to_string(number * 7919);
}

struct Record : MachineInformation {};
struct Collection : AppAndTagCollection {};

// One list of two filters, the first of which asks for `absent` and the second for `present`.
ApplicabilityFilter ListOf(FilterField field, const std::string& absent,
                           const std::string& present) {
  ApplicabilityFilter::List filters(2);
  filters[0].Set(field, Wide(absent));
  filters[1].Set(field, Wide(present));
  return ApplicabilityFilter(filters);
}

void Decide(benchmark::State& state, const ApplicabilityFilter& list,
            AppAndTagCollection* tags = nullptr) {
  const auto evaluator = ApplicabilityEvaluator::CreateWithoutTasks();
  const auto record = std::make_shared<Record>();
  record->set_os_region(Wide(Name("country", 1)));
  const WString version;
  const ApplicabilityEvaluator::Pairs none;
  const auto decide = [&] {
    return evaluator->EvaluateApplicability(record, version, list, tags, nullptr, none,
                                            ApplicabilityEvaluator::discard_reason_);
  };
  if (!decide()) return state.SkipWithError("the list does not apply");
  for (auto _ : state) benchmark::DoNotOptimize(decide());
}

void Tags(benchmark::State& state) {
  Collection collection;
  std::vector<YOXTag> tags;
  for (std::int64_t i = 0; i < state.range(0); ++i)
    tags.emplace_back(Wide(Name("tag", i)), Wide("1"));
  collection.setTags(tags);
  const std::string last = Name("tag", state.range(0) - 1);
  Decide(state, ListOf(FilterField::tag, "no such tag", last), &collection);
}
BENCHMARK(Tags)->Arg(20)->Arg(200)->Arg(2000);

void Applications(benchmark::State& state) {
  yox::platform::SimulatedDevice device;
  const yox::platform::ScopedPlatform installed(device);
  device.Change([&](yox::platform::DeviceProfile& changed) {
    for (std::int64_t i = 0; i < state.range(0); ++i) {
      changed.installed_apps.push_back({Wide(Name("key", i)), Wide(Name("app", i)), Wide("1.0")});
    }
  });
  const std::string last = Name("app", state.range(0) - 1);
  Decide(state, ListOf(FilterField::installed_items, "no such app", last));
}
BENCHMARK(Applications)->Arg(100)->Arg(1000)->Arg(10000);

void HardwareIds(benchmark::State& state) {
  yox::platform::SimulatedDevice device;
  const yox::platform::ScopedPlatform installed(device);
  for (std::int64_t i = 0; i < state.range(0); ++i) {
    const WString id = Wide(Name("PCI\\VEN", i));
    device.device_tree().Plug({id, {id}});
  }
  const std::string last = Name("PCI\\VEN", state.range(0) - 1);
  Decide(state, ListOf(FilterField::hardware_id, "no such ID", last));
}
BENCHMARK(HardwareIds)->Arg(100)->Arg(1000)->Arg(10000)->Arg(100000);

void Alternatives(benchmark::State& state) {
  std::string absent;
  for (std::int64_t i = 2; i < state.range(0) + 2; ++i) absent += Name("country", i) + ",";
  Decide(state, ListOf(FilterField::country, absent + "x", absent + Name("country", 1)));
}
BENCHMARK(Alternatives)->Arg(10)->Arg(100)->Arg(1000)->Arg(10000);

}  // namespace

int main(int argc, char** argv) {
  return yox_bench::RunWithRatios(
      argc, argv,
      {{"a decision among 2,000 tags, to among 20", "Tags/2000", "Tags/20", 1.3},
       {"a decision among 10,000 applications, to among 100", "Applications/10000",
        "Applications/100", 1.3},
       {"a decision among 100,000 hardware IDs, to among 100", "HardwareIds/100000",
        "HardwareIds/100", 1.3},
       {"a decision on 10,000 exact alternatives, to on 10", "Alternatives/10000",
        "Alternatives/10", 1.3}});
}
