// Loading a catalogue of 2,000 materials with textures and uniforms, against the stock Lua 5.1
// interpreter's work on the same script (new state, stock libraries, load, run, close) with no
// reading of the table.
#include <fstream>
#include <string>

#include <benchmark/benchmark.h>

#include "BenchDir.h"
#include "HostServices.h"
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

}  // namespace

int main(int argc, char** argv) {
  const qkbench::BenchDir dir("bench-catalogue");
  writeCatalogue(2000);
  return qkbench::runWithRatios(argc, argv, {{"BM_LoadMaterialsList", "BM_StockLuaRunsTheScript"}});
}
