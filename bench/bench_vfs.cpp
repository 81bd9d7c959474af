// The virtual file system over a folder of 20,000 files of 1 to 8 KiB in 200 folders (written once
// by this program into a temporary folder), against PhysicsFS mounting the same folder:
//   - mounting the folder (the Manager walks the whole tree; PhysicsFS only opens it);
//   - exists and stat of random mounted paths;
//   - open, read whole and close of every file;
// and qk_path_normalize with folding over typical asset paths, beside std::filesystem's lexical
// normalisation with a lower-casing pass, which does a similar (not the same) job.
#include <benchmark/benchmark.h>
#include <physfs.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cwctype>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "PathBuffer.h"
#include "PeerRatio.h"
#include "SmallFileNames.h"
#include "qk_log.h"
#include "qk_path.h"
#include "qkvfs/Manager.h"

namespace {

using qkbench::kFilesPerFolder;
using qkbench::kFolders;
using qkbench::small_file_name;

// The tree on disk, the two mounts of it, and the paths to look up.
struct Fixture {
  std::string root;
  qkvfs::Manager vfs;
  std::vector<std::string> virtual_paths;  // "/Folder000/File00000.dat", in random order
  std::vector<std::string> physfs_paths;   // the same without the leading "/"

  explicit Fixture(const char* argv0) {
    const char* tmp = std::getenv("TMPDIR");
    root = std::string(tmp && *tmp ? tmp : "/tmp") + "/qk-bench-vfs-" + std::to_string(getpid());
    std::mt19937 random(7);
    std::uniform_int_distribution<size_t> size(1024, 8192);
    std::string bytes(8192, 'b');
    for (int folder = 0; folder < kFolders; ++folder) {
      std::filesystem::create_directories(root + "/" + small_file_name(folder, 0).substr(0, 9));
      for (int file = 0; file < kFilesPerFolder; ++file) {
        const std::string name = small_file_name(folder, file);
        std::ofstream(root + "/" + name, std::ios::binary).write(bytes.data(), std::streamsize(size(random)));
        virtual_paths.push_back("/" + name);
        physfs_paths.push_back(name);
      }
    }
    std::shuffle(virtual_paths.begin(), virtual_paths.end(), std::mt19937(1));
    std::shuffle(physfs_paths.begin(), physfs_paths.end(), std::mt19937(1));

    // The Manager takes a real path relative to the working directory.
    const std::string relative = std::filesystem::relative(root).string();
    if (vfs.mount(relative.c_str(), "/", false, nullptr, false) == qkvfs::kMountFailed) std::abort();
    if (!PHYSFS_init(argv0) || !PHYSFS_mount(root.c_str(), "/", 1)) std::abort();
  }
  ~Fixture() {
    PHYSFS_deinit();
    std::error_code ignored;
    std::filesystem::remove_all(root, ignored);
  }
};

Fixture* fixture = nullptr;

// ---- Mounting --------------------------------------------------------------------------------

void BM_VfsMount(benchmark::State& state) {
  const std::string relative = std::filesystem::relative(fixture->root).string();
  for (auto _ : state) {
    qkvfs::Manager vfs;
    benchmark::DoNotOptimize(vfs.mount(relative.c_str(), "/", false, nullptr, true));
  }
}

void BM_PhysfsMount(benchmark::State& state) {
  // A folder that is mounted already would be a no-op: take the look-ups' mount away meanwhile.
  PHYSFS_unmount(fixture->root.c_str());
  for (auto _ : state) {
    if (!PHYSFS_mount(fixture->root.c_str(), "/", 1)) std::abort();
    PHYSFS_unmount(fixture->root.c_str());
  }
  PHYSFS_mount(fixture->root.c_str(), "/", 1);
}

// ---- Look-ups --------------------------------------------------------------------------------

void BM_VfsExists(benchmark::State& state) {
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(fixture->vfs.exists(fixture->virtual_paths[i]));
    if (++i == fixture->virtual_paths.size()) i = 0;
  }
}

void BM_PhysfsExists(benchmark::State& state) {
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(PHYSFS_exists(fixture->physfs_paths[i].c_str()));
    if (++i == fixture->physfs_paths.size()) i = 0;
  }
}

void BM_VfsStat(benchmark::State& state) {
  size_t i = 0;
  qkvfs::EntryInfo info;
  for (auto _ : state) {
    benchmark::DoNotOptimize(fixture->vfs.stat(fixture->virtual_paths[i], info));
    if (++i == fixture->virtual_paths.size()) i = 0;
  }
}

