// Saving and loading a scene of 2,000 materials, each with two map slots and an attribute of the
// plug-in, beside the peer of the load: the chunk walk alone, which checks every header and length
// of the same file. The ratio is what the load costs over reading the file's structure: the scene's
// own checks, making the objects, and each attribute's Load with its catalogue look-up.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "BenchDir.h"
#include "HostServices.h"
#include "HostStandIn.h"
#include "MaterialAttrib.h"
#include "PeerRatio.h"
#include "PluginEntry.h"
#include "SceneFile.h"

namespace {

constexpr int kMaterials = 2000;

// The host with the plug-in, a catalogue of 50 materials, and the scene.
struct World {
  World() : services("bench_plugcfg") {
    std::filesystem::create_directory("bench_plugcfg");
    std::ofstream catalogue("bench_plugcfg/materials.lua");
    catalogue << "materials = {\n";
    for (int i = 0; i < 50; ++i) catalogue << "  m" << i << " = { misc = { opacity = 'blend' } },\n";
    catalogue << "  default = {},\n}\n";
    catalogue.close();
    setHostServices(&services);
    host = std::make_unique<HostStandIn>();
    host->classes().loadLibrary(pluginExports());
    for (int i = 0; i < kMaterials; ++i) {
      auto map = std::make_unique<MapTexture>(qk_to_wide("map " + std::to_string(i)));
      auto material = std::make_unique<StandardMaterial>(
          qk_to_wide("material " + std::to_string(i)),
          std::vector<MapSlot>{{u"Diffuse Color", true, map.get()}, {u"Bump", false, nullptr}});
      MaterialAttrib* attrib = getOrCreateMaterialAttrib(material.get());
      attrib->setMaterial("m" + std::to_string(i % 50));
      attrib->getMaterialDescExt()->setUserUniforms("wetness=0.5\r\n");
      scene.push_back(material.get());
      objects.push_back(std::move(map));
      objects.push_back(std::move(material));
    }
    bytes = writeScene(scene);
  }
  ~World() {
    objects.clear();
    host.reset();
    setHostServices(nullptr);
  }

  ConsoleHostServices services;
  std::unique_ptr<HostStandIn> host;
  std::vector<std::unique_ptr<MtlBase>> objects;
  std::vector<MtlBase*> scene;
  std::string bytes;
};

World& world() {
  static World w;
  return w;
}

void BM_SaveScene(benchmark::State& state) {
  World& w = world();
  for (auto _ : state) benchmark::DoNotOptimize(writeScene(w.scene).size());
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * w.bytes.size()));
}
BENCHMARK(BM_SaveScene)->Unit(benchmark::kMillisecond);

void BM_LoadScene(benchmark::State& state) {
  World& w = world();
  for (auto _ : state) {
    const ChunkFile file(w.bytes);
    LoadedScene loaded = loadScene(file, readSceneRecord(file), w.host->classes());
    benchmark::DoNotOptimize(loaded.objects.data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * w.bytes.size()));
}
BENCHMARK(BM_LoadScene)->Unit(benchmark::kMillisecond);

void BM_WalkChunks(benchmark::State& state) {
  World& w = world();
  for (auto _ : state) {
    size_t chunks = 0;
    walkChunks(w.bytes, [&](const ChunkNode&, int) { ++chunks; });
    benchmark::DoNotOptimize(chunks);
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * w.bytes.size()));
}
BENCHMARK(BM_WalkChunks)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
  const qkbench::BenchDir dir("bench-scene");  // the catalogue's folder is made in here
  return qkbench::runWithRatios(argc, argv, {{"BM_LoadScene", "BM_WalkChunks"}});
}
