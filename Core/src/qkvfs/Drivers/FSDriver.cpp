#include "qkvfs/Drivers/FSDriver.h"

#include <string>

#include "platform/qk_fs.h"
#include "qk/FileBuffer.h"
#include "qk/JsonNode.h"
#include "qk/ObjectPool.h"
#include "qk_log.h"
#include "qk_path.h"
#include "qkvfs/Drivers/DataProviders/WinFileRaw.h"
#include "qkvfs/FileReader.h"

namespace qkvfs {

namespace {

// ---- The deferred read -----------------------------------------------------------------------

// Reads one file whole when asked, outside the Manager's lock. Counts in its driver's open files
// from open_future to release.
class FileBufFuture final : public IBufFuture {
 public:
  FileBufFuture(std::atomic<uint64_t>* open_count, std::string_view real_path)
      : open_count_(open_count), real_path_(real_path) {}
  ~FileBufFuture() override { open_count_->fetch_sub(1); }

  qk::RefPtr<qk::IBuffer> get(qk::RefPtr<qk::MemBuffer>* fill) override {
    qk::RefPtr<qk::MemBuffer> fresh;
    return qk_fs_read_into(real_path_, fill ? *fill : fresh);
  }
  void release() override { qk::pool_delete(pool, this); }

  static qk::ObjectPool pool;

 private:
  std::atomic<uint64_t>* open_count_;
  std::string real_path_;
};

qk::ObjectPool FileBufFuture::pool{"Core/src/qkvfs/Drivers/FSDriver", sizeof(FileBufFuture), 128};

// ---- The walk --------------------------------------------------------------------------------

void remove_trailing_separators(PathBufferBase& text) {
  size_t length = text.size();
  while (length > 0 && text.data()[length - 1] == '/') --length;
  text.set_size(length);
}

}  // namespace

// ---- Mounting --------------------------------------------------------------------------------

IDriver* FSDriver::factory(uint64_t mount_id, const char* normalised_source, const char* opened_source,
                           const char* normalised_mount_point, const char* mount_tag, char*, size_t,
                           bool* stop) {
  *stop = false;
  fs_entry entry;
  if (!qk_fs_stat(*opened_source ? opened_source : ".", &entry) || entry.kind != kDirectory) return nullptr;
  return new FSDriver(mount_id, mount_tag, opened_source, normalised_source, normalised_mount_point);
}

FSDriver::FSDriver(uint64_t mount_id, std::string_view mount_tag, std::string_view opened_source,
                   std::string_view normalised_source, std::string_view normalised_mount_point)
    : IDriver(mount_id, mount_tag, opened_source, normalised_source, normalised_mount_point) {
  entries_.reserve(64);
  walk(this->source, 0);
  load_metadata();
}

void FSDriver::walk(std::string_view folder, int depth) {
  // The walk stays inside one listing while it descends; a listing that fails partway keeps
  // what it found. Links are followed, so a link back up the tree would never end: below
  // kMaxDepth levels nothing is entered.
  if (depth >= kMaxDepth) return;
  walk_depth_ = depth;
  qk_fs_list(
      folder,
      [](void* user, std::string_view parent, std::string_view name, const fs_entry& item) {
        auto* driver = static_cast<FSDriver*>(user);
        const int level = driver->walk_depth_;
        std::string real_text;
        real_text.reserve(parent.size() + 1 + name.size());
        if (!parent.empty()) real_text.append(parent).append("/");
        real_text.append(name);
        const uint32_t type = item.kind == kDirectory ? kDirectory : kFile;
        driver->add(real_text, type);
        if (type == kDirectory) driver->walk(real_text, level + 1);
        driver->walk_depth_ = level;
      },
      this);
}

void FSDriver::add(std::string_view real_text, uint32_t type) {
  const std::string_view relative =
      real_text.size() >= source.size() ? real_text.substr(source.size()) : std::string_view();
  PathBuffer<255> virtual_text;
  virtual_text.assign(mount_point);
  virtual_text.append(relative);

  FSEntry& entry = entries_.emplace_back();
  qk_path_normalize(real_text, entry.real_path, false);
  qk_path_normalize(virtual_text.view(), entry.path, false);
  if (type == kDirectory) {
    remove_trailing_separators(entry.real_path);
    remove_trailing_separators(entry.path);
  }
  qk_path_fold(entry.path.view(), entry.key);
  entry.type = type;
}

void FSDriver::load_metadata() {
  const std::string path = source.empty() ? std::string(".metadata.json") : source + "/.metadata.json";
  bool opened = false;
  const qk::RefPtr<qk::IBuffer> bytes = qk_load_file_buffer(path, opened, false);
  if (!bytes || bytes->size() == 0) return;
  // A terminated copy: the parser reads up to the first zero byte.
  const std::string text(static_cast<const char*>(bytes->data()), bytes->size());
  try {
    qk::parseMetadataJson(text.c_str(), metadata_);
  } catch (const qk::JsonError&) {
    qk_log(QKCORESTATIC, qk::log::ERROR, "Can't read metadata for driver %s", source.c_str());
  }
}

// ---- Entries ---------------------------------------------------------------------------------

void FSDriver::enumerate(EnumerateCallback callback, void* context) {
  for (size_t i = 0; i < entries_.size(); ++i)
    callback(context, i, entries_[i].key.view(), entries_[i].path.view(), entries_[i].type);
}

void FSDriver::info(uint64_t index, EntryInfo& out) {
  out = EntryInfo();
  fs_entry entry;
  if (index >= entries_.size() || !qk_fs_stat(entries_[index].real_path.view(), &entry)) return;
  out.type = entry.kind == kDirectory ? kDirectory : kFile;
  out.size = entry.kind == kDirectory ? 0 : entry.size;
  out.time = uint64_t(entry.modification_time);
}

const qk::MetadataMap* FSDriver::metadata_of(uint64_t index) {
  if (index >= entries_.size()) return nullptr;
  const auto found = metadata_.find(std::string(entries_[index].real_path.view()));
  return found != metadata_.end() ? &found->second : nullptr;
}

IFile* FSDriver::open_file(uint64_t index) {
  if (index >= entries_.size()) return nullptr;
  return WinFileRaw::open_for_driver(entries_[index].real_path.view(), source, metadata_of(index),
                                     &open_count_, false);
}

IBufFuture* FSDriver::open_future(uint64_t index) {
  if (index >= entries_.size() || entries_[index].type == kDirectory) return nullptr;
  void* item = FileBufFuture::pool.acquire();
  if (!item) return nullptr;
  open_count_.fetch_add(1);
  return new (item) FileBufFuture(&open_count_, entries_[index].real_path.view());
}

qk::ReaderPtr<> FSDriver::open_reader(uint64_t index) {
  if (index >= entries_.size() || entries_[index].type == kDirectory) return nullptr;
  IFile* file = open_file(index);
  if (!file) return nullptr;
  return qk::ReaderPtr<>(new FileReader(file));
}

}  // namespace qkvfs
