// IVFSandbox: the read-only virtual file system as its callers see it. qkvfs::Manager is the one
// implementation; Manager.h states the behaviour of each operation.
//
// Paths: a path that begins with "/" is virtual and is looked up in the mounted tree; the
// operations that also take real paths (open_reader, read_into, read_file, list_names,
// list_entries) hand any other path to the operating system. Texts are views of bytes unless a
// parameter is a `const char*`, which is terminated. `silent` spares the lines of a failure to
// find or open. Ownership of results: a file is ended by its taker with release(), a reader by
// its ReaderPtr, a buffer by its last RefPtr. Threads: any thread may call any operation.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "qk/IBuffer.h"
#include "qk/MemBuffer.h"
#include "qk/Reader.h"
#include "qkvfs/IDriver.h"
#include "qkvfs/IFile.h"

namespace qkvfs {

// The id `mount` answers when nothing was mounted.
inline constexpr uint64_t kMountFailed = ~uint64_t(0);

// A new source for a driver's source, or the empty string to keep the driver.
using RemountCallback = std::string (*)(void* context, const char* source);
// Asked first on each mount: false refuses the mount, silently.
using MountFilter = bool (*)(const char* mount_point, void* context);
// One name of a listed directory: the directory as the caller gave it, the name, its type.
using ListCallback = void (*)(void* context, std::string_view directory, std::string_view name,
                              uint32_t type);
using MountCallback = void (*)(const char* mount_point, const char* source, void* context);
using SourceCallback = void (*)(const char* source, void* context);
using DriverCallback = void (*)(IDriver* driver, void* context);
using CopyCallback = std::function<void(const qk::RefPtr<qk::IBuffer>& bytes)>;
using NameFilter = std::function<bool(std::string_view name)>;
using EntryFilter = std::function<bool(std::string_view name, uint32_t type)>;

// One result of list_entries.
struct ListEntry {
  std::string name;
  uint32_t type = 0;
};

class IVFSandbox {
 public:
  IVFSandbox() = default;
  IVFSandbox(const IVFSandbox&) = delete;
  IVFSandbox& operator=(const IVFSandbox&) = delete;

  // The operations in the order of their slots.
  virtual ~IVFSandbox() = default;
  virtual uint64_t mount(const char* source, const char* mount_point, bool append, const char* tag,
                         bool silent) = 0;
  virtual bool unmount(uint64_t id) = 0;
  virtual bool unmount_by_tag(std::string_view tag) = 0;
  virtual bool unmount_by_source(std::string_view source) = 0;
  virtual void remount(RemountCallback callback, void* context) = 0;
  virtual bool stat(std::string_view path, EntryInfo& out) = 0;
  virtual bool exists(std::string_view path) = 0;
  virtual IFile* open_file(std::string_view path, uint32_t mode, bool silent) = 0;
  virtual int read_into(const char* path, qk::RefPtr<qk::MemBuffer>& buffer, bool silent) = 0;
  virtual qk::RefPtr<qk::IBuffer> read_file(std::string_view path, bool silent) = 0;
  virtual qk::ReaderPtr<> open_reader(std::string_view path, bool silent) = 0;
  virtual bool open_for_write(const char* path, uint64_t, uint64_t, bool silent) = 0;
  virtual void for_each_copy(const char* path, const CopyCallback& callback, bool silent) = 0;
  virtual size_t count_copies(const char* path) = 0;
  // Placeholders that nothing calls; their neutral bodies stay.
  virtual bool reserved_query_1() { return false; }
  virtual bool reserved_query_2() { return false; }
  virtual bool for_each_source_alias(std::string_view path, SourceCallback callback, void* context) = 0;
  virtual void list_dir(std::string_view path, ListCallback callback, void* context) = 0;
  virtual std::vector<std::string> sources_of_mount(const char* mount_point) = 0;
  virtual void for_each_mount(MountCallback callback, void* context) = 0;
  virtual std::vector<std::string> list_names(std::string_view path, const NameFilter& filter,
                                              bool names_only) = 0;
  virtual std::vector<ListEntry> list_entries(std::string_view path, const EntryFilter& filter,
                                              bool names_only) = 0;
  virtual void flush_drivers() = 0;
  virtual void add_factory(DriverFactory factory, bool at_end) = 0;
  virtual void remove_factory(DriverFactory factory) = 0;
  virtual void reserved_notify() {}
  virtual void for_each_driver(DriverCallback callback, void* context) = 0;
  virtual void clear_factories() = 0;
  virtual void set_mount_filter(MountFilter filter, void* context) = 0;
  virtual bool reserved_query_3() { return false; }
  virtual bool for_each_source(std::string_view path, SourceCallback callback, void* context) = 0;
};

}  // namespace qkvfs
