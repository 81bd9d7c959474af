// The archive drivers against PhysicsFS, in one run, over 20,000 files of 1 to 8 KiB in 200
// folders (text-like, so that both codecs compress them), written once by this program:
//   - mounting the zip of those files (made by Info-ZIP `zip -9`): ours walks the central directory
//     and every local header and registers every entry; PhysicsFS reads the central directory;
//   - open, read whole and close of every file, from our zip driver, from a .qkpk of the same files
//     (ArchiveWriter, default level) and from PhysicsFS on the zip;
// and one 64 MiB entry of a .qkpk streamed through QKPKReader in 64 KiB reads, against the bare
// ZSTD_decompressStream over the same frame read from the file in 1 MiB pieces.
#include <benchmark/benchmark.h>
#include <physfs.h>
#include <zstd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "BenchDir.h"
#include "PeerRatio.h"
#include "SmallFileNames.h"
#include "platform/qk_fs.h"
#include "qk/BufferReader.h"
#include "qk_log.h"
#include "qkvfs/ArchiveWriter.h"
#include "qkvfs/Drivers/QKPKDriver.h"
#include "qkvfs/Manager.h"

namespace {

using qkbench::kFilesPerFolder;
using qkbench::kFolders;
constexpr size_t kBigEntry = size_t(64) << 20;
constexpr size_t kPiece = 64 * 1024;

class FileSink final : public qkvfs::ArchiveSink {
 public:
  explicit FileSink(const char* path) : out_(path, std::ios::binary) {}
  bool write(const void* data, size_t size) override {
    out_.write(static_cast<const char*>(data), std::streamsize(size));
    return bool(out_);
  }

 private:
  std::ofstream out_;
};

// Words in random order: compressible about as well as an asset's text.
std::string text_of(std::mt19937& random, size_t size) {
  static const char* const words[] = {"material", "shader", "uniform", "texture", "opacity", "decal", "blend",
                                      "shadow",   "normal", "terrain", "grass",   "mesh",    "0.25",  "1024"};
  std::string text;
  while (text.size() < size) {
    text += words[random() % 14];
    text += random() % 8 ? ' ' : '\n';
  }
  text.resize(size);
  return text;
}

void add(qkvfs::ArchiveWriter& writer, const std::string& name, const std::string& bytes) {
  qk::RefPtr<qk::MemBuffer> buffer = qk::MemBuffer::create(bytes.size());
  std::memcpy(buffer->mutableData(), bytes.data(), bytes.size());
  qk::BufferReader content{qk::RefPtr<qk::IBuffer>(std::move(buffer))};
  if (!writer.add_file(name, 0, nullptr, content, bytes.size())) std::abort();
}

struct Fixture {
  qkbench::BenchDir dir{"bench-archives"};
  std::vector<std::string> names;  // "Folder000/File00000.dat", in random order
  qkvfs::Manager zip_vfs, qkpk_vfs, big_vfs;
  uint64_t frame_offset = 0, frame_size = 0;  // the big entry's frame in big.qkpk

