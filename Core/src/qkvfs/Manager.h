// qkvfs::Manager: the read-only virtual file system. It keeps the mounted drivers in priority order
// and one table of all their files and one of all their directories (PathTables), and answers by
// virtual path. One Manager exists per process (qkvfs::manager(), qk_vfs.h); tests make their own.
//
// Mounting. mount(source, mount point, append, tag, silent) normalises and folds the mount point
// (it must begin with "/"; it gets a trailing "/") and the source (a missing one is the current
// directory, "./"), and runs the factories in order (the folder driver, the zip driver, the archive
// driver): each driver that comes back is kept, and `stop` ends the chain (a zip sets it).
// A driver's entries go into the tables; without `append` the new drivers go to the front and win
// over every earlier mount (of several from one mount, the last registered wins), with `append`
// to the end, where earlier mounts win. Mounting the same source at the same mount point again
// only counts (WARNING "Source %s is already mounted to the same mount %s.") and answers the first
// id. All drivers of one mount share its id; ids come from one process-wide counter from 1.
//
// Case on Linux: keys and comparisons use the folded source (`real_source`), but the source the
// drivers open keeps the spelling the caller gave, since Linux file systems tell case apart.
//
// Unmounting (by id, tag or source) counts a repeated mount down first ("Driver %s:%s(%s) mount
// count: %d."); at zero the driver's files leave the tables at once. A driver that still has open
// files is kept as an orphan (ERROR "Can't unmount driver %s:%s(%s). Reason: as it has files
// opened") until the Manager goes, so what was handed out keeps working, and the call answers
// false. Directories stay visible after their mounts go. remount asks a callback for each driver's
// new source and rebuilds the file table from all drivers; a new source that no factory takes
// keeps the old driver and logs "No suitable driver found to mount %s".
//
// Looking up: every path operation normalises and folds, then probes the tables, under the lock;
// a whole read takes a future under the lock and reads outside it. Misses are results: null,
// false, 0, with the lines below under QKCORESTATIC unless `silent`. Exceptions are only
// std::out_of_range for a mount point or listed directory that normalises to nothing ("Expected
// !empty()") and for a file key without holders ("Call front() on empty vector."), and what a
// factory lets through. Lines with "%s" name the path's key, lines with "%.*s" the path as given.
//
// No file access monitor is built: opens and reads report to nobody but their callers.
//
// Threads: any thread may call any operation. One recursive lock guards everything; callbacks of
// the walks run under it and may call back into the Manager. Drivers' operations run under it.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "qk/CriticalSection.h"
#include "qkvfs/IVFSandbox.h"
#include "qkvfs/PathTables.h"

namespace qkvfs {

class Manager final : public IVFSandbox {
 public:
  // Registers the three drivers' factories and reserves the tables' room.
  Manager();
  // Destroys every driver, orphans too, and empties the factories and tables.
  ~Manager() override;

  // The id, or kMountFailed: when the filter refuses (no line), for an invalid mount point
  // ("Invalid mount point %.*s." unless silent), or when no driver came back ("No suitable driver
  // found to mount %s" unless silent; errors of factories are logged whatever `silent` says, as
  // "Drivers errors while mounting %s:" and one "\t%s" line each). DEBUG "Mounted: %s into: %s with
  // tag: %s" on success.
  uint64_t mount(const char* source, const char* mount_point, bool append, const char* tag,
                 bool silent) override;
  // True when at least one driver left and none was orphaned. Without a driver leaving, ERROR
  // "Can't unmount drivers. Reason: Can't found drivers with given id == %zu" (by id only).
  bool unmount(uint64_t id) override;
  bool unmount_by_tag(std::string_view tag) override;
  // `source` is normalised and folded, and compared with each driver's folded source.
  bool unmount_by_source(std::string_view source) override;
  void remount(RemountCallback callback, void* context) override;

