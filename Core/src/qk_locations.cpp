#include "qk_locations.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "platform/qk_fs.h"
#include "platform/qk_platform.h"
#include "qk/CriticalSection.h"

namespace {

// The process's pairs and their lock, made at load.
struct Locations {
  qk::CriticalSection lock;
  std::vector<std::pair<std::string, std::string>> pairs;
};

Locations& locations() {
  static Locations list;
  return list;
}

// A root's wide text as UTF-8 of at most 255 bytes.
std::string root_text(qk::wstring_view text) {
  char bytes[256 * 3];
  const int written =
      text.empty() ? 0 : qk_platform_utf16_to_utf8(text.data(), int(text.size()), bytes, int(sizeof bytes));
  return std::string(bytes, written > 0 ? (written > 255 ? 255 : size_t(written)) : 0);
}

// The directory texts live in fixed buffers of 256 bytes, as every caller reads them in place.
char current_dir[256] = "./";
char write_dir[256] = "./";
char temp_dir[256] = "./Temp/";

void set_directory(char (&directory)[256], const char* text) {
  if (!text) return;
  const size_t length = std::min(std::strlen(text), sizeof directory - 1);
  std::memcpy(directory, text, length);
  directory[length] = 0;
}

}  // namespace

void VFS_get_locations(VFS_location_callback callback, void* context) {
  Locations& list = locations();
  std::lock_guard<qk::CriticalSection> guard(list.lock);
  // By index: a callback may change the list, and the walk then sees the change.
  for (size_t i = 0; i < list.pairs.size(); ++i) {
    const std::pair<std::string, std::string> pair = list.pairs[i];
    VFS_LocationInfo info{pair.first.c_str(), pair.second.c_str()};
    callback(context, &info);
  }
  qk_fs_drives([&](qk::wstring_view root, qk::wstring_view label) {
    const std::string path = root_text(root);
    std::string name = path;
    if (!label.empty()) name = (name + " " + root_text(label)).substr(0, 255);
    VFS_LocationInfo info{name.c_str(), path.c_str()};
    callback(context, &info);
  });
}

int VFS_add_location(const char* name, const char* path) {
  if (!name || !path) return 0;
  Locations& list = locations();
  std::lock_guard<qk::CriticalSection> guard(list.lock);
  for (const auto& pair : list.pairs)
    if (pair.first == name) return 0;
  list.pairs.emplace_back(name, path);
  return 1;
}

int VFS_del_location(const char* text) {
  if (!text) return 0;
  Locations& list = locations();
  std::lock_guard<qk::CriticalSection> guard(list.lock);
  for (auto it = list.pairs.begin(); it != list.pairs.end(); ++it) {
    if (it->second == text) {
      list.pairs.erase(it);
      return 1;
    }
  }
  return 0;
}

const char* VFS_current_dir() { return current_dir; }
const char* VFS_write_dir() { return write_dir; }
const char* VFS_temp_dir() { return temp_dir; }

void VFS_set_directories(const char* current, const char* write, const char* temp) {
  set_directory(current_dir, current);
  set_directory(write_dir, write);
  set_directory(temp_dir, temp);
}
