// Loading a catalogue of 2,000 materials with textures and uniforms, against the stock Lua 5.1
// interpreter's work on the same script (new state, stock libraries, load, run, close) with no
// reading of the table.
//
// What the state accounting costs the load: the catalogue script run (load, run, close, nothing
// read) in a state on the state allocator (counting, two counter readings per call, the pool)
// and in a state on the same pool alone. Nearly every allocation of a catalogue load is the
// script's, so the difference of the two is what the accounting adds to BM_LoadMaterialsList.
#include <malloc.h>

#include <cstdlib>
#include <fstream>
#include <string>

#include <benchmark/benchmark.h>

#include "BenchDir.h"
#include "HostServices.h"
#include "LuaPool.h"
#include "LuaStateRegistry.h"
#include "MaterialsList.h"
#include "PeerRatio.h"
#include "qk_lua.h"

namespace {

constexpr char kFile[] = "bench_materials.lua";

// A catalogue in the shape of a real one: every material has uniforms, textures with their own
// uniforms, misc flags, allowed sets and user defines.
void writeCatalogue(int count) {
  std::ofstream out(kFile);
  out << "materials = {\n";
  for (int i = 0; i < count; ++i) {
    out << "  material_" << i << " = {\n"
        << "    shader_name = 'shader_" << i % 17 << "',\n"
        << "    uniforms = { tint = '1 0.5 0.25 1', roughness = " << (i % 10) / 10.0
        << ", metalness = 0, uv_scale = " << i % 8 + 1 << " },\n"
        << "    textures = {\n"
        << "      diffuse = { tex = 'Diffuse Color', channel = 1, uniforms = { scale = 2 } },\n"
        << "      normal = { tex = 'Bump', channel = 1 },\n"
        << "      detail = { tex = 'Diffuse Color', channel = 2, uniforms = { scale = 16, tint = 'x' } },\n"
        << "    },\n"
        << "    misc = { opacity = '" << (i % 3 ? "blend" : "alpha_test") << "', shadowCaster = "
        << (i % 2 ? "true" : "false") << " },\n"
        << "    allowed_nodes = { 'Node_" << i << "', 'Node_" << i + 1 << "' },\n"
        << "    allowed_objects = { 'Mesh', 'Line' },\n"
        << "    default_user_defines = { QUALITY = 'high', LAYER = " << i % 4 << " },\n"
        << "  },\n";
  }
  out << "}\n";
}

void BM_LoadMaterialsList(benchmark::State& state) {
  size_t materials = 0;
  for (auto _ : state) {
    MaterialsList list;
    if (!list.loadMaterialsList(kFile)) state.SkipWithError("load failed");
    materials = list.materials().size();
    benchmark::DoNotOptimize(list.materials().data());
  }
  state.counters["materials"] = double(materials);
}
BENCHMARK(BM_LoadMaterialsList)->Unit(benchmark::kMillisecond);

void BM_StockLuaRunsTheScript(benchmark::State& state) {
  for (auto _ : state) {
    lua_State* L = luaL_newstate();
    luaL_openlibs(L);
    if (luaL_loadfile(L, kFile) != 0 || lua_pcall(L, 0, 0, 0) != 0) state.SkipWithError("stock run failed");
    lua_close(L);
  }
}
BENCHMARK(BM_StockLuaRunsTheScript)->Unit(benchmark::kMillisecond);

// The catalogue script in a state on (alloc, ud): load, run, close.
void runCatalogueScript(benchmark::State& state, lua_Alloc alloc, void* ud) {
  lua_State* L = lua_newstate(alloc, ud);
  if (luaL_loadfile(L, kFile) != 0 || lua_pcall(L, 0, 0, 0) != 0) state.SkipWithError(lua_tostring(L, -1));
  lua_close(L);
}

void BM_CatalogueScript_StateAllocator(benchmark::State& state) {
  for (auto _ : state) {
    std::unique_ptr<LuaStateStats> record = qk_lua_make_record("bench");
    runCatalogueScript(state, qk_lua_state_alloc, record.get());
  }
}
BENCHMARK(BM_CatalogueScript_StateAllocator)->Unit(benchmark::kMillisecond);

void BM_CatalogueScript_LuaPool(benchmark::State& state) {
  for (auto _ : state) {
    LuaPool* pool = LuaPool::create(qk_lua_plain_alloc, nullptr);
    runCatalogueScript(state, LuaPool::lua_alloc, pool);
    LuaPool::destroy(pool);
  }
}
BENCHMARK(BM_CatalogueScript_LuaPool)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  // glibc gives the top of its heap back to the system whenever a free leaves more than a
  // threshold there, and the threshold follows the largest mapped block freed so far. Each
  // repetition here frees everything, its heap is given back, and the next one faults every page
  // in again: at ~10 us a fault on a virtual machine, that is most of what a repetition costs, and
  // which peer pays it depends on a few hundred kilobytes either side of the threshold. A host
  // loads its catalogue once per process and pays for its pages once. So the threshold is fixed
  // for both peers; QK_BENCH_DEFAULT_TRIM=1 keeps glibc's own.
  if (!std::getenv("QK_BENCH_DEFAULT_TRIM")) mallopt(M_TRIM_THRESHOLD, 512 << 20);
  const qkbench::BenchDir dir("bench-catalogue");
  writeCatalogue(2000);
  return qkbench::runWithRatios(argc, argv,
                                {{"BM_LoadMaterialsList", "BM_StockLuaRunsTheScript"},
                                 {"BM_CatalogueScript_StateAllocator", "BM_CatalogueScript_LuaPool"}});
}
