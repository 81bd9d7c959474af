#include "VerifyCommand.h"

#include <zstd.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "ToolFiles.h"
#include "ToolOutput.h"
#include "platform/qk_fs.h"
#include "qk/ReadError.h"
#include "qk_path.h"
#include "qkvfs/ArchiveHash.h"
#include "qkvfs/Drivers/DataProviders/WinFileRaw.h"
#include "qkvfs/Drivers/QKPKDriver.h"

namespace {

constexpr size_t kPiece = 64 * 1024;
constexpr size_t kFrameHeaderMax = 18;  // the largest zstd frame header

struct ReleaseFile {
  void operator()(qkvfs::IFile* file) const { file->release(); }
};

uint64_t le_bytes(const unsigned char* p, int count) {
  uint64_t value = 0;
  for (int i = count - 1; i >= 0; --i) value = value << 8 | p[i];
  return value;
}

// What made the load answer "archive is broken", in plain words: the tail's checks again, told.
std::string why_broken(qkvfs::IFile& file) {
  const uint64_t size = file.size();
  // A pipe or a device has no size either; an archive is read from its end, so it must be a file.
  if (size == 0) return "the file is empty (a pipe reads as empty: verify needs the archive as a file)";
  unsigned char head[4] = {};
  if (file.seek(0) && file.read(head, 4) == 4 && head[0] == 'P' && head[1] == 'K' &&
      ((head[2] == 3 && head[3] == 4) || (head[2] == 5 && head[3] == 6)))
    return "it is a zip file, which mounts as it is but has no digests to verify";
  unsigned char tail[qkvfs::kArchiveTailSize] = {};
  const size_t n = size_t(std::min<uint64_t>(size, sizeof tail));
  if (!file.seek(size - n) || file.read(tail, n) != n) return "its end can't be read";
  if (n < 4 || std::memcmp(tail + n - 4, qkvfs::kArchiveMagic, 4) != 0)
    return "it doesn't end with \"QKPK\": it was cut short, or isn't a .qkpk archive";
  if (n < sizeof tail) return "it is shorter than an archive's tail of 40 bytes";
  const uint64_t version = le_bytes(tail + 32, 4);
  if (version != qkvfs::kArchiveVersion)
    return "its format version is " + std::to_string(version) + ", where version 3 is read";
  const uint64_t index_size = le_bytes(tail, 8);
  return "its index claims " + std::to_string(index_size) + " bytes, more than the " +
         std::to_string(size - sizeof tail) + " before its tail";
}

std::string count_of(uint64_t n, const char* one, const char* many) {
  return std::to_string(n) + " " + (n == 1 ? one : many);
}

// What is wrong with file `index`, in plain words; empty when nothing is.
class FileCheck {
 public:
  FileCheck(qkvfs::QKPKDriver& driver, uint64_t index)
      : driver_(driver), index_(index), record_(driver.index().records[index]) {}

  std::string run() {
    std::string problem = layout();
    if (problem.empty()) problem = whole();
    if (problem.empty()) problem = streamed();
    return problem;
  }

 private:
  bool digest_matches(const qkvfs::ArchiveDigest& digest) const {
    return digest == driver_.index().digests[index_];
  }

  std::string layout() {
    const qkvfs::FileRecord& r = record_;
    const uint64_t stored = r.compressed() ? r.packed_size : r.size;
    if (r.offset > driver_.index().index_offset || stored > driver_.index().index_offset - r.offset)
      return "its bytes lie outside the archive's data";
    if (!r.compressed()) {
      if (r.size > qkvfs::kArchiveStreamAbove)
        return "it is stored uncompressed but is larger than 1 MiB, which a reader only takes as zstd";
      return std::string();
    }
    unsigned char header[kFrameHeaderMax];
    const size_t got =
        driver_.archive().read_at(r.offset, header, size_t(std::min<uint64_t>(r.packed_size, sizeof header)));
    const unsigned long long content = ZSTD_getFrameContentSize(header, got);
    if (content == ZSTD_CONTENTSIZE_ERROR) return "its data isn't a zstd frame";
    if (content == ZSTD_CONTENTSIZE_UNKNOWN) return "its zstd frame doesn't state its size";
    if (content != r.size)
      return "its zstd frame states " + std::to_string(content) + " bytes where the index says " +
             std::to_string(r.size);
    return std::string();
  }

