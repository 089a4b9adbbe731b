// Collecting what there is to know about this machine: our whole command beside facter and lshw,
// each as a process of its own, and in this process the collection alone and a start from the cache
// file. A peer that is not installed, or fails, is left out.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "yox/device/MachineInformation.h"

#include "bench/Ratios.h"
#include "tests/support/TemporaryFolder.h"

namespace {

class Record : public MachineInformation {
 public:
  Record() = default;
  using MachineInformation::Initialize;
};

void Collection(benchmark::State& state) {
  Record record;
  for (auto _ : state) {
    record.ReInitialize(true);
    record.CollectAdditionalInfo(true);
  }
}
BENCHMARK(Collection)->UseRealTime()->Unit(benchmark::kMillisecond);

void StartFromCacheFile(benchmark::State& state) {
  Record().Initialize();  // so that there is a file
  for (auto _ : state) {
    Record record;
    record.Initialize();
    benchmark::DoNotOptimize(record);
  }
}
BENCHMARK(StartFromCacheFile)->UseRealTime()->Unit(benchmark::kMillisecond);

void Command(benchmark::State& state, const std::string& command) {
  const std::string program = command.substr(0, command.find(' '));
  if (std::system(("command -v " + program + " > /dev/null").c_str()) != 0) {
    state.SkipWithError("is not installed");
    return;
  }
  const std::string quiet = command + " > /dev/null 2>&1";
  for (auto _ : state) benchmark::DoNotOptimize(std::system(quiet.c_str()));
}

}  // namespace

int main(int argc, char** argv) {
  const yox_test::TemporaryFolder folder;
  setenv("YOX_STATE_DIR", folder.path().c_str(), 1);
  const std::string commands[][2] = {
      {"yoxctl", YOXCTL " --format json device --refresh"},
      {"facter", "facter --json"},
      {"lshw", "lshw -json -quiet"},
  };
  for (const auto& [name, command] : commands) {
    benchmark::RegisterBenchmark(name.c_str(), Command, command)
        ->UseRealTime()
        ->Unit(benchmark::kMillisecond)
        ->MinTime(0.3);
  }
  return yox_bench::RunWithRatios(argc, argv,
                                  {{"full collection, to facter", "yoxctl/min_time:0.300/real_time",
                                    "facter/min_time:0.300/real_time", 0.1},
                                   {"full collection, to lshw", "yoxctl/min_time:0.300/real_time",
                                    "lshw/min_time:0.300/real_time", 0.33},
                                   {"a start from the cache file, to a collection",
                                    "StartFromCacheFile/real_time", "Collection/real_time"}});
}
