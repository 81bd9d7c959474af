// The log, each beside its peer:
//  - qk_log of a short message in the plug-in's mode (static record, dispatched on the caller) with
//    standard error going to a file, against fprintf(stderr, ...) of the same text;
//  - qk_log to one file output with a rule set, on the log's worker (ASYNC) and on the caller
//    (IMMEDIATE, each line written through), against fprintf to a file (buffered, and flushed after
//    each line);
//  - the duplicate filter on a stream of one repeated line, against fprintf of that line.
// The outputs take TRACE, the one level that never reaches the console, so that only the file is
// written.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "PeerRatio.h"
#include "qk_log.h"

namespace {

std::string folder;  // the outputs' folder for the run

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

// Starts the log with one output "bench.log" that takes TRACE of module BENCH in the FULL format.
void start_with_output(unsigned mode) {
  qk_log_options options;
  options.mode = mode;
  options.log_directory = folder.c_str();
  qk_log_start(options);
  qk_log_output_rule rule{};
  rule.flags = QK_LOG_RULE_MODULE | QK_LOG_RULE_LEVELS;
  std::snprintf(rule.module, sizeof rule.module, "BENCH");
  rule.levels = qk::log::TRACE;
  qk_log_set_output_rules("bench", 1, &rule, 0, qk::log::FULL);
}

void log_to_the_output(benchmark::State& state, unsigned mode) {
  start_with_output(mode);
  int i = 0;
  for (auto _ : state) qk_log("BENCH", qk::log::TRACE, "Loaded material %d of %s", ++i, "materials.lua");
  qk_log_stop();  // the worker's last lines, outside the time
}

void BM_QkLogFileOutputAsync(benchmark::State& state) { log_to_the_output(state, qk::log::ASYNC); }
BENCHMARK(BM_QkLogFileOutputAsync)->UseRealTime();

void BM_QkLogFileOutputImmediate(benchmark::State& state) { log_to_the_output(state, qk::log::IMMEDIATE); }
BENCHMARK(BM_QkLogFileOutputImmediate);

void fprintf_to_a_file(benchmark::State& state, bool flush_each_line) {
  FILE* file = std::fopen((folder + "/peer.log").c_str(), "w");
  int i = 0;
  for (auto _ : state) {
    ++i;
    std::fprintf(file, "1970-01-01 00:00:%02d.%03d TRACE   BENCH (bench_log): Loaded material %d of %s\n",
                 i % 60, i % 1000, i, "materials.lua");
    if (flush_each_line) std::fflush(file);
  }
  std::fclose(file);
}

void BM_FprintfFile(benchmark::State& state) { fprintf_to_a_file(state, false); }
BENCHMARK(BM_FprintfFile)->UseRealTime();

void BM_FprintfFileFlushed(benchmark::State& state) { fprintf_to_a_file(state, true); }
BENCHMARK(BM_FprintfFileFlushed);

// One line again and again: after the first, the output only counts it.
void BM_QkLogDuplicates(benchmark::State& state) {
  start_with_output(qk::log::IMMEDIATE);
  for (auto _ : state) qk_log("BENCH", qk::log::TRACE, "Material %s has no shader", "rock");
  qk_log_stop();
}
BENCHMARK(BM_QkLogDuplicates);

void BM_FprintfDuplicates(benchmark::State& state) {
  FILE* file = std::fopen((folder + "/peer.log").c_str(), "w");
  for (auto _ : state)
    std::fprintf(file, "1970-01-01 00:00:00.000 TRACE   BENCH (bench_log): Material %s has no shader\n",
                 "rock");
  std::fclose(file);
}
BENCHMARK(BM_FprintfDuplicates);

}  // namespace

int main(int argc, char** argv) {
  // Standard error goes to a file for the run, as it does when a host's output is redirected.
  char path[] = "/tmp/bench_log_XXXXXX";
  char outputs[] = "/tmp/bench_log_outputs_XXXXXX";
  const int file = mkstemp(path);
  if (file < 0 || !mkdtemp(outputs)) return 1;
  folder = outputs;
  const int saved = dup(STDERR_FILENO);
  dup2(file, STDERR_FILENO);
  const int status =
      qkbench::runWithRatios(argc, argv,
                             {{"BM_QkLog", "BM_Fprintf"},
                              {"BM_QkLogFileOutputAsync/real_time", "BM_FprintfFile/real_time"},
                              {"BM_QkLogFileOutputImmediate", "BM_FprintfFileFlushed"},
                              {"BM_QkLogDuplicates", "BM_FprintfDuplicates"}});
  dup2(saved, STDERR_FILENO);
  close(file);
  unlink(path);
  for (const char* name : {"bench.log", "peer.log"}) unlink((folder + "/" + name).c_str());
  rmdir(outputs);
  return status;
}
