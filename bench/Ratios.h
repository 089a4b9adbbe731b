#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace yox_bench {

// One line of the summary: the time of `ours` divided by the time of `peer`, both benchmark names.
struct Ratio {
  std::string what;
  std::string ours;
  std::string peer;
};

// Runs all benchmarks, in turn and several times so that a drift of the machine's speed meets all
// alike, and prints for each ratio the quotient of the medians.
inline int RunWithRatios(int argc, char** argv, const std::vector<Ratio>& ratios) {
  std::string interleaving = "--benchmark_enable_random_interleaving=true";
  std::string repetitions = "--benchmark_repetitions=5";
  std::string aggregates = "--benchmark_display_aggregates_only=true";
  std::vector<char*> arguments = {argv[0], interleaving.data(), repetitions.data(),
                                  aggregates.data()};
  arguments.insert(arguments.end(), argv + 1, argv + argc);
  int count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 1;

  class Reporter : public benchmark::ConsoleReporter {
   public:
    void ReportRuns(const std::vector<Run>& runs) override {
      for (const Run& run : runs) {
        if (run.aggregate_name == "median") medians[run.run_name.str()] = run.GetAdjustedRealTime();
      }
      ConsoleReporter::ReportRuns(runs);
    }
    std::map<std::string, double> medians;
  } reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);

  for (const Ratio& ratio : ratios) {
    const double ours = reporter.medians[ratio.ours];
    const double peer = reporter.medians[ratio.peer];
    if (ours > 0 && peer > 0) std::printf("%s: ratio %.2f\n", ratio.what.c_str(), ours / peer);
  }
  return 0;
}

}  // namespace yox_bench
