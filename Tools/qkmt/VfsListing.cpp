#include "VfsListing.h"

#include <algorithm>
#include <string_view>

#include "JsonWriter.h"
#include "qkvfs/Manager.h"

std::vector<VfsListEntry> listVirtualDirectory(qkvfs::Manager& vfs, const std::string& path) {
  std::vector<VfsListEntry> entries;
  vfs.list_dir(
      path,
      [](void* context, std::string_view, std::string_view name, uint32_t type) {
        static_cast<std::vector<VfsListEntry>*>(context)->push_back(VfsListEntry{std::string(name), type});
      },
      &entries);
  std::sort(entries.begin(), entries.end(), [](const VfsListEntry& a, const VfsListEntry& b) {
    return a.type != b.type ? a.type > b.type : a.name < b.name;
  });
  return entries;
}

std::string renderListing(const std::vector<VfsListEntry>& entries) {
  std::string text;
  for (const VfsListEntry& entry : entries)
    text.append(entry.type == 2 ? "dir   " : "file  ").append(entry.name) += '\n';
  return text;
}

std::string renderListingJson(const std::string& path, const std::vector<VfsListEntry>& entries) {
  JsonWriter json;
  json.beginMap().text("path", path).key("entries").beginArray();
  for (const VfsListEntry& entry : entries)
    json.beginMap().text("name", entry.name).key("type").string(entry.type == 2 ? "dir" : "file").endMap();
  json.endArray().endMap();
  return json.document() + "\n";
}
