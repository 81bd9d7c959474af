#include "PackCommand.h"

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "ToolFiles.h"
#include "ToolOutput.h"
#include "platform/qk_fs.h"
#include "platform/qk_platform.h"
#include "qk/JsonNode.h"
#include "qk/Metadata.h"
#include "qk_path.h"
#include "qk_time.h"
#include "qkvfs/ArchiveWriter.h"
#include "qkvfs/Drivers/DataProviders/WinFileRaw.h"
#include "qkvfs/FileReader.h"

namespace {

constexpr int kMaxDepth = 64;  // as the folder driver
constexpr int kMaxLevel = 19;

// One file or directory of the folder.
struct Item {
  std::string name;  // inside the archive: the path inside the folder, case kept
  std::string real;  // as the folder driver opens it: the folder, normalised, "/" and the name
  bool directory = false;
  uint64_t size = 0;
  uint64_t time = 0;
};

struct Walk {
  std::string root;     // the folder, normalised; empty for the working directory
  std::string skipped;  // the archive's own absolute path, left out
  std::vector<Item> items;
  std::string failure;  // the first folder that couldn't be listed, with the reason
  int depth = 0;
  std::string prefix;  // the name of the folder being listed, with a trailing "/"
};

std::string absolute(const std::string& path) {
  char full[4096];
  return VFS_path_getreal(full, sizeof full, path.c_str()) ? std::string(full) : std::string();
}

// Lists `folder` and what lies below it into the walk. A folder that can't be listed fails the
// walk (a mount would show it empty, but an archive that silently lacks a folder's files is a loss).
void walk(Walk& walker, const std::string& folder) {
  if (walker.depth >= kMaxDepth || !walker.failure.empty()) return;
  const std::string_view listed = folder.empty() ? std::string_view(".") : std::string_view(folder);
  const int64_t count = qk_fs_list(
      listed,
      [](void* user, std::string_view, std::string_view name, const fs_entry& entry) {
        Walk& w = *static_cast<Walk*>(user);
        Item item;
        item.name = w.prefix + std::string(name);
        item.real = w.root.empty() ? item.name : w.root + "/" + item.name;
        item.directory = entry.kind == 2;
        item.size = entry.size;
        item.time = uint64_t(entry.modification_time);
        if (!item.directory && !w.skipped.empty() && absolute(item.real) == w.skipped) return;
        w.items.push_back(item);
        if (!item.directory) return;
        const std::string outer = w.prefix;
        w.prefix = item.name + "/";
        ++w.depth;
        walk(w, item.real);
        --w.depth;
        w.prefix = outer;
      },
      &walker);
  if (count < 0 && walker.failure.empty()) {
    const std::string reason = unreadableReason(std::string(listed));
    walker.failure = std::string(listed) + ": can't be listed" + (reason.empty() ? "" : ": " + reason);
  }
}

// The sink of the writer: the replacement of the output file.
class ReplacementSink final : public qkvfs::ArchiveSink {
 public:
  explicit ReplacementSink(FileReplacement& file) : file_(file) {}
  bool write(const void* data, size_t size) override {
    return file_.write(std::string_view(static_cast<const char*>(data), size));
  }

 private:
  FileReplacement& file_;
};

// Progress on a terminal: one line, rewritten at most ten times a second.
class Progress {
 public:
  explicit Progress(size_t total) : total_(total), shown_(qk_platform_stderr_is_console()) {}
  ~Progress() {
    if (shown_ && drawn_) writeErr("\r\x1b[K");
  }
  void step(size_t done, const std::string& name) {
    if (!shown_) return;
    const double now = qk_time_seconds();
    if (drawn_ && now - last_ < 0.1 && done < total_) return;
    last_ = now;
    drawn_ = true;
    writeErr("\r\x1b[Kpacking " + std::to_string(done) + "/" + std::to_string(total_) + " " +
             name.substr(0, 60));
  }

 private:
  size_t total_;
  bool shown_;
  bool drawn_ = false;
  double last_ = 0;
};

class PackCommand final : public ToolCommand {
 public:
  const char* name() const override { return "pack"; }
  const char* summary() const override { return "Make a .qkpk archive of a folder"; }

  void define(CLI::App& command) override {
    command.add_option("folder", folder_, "The folder to pack")->required();
    command.add_option("archive", archive_, "The archive to write, such as data.qkpk")->required();
    command.add_option("--level", options_.level, "zstd's compression level, 1 to 19 (default 9)")
        ->check(CLI::Range(1, kMaxLevel));
    command
        .add_option("--store-below", options_.store_below,
                    "Store files smaller than BYTES uncompressed (files above 1 MiB are always compressed)")
        ->check(CLI::NonNegativeNumber);
    command.add_option("--metadata", metadata_,
                       "Per-file metadata in the form of .metadata.json, in its place");
    command.add_option("--time-from", time_from_, "Entry times: the files' modification times, or zero")
        ->check(CLI::IsMember({"mtime", "zero"}));
    command.footer(
        "Exit status: 0 made, 1 failed (a file that can't be read, a write error, bad metadata; any old\n"
        "archive is kept), 2 usage error.");
  }

