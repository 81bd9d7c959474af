// QKPKFile: the IFile of one file inside a .qkpk archive (qkvfs/ArchiveIndex.h), and read_entry,
// the one routine that reads an entry whole for the file, the archive driver's future and the
// driver's small-entry reader.
//
// The file holds copies of the entry's FileRecord and ArchiveName and loads its content on first
// need (PackedFile). `name` is the entry's virtual path with its case. `vfs_name` is the stored
// name's place in the archive's string pool: the format doesn't terminate it, so it runs on into
// the pool's next bytes up to the pool's end (an empty text when the name has no place).
// A buffer that can't be made for the content logs "Not enough memory to read <path>" at DEBUG.
//
// Ownership: from QKPKFile::pool (512 a chunk); release() ends it. The driver outlives it (the
// Manager keeps a driver with open files). Threads: one at a time per file.
#pragma once

#include <atomic>
#include <string_view>

#include "qk/ObjectPool.h"
#include "qkvfs/ArchiveIndex.h"
#include "qkvfs/Drivers/DataProviders/PackedFile.h"
#include "qkvfs/OverlappedFile.h"

namespace qkvfs {

class QKPKFile final : public PackedFile {
 public:
  // A file of the entry from the pool; null when the pool is dry. `metadata` is null for an entry
  // without metadata.
  static QKPKFile* make(OverlappedFile* archive, const FileRecord& record, const ArchiveName& name,
                        const qk::MetadataMap* metadata, std::atomic<uint64_t>* open_count);

  // The entry's bytes, in `fill`'s buffer (reused) or a new one. A plain entry is one positional
  // read of `size` bytes at `offset`. A compressed one is read behind the room for the result in
  // one allocation; its zstd frame must state a content size equal to the record's `size`, else
  // ERROR "Can't extract file <name>.", and must decompress to exactly that size, else ERROR
  // "Can't decompress file <name>.". Null on any failure; a short read has only the positional
  // read's own line. A frame that claims more than its packed bytes could ever make is refused
  // with the same messages before anything is allocated. Any thread.
  static qk::RefPtr<qk::IBuffer> read_entry(OverlappedFile& archive, const FileRecord& record,
                                            std::string_view name, qk::RefPtr<qk::MemBuffer>& fill);

  const char* name() override { return name_.path.c_str(); }
  const char* vfs_name() override { return name_.stored_name.data() ? name_.stored_name.data() : ""; }
  void release() override;

  static qk::ObjectPool pool;

 private:
  QKPKFile(OverlappedFile* archive, const FileRecord& record, const ArchiveName& name,
           const qk::MetadataMap* metadata, std::atomic<uint64_t>* open_count);
  ~QKPKFile() override = default;

  qk::RefPtr<qk::IBuffer> load_content(qk::RefPtr<qk::MemBuffer> empty) override;

  OverlappedFile* archive_;
  FileRecord record_;
  ArchiveName name_;
};

}  // namespace qkvfs
