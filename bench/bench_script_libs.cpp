// The script libraries where a pipeline script spends its time: lfs.md5sum over a 256 MiB file
// against the `md5sum` command on the same file, and io line reading of a 100 MiB text against
// stock Lua's io.lines on the same file (a stock state of the same Lua library).
//
// Both files are made once in a fresh folder and read from the page cache after the first
// repetition; the command is started through the shell each time, which costs a few ms of its
// run of several hundred.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <string>

#include "BenchDir.h"
#include "PeerRatio.h"
#include "qk_lua.h"

namespace {

constexpr size_t kMd5Bytes = size_t(256) << 20;
constexpr size_t kTextBytes = size_t(100) << 20;

void makeFiles() {
  std::mt19937 random(42);
  std::string block(1 << 20, '\0');
  std::ofstream big("big.bin", std::ios::binary);
  for (size_t written = 0; written < kMd5Bytes; written += block.size()) {
    for (char& c : block) c = char(random());
    big.write(block.data(), std::streamsize(block.size()));
  }
  // Lines of 0 to 160 printable bytes, one in eight ended by a carriage return and a line feed.
  std::ofstream text("text.txt", std::ios::binary);
  std::string line;
  for (size_t written = 0; written < kTextBytes; written += line.size()) {
    line.assign(random() % 161, 'x');
    for (char& c : line) c = char(' ' + random() % 95);
    line += random() % 8 == 0 ? "\r\n" : "\n";
    text.write(line.data(), std::streamsize(line.size()));
  }
}

// Runs `code` once and answers its one result as text; a Lua error stops the benchmark.
std::string runLua(benchmark::State& state, lua_State* L, const char* code) {
  if (luaL_loadstring(L, code) != 0 || lua_pcall(L, 0, 1, 0) != 0) {
    state.SkipWithError(lua_tostring(L, -1));
    lua_settop(L, 0);
    return {};
  }
  std::string result = lua_tostring(L, -1) ? lua_tostring(L, -1) : "";
  lua_settop(L, 0);
  return result;
}

void BM_LfsMd5sum(benchmark::State& state) {
  lua_State* L = qk_lua_newstate("bench");
  qk_lua_openlibs(L);
  for (auto _ : state) benchmark::DoNotOptimize(runLua(state, L, "return lfs.md5sum('big.bin')"));
  qk_lua_close(L);
  state.SetBytesProcessed(int64_t(state.iterations() * kMd5Bytes));
}

void BM_Md5sumCommand(benchmark::State& state) {
  for (auto _ : state) {
    FILE* pipe = popen("md5sum big.bin", "r");
    char digest[33] = "";
    if (!pipe || std::fscanf(pipe, "%32s", digest) != 1) state.SkipWithError("md5sum didn't run");
    if (pipe) pclose(pipe);
    benchmark::DoNotOptimize(digest);
  }
  state.SetBytesProcessed(int64_t(state.iterations() * kMd5Bytes));
}

constexpr char kCountLines[] = "local n = 0 for l in %s do n = n + #l end return n";

void BM_IoLines(benchmark::State& state) {
  lua_State* L = qk_lua_newstate("bench");
  qk_lua_openlibs(L);
  char code[128];
  std::snprintf(code, sizeof code, kCountLines, "io.open('text.txt'):lines()");
  for (auto _ : state) benchmark::DoNotOptimize(runLua(state, L, code));
  qk_lua_close(L);
  state.SetBytesProcessed(int64_t(state.iterations() * kTextBytes));
}

void BM_StockIoLines(benchmark::State& state) {
  lua_State* L = luaL_newstate();
  luaL_openlibs(L);
  char code[128];
  std::snprintf(code, sizeof code, kCountLines, "io.lines('text.txt')");
  for (auto _ : state) benchmark::DoNotOptimize(runLua(state, L, code));
  lua_close(L);
  state.SetBytesProcessed(int64_t(state.iterations() * kTextBytes));
}

BENCHMARK(BM_LfsMd5sum)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_Md5sumCommand)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_IoLines)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_StockIoLines)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  qkbench::BenchDir dir("script-libs");
  makeFiles();
  return qkbench::runWithRatios(argc, argv,
                                {{"BM_LfsMd5sum/real_time", "BM_Md5sumCommand/real_time"},
                                 {"BM_IoLines/real_time", "BM_StockIoLines/real_time"}});
}
