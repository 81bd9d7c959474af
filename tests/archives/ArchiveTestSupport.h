// What the archive tests share: the inputs under tests/data/{good,bad}/archives (made by
// make_archives.py), drivers made straight from their factories, and the ways to read an entry.
#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "qk/ReadError.h"
#include "qk_path.h"
#include "qkvfs/ArchiveWriter.h"
#include "qkvfs/IDriver.h"

inline std::string archive_data(const char* kind, const std::string& name) {
  const char* root = std::getenv("QK_TEST_DATA");
  return std::string(root ? root : "tests/data") + "/" + kind + "/archives/" + name;
}
// The text that make_archives.py puts into its archives: 2,000 numbered lines.
inline const std::string& archive_text() {
  static const std::string text = [] {
    std::string lines;
    char line[64];
    for (int i = 0; i < 2000; ++i) {
      std::snprintf(line, sizeof line, "%05d material shader uniform texture opacity decal\n", i);
      lines += line;
    }
    return lines;
  }();
  return text;
}

// A sink that keeps what an ArchiveWriter gives it, for tests that read the archive back.
class StringSink final : public qkvfs::ArchiveSink {
 public:
  bool write(const void* data, size_t size) override {
    bytes.append(static_cast<const char*>(data), size);
    return true;
  }
  std::string bytes;
};

inline std::string good_archive(const std::string& name) { return archive_data("good", name); }
inline std::string bad_archive(const std::string& name) { return archive_data("bad", name); }

struct DestroyDriver {
  void operator()(qkvfs::IDriver* driver) const { driver->destroy(); }
};
using DriverPtr = std::unique_ptr<qkvfs::IDriver, DestroyDriver>;

// What a factory answered for a source, as the Manager calls it: the folded and the case-kept
// normalised source, a mount point ending in "/".
struct Made {
  DriverPtr driver;
  std::string error;
  bool stop = false;
};

inline Made make_driver(qkvfs::DriverFactory factory, const std::string& source,
                        const char* mount_point = "/m/") {
  std::string folded, opened;
  qk_path_normalize(source, folded, true);
  qk_path_normalize(source, opened, false);
  char error[512] = {};
  Made made;
  made.stop = true;  // a factory must clear it
  made.driver.reset(
      factory(7, folded.c_str(), opened.c_str(), mount_point, "tag", error, sizeof error, &made.stop));
  made.error = error;
  return made;
}

// "type key path" for every entry, in enumerate's order, the index checked against the position.
inline std::vector<std::string> entry_lines(qkvfs::IDriver& driver) {
  std::vector<std::string> seen;
  driver.enumerate(
      [](void* context, uint64_t index, std::string_view key, std::string_view path, uint32_t type) {
        auto& lines = *static_cast<std::vector<std::string>*>(context);
        EXPECT_EQ(index, lines.size());
        lines.push_back(std::to_string(type) + " " + std::string(key) + " " + std::string(path));
      },
      &seen);
  return seen;
}

// The entry whose virtual path (case kept) is `path`.
inline uint64_t entry_index(qkvfs::IDriver& driver, const std::string& path) {
  struct Find {
    std::string path;
    uint64_t index = UINT64_MAX;
  } find{path};
  driver.enumerate(
      [](void* context, uint64_t index, std::string_view, std::string_view entry_path, uint32_t) {
        auto& f = *static_cast<Find*>(context);
        if (entry_path == f.path) f.index = index;
      },
      &find);
  EXPECT_NE(find.index, UINT64_MAX) << path;
  return find.index;
}

// The entry read whole through its IFile, or nothing when the file or its buffer is null.
inline std::optional<std::string> read_whole(qkvfs::IDriver& driver, uint64_t index) {
  qkvfs::IFile* file = driver.open_file(index);
  if (!file) return std::nullopt;
  const qk::RefPtr<qk::IBuffer> bytes = file->buffer();
  file->release();
  if (!bytes) return std::nullopt;
  return std::string(static_cast<const char*>(bytes->data()), bytes->size());
}

// The entry read through its reader in pieces of `piece` bytes until a read gives nothing.
inline std::string read_stream(qkvfs::IDriver& driver, uint64_t index, size_t piece = 4096) {
  qk::ReaderPtr<> reader = driver.open_reader(index);
  EXPECT_NE(reader, nullptr);
  if (!reader) return std::string();
  std::string out, part(piece, '\0');
  for (size_t got; (got = reader->read(part.data(), piece)) != 0;) out.append(part, 0, got);
  return out;
}
