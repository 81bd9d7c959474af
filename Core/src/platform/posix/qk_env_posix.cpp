// POSIX implementation of the environment and version functions (qk_env.h).
//
// The variable goes through UTF-16 and back, as the host's platform keeps its environment in
// UTF-16: the same limits apply (a name of at most 32,767 units, a value below 65,536 units), and a
// byte that isn't UTF-8 comes out as U+FFFD. The version comes from the ELF note of the file.
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>

#include "platform/posix/ElfVersionNote.h"
#include "platform/qk_fs.h"
#include "platform/qk_platform.h"
#include "qk_env.h"
#include "qk_format.h"
#include "qk_log.h"

namespace {

constexpr int kNameUnits = 32768;
constexpr int kValueUnits = 0x10000 / 2;  // the value buffer holds 65,536 bytes
constexpr int kValueLimit = 0x10000;      // a value of this many units or more is too big

char app_version[64];

// The version words of the file at `path`, read through its ELF note.
bool read_version(const char* path, qk_posix::ElfVersion& version) {
  qk_platform_file file = qk_fs_open(path, QK_FS_READ, QK_FS_OPEN_EXISTING, QK_FS_RANDOM_ACCESS);
  if (!file.valid()) return false;
  uint64_t size = 0;
  bool found = false;
  if (qk_platform_size(file, size) == 0) {
    found = qk_posix::elf_find_version_note(
        [file](uint64_t offset, void* data, size_t count) {
          size_t done = 0;
          qk_platform_read_at(file, offset, data, count, done);
          return done;
        },
        size, version);
  }
  qk_platform_close(file);
  return found;
}

}  // namespace

int SYS_getenv(const char* name, char* value, size_t value_size) {
  char16_t wide_name[kNameUnits];
  if (qk_platform_utf8_to_utf16(name, -1, wide_name, kNameUnits) == 0) {
    qk_log(QKCORESTATIC, qk::log::ERROR, "SYS_getenv(\"%s\"): bad encoding.", name);
    return 0;
  }
  const char* raw = std::getenv(name);
  if (!raw || !*raw) return 0;
  const int units = qk_platform_utf8_to_utf16(raw, -1, nullptr, 0);
  char16_t wide_value[kValueUnits];
  const int capacity = int(value_size > size_t(INT_MAX) ? INT_MAX : value_size);
  if (units - 1 >= kValueLimit || units > kValueUnits ||
      qk_platform_utf8_to_utf16(raw, -1, wide_value, kValueUnits) == 0 ||
      qk_platform_utf16_to_utf8(wide_value, -1, value, capacity) == 0) {
    qk_log(QKCORESTATIC, qk::log::ERROR, "SYS_getenv(\"%s\"): variable value is too big.", name);
    return 0;
  }
  return 1;
}

void qk_module_version(const char16_t* path, char* target, unsigned target_size) {
  if (!target || target_size == 0) return;
  if (!path) {
    target[0] = 0;
    return;
  }
  char narrow[PATH_MAX];
  qk_posix::ElfVersion version;
  if (qk_platform_utf16_to_utf8(path, -1, narrow, PATH_MAX) == 0 || !read_version(narrow, version)) {
    qk_snprintf(target, target_size, "%d.%d.%d.INTERNAL", 2, 99, 0);
    return;
  }
  qk_snprintf(target, target_size, "%d.%d.%d.%d", int(version.most >> 16), int(version.most & 0xFFFF),
              int(version.least >> 16), int(version.least & 0xFFFF));
}

bool qk_platform_executable_path(std::string& path) {
  char narrow[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", narrow, sizeof narrow);
  if (length <= 0 || size_t(length) >= sizeof narrow) return false;
  path.assign(narrow, size_t(length));
  return true;
}

const char* qk_app_version() {
  if (app_version[0]) return app_version;
  std::string narrow;
  char16_t wide[PATH_MAX];
  if (!qk_platform_executable_path(narrow) ||
      qk_platform_utf8_to_utf16(narrow.c_str(), -1, wide, PATH_MAX) == 0)
    wide[0] = 0;
  // An executable that can't be named reads as one without a version.
  qk_module_version(wide[0] ? wide : u"", app_version, sizeof app_version);
  return app_version;
}