  // A file: its driver's current info (type 1); a directory: type 2, size and time 0.
  bool stat(std::string_view path, EntryInfo& out) override;
  bool exists(std::string_view path) override;
  // Mode 0 only: "Can't open file not for writing: %.*s. VFS supports only open for reading." for
  // any other mode (the wording is the system's own), "Can't open file: %s." for a miss.
  IFile* open_file(std::string_view path, uint32_t mode, bool silent) override;
  // Fills `buffer` (its size set to 0 first) with the whole file; 1 or 0. A null buffer logs
  // "Input buffer is empty. File: %s" whatever `silent` says.
  int read_into(const char* path, qk::RefPtr<qk::MemBuffer>& buffer, bool silent) override;
  // The whole file, or null with "Can't open file: %.*s" (a real path logs its own line first).
  qk::RefPtr<qk::IBuffer> read_file(std::string_view path, bool silent) override;
  // A reader of a virtual or a real file, or null with "Can't open file: %s." (virtual) or
  // "Can't open file: %.*s" (real).
  qk::ReaderPtr<> open_reader(std::string_view path, bool silent) override;
  // The tree is read-only: "Trying to open %s on ro vfs." and false.
  bool open_for_write(const char* path, uint64_t, uint64_t, bool silent) override;
  // Every copy's whole bytes in priority order, under the lock.
  void for_each_copy(const char* path, const CopyCallback& callback, bool silent) override;
  size_t count_copies(const char* path) override;
  bool for_each_source_alias(std::string_view path, SourceCallback callback, void* context) override;
  // Files directly under the directory (type 1, lower-case names as the keys have them), then its
  // subdirectories (type 2, names with their case). Deliberately, a directory whose name only
  // begins with the listed one's is reported too: listing "/a/b" reports "/a/bcd" as "bcd".
  void list_dir(std::string_view path, ListCallback callback, void* context) override;
  std::vector<std::string> sources_of_mount(const char* mount_point) override;
  void for_each_mount(MountCallback callback, void* context) override;
  // A virtual directory through list_dir, a real one through the folder walk. With `names_only`
  // each result is the name, otherwise the directory and the name joined with "/".
  std::vector<std::string> list_names(std::string_view path, const NameFilter& filter,
                                      bool names_only) override;
  std::vector<ListEntry> list_entries(std::string_view path, const EntryFilter& filter,
                                      bool names_only) override;
  void flush_drivers() override;
  // Each factory is in the list at most once. clear_factories is the one call that takes no lock.
  void add_factory(DriverFactory factory, bool at_end) override;
  void remove_factory(DriverFactory factory) override;
  void for_each_driver(DriverCallback callback, void* context) override;
  void clear_factories() override;
  void set_mount_filter(MountFilter filter, void* context) override;
  // Each holder's driver's source, in priority order; false when the path isn't a file.
  bool for_each_source(std::string_view path, SourceCallback callback, void* context) override;

  // For tools, beside the interface: each holder of a virtual file, in priority order, under the
  // lock; false when the path isn't a file.
  using HolderCallback = void (*)(IDriver& driver, uint64_t entry, void* context);
  bool for_each_holder(std::string_view path, HolderCallback callback, void* context);

 private:
  struct DriverDestroy {
    void operator()(IDriver* driver) const { driver->destroy(); }
  };
  using DriverPtr = std::unique_ptr<IDriver, DriverDestroy>;
  using Lock = std::lock_guard<qk::CriticalSection>;

  // Runs the factories; errors go to `errors`.
  std::vector<DriverPtr> make_drivers(uint64_t id, const std::string& real_source, const std::string& source,
                                      const std::string& mount_point, const char* tag,
                                      std::vector<std::string>& errors);
  void register_driver(IDriver& driver, bool append);
  void unregister_driver(IDriver& driver);
  bool unmount_where(const std::function<bool(const IDriver&)>& match, const char* reason);
  // The common whole read of read_into and read_file.
  qk::RefPtr<qk::IBuffer> read_whole(std::string_view path, qk::RefPtr<qk::MemBuffer>* buffer, bool silent);
  const PathTables::Holders* holders_of(std::string_view key) const;

  std::vector<DriverFactory> factories_;
  MountFilter mount_filter_ = nullptr;
  void* mount_filter_context_ = nullptr;
  mutable qk::CriticalSection lock_;
  std::vector<DriverPtr> drivers_;
  std::vector<DriverPtr> orphans_;
  PathTables tables_;
};

}  // namespace qkvfs
