// The folder walk with NUL-terminated texts, on top of each system's qk_fs_list: the same on every
// platform, so it is written once.
#include "PathBuffer.h"
#include "platform/qk_fs.h"

namespace {

struct ListPaths {
  qk_fs_list_paths_callback callback;
  void* user;
  PathBuffer<256> folder;
  PathBuffer<256> name;
};

void list_paths_entry(void* user, std::string_view, std::string_view name, const fs_entry& entry) {
  auto* walk = static_cast<ListPaths*>(user);
  if (!walk->name.assign(name)) return;
  walk->callback(walk->user, walk->folder.c_str(), walk->name.c_str(), entry);
}

}  // namespace

bool qk_fs_list_paths(std::string_view path, qk_fs_list_paths_callback callback, void* user) {
  ListPaths walk{callback, user, {}, {}};
  if (!walk.folder.assign(path)) return false;
  return qk_fs_list(path, list_paths_entry, &walk) != -1;
}
