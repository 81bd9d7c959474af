// OverlappedFile positional reads of 4 KiB at random offsets of a 64 MiB file in the page cache,
// from one and two threads sharing the object, against the system's plain positional read on
// the same file (pread; ReadFile on Windows).
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "PeerRatio.h"
#include "PlainFile.h"
#include "qkvfs/OverlappedFile.h"

namespace {

constexpr size_t kFileSize = size_t(64) << 20;
constexpr size_t kRead = 4096;

// The file, written once, and both ways of reading it.
struct Fixture {
  std::string path;
  qkvfs::OverlappedFile* overlapped = nullptr;
  qkbench::PlainFile* plain = nullptr;

  // A name of the system's temporary folder ($TMPDIR, /tmp; %TEMP% on Windows) that no other
  // run of this program uses.
  Fixture() {
    std::random_device entropy;
    path = (std::filesystem::temp_directory_path() /
            ("qk-bench-files-" + std::to_string(entropy()) + std::to_string(entropy())))
               .u8string();  // UTF-8, as both readers take it
    std::vector<char> block(1 << 20);
    std::mt19937 random(1);
    for (char& c : block) c = char(random());
    FILE* out = std::fopen(path.c_str(), "wb");
    for (size_t written = 0; out && written < kFileSize; written += block.size())
      std::fwrite(block.data(), 1, block.size(), out);
    if (out) std::fclose(out);
    overlapped = new qkvfs::OverlappedFile(path);
    if (!overlapped->ensure_open()) std::abort();
    plain = new qkbench::PlainFile(path);
    if (!plain->ok()) std::abort();
    // Warm the page cache, so that both sides read from memory.
    std::vector<char> sink(1 << 20);
    for (size_t at = 0; at < kFileSize; at += sink.size())
      if (plain->read_at(at, sink.data(), sink.size()) != sink.size()) std::abort();
  }
  ~Fixture() {
    delete overlapped;
    delete plain;
    std::error_code ignored;
    std::filesystem::remove(path, ignored);
  }
};

Fixture& fixture() {
  static Fixture made;
  return made;
}

void BM_OverlappedReadAt(benchmark::State& state) {
  qkvfs::OverlappedFile& file = *fixture().overlapped;
  std::mt19937_64 random(uint64_t(state.thread_index()) + 1);
  std::vector<char> out(kRead);
  for (auto _ : state) {
    const uint64_t offset = random() % (kFileSize - kRead);
    benchmark::DoNotOptimize(file.read_at(offset, out.data(), kRead));
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(kRead));
}

void BM_PlainRead(benchmark::State& state) {
  qkbench::PlainFile& file = *fixture().plain;
  std::mt19937_64 random(uint64_t(state.thread_index()) + 1);
  std::vector<char> out(kRead);
  for (auto _ : state) {
    const uint64_t offset = random() % (kFileSize - kRead);
    benchmark::DoNotOptimize(file.read_at(offset, out.data(), kRead));
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(kRead));
}

BENCHMARK(BM_OverlappedReadAt)->Threads(1)->Threads(2)->UseRealTime();
BENCHMARK(BM_PlainRead)->Threads(1)->Threads(2)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  fixture();  // write and warm the file before any timing starts
  return qkbench::runWithRatios(
      argc, argv,
      {{"BM_OverlappedReadAt/real_time/threads:1", "BM_PlainRead/real_time/threads:1"},
       {"BM_OverlappedReadAt/real_time/threads:2", "BM_PlainRead/real_time/threads:2"}});
}
