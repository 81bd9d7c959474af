#include "qkvfs/Drivers/QKPKDriver.h"

#include <memory>
#include <string>

#include "qk/BufferReader.h"
#include "qk/ObjectPool.h"
#include "qk/ZstdDecompressReader.h"
#include "qk_format.h"
#include "qk_path.h"
#include "qkvfs/Drivers/DataProviders/QKPKFile.h"
#include "qkvfs/Drivers/DataProviders/WinFileRaw.h"
#include "qkvfs/Drivers/PackedEntries.h"

namespace qkvfs {

namespace {

constexpr std::string_view kExtension = ".qkpk";

// ---- The entry objects of the Manager's reads and of streams ----------------------------------

// Reads one entry whole when asked, outside the Manager's lock.
class QKPKBufFuture final : public PackedFuture {
 public:
  QKPKBufFuture(OverlappedFile* file, const FileRecord& record, const ArchiveName& name,
                std::atomic<uint64_t>* open_count)
      : PackedFuture(file, open_count), record_(record), name_(name) {}

  qk::RefPtr<qk::IBuffer> get(qk::RefPtr<qk::MemBuffer>* fill) override {
    qk::RefPtr<qk::MemBuffer> fresh;
    return QKPKFile::read_entry(*file_, record_, name_.path.view(), fill ? *fill : fresh);
  }
  void release() override { qk::pool_delete(pool, this); }

  static qk::ObjectPool pool;

 private:
  FileRecord record_;
  ArchiveName name_;
};

qk::ObjectPool QKPKBufFuture::pool{"Core/src/qkvfs/Drivers/QKPKDriver/QKPKBufFuture", sizeof(QKPKBufFuture),
                                   128};

// A large entry decompressed as a zstd stream over its range of the archive.
class QKPKReader final : public PackedReader<qk::ZstdDecompressReader> {
 public:
  QKPKReader(OverlappedFile* file, const FileRecord& record, const ArchiveName& name,
             std::atomic<uint64_t>* open_count)
      : PackedReader(file, record.offset, record.packed_size, record.size, open_count, false),
        record_(record),
        name_(name) {}

  const char* name() override { return name_.path.c_str(); }
  void release() override { qk::pool_delete(pool, this); }

  static qk::ObjectPool pool;

 private:
  FileRecord record_;
  ArchiveName name_;
};

qk::ObjectPool QKPKReader::pool{"Core/src/qkvfs/Drivers/QKPKDriver/QKPKReader", sizeof(QKPKReader), 128};

struct ReleaseFile {
  void operator()(IFile* file) const { file->release(); }
};

}  // namespace

// ---- Mounting --------------------------------------------------------------------------------

IDriver* QKPKDriver::factory(uint64_t mount_id, const char* normalised_source, const char* opened_source,
                             const char* normalised_mount_point, const char* mount_tag, char* error,
                             size_t error_capacity, bool* stop) {
  *stop = false;
  const std::string_view folded(normalised_source);
  std::string path(opened_source);
  if (folded.size() < kExtension.size() || folded.substr(folded.size() - kExtension.size()) != kExtension)
    path.append(kExtension);

  std::unique_ptr<IFile, ReleaseFile> file(qk_fs_open_raw(path, "", nullptr, nullptr));
  if (!file) return nullptr;
  ArchiveIndex index;
  const std::string refusal = load_archive_index(*file, normalised_mount_point, index);
  if (!refusal.empty()) {
    if (error_capacity != 0)
      qk_snprintf(error, error_capacity, "QKPKDriver: Failed to open qkpk archive %s. Reason: %s.",
                  path.c_str(), refusal.c_str());
    return nullptr;
  }
  file.reset();  // the index is read; entries open the archive again when they need it
  return new QKPKDriver(mount_id, mount_tag, path, normalised_source, normalised_mount_point,
                        std::move(index));
}

QKPKDriver::QKPKDriver(uint64_t mount_id, std::string_view mount_tag, std::string_view archive_path,
                       std::string_view normalised_source, std::string_view normalised_mount_point,
                       ArchiveIndex&& index)
    : IDriver(mount_id, mount_tag, archive_path, normalised_source, normalised_mount_point),
      file_(std::string(archive_path)),
      index_(std::move(index)) {}

// ---- Entries ---------------------------------------------------------------------------------

void QKPKDriver::enumerate(EnumerateCallback callback, void* context) {
  uint64_t at = 0;
  for (const ArchiveName& file : index_.files)
    callback(context, at++, file.key.view(), file.key.view(), kFile);
  for (const ArchiveName& directory : index_.directories)
    callback(context, at++, directory.key.view(), directory.key.view(), kDirectory);
}

void QKPKDriver::info(uint64_t index, EntryInfo& out) {
  out = EntryInfo();
  const uint64_t files = index_.files.size();
  if (index < files) {
    out.type = kFile;
    out.size = index_.records[index].size;
    out.time = index_.records[index].time;
  } else if (index - files < index_.directories.size()) {
    out.type = kDirectory;
    out.time = index_.directory_times[index - files];
  }
}

const qk::MetadataMap* QKPKDriver::metadata_of(uint64_t index) {
  if (index >= index_.metadata.size() || index_.metadata[index].empty()) return nullptr;
  return &index_.metadata[index];
}

bool QKPKDriver::usable(uint64_t index) { return file_.ensure_open() && index < index_.files.size(); }

IFile* QKPKDriver::open_file(uint64_t index) {
  if (!usable(index)) return nullptr;
  return QKPKFile::make(&file_, index_.records[index], index_.files[index], metadata_of(index), &open_count_);
}

IBufFuture* QKPKDriver::open_future(uint64_t index) {
  if (!usable(index)) return nullptr;
  return make_pooled<QKPKBufFuture>(QKPKBufFuture::pool, &file_, index_.records[index], index_.files[index],
                                    &open_count_);
}

qk::ReaderPtr<> QKPKDriver::open_reader(uint64_t index) {
  if (!usable(index)) return nullptr;
  const FileRecord& record = index_.records[index];
  if (record.size <= kArchiveStreamAbove) {
    qk::RefPtr<qk::MemBuffer> buffer = qk::MemBuffer::create(size_t(record.size));
    if (buffer && buffer->size() == record.size) {
      qk::RefPtr<qk::IBuffer> content =
          QKPKFile::read_entry(file_, record, index_.files[index].path.view(), buffer);
      if (!content) return nullptr;
      return qk::ReaderPtr<>(new qk::BufferReader(std::move(content)));
    }
  }
  return qk::ReaderPtr<>(
      make_pooled<QKPKReader>(QKPKReader::pool, &file_, record, index_.files[index], &open_count_));
}

}  // namespace qkvfs
