// Decisions per second over many devices and lists, beside an evaluator of the same rules written
// by hand over values that were parsed beforehand.

#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <vector>

#include "yox/applicability/ApplicabilityEvaluator.h"
#include "yox/base/Log.h"
#include "yox/base/String.h"
#include "yox/device/MachineInformation.h"
#include "yox/platform/Platform.h"
#include "yox/platform/registry/Registry.h"

#include "bench/AllocationCounter.h"
#include "bench/DecisionByHand.h"
#include "bench/Ratios.h"
#include "tests/support/Generators.h"
#include "tests/support/TemporaryFolder.h"

namespace {

using YOX::String;
using yox::WString;

constexpr int kDevices = 1000;
constexpr int kLists = 64;

struct Record : MachineInformation {};

struct Device {
  std::shared_ptr<MachineInformation> record;
  WString client_version;
  ApplicabilityEvaluator::Pairs tags;
};

struct World {
  // The same devices for each of two threads, which then wait for nothing but what the library
  // shares: a decision counts the users of the record that it is given.
  std::array<std::vector<Device>, 2> devices;
  std::vector<ApplicabilityFilter> lists;
  int never_applying = 0;
  std::vector<by_hand::ParsedDevice> parsed_devices;
  std::vector<std::vector<by_hand::ParsedFilter>> parsed_lists;

  World() {
    using yox_test::Mix;
    yox_test::Random random(2026);
    for (int i = 0; i < kDevices; ++i) {
      const auto made = yox_test::MakeDevice(random, Mix::kCommon);
      for (auto& of_thread : devices) {
        const auto record = std::make_shared<Record>();
        made.Fill(*record);
        of_thread.push_back(
            {record, String::UTF8ToUTF16(made.client_version), yox_test::ToPairs(made.tags)});
      }
      const Device& device = devices.front().back();
      parsed_devices.push_back(
          by_hand::ParseDevice(*device.record, device.client_version, device.tags));
    }
    for (int i = 0; i < kLists; ++i) {
      const auto made = yox_test::MakeList(random, Mix::kCommon);
      lists.push_back(made.ToFilters());
      never_applying += made.never_applies ? 1 : 0;
      auto& parsed = parsed_lists.emplace_back();
      for (const Filter& filter : lists.back().filters()) {
        parsed.push_back(by_hand::ParseFilter(filter));
      }
    }
  }

  bool Decide(std::size_t list, std::size_t device, WString& reason, std::size_t thread = 0) const {
    const Device& d = devices[thread][device];
    struct Deciding : ApplicabilityEvaluator {};  // nothing but decisions: no thread, no watch
    static Deciding evaluator;
    return evaluator.EvaluateApplicability(d.record, d.client_version, lists[list], nullptr,
                                           nullptr, d.tags, reason);
  }
  bool DecideByHand(std::size_t list, std::size_t device) const {
    return by_hand::Decide(parsed_lists[list], parsed_devices[device]);
  }
};

const World& TheWorld() {
  static const World world;
  return world;
}

// Both must decide every pair alike before any time is taken.
void CheckThatBothAgree() {
  const World& world = TheWorld();
  int applying = 0;
  for (std::size_t list = 0; list < kLists; ++list) {
    for (std::size_t device = 0; device < kDevices; ++device) {
      const bool ours = world.Decide(list, device, ApplicabilityEvaluator::discard_reason_);
      if (ours != world.DecideByHand(list, device)) {
        std::fprintf(stderr, "list %zu and device %zu: the two evaluators disagree\n", list,
                     device);
        std::exit(1);
      }
      applying += ours ? 1 : 0;
    }
  }
  std::printf(
      "%d lists, %d of which never apply, x %d devices: %.0f%% of the pairs apply, "
      "both evaluators agree\n",
      kLists, world.never_applying, kDevices, 100.0 * applying / (kLists * kDevices));
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
  const auto thread = static_cast<std::size_t>(state.thread_index());
  Race(state, [&](std::size_t list, std::size_t device) {
    return world.Decide(list, device, ApplicabilityEvaluator::discard_reason_, thread);
  });
}
BENCHMARK(Library)->Threads(1)->Threads(2);

// The same with the same devices for all threads, which wait for each other's counts of users.
void LibraryWithSharedDevices(benchmark::State& state) {
  const World& world = TheWorld();
  Race(state, [&](std::size_t list, std::size_t device) {
    return world.Decide(list, device, ApplicabilityEvaluator::discard_reason_);
  });
}
BENCHMARK(LibraryWithSharedDevices)->Threads(2);

void LibraryWithReason(benchmark::State& state) {
  const World& world = TheWorld();
  WString reason;
  Race(state,
       [&](std::size_t list, std::size_t device) { return world.Decide(list, device, reason); });
}
BENCHMARK(LibraryWithReason);

// With a sink that reads the log: every failing criterion asks the throttle.
void LibraryWithLog(benchmark::State& state) {
  const World& world = TheWorld();
  YOX::Log::SetSink([](std::string_view, YOX::LogLevel, std::string_view) {});
  Race(state, [&](std::size_t list, std::size_t device) {
    return world.Decide(list, device, ApplicabilityEvaluator::discard_reason_);
  });
  YOX::Log::SetSink({});
}
BENCHMARK(LibraryWithLog);

void ByHand(benchmark::State& state) {
  const World& world = TheWorld();
  Race(state,
       [&](std::size_t list, std::size_t device) { return world.DecideByHand(list, device); });
}
BENCHMARK(ByHand);

}  // namespace

int main(int argc, char** argv) {
  // On Linux a registry that a process has written to, as a service has: without one, a decision
  // on the organisation looks for it in the file system each time.
  const yox_test::TemporaryFolder state;
  setenv("YOX_STATE_DIR", state.path().c_str(), 1);
  yox::platform::Platform::Native().registry().CreateKey(
      {HKEY_CURRENT_USER, String::UTF8ToUTF16("Software"), {}, {}});
  CheckThatBothAgree();
  return yox_bench::RunWithRatios(
      argc, argv,
      {{"a decision, to by hand", "Library/threads:1", "ByHand", 1.3},
       {"a decision with its reason, to by hand", "LibraryWithReason", "ByHand", 2},
       {"a decision with its log read, to by hand", "LibraryWithLog", "ByHand"},
       {"two threads' time per decision, to one's", "Library/threads:2", "Library/threads:1", 0.6},
       {"two threads' with shared devices, to one's", "LibraryWithSharedDevices/threads:2",
        "Library/threads:1"}});
}
