// IDriver: the base of everything that can be mounted into the virtual file system. A driver is a
// source (a folder, later a zip or a .qkpk archive) with a flat, numbered list of entries, each a
// file or a directory with a virtual path under the driver's mount point.
//
// Ownership: the Manager owns its drivers and ends one with destroy(). Files, futures and readers
// a driver hands out are their takers' (release() / ReaderPtr) and count in the driver's open
// files while they live; a driver with open files that is unmounted is kept, orphaned, until the
// Manager goes. Threads: after construction a driver's tables don't change, so every operation may
// run on any thread at once; the Manager calls them under its lock.
//
// A driver factory makes drivers for the Manager's mount: given the mount id, the real source (the
// source as the mount's keys see it), the source to open, the mount point (normalised, ending in
// "/"), the tag (may be empty), an error buffer of `error_capacity` bytes and a `stop` flag, it
// answers a new driver, or null. Null with an empty error buffer means "not for me"; null with a
// text means "for me, but unusable", and the text reaches the mount's error list. Setting `stop`
// asks that no further factory be tried.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "qk/Metadata.h"
#include "qk/Reader.h"
#include "qkvfs/IBufFuture.h"
#include "qkvfs/IFile.h"

namespace qkvfs {

// What stat and IDriver::info tell of an entry. Zeros when nothing is known.
struct EntryInfo {
  uint64_t size = 0;  // bytes; 0 for a directory
  uint64_t time = 0;  // last write, seconds (through local time, as the platform layer gives it)
  uint32_t type = 0;  // 1 file, 2 directory
};

enum EntryType : uint32_t { kFile = 1, kDirectory = 2 };

// One entry as enumerate hands it over: its index, its key (the virtual path folded), its virtual
// path with its case, and its type. The texts are valid during the call.
using EnumerateCallback = void (*)(void* context, uint64_t index, std::string_view key, std::string_view path,
                                   uint32_t type);

class IDriver {
 public:
  IDriver(const IDriver&) = delete;
  IDriver& operator=(const IDriver&) = delete;

  // The operations in the order of their slots.
  virtual ~IDriver() = default;
  // Every entry, in index order.
  virtual void enumerate(EnumerateCallback callback, void* context) = 0;
  virtual void info(uint64_t index, EntryInfo& out) = 0;
  // An open file (null on failure); the caller ends it with release().
  virtual IFile* open_file(uint64_t index) = 0;
  // The driver's kind, such as "FSDriver".
  virtual const char* name() = 0;
  virtual bool has_open_files() = 0;
  // Ends the object.
  virtual void destroy() = 0;
  virtual void flush() = 0;
  virtual bool skips_monitor() = 0;
  virtual std::string describe() = 0;
  // A deferred whole read (null for a directory); the caller ends it with release().
  virtual IBufFuture* open_future(uint64_t index) = 0;
  // A reader of the entry (null for a directory or on failure), owning what it reads.
  virtual qk::ReaderPtr<> open_reader(uint64_t index) = 0;

  // Given at mount; may be empty.
  const std::string tag;
  // What the driver really opened (with an extension where one was added), with its case.
  const std::string source;
  // The normalised, folded source, as the Manager's comparisons see it.
  const std::string real_source;
  // Normalised and folded, ending in "/".
  const std::string mount_point;
  // The id of the mount that made it; one mount may make several drivers.
  const uint64_t id;
  // Repeated mounts of the same source at the same mount point; starts at 1.
  std::atomic<int32_t> mount_count{1};

 protected:
  IDriver(uint64_t mount_id, std::string_view mount_tag, std::string_view opened_source,
          std::string_view normalised_source, std::string_view normalised_mount_point)
      : tag(mount_tag),
        source(opened_source),
        real_source(normalised_source),
        mount_point(normalised_mount_point),
        id(mount_id) {}
};

using DriverFactory = IDriver* (*)(uint64_t id, const char* real_source, const char* source,
                                   const char* mount_point, const char* tag, char* error,
                                   size_t error_capacity, bool* stop);

// A driver whose entries carry per-file metadata answers the map of one entry (null for none).
// Tools list a file's metadata through it; the map lives as long as the driver.
class IMetadataSource {
 public:
  virtual const qk::MetadataMap* metadata_of(uint64_t index) = 0;

 protected:
  ~IMetadataSource() = default;
};

}  // namespace qkvfs