  std::string whole() {
    qkvfs::IFile* file = driver_.open_file(index_);
    if (!file) return "it can't be opened";
    const qk::RefPtr<qk::IBuffer> bytes = file->buffer();
    file->release();
    if (!bytes)
      return record_.compressed()
                 ? "its zstd frame doesn't decompress to its " + std::to_string(record_.size) + " bytes"
                 : "its bytes can't be read whole";
    if (bytes->size() != record_.size) return "it reads as " + std::to_string(bytes->size()) + " bytes";
    if (!digest_matches(qkvfs::ArchiveHash::of(bytes->data(), bytes->size())))
      return "its content doesn't match its digest";
    return std::string();
  }

  std::string streamed() {
    try {
      qk::ReaderPtr<> reader = driver_.open_reader(index_);
      if (!reader) return "it can't be opened as a stream";
      qkvfs::ArchiveHash hash;
      std::vector<unsigned char> piece(kPiece);
      uint64_t total = 0;
      while (total <= record_.size) {
        const size_t got = reader->read(piece.data(), piece.size());
        if (got == 0) break;
        hash.update(piece.data(), got);
        total += got;
      }
      if (total != record_.size)
        return "read as a stream it gives " + std::to_string(total) + " bytes of its " +
               std::to_string(record_.size);
      if (!digest_matches(hash.digest())) return "read as a stream, its content doesn't match its digest";
    } catch (const qk::ReadError& error) {
      return std::string("reading it as a stream fails: ") + error.what();
    }
    return std::string();
  }

  qkvfs::QKPKDriver& driver_;
  uint64_t index_;
  qkvfs::FileRecord record_;
};

class VerifyCommand final : public ToolCommand {
 public:
  const char* name() const override { return "verify"; }
  const char* summary() const override {
    return "Check every file of a .qkpk archive: sizes, zstd frames and digests, read whole and streamed";
  }

  void define(CLI::App& command) override {
    command.add_option("archive", archive_, "The archive, such as data.qkpk")->required();
    command.footer("Exit status: 0 every file is good, 1 damaged or unreadable, 2 usage error.");
  }

  int run(const Invocation&) override {
    // The path as given when it names a file; otherwise as a mount finds it, with ".qkpk".
    std::string path = archive_;
    fs_entry entry;
    if (!qk_fs_stat(path, &entry) && qk_fs_stat(path + ".qkpk", &entry)) path += ".qkpk";
    std::unique_ptr<qkvfs::IFile, ReleaseFile> file(qk_fs_open_raw(path, "", nullptr, nullptr));
    if (!file) {
      writeErr("qkmt: " + path + ": " + unreadableReason(path) + "\n");
      return 1;
    }
    qkvfs::ArchiveIndex index;
    std::string refusal;
    try {
      refusal = qkvfs::load_archive_index(*file, "/", index);
    } catch (const std::exception& failure) {
      writeErr("qkmt: " + path + ": its index is damaged: " + failure.what() + "\n");
      return 1;
    }
    if (!refusal.empty()) {
      if (refusal == "archive is broken") refusal += ": " + why_broken(*file);
      writeErr("qkmt: " + path + ": " + refusal + "\n");
      return 1;
    }
    file.reset();
    std::string folded;
    qk_path_normalize(path, folded, true);
    qkvfs::QKPKDriver driver(0, "", path, folded, "/", std::move(index));
    return check(driver);
  }

 private:
  int check(qkvfs::QKPKDriver& driver) {
    const qkvfs::ArchiveIndex& index = driver.index();
    if (!driver.archive().ensure_open()) {  // the driver's line says why
      writeErr("qkmt: " + archive_ + ": can't be opened\n");
      return 1;
    }
    uint64_t damaged = 0;
    for (uint64_t i = 0; i < index.files.size(); ++i) {
      const std::string problem = FileCheck(driver, i).run();
      if (problem.empty()) continue;
      ++damaged;
      writeOut(driver.source + ": " + std::string(index.files[i].stored_name) + ": " + problem + "\n");
    }
    const std::string counted = count_of(index.files.size(), "file", "files") + " and " +
                                count_of(index.directories.size(), "directory", "directories");
    if (damaged == 0) {
      writeOut(driver.source + ": " + counted + " checked: all good\n");
      return 0;
    }
    writeOut(driver.source + ": " + counted + " checked: " + std::to_string(damaged) + " damaged\n");
    return 1;
  }

  std::string archive_;
};

}  // namespace

std::unique_ptr<ToolCommand> makeVerifyCommand() { return std::make_unique<VerifyCommand>(); }
