// WinFileRaw: the IFile of a real file, read and written in the plain way through one descriptor.
//
// Three named opens serve real paths: read (the file must exist; read-ahead), rewrite (made or
// emptied, for writing) and append (made if missing, for writing, positioned at the end). A fourth,
// the driver form, opens for reading on behalf of a driver, with a virtual name, the driver's
// metadata for the file and the driver's open counter, which counts the file from its creation to
// its destruction. A read open keeps the path as both names unless a driver gives a virtual name;
// rewrite and append leave `vfs_name` empty.
//
// Every failure is logged at ERROR under QKCORESTATIC as "[<path>] <operation>: <system text>"
// (qkvfs/FileFailure.h) and answered with 0, false or null; the file stays usable.
//
// Ownership: the objects come from WinFileRaw::pool; release() ends one and returns it there. The
// metadata map and the open counter belong to the driver and must outlive the file.
// Threads: one thread at a time per file; opening and release from any thread.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>

#include "platform/qk_fs.h"
#include "qk/Metadata.h"
#include "qk/ObjectPool.h"
#include "qkvfs/IFile.h"

namespace qkvfs {

class WinFileRaw final : public IFile {
 public:
  // The opens of real paths (modes 0, 1 and 2 of the file system's real-path functions). Null on
  // failure, logged as "CreateFile(RO)", "CreateFile(REWRITE)" or "CreateFile(APPEND)"; `silent`
  // spares the line of a read open only. After rewrite the file is ended at its start (failure:
  // "SetEndOfFile()"); after append the position goes to the end (failure:
  // "SetFilePointerEx(END)"); the file is kept either way.
  static WinFileRaw* open_read(std::string_view path, bool silent = false);
  static WinFileRaw* open_rewrite(std::string_view path);
  static WinFileRaw* open_append(std::string_view path);

  // The driver form: a read open whose failure logs "CreateFile(RO)" unless `silent`. An empty
  // `vfs_name` stands for the path. `metadata` and `open_count` may be null.
  static WinFileRaw* open_for_driver(std::string_view path, std::string_view vfs_name,
                                     const qk::MetadataMap* metadata, std::atomic<uint64_t>* open_count,
                                     bool silent);

  const char* name() override { return path_.c_str(); }
  const char* vfs_name() override { return vfs_name_.c_str(); }
  // Failure logs "ReadFile(%d)" or "WriteFile(%d)" with the size; the bytes that moved count.
  size_t read(void* buffer, size_t size) override;
  size_t write(const void* buffer, size_t size) override;
  // Failure logs "SetFilePointerEx(+0)" and answers 0.
  uint64_t tell() override;
  // From the start; failure logs "SetFilePointerEx(%lld)" with the position.
  bool seek(uint64_t position) override;
  // Failure logs "GetFileSizeEx()" and answers 0.
  uint64_t size() override;
  // A MemBuffer with the whole file, read from its start; the position is put back afterwards (a
  // position that can't be read logs "SetFilePointerEx(+0)" and counts as 0). A read that comes
  // short leaves the buffer at the bytes that came. Null only when no buffer can be had.
  qk::RefPtr<qk::IBuffer> buffer() override;
  void release() override;
  bool meta_string(const char* key, const char*& out) override;
  bool meta_float(const char* key, double& out) override;
  bool meta_integer(const char* key, int64_t& out) override;
  // From the position; failure logs "SetFilePointerEx(%lld)" with the count.
  bool skip(int64_t count) override;

  static qk::ObjectPool pool;

 private:
  WinFileRaw(qk_platform_file file, std::atomic<uint64_t>* open_count, std::string_view path,
             std::string_view vfs_name, const qk::MetadataMap* metadata);
  ~WinFileRaw() override;

  // Opens and wraps; null (after the line, unless silent) when the open fails or the pool is dry.
  static WinFileRaw* make(std::string_view path, unsigned access, unsigned disposition, unsigned flags,
                          const char* failure, bool silent, std::string_view vfs_name,
                          const qk::MetadataMap* metadata, std::atomic<uint64_t>* open_count);

  qk_platform_file file_;
  std::atomic<uint64_t>* open_count_;
  std::string path_;
  std::string vfs_name_;
  const qk::MetadataMap* metadata_;
};

}  // namespace qkvfs

// The driver form without a line of its own, for the archive drivers: null when the file can't be
// opened.
qkvfs::WinFileRaw* qk_fs_open_raw(std::string_view path, std::string_view vfs_name,
                                  const qk::MetadataMap* metadata, std::atomic<uint64_t>* open_count);
