// The script memory pool against the heaps a Lua state could use instead: the same state (stock
// libraries, same script) on LuaPool, on glibc's realloc and on jemalloc, for Lua's binary-trees
// at depth 15 and a string-heavy script. A fourth run puts the state on the state allocator of
// qk_lua_newstate (accounting and pool), to show what the accounting adds.
//
// jemalloc is loaded with dlopen, privately (RTLD_LOCAL), and reached through its mallocx API, so
// that it replaces nothing else in the process; without the library its runs are skipped. Its
// thread-local storage is of the initial-exec model, which a library loaded later only finds room
// for when glibc is told to keep some: the program starts itself again once with
// GLIBC_TUNABLES=glibc.rtld.optional_static_tls=65536.
#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "LuaPool.h"
#include "LuaStateRegistry.h"
#include "PeerRatio.h"

namespace {

// ---- Scripts ---------------------------------------------------------------------------------

constexpr char kBinaryTrees[] = R"lua(
local function BottomUpTree(item, depth)
  if depth > 0 then
    local i = item + item
    depth = depth - 1
    local left, right = BottomUpTree(i - 1, depth), BottomUpTree(i, depth)
    return { item, left, right }
  else
    return { item }
  end
end

local function ItemCheck(tree)
  if tree[2] then
    return tree[1] + ItemCheck(tree[2]) - ItemCheck(tree[3])
  else
    return tree[1]
  end
end

local mindepth, maxdepth = 4, 15
local total = ItemCheck(BottomUpTree(0, maxdepth + 1))
local longlived = BottomUpTree(0, maxdepth)
for depth = mindepth, maxdepth, 2 do
  local iterations = 2 ^ (maxdepth - depth + mindepth)
  local check = 0
  for i = 1, iterations do
    check = check + ItemCheck(BottomUpTree(1, depth)) + ItemCheck(BottomUpTree(-1, depth))
  end
  total = total + check
end
return total + ItemCheck(longlived)
)lua";

