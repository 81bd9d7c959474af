// A main for benchmark programs whose benchmarks run beside a peer (the stock library, the plain
// call): after the run, each pair's ratio of real time per iteration is printed.
//
// The figure is the ratio of the two medians over the repetitions (--benchmark_repetitions=N; one
// run counts as one repetition), so that a repetition disturbed by another process on the machine
// moves it little. Beside it stands the band the repetitions allow: the fastest of ours over the
// slowest of the peer's, and the slowest of ours over the fastest of the peer's. A wide band says
// the machine was noisy; a ratio whose band stays on one side of 1 is a real difference. With
// --benchmark_report_aggregates_only the single runs aren't reported, and the medians are the
// library's own aggregates (no band then).
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace qkbench {

// (ours, peer) by benchmark name, including any argument suffix such as "/4096".
using Pairs = std::vector<std::pair<std::string, std::string>>;

class RecordingReporter : public benchmark::ConsoleReporter {
 public:
  // Records every run; the console shows single runs only when there are no repetitions, and
  // the aggregates (mean, median, deviation) of repeated ones.
  void ReportRuns(const std::vector<Run>& runs) override {
    std::vector<Run> shown;
    for (const Run& run : runs) {
      const bool single = run.run_type == Run::RT_Iteration;
      if (!single || run.repetitions <= 1 || run.error_occurred) shown.push_back(run);
      if (run.error_occurred) continue;
      if (single)
        times_[run.run_name.str()].push_back(run.GetAdjustedRealTime());
      else if (run.aggregate_name == "median")
        medians_[run.run_name.str()] = run.GetAdjustedRealTime();
    }
    if (!shown.empty()) ConsoleReporter::ReportRuns(shown);
  }

  // The median real time of `name`'s repetitions, with the fastest and the slowest; all 0 when
  // nothing was recorded.
  struct Summary {
    double median = 0, fastest = 0, slowest = 0;
  };
  Summary summary(const std::string& name) const {
    Summary s;
    auto found = times_.find(name);
    if (found != times_.end() && !found->second.empty()) {
      std::vector<double> t = found->second;
      std::sort(t.begin(), t.end());
      const size_t n = t.size();
      s.median = n % 2 ? t[n / 2] : (t[n / 2 - 1] + t[n / 2]) / 2;
      s.fastest = t.front();
      s.slowest = t.back();
    } else if (auto median = medians_.find(name); median != medians_.end()) {
      s.median = s.fastest = s.slowest = median->second;
    }
    return s;
  }

 private:
  std::map<std::string, std::vector<double>> times_;
  std::map<std::string, double> medians_;
};

inline int runWithRatios(int argc, char** argv, const Pairs& pairs) {
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  RecordingReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  std::printf("\n%-44s %-36s %8s  %s\n", "ours", "peer", "ratio", "band");
  for (const auto& [ours, peer] : pairs) {
    const RecordingReporter::Summary a = reporter.summary(ours), b = reporter.summary(peer);
    if (a.median == 0 || b.median == 0) continue;
    std::printf("%-44s %-36s %8.3f  %.3f-%.3f\n", ours.c_str(), peer.c_str(), a.median / b.median,
                a.fastest / b.slowest, a.slowest / b.fastest);
  }
  benchmark::Shutdown();
  return 0;
}

}  // namespace qkbench