void BM_PhysfsStat(benchmark::State& state) {
  size_t i = 0;
  PHYSFS_Stat info;
  for (auto _ : state) {
    benchmark::DoNotOptimize(PHYSFS_stat(fixture->physfs_paths[i].c_str(), &info));
    if (++i == fixture->physfs_paths.size()) i = 0;
  }
}

// ---- Reading every file ----------------------------------------------------------------------

void BM_VfsReadEveryFile(benchmark::State& state) {
  for (auto _ : state) {
    for (const std::string& path : fixture->virtual_paths) {
      const qk::RefPtr<qk::IBuffer> bytes = fixture->vfs.read_file(path, false);
      if (!bytes) std::abort();
      benchmark::DoNotOptimize(bytes->data());
    }
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(fixture->virtual_paths.size()));
}

void BM_PhysfsReadEveryFile(benchmark::State& state) {
  std::vector<char> buffer;
  for (auto _ : state) {
    for (const std::string& path : fixture->physfs_paths) {
      PHYSFS_File* file = PHYSFS_openRead(path.c_str());
      if (!file) std::abort();
      buffer.resize(size_t(PHYSFS_fileLength(file)));
      if (PHYSFS_readBytes(file, buffer.data(), buffer.size()) != PHYSFS_sint64(buffer.size())) std::abort();
      PHYSFS_close(file);
      benchmark::DoNotOptimize(buffer.data());
    }
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(fixture->physfs_paths.size()));
}

// ---- Normalisation ---------------------------------------------------------------------------

const std::vector<std::string>& asset_paths() {
  static const std::vector<std::string> paths = [] {
    const char* kinds[] = {"Textures/Rocks/Granite_%02d_Diffuse.DDS",
                           "./Models/Characters/../Props/Crate%02d.FBX",
                           "Sounds\\UI\\Click_%02d.wav",
                           "/Levels/Forest/Chunk_%02d/terrain.heightmap",
                           "Shaders//Common/./Lighting%02d.hlsl",
                           "Materials/Terrain/Grass%02d.material"};
    std::vector<std::string> made;
    char text[128];
    for (int i = 0; i < 100; ++i)
      for (const char* kind : kinds) {
        std::snprintf(text, sizeof text, kind, i);
        made.push_back(text);
      }
    return made;
  }();
  return paths;
}

void BM_PathNormalizeFold(benchmark::State& state) {
  PathBuffer<256> out;
  for (auto _ : state)
    for (const std::string& path : asset_paths())
      benchmark::DoNotOptimize(qk_path_normalize(path, out, true).data());
  state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(asset_paths().size()));
}

void BM_LexicallyNormalLower(benchmark::State& state) {
  for (auto _ : state) {
    for (const std::string& path : asset_paths()) {
      std::string text = std::filesystem::path(path).lexically_normal().generic_string();
      for (char& c : text) c = char(std::towlower(static_cast<unsigned char>(c)));
      benchmark::DoNotOptimize(text.data());
    }
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(asset_paths().size()));
}

BENCHMARK(BM_VfsMount)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_PhysfsMount)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_VfsExists)->UseRealTime();
BENCHMARK(BM_PhysfsExists)->UseRealTime();
BENCHMARK(BM_VfsStat)->UseRealTime();
BENCHMARK(BM_PhysfsStat)->UseRealTime();
BENCHMARK(BM_VfsReadEveryFile)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_PhysfsReadEveryFile)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_PathNormalizeFold)->Unit(benchmark::kMicrosecond)->UseRealTime();
BENCHMARK(BM_LexicallyNormalLower)->Unit(benchmark::kMicrosecond)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  // Only failures matter here: the mount's DEBUG line would go to standard error on every run.
  qk_log_set_debug_string_only(true);
  Fixture made(argv[0]);
  fixture = &made;
  return qkbench::runWithRatios(argc, argv,
                                {{"BM_VfsMount/real_time", "BM_PhysfsMount/real_time"},
                                 {"BM_VfsExists/real_time", "BM_PhysfsExists/real_time"},
                                 {"BM_VfsStat/real_time", "BM_PhysfsStat/real_time"},
                                 {"BM_VfsReadEveryFile/real_time", "BM_PhysfsReadEveryFile/real_time"},
                                 {"BM_PathNormalizeFold/real_time", "BM_LexicallyNormalLower/real_time"}});
}
