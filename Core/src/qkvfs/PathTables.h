// PathTables: the Manager's two tables of the mounted tree.
//
//   files        key -> slot number; a slot is the array of the file's holders (driver and entry
//                index) in priority order, the first one winning. Numbers of empty slots wait in a
//                queue; when none is left the slot array grows to 2.8 times its size.
//   directories  key -> the directory's path with its case, as the first driver that showed it
//                spelled it. Entries stay when their mounts go.
//
// A key is a path normalised and folded (qk_path.h); a file's key has no trailing "/". Both maps
// hash the key's bytes with 64-bit FNV-1a, then multiply by 0xde5fb9d2630458e9 to 128 bits and add
// the halves. Capacities are reserved up front (4681 files, 585 directories, 4096 slots) so that
// typical mounts don't rehash. A look-up takes a view of the key and allocates nothing. Both maps
// are KeyMaps (KeyMap.h): one open-addressed array each.
//
// Not synchronised: the Manager's lock guards every call.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "qkvfs/KeyMap.h"

namespace qkvfs {

class IDriver;

struct Holder {
  uint64_t entry;
  IDriver* driver;
};

class PathTables {
 public:
  using Holders = std::vector<Holder>;
  using FileMap = KeyMap<uint32_t>;
  using DirectoryMap = KeyMap<std::string>;

  static constexpr size_t kFileRoom = 4681;
  static constexpr size_t kDirectoryRoom = 585;
  static constexpr uint32_t kFirstSlots = 4096;

  PathTables();

  // The holders of a file's key, or null when the key isn't a file.
  const Holders* holders(std::string_view key) const;
  bool is_directory(std::string_view key) const;
  // The directory's text, or null.
  const std::string* directory(std::string_view key) const;

  // Adds a holder to the file's slot (a new slot for a new key): at the end with `append`, at the
  // front without.
  void add_holder(std::string_view key, Holder holder, bool append);
  // Removes the file's holders of `driver`; a slot left empty is freed and its key goes.
  void remove_holders(std::string_view key, const IDriver* driver);
  // Adds the directory unless its key is known; a known key keeps its text.
  void add_directory(std::string_view key, std::string_view text);

  // Empties the file table: every slot number is free again. Directories stay.
  void clear_files();
  // Empties everything.
  void clear();

  const FileMap& files() const { return files_; }
  const DirectoryMap& directories() const { return directories_; }
  size_t slot_count() const { return slots_.size(); }
  size_t free_slot_count() const { return free_.size(); }

 private:
  uint32_t take_slot();

  FileMap files_;
  std::vector<Holders> slots_;
  std::deque<uint32_t> free_;
  DirectoryMap directories_;
};

}  // namespace qkvfs
