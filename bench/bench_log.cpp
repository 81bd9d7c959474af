// qk_log of a short message in the plug-in's mode (static record, dispatched on the caller) with
// standard error going to a file, against fprintf(stderr, ...) of the same text.
#include <cstdio>
#include <cstdlib>

#include <unistd.h>

#include <benchmark/benchmark.h>

#include "PeerRatio.h"
#include "qk_log.h"

namespace {

void BM_QkLog(benchmark::State& state) {
  int i = 0;
  for (auto _ : state) qk_log("BENCH", qk::log::INFO, "Loaded material %d of %s", ++i, "materials.lua");
}
BENCHMARK(BM_QkLog);

// The peer writes the line the log writes, time, level, module and thread included.
void BM_Fprintf(benchmark::State& state) {
  int i = 0;
  for (auto _ : state) {
    ++i;
    std::fprintf(stderr, "1970-01-01 00:00:%02d.%03d INFO    BENCH (bench_log): Loaded material %d of %s\n",
                 i % 60, i % 1000, i, "materials.lua");
  }
}
BENCHMARK(BM_Fprintf);

}  // namespace

int main(int argc, char** argv) {
  // Standard error goes to a file for the run, as it does when a host's output is redirected.
  char path[] = "/tmp/bench_log_XXXXXX";
  const int file = mkstemp(path);
  if (file < 0) return 1;
  const int saved = dup(STDERR_FILENO);
  dup2(file, STDERR_FILENO);
  const int status = qkbench::runWithRatios(argc, argv, {{"BM_QkLog", "BM_Fprintf"}});
  dup2(saved, STDERR_FILENO);
  close(file);
  unlink(path);
  return status;
}
