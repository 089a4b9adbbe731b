// Decisions on a fleet whose facts are prepared in memory: a list of five filters on the devices of
// examples/fleet, as many as a processor's cache has room for and twenty times as many, with one
// and two threads, beside two threads that share nothing, and counted into a funnel. FactsBenchmark
// measures facts that are read from lines.

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "yox/base/Document.h"
#include "yox/decision/Decide.h"
#include "yox/decision/FactsDocument.h"
#include "yox/decision/FilterDocument.h"
#include "yox/decision/Funnel.h"
#include "yox/decision/PreparedDevice.h"

#include "bench/AllocationCounter.h"
#include "bench/Ratios.h"

namespace {

using namespace yox::decision;

constexpr std::int64_t kMoment = 1768910400;  // 2026-01-20T12:00:00Z
constexpr int kCopies = 20;                   // of the devices of the example

struct Fleet {
  std::shared_ptr<const CompiledList> list;
  std::vector<PreparedDevice> devices;
  Question question{.now = kMoment};

  Fleet() {
    const std::string folder = EXAMPLE_FLEET;
    list = ReadFilterDocument(yox::ReadDocumentFile(folder + "/list-3.json")).snapshot();
    for (int i = 0; i < kCopies; ++i) {
      std::ifstream file(folder + "/devices.jsonl");
      for (std::string line; std::getline(file, line);) devices.emplace_back(ReadFacts(line));
    }
  }
};

const Fleet& TheFleet() {
  static const Fleet fleet;
  return fleet;
}

// The argument of a benchmark is the number of devices.
template <class Visit>
void ForEachDevice(benchmark::State& state, Visit visit) {
  const auto count = static_cast<std::size_t>(state.range(0));
  // Threads begin far from each other.
  std::size_t i = static_cast<std::size_t>(state.thread_index()) * count / 2;
  const yox_bench::Allocations before = yox_bench::AllocationsSoFar();
  std::int64_t devices = 0;
  for (auto _ : state) {
    visit(i);
    if (++i == count) i = 0;
    ++devices;
  }
  state.SetItemsProcessed(devices);
  if (state.threads() == 1) {
    state.counters["allocations"] =
        static_cast<double>(yox_bench::AllocationsSoFar().count - before.count) /
        static_cast<double>(devices);
  }
}

void Prepared(benchmark::State& state) {
  const Fleet& fleet = TheFleet();
  ForEachDevice(state, [&](std::size_t i) {
    PreparedFacts facts(fleet.devices[i], fleet.question);
    benchmark::DoNotOptimize(Decide(*fleet.list, facts));
  });
}
BENCHMARK(Prepared)->Arg(1000)->Arg(20000)->Threads(1)->Threads(2)->UseRealTime();

// Two threads that share nothing, each with a fleet of its own: what the machine lets them do.
void PreparedApart(benchmark::State& state) {
  static const Fleet other;
  const Fleet& fleet = state.thread_index() == 0 ? TheFleet() : other;
  ForEachDevice(state, [&](std::size_t i) {
    PreparedFacts facts(fleet.devices[i], fleet.question);
    benchmark::DoNotOptimize(Decide(*fleet.list, facts));
  });
}
BENCHMARK(PreparedApart)->Arg(1000)->Arg(20000)->Threads(2)->UseRealTime();

void PreparedIntoAFunnel(benchmark::State& state) {
  const Fleet& fleet = TheFleet();
  Funnel funnel;
  ForEachDevice(state, [&](std::size_t i) {
    PreparedFacts facts(fleet.devices[i], fleet.question);
    benchmark::DoNotOptimize(funnel.Add(*fleet.list, facts));
  });
}
BENCHMARK(PreparedIntoAFunnel)->Arg(1000)->Arg(20000)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  return yox_bench::RunWithRatios(
      argc, argv,
      {{"two threads' time per decision, to one's", "Prepared/1000/real_time/threads:2",
        "Prepared/1000/real_time/threads:1"},
       {"the same, out of the cache", "Prepared/20000/real_time/threads:2",
        "Prepared/20000/real_time/threads:1"},
       {"two threads of one fleet, to two with a fleet each", "Prepared/1000/real_time/threads:2",
        "PreparedApart/1000/real_time/threads:2"},
       {"the same, out of the cache", "Prepared/20000/real_time/threads:2",
        "PreparedApart/20000/real_time/threads:2"},
       {"a decision out of the cache, to one within", "Prepared/20000/real_time/threads:1",
        "Prepared/1000/real_time/threads:1"},
       {"a count, to a decision", "PreparedIntoAFunnel/20000/real_time",
        "Prepared/20000/real_time/threads:1"}});
}
