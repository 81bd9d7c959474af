// What the two archive targets share: the fuzzer's bytes as an archive file, mounted through a
// driver's factory, and every file entry read whole (IFile::buffer, then a future) and as a stream.
//
// Properties, beyond the absence of crashes, hangs and allocations of a claimed size:
//   - a mount is a driver, a refusal with text, or (archive index) one of the named exceptions;
//   - a whole read is null or exactly the entry's size, and a future gives the same bytes;
//   - a stream gives at most the entry's size when the whole read worked, and the same bytes when
//     it ended without an error (zstd may refuse in a stream a frame it takes in one pass, so a
//     stream's error after a good whole read is allowed);
//   - a stream's failure is a qk::ReadError.
// A stream is read up to 64 MiB, so that a small frame of a huge claim ends quickly.
#pragma once

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "qk/ReadError.h"
#include "qkvfs/IDriver.h"

namespace fuzz {

// A file that holds the input for the length of one run.
class InputFile {
 public:
  InputFile(const uint8_t* data, size_t size, const char* extension) {
    const char* tmp = std::getenv("TMPDIR");
    path_ = std::string(tmp && *tmp ? tmp : "/tmp") + "/qk-fuzz-" + std::to_string(getpid()) + extension;
    FILE* file = std::fopen(path_.c_str(), "wb");
    if (!file || (size && std::fwrite(data, 1, size, file) != size)) std::abort();
    std::fclose(file);
  }
  ~InputFile() { std::remove(path_.c_str()); }
  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

struct DestroyDriver {
  void operator()(qkvfs::IDriver* driver) const { driver->destroy(); }
};

inline qkvfs::IDriver* mount(qkvfs::DriverFactory factory, const std::string& path) {
  char error[512] = {};
  bool stop = false;
  qkvfs::IDriver* driver = factory(1, path.c_str(), path.c_str(), "/", "", error, sizeof error, &stop);
  if (!driver && !error[0] && stop) std::abort();
  return driver;
}

// Reads every file entry both ways; `stored_mismatch(index)` says when a stream may rightly differ
// from the whole read (a stored zip entry whose packed size isn't its size).
inline void read_every_file(qkvfs::IDriver& driver, const std::function<bool(uint64_t)>& stored_mismatch) {
  struct Collect {
    std::vector<uint64_t> files;
  } collect;
  driver.enumerate(
      [](void* context, uint64_t index, std::string_view, std::string_view, uint32_t type) {
        if (type == qkvfs::kFile) static_cast<Collect*>(context)->files.push_back(index);
      },
      &collect);
  for (const uint64_t index : collect.files) {
    qkvfs::EntryInfo info;
    driver.info(index, info);
    std::string whole;
    bool whole_ok = false;
    if (qkvfs::IFile* file = driver.open_file(index)) {
      const qk::RefPtr<qk::IBuffer> bytes = file->buffer();
      char byte;
      file->read(&byte, 1);
      file->seek(info.size / 2);
      file->skip(3);
      file->release();
      if (bytes) {
        if (bytes->size() != info.size) std::abort();
        whole.assign(static_cast<const char*>(bytes->data()), bytes->size());
        whole_ok = true;
      }
    }
    if (qkvfs::IBufFuture* future = driver.open_future(index)) {
      const qk::RefPtr<qk::IBuffer> bytes = future->get(nullptr);
      future->release();
      if (whole_ok &&
          (!bytes || std::string(static_cast<const char*>(bytes->data()), bytes->size()) != whole))
        std::abort();
    }
    std::string streamed;
    bool stream_ok = true;
    try {
      qk::ReaderPtr<> reader = driver.open_reader(index);
      char piece[4096];
      for (size_t got; reader && (got = reader->read(piece, sizeof piece)) != 0;) {
        streamed.append(piece, got);
        if (streamed.size() >= (64u << 20)) {
          stream_ok = false;  // long enough: the rest isn't compared
          break;
        }
      }
    } catch (const qk::ReadError&) {
      stream_ok = false;
    }
    if (!whole_ok || stored_mismatch(index)) continue;
    if (streamed.size() > whole.size() || (stream_ok && streamed != whole)) std::abort();
  }
  if (driver.has_open_files()) std::abort();
}

}  // namespace fuzz