  int run(const Invocation&) override;

 private:
  bool load_metadata(qk::MetadataTable& table);
  int pack(const std::vector<Item>& items, const qk::MetadataTable& table);

  std::string folder_, archive_, metadata_, time_from_ = "mtime";
  qkvfs::ArchiveWriterOptions options_;
  std::string root_;
};

int fail(const std::string& text) {
  writeErr("qkmt: " + text + "\n");
  return 1;
}

bool PackCommand::load_metadata(qk::MetadataTable& table) {
  const std::string path = !metadata_.empty() ? metadata_
                           : root_.empty()    ? ".metadata.json"
                                              : root_ + "/.metadata.json";
  std::string text, reason;
  if (!readFileBytes(path, text, reason)) {
    if (metadata_.empty() && unreadableReason(path) == systemReason(qk_error_not_found()))
      return true;  // none
    fail(path + ": " + reason);
    return false;
  }
  try {
    qk::parseMetadataJson(text.c_str(), table);
  } catch (const qk::JsonError& error) {
    fail(path + ": " + error.what());
    return false;
  }
  return true;
}

int PackCommand::run(const Invocation&) {
  fs_entry entry;
  if (!qk_fs_stat(folder_, &entry)) {
    const std::string reason = unreadableReason(folder_);
    return fail(folder_ + ": " + (reason.empty() ? "not a folder" : reason));
  }
  if (entry.kind != 2) return fail(folder_ + ": not a folder");
  qk_path_normalize(folder_, root_, false);
  if (!root_.empty() && root_.back() == '/') root_.pop_back();

  qk::MetadataTable table;
  if (!load_metadata(table)) return 1;
  Walk w;
  w.root = root_;
  w.skipped = absolute(archive_);
  walk(w, root_);
  if (!w.failure.empty()) return fail(w.failure);
  if (w.items.empty())
    return fail(
        folder_ +
        ": nothing to pack: the folder holds no files or folders (names that begin with \".\" are left out)");
  std::sort(w.items.begin(), w.items.end(), [](const Item& a, const Item& b) { return a.name < b.name; });
  return pack(w.items, table);
}

int PackCommand::pack(const std::vector<Item>& items, const qk::MetadataTable& table) {
  const bool zero_times = time_from_ == "zero";
  std::set<std::string> used_keys;
  std::map<std::string, std::string> keys;  // folded name -> first name, for the warning of a clash
  size_t files = 0, compressed = 0, directories = 0;
  uint64_t bytes_in = 0;
  for (const Item& item : items) files += !item.directory;

  FileReplacement out(archive_);
  // An archive written into a pipe or a device is standard output's stream, or may be: the result
  // line then goes to standard error, so that it can't join the archive's bytes.
  const bool streamed = out.inPlace();
  ReplacementSink sink(out);
  qkvfs::ArchiveWriter writer(sink, options_);
  {
    Progress progress(files);
    size_t done = 0;
    for (const Item& item : items) {
      std::string folded;
      qk_path_fold(item.name, folded);
      if (const auto [at, added] = keys.emplace(folded, item.name); !added)
        writeErr("qkmt: warning: " + at->second + " and " + item.name +
                 " have the same name once case is folded; a mount shows only one of them\n");
      if (item.directory) {
        writer.add_directory(item.name, zero_times ? 0 : item.time);
        ++directories;
        continue;
      }
      progress.step(++done, item.name);
      const qk::MetadataMap* metadata = nullptr;
      for (const std::string& key : {item.real, item.name}) {
        const auto found = table.find(key);
        if (found == table.end()) continue;
        metadata = &found->second;
        used_keys.insert(key);
        break;
      }
      qkvfs::WinFileRaw* file = qkvfs::WinFileRaw::open_read(item.real, true);
      if (!file) return fail(item.real + ": can't be read: " + unreadableReason(item.real));
      const uint64_t size = file->size();
      qkvfs::FileReader content(file);  // owns the file from here
      qkvfs::ArchiveFileResult result;
      if (!writer.add_file(item.name, zero_times ? 0 : item.time, metadata, content, size, &result))
        return fail(out.error().empty() ? archive_ + ": " + writer.error() : out.error());
      compressed += result.compressed;
      bytes_in += size;
    }
  }
  if (!writer.finish() || !out.commit())
    return fail(out.error().empty() ? archive_ + ": " + writer.error() : out.error());
  for (const auto& [key, map] : table)
    if (!used_keys.count(key)) writeErr("qkmt: warning: metadata for " + key + " matches no file\n");
  auto count = [](size_t n, const char* one, const char* many) {
    return std::to_string(n) + " " + (n == 1 ? one : many);
  };
  (streamed ? writeErr : writeOut)(
      archive_ + ": " + count(files, "file", "files") + " (" + std::to_string(compressed) + " compressed), " +
      count(directories, "directory", "directories") + ", " + std::to_string(writer.bytes_written()) +
      " bytes from " + std::to_string(bytes_in) + "\n");
  return 0;
}

}  // namespace

std::unique_ptr<ToolCommand> makePackCommand() { return std::make_unique<PackCommand>(); }
