#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace yox_bench {

// One line of the summary: the time of `ours` divided by the time of `peer`, both benchmark names,
// and what it is to be at most; 0 for a ratio without a target.
struct Ratio {
  std::string what;
  std::string ours;
  std::string peer;
  double target = 0;
};

// Runs all benchmarks, in turn and several times so that a drift of the machine's speed meets all
// alike, and prints for each ratio the quotient of the medians. The time is the wall clock's for a
// benchmark that asks for it (UseRealTime), else the processor's, divided by the number of threads:
// what two threads take on two processors that are free, whatever else runs.
//
// scripts/bench reads the lines that begin with "ratio ".
inline int RunWithRatios(int argc, char** argv, const std::vector<Ratio>& ratios) {
  std::string interleaving = "--benchmark_enable_random_interleaving=true";
  std::string repetitions = "--benchmark_repetitions=9";
  std::string time = "--benchmark_min_time=0.1";
  std::string aggregates = "--benchmark_display_aggregates_only=true";
  std::vector<char*> arguments = {argv[0], interleaving.data(), repetitions.data(), time.data(),
                                  aggregates.data()};
  arguments.insert(arguments.end(), argv + 1, argv + argc);
  int count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 1;

  class Reporter : public benchmark::ConsoleReporter {
   public:
    Reporter() : ConsoleReporter(OO_Tabular) {}
    void ReportRuns(const std::vector<Run>& runs) override {
      for (const Run& run : runs) {
        if (run.aggregate_name != "median") continue;
        const std::string name = run.run_name.str();
        medians[name] = name.find("/real_time") != std::string::npos
                            ? run.GetAdjustedRealTime()
                            : run.GetAdjustedCPUTime() / static_cast<double>(run.threads);
        ConsoleReporter::ReportRuns({run});
      }
    }
    std::map<std::string, double> medians;
  } reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);

  for (const Ratio& ratio : ratios) {
    const double ours = reporter.medians[ratio.ours];
    const double peer = reporter.medians[ratio.peer];
    if (ours <= 0 || peer <= 0) continue;
    std::printf("ratio %.2f", ours / peer);
    if (ratio.target > 0) {
      std::printf(" (at most %g: %s)", ratio.target,
                  ours <= ratio.target * peer ? "met" : "not met");
    }
    std::printf(": %s; %s %.4g, %s %.4g\n", ratio.what.c_str(), ratio.ours.c_str(), ours,
                ratio.peer.c_str(), peer);
  }
  return 0;
}

}  // namespace yox_bench
