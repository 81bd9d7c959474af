// qkmt ls: the names in one virtual directory, as the Manager lists them, with their types.
//
// Directories come first, then files, each group sorted by name (the Manager's own order is that
// of its hash maps). File names are lower case, as the Manager's keys are; directory names keep the
// case of the mount that showed them first. The listing is the Manager's list_dir, quirks included:
// listing "/a/b" also shows a directory "/a/bcd" as "bcd".
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace qkvfs {
class Manager;
}

struct VfsListEntry {
  std::string name;
  uint32_t type;  // 1 file, 2 directory
};

std::vector<VfsListEntry> listVirtualDirectory(qkvfs::Manager& vfs, const std::string& path);

// One line per entry: "dir   NAME" or "file  NAME".
std::string renderListing(const std::vector<VfsListEntry>& entries);
// {"path":PATH,"entries":[{"name":NAME,"type":"dir"|"file"},...]}
std::string renderListingJson(const std::string& path, const std::vector<VfsListEntry>& entries);