  explicit Fixture(const char* argv0) {
    std::mt19937 random(7);
    std::uniform_int_distribution<size_t> size(1024, 8192);
    std::vector<std::pair<std::string, std::string>> files;
    for (int folder = 0; folder < kFolders; ++folder) {
      for (int file = 0; file < kFilesPerFolder; ++file) {
        const std::string name = qkbench::small_file_name(folder, file);
        files.emplace_back(name, text_of(random, size(random)));
        std::filesystem::create_directories("tree/" + name.substr(0, 9));
        std::ofstream("tree/" + files.back().first, std::ios::binary) << files.back().second;
        names.push_back(name);
      }
    }
    if (std::system("cd tree && zip -q -r -X -9 ../files.zip .") != 0) std::abort();
    {
      FileSink sink("files.qkpk");
      qkvfs::ArchiveWriter writer(sink, qkvfs::ArchiveWriterOptions());
      for (const auto& [name, bytes] : files) add(writer, name, bytes);
      if (!writer.finish()) std::abort();
    }
    {
      FileSink sink("big.qkpk");
      qkvfs::ArchiveWriter writer(sink, qkvfs::ArchiveWriterOptions());
      add(writer, "big.bin", text_of(random, kBigEntry));
      if (!writer.finish()) std::abort();
    }
    std::shuffle(names.begin(), names.end(), std::mt19937(1));
    if (zip_vfs.mount("files.zip", "/", false, nullptr, false) == qkvfs::kMountFailed) std::abort();
    // The archives are named with their extension: "files" alone would find files.zip first, and
    // the zip driver ends the chain of factories.
    if (qkpk_vfs.mount("files.qkpk", "/", false, nullptr, false) == qkvfs::kMountFailed) std::abort();
    if (big_vfs.mount("big.qkpk", "/", false, nullptr, false) == qkvfs::kMountFailed) std::abort();
    qkpk_vfs.for_each_driver(
        [](qkvfs::IDriver* driver, void*) {
          if (std::strcmp(driver->name(), "QKPKDriver") != 0) std::abort();
        },
        nullptr);
    big_vfs.for_each_driver(
        [](qkvfs::IDriver* driver, void* context) {
          if (std::strcmp(driver->name(), "QKPKDriver") != 0) std::abort();
          auto& fixture = *static_cast<Fixture*>(context);
          const qkvfs::FileRecord& record = static_cast<qkvfs::QKPKDriver*>(driver)->index().records[0];
          fixture.frame_offset = record.offset;
          fixture.frame_size = record.packed_size;
        },
        this);
    if (!PHYSFS_init(argv0) || !PHYSFS_mount("files.zip", "/", 1)) std::abort();
  }
  ~Fixture() { PHYSFS_deinit(); }
};

Fixture* fixture = nullptr;

// ---- Mounting the zip ------------------------------------------------------------------------

void BM_ZipMount(benchmark::State& state) {
  for (auto _ : state) {
    qkvfs::Manager vfs;
    if (vfs.mount("files.zip", "/", false, nullptr, true) == qkvfs::kMountFailed) std::abort();
  }
}

void BM_PhysfsZipMount(benchmark::State& state) {
  // A mounted archive would be a no-op to mount again: take the reads' mount away meanwhile.
  PHYSFS_unmount("files.zip");
  for (auto _ : state) {
    if (!PHYSFS_mount("files.zip", "/", 1)) std::abort();
    PHYSFS_unmount("files.zip");
  }
  PHYSFS_mount("files.zip", "/", 1);
}

// ---- Reading every file ----------------------------------------------------------------------

void read_every_file(benchmark::State& state, qkvfs::Manager& vfs) {
  std::vector<char> buffer(8192);
  std::string path;
  for (auto _ : state) {
    for (const std::string& name : fixture->names) {
      path.assign("/").append(name);
      qkvfs::IFile* file = vfs.open_file(path, 0, false);
      if (!file) std::abort();
      const size_t size = size_t(file->size());
      if (file->read(buffer.data(), size) != size) std::abort();
      file->release();
      benchmark::DoNotOptimize(buffer.data());
    }
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(fixture->names.size()));
}

void BM_ZipReadEveryFile(benchmark::State& state) { read_every_file(state, fixture->zip_vfs); }
void BM_QkpkReadEveryFile(benchmark::State& state) { read_every_file(state, fixture->qkpk_vfs); }

void BM_PhysfsZipReadEveryFile(benchmark::State& state) {
  std::vector<char> buffer(8192);
  for (auto _ : state) {
    for (const std::string& name : fixture->names) {
      PHYSFS_File* file = PHYSFS_openRead(name.c_str());
      if (!file) std::abort();
      const PHYSFS_sint64 size = PHYSFS_fileLength(file);
      if (PHYSFS_readBytes(file, buffer.data(), PHYSFS_uint64(size)) != size) std::abort();
      PHYSFS_close(file);
      benchmark::DoNotOptimize(buffer.data());
    }
  }
  state.SetItemsProcessed(int64_t(state.iterations()) * int64_t(fixture->names.size()));
}

// ---- Streaming one large entry ---------------------------------------------------------------

void BM_QkpkStreamLargeEntry(benchmark::State& state) {
  std::vector<char> piece(kPiece);
  for (auto _ : state) {
    qk::ReaderPtr<> reader = fixture->big_vfs.open_reader("/big.bin", false);
    size_t total = 0;
    for (size_t got; (got = reader->read(piece.data(), piece.size())) != 0;) total += got;
    if (total != kBigEntry) std::abort();
  }
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(kBigEntry));
}

void BM_ZstdStreamBare(benchmark::State& state) {
  const qk_platform_file file = qk_fs_open("big.qkpk", QK_FS_READ, QK_FS_OPEN_EXISTING, QK_FS_RANDOM_ACCESS);
  if (!file.valid()) std::abort();
  std::vector<char> input(size_t(1) << 20), piece(kPiece);
  ZSTD_DCtx* context = ZSTD_createDCtx();
  for (auto _ : state) {
    ZSTD_DCtx_reset(context, ZSTD_reset_session_only);
    uint64_t at = fixture->frame_offset, left = fixture->frame_size;
    ZSTD_inBuffer in{input.data(), 0, 0};
    size_t total = 0;
    for (;;) {
      if (in.pos == in.size && left > 0) {
        size_t got = 0;
        qk_platform_read_at(file, at, input.data(), size_t(std::min<uint64_t>(left, input.size())), got);
        if (got == 0) std::abort();
        at += got;
        left -= got;
        in = {input.data(), got, 0};
      }
      ZSTD_outBuffer out{piece.data(), piece.size(), 0};
      const size_t ret = ZSTD_decompressStream(context, &out, &in);
      if (ZSTD_isError(ret)) std::abort();
      total += out.pos;
      if (ret == 0) break;
      if (in.pos == in.size && left == 0 && out.pos < out.size) std::abort();  // cut short
    }
    if (total != kBigEntry) std::abort();
  }
  ZSTD_freeDCtx(context);
  qk_platform_close(file);
  state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(kBigEntry));
}

BENCHMARK(BM_ZipMount)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_PhysfsZipMount)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_QkpkReadEveryFile)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_ZipReadEveryFile)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_PhysfsZipReadEveryFile)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_QkpkStreamLargeEntry)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_ZstdStreamBare)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
  qk_log_set_debug_string_only(true);
  Fixture made(argv[0]);
  fixture = &made;
  return qkbench::runWithRatios(argc, argv,
                                {{"BM_ZipMount/real_time", "BM_PhysfsZipMount/real_time"},
                                 {"BM_QkpkReadEveryFile/real_time", "BM_PhysfsZipReadEveryFile/real_time"},
                                 {"BM_ZipReadEveryFile/real_time", "BM_PhysfsZipReadEveryFile/real_time"},
                                 {"BM_QkpkStreamLargeEntry/real_time", "BM_ZstdStreamBare/real_time"}});
}
