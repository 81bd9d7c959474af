// A main for benchmark programs whose benchmarks run beside a peer (the stock library, the plain
// call): after the run, each pair's ratio of real time per iteration is printed. With
// --benchmark_repetitions the ratio is that of the two medians.
#pragma once

#include <cstdio>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>

namespace qkbench {

// (ours, peer) by benchmark name, including any argument suffix such as "/4096".
using Pairs = std::vector<std::pair<std::string, std::string>>;

class RecordingReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs)
      if (run.run_type == Run::RT_Iteration && !run.error_occurred)
        realTime[run.benchmark_name()] = run.GetAdjustedRealTime();
      else if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median")
        medianTime[run.run_name.str()] = run.GetAdjustedRealTime();
    ConsoleReporter::ReportRuns(runs);
  }
  std::map<std::string, double> realTime;
  std::map<std::string, double> medianTime;

  // The median of the repetitions when there were some, else the one run's time; 0 if unknown.
  double timeOf(const std::string& name) const {
    auto median = medianTime.find(name);
    if (median != medianTime.end()) return median->second;
    auto one = realTime.find(name);
    return one != realTime.end() ? one->second : 0;
  }
};

inline int runWithRatios(int argc, char** argv, const Pairs& pairs) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  RecordingReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  std::printf("\n%-48s %-40s %8s\n", "ours", "peer", "ratio");
  for (const auto& [ours, peer] : pairs) {
    const double a = reporter.timeOf(ours), b = reporter.timeOf(peer);
    if (a == 0 || b == 0) continue;
    std::printf("%-48s %-40s %8.3f\n", ours.c_str(), peer.c_str(), a / b);
  }
  benchmark::Shutdown();
  return 0;
}

}  // namespace qkbench