// Formatting, cutting, joining, pattern matching and string keys: strings of every small size,
// most of them short-lived.
constexpr char kStrings[] = R"lua(
local kept, count = {}, 0
for i = 1, 200000 do
  local s = string.format("item_%d_%s", i, string.rep("x", i % 40))
  kept[#kept + 1] = s:upper():sub(2, -2) .. tostring(i * 3)
  if #kept > 1000 then count = count + #table.concat(kept, ","); kept = {} end
end
local words = {}
for w in string.gmatch(("lorem ipsum dolor sit amet consectetur "):rep(5000), "%a+") do
  words[#words + 1] = w:reverse()
end
local index = {}
for i, w in ipairs(words) do index[w .. i % 977] = i end
local replaced = table.concat(words, " "):gsub("(%a)(%a*)", "%2%1")
return count + #words + #replaced
)lua";

// ---- Heaps -----------------------------------------------------------------------------------

void* glibc_alloc(void*, void* ptr, size_t, size_t nsize) {
  if (nsize == 0) {
    std::free(ptr);
    return nullptr;
  }
  return std::realloc(ptr, nsize);
}

struct Jemalloc {
  void* library = nullptr;
  void* (*mallocx)(size_t, int) = nullptr;
  void* (*rallocx)(void*, size_t, int) = nullptr;
  void (*sdallocx)(void*, size_t, int) = nullptr;

  Jemalloc() {
    library = dlopen(QK_JEMALLOC_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    if (!library) return;
    mallocx = reinterpret_cast<decltype(mallocx)>(dlsym(library, "mallocx"));
    rallocx = reinterpret_cast<decltype(rallocx)>(dlsym(library, "rallocx"));
    sdallocx = reinterpret_cast<decltype(sdallocx)>(dlsym(library, "sdallocx"));
  }
  bool ready() const { return mallocx && rallocx && sdallocx; }

  static void* alloc(void* ud, void* ptr, size_t osize, size_t nsize) {
    const Jemalloc& je = *static_cast<Jemalloc*>(ud);
    if (nsize == 0) {
      if (ptr) je.sdallocx(ptr, osize, 0);
      return nullptr;
    }
    return ptr ? je.rallocx(ptr, nsize, 0) : je.mallocx(nsize, 0);
  }
};

Jemalloc& jemalloc() {
  static Jemalloc je;
  return je;
}

// ---- Running ---------------------------------------------------------------------------------

// Runs `script` in a new state on (alloc, ud) with the stock libraries, closes it.
void runScript(benchmark::State& state, const char* script, lua_Alloc alloc, void* ud) {
  lua_State* L = lua_newstate(alloc, ud);
  luaL_openlibs(L);
  if (luaL_loadstring(L, script) != 0 || lua_pcall(L, 0, 1, 0) != 0) {
    state.SkipWithError(lua_tostring(L, -1));
  } else {
    benchmark::DoNotOptimize(lua_tonumber(L, -1));
  }
  lua_close(L);
}

void onPool(benchmark::State& state, const char* script) {
  for (auto _ : state) {
    LuaPool* pool = LuaPool::create(qk_lua_plain_alloc, nullptr);
    runScript(state, script, LuaPool::lua_alloc, pool);
    LuaPool::destroy(pool);
  }
}

void onGlibc(benchmark::State& state, const char* script) {
  for (auto _ : state) runScript(state, script, glibc_alloc, nullptr);
}

void onJemalloc(benchmark::State& state, const char* script) {
  if (!jemalloc().ready()) {
    state.SkipWithError("jemalloc could not be loaded");
    return;
  }
  for (auto _ : state) runScript(state, script, Jemalloc::alloc, &jemalloc());
}

void onStateAllocator(benchmark::State& state, const char* script) {
  for (auto _ : state) {
    std::unique_ptr<LuaStateStats> record = qk_lua_make_record("bench");
    runScript(state, script, qk_lua_state_alloc, record.get());
  }
}

void BM_BinaryTrees_LuaPool(benchmark::State& state) { onPool(state, kBinaryTrees); }
void BM_BinaryTrees_Glibc(benchmark::State& state) { onGlibc(state, kBinaryTrees); }
void BM_BinaryTrees_Jemalloc(benchmark::State& state) { onJemalloc(state, kBinaryTrees); }
void BM_BinaryTrees_StateAllocator(benchmark::State& state) { onStateAllocator(state, kBinaryTrees); }
void BM_Strings_LuaPool(benchmark::State& state) { onPool(state, kStrings); }
void BM_Strings_Glibc(benchmark::State& state) { onGlibc(state, kStrings); }
void BM_Strings_Jemalloc(benchmark::State& state) { onJemalloc(state, kStrings); }
void BM_Strings_StateAllocator(benchmark::State& state) { onStateAllocator(state, kStrings); }

BENCHMARK(BM_BinaryTrees_LuaPool)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BinaryTrees_Glibc)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BinaryTrees_Jemalloc)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_BinaryTrees_StateAllocator)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Strings_LuaPool)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Strings_Glibc)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Strings_Jemalloc)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Strings_StateAllocator)->Unit(benchmark::kMillisecond);

// Starts the program again with room for jemalloc's thread-local storage, once.
void reexecWithStaticTlsRoom(char** argv) {
  constexpr char kTunable[] = "glibc.rtld.optional_static_tls=65536";
  const char* tunables = std::getenv("GLIBC_TUNABLES");
  if (tunables && std::strstr(tunables, "optional_static_tls")) return;
  std::string value = tunables && *tunables ? std::string(tunables) + ":" + kTunable : kTunable;
  setenv("GLIBC_TUNABLES", value.c_str(), 1);
  execv("/proc/self/exe", argv);  // returns only on failure: jemalloc's runs are then skipped
}

}  // namespace

int main(int argc, char** argv) {
  reexecWithStaticTlsRoom(argv);
  return qkbench::runWithRatios(argc, argv,
                                {{"BM_BinaryTrees_LuaPool", "BM_BinaryTrees_Glibc"},
                                 {"BM_BinaryTrees_LuaPool", "BM_BinaryTrees_Jemalloc"},
                                 {"BM_BinaryTrees_StateAllocator", "BM_BinaryTrees_LuaPool"},
                                 {"BM_Strings_LuaPool", "BM_Strings_Glibc"},
                                 {"BM_Strings_LuaPool", "BM_Strings_Jemalloc"},
                                 {"BM_Strings_StateAllocator", "BM_Strings_LuaPool"}});
}
