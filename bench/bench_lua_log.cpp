// A script's log line against a plain line written to a file by stock Lua: log.info with a format
// and two arguments, taken by one output in the FULL format, against f:write(string.format(...)) of
// the same line (a fixed time in it) in a stock state of the same Lua library. Two pairs:
//  - the log started ASYNC (the worker writes through its buffer) against a buffered file;
//  - the log started IMMEDIATE, as `qkmt run` runs it (each line written through on the caller),
//    against a file flushed after each line.
// One iteration is 1000 calls from a Lua loop. Standard error is masked off during the run, so
// that only the file is written. Every message takes the reliable pool (all_reliable), so that the
// ASYNC caller waits for a free record instead of dropping INFO lines the worker hasn't written;
// the counter "dropped" shows that none was lost.
#include <benchmark/benchmark.h>

#include <string>

#include "BenchDir.h"
#include "PeerRatio.h"
#include "qk_log.h"
#include "qk_lua.h"

namespace {

constexpr int kLines = 1000;

// Compiles `code`, a chunk that answers a function of the line count, and leaves that function
// on top; false (and the benchmark skipped) on an error.
bool prepare(benchmark::State& state, lua_State* L, const char* code) {
  if (luaL_loadstring(L, code) == 0 && lua_pcall(L, 0, 1, 0) == 0) return true;
  state.SkipWithError(lua_tostring(L, -1));
  return false;
}

void run_lines(benchmark::State& state, lua_State* L) {
  for (auto _ : state) {
    lua_pushvalue(L, -1);
    lua_pushinteger(L, kLines);
    if (lua_pcall(L, 1, 0, 0) != 0) {
      state.SkipWithError(lua_tostring(L, -1));
      break;
    }
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * kLines);
}

void log_info(benchmark::State& state, unsigned mode) {
  qk_log_options options;
  options.mode = mode;
  options.all_reliable = true;
  qk_log_start(options);
  const uint64_t dropped = qk_log_dropped();
  qk_log_set_stderr_levels(0);
  lua_State* L = qk_lua_newstate("bench");
  qk_lua_openlibs(L);
  if (prepare(state, L, R"(
        log.set_output("ours.log", "bench", log.INFO, log.FULL)
        return function(n)
          for i = 1, n do log.info("Loaded material %d of %s", i, "materials.lua") end
        end)"))
    run_lines(state, L);
  qk_lua_close(L);
  qk_log_stop();  // the worker's last lines, outside the time
  qk_log_set_stderr_levels(0xFFFFu);
  state.counters["dropped"] = double(qk_log_dropped() - dropped);
}

void stock_write(benchmark::State& state, bool flush_each_line) {
  lua_State* L = luaL_newstate();
  luaL_openlibs(L);
  lua_pushboolean(L, flush_each_line);
  lua_setglobal(L, "flush_each_line");
  if (prepare(state, L, R"(
        local f = assert(io.open("peer.log", "w"))
        local format = "2025-01-01 00:00:00.000 INFO    bench (4711): Loaded material %d of %s\n"
        return function(n)
          for i = 1, n do
            f:write(string.format(format, i, "materials.lua"))
            if flush_each_line then f:flush() end
          end
        end)"))
    run_lines(state, L);
  lua_close(L);
}

void BM_LogInfoAsync(benchmark::State& state) { log_info(state, qk::log::ASYNC); }
void BM_StockWrite(benchmark::State& state) { stock_write(state, false); }
void BM_LogInfoImmediate(benchmark::State& state) { log_info(state, qk::log::IMMEDIATE); }
void BM_StockWriteFlushed(benchmark::State& state) { stock_write(state, true); }

BENCHMARK(BM_LogInfoAsync)->UseRealTime();
BENCHMARK(BM_StockWrite)->UseRealTime();
BENCHMARK(BM_LogInfoImmediate)->UseRealTime();
BENCHMARK(BM_StockWriteFlushed)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  qkbench::BenchDir dir("lua-log");
  return qkbench::runWithRatios(argc, argv,
                                {{"BM_LogInfoAsync/real_time", "BM_StockWrite/real_time"},
                                 {"BM_LogInfoImmediate/real_time", "BM_StockWriteFlushed/real_time"}});
}
