// Win32 implementation of the version functions (qk_env.h): a program file carries its version
// as a VERSIONINFO resource (cmake/EmbedVersion.cmake compiles one into each executable and
// library with windres), read back with GetFileVersionInfoW and the fixed file information of its
// root block.
#include <windows.h>

#include <vector>

#include "qk_env.h"
#include "qk_format.h"

namespace {

char app_version[64];

const wchar_t* wide(const char16_t* text) { return reinterpret_cast<const wchar_t*>(text); }

}  // namespace

void qk_module_version(const char16_t* path, char* target, unsigned target_size) {
  if (!target || target_size == 0) return;
  if (!path) {
    target[0] = 0;
    return;
  }
  DWORD ignored = 0;
  const DWORD size = GetFileVersionInfoSizeW(wide(path), &ignored);
  std::vector<unsigned char> block(size);
  if (size == 0 || !GetFileVersionInfoW(wide(path), 0, size, block.data())) {
    qk_snprintf(target, target_size, "%d.%d.%d.INTERNAL", 2, 99, 0);  // built without a version
    return;
  }
  // The root block always holds the fixed information; the answer of the query isn't consulted,
  // and a missing block reads as zeros rather than through a null pointer.
  VS_FIXEDFILEINFO fixed{};
  VS_FIXEDFILEINFO* info = nullptr;
  UINT length = 0;
  VerQueryValueA(block.data(), "\\", reinterpret_cast<void**>(&info), &length);
  if (info) fixed = *info;
  qk_snprintf(target, target_size, "%d.%d.%d.%d", int(HIWORD(fixed.dwFileVersionMS)),
              int(LOWORD(fixed.dwFileVersionMS)), int(HIWORD(fixed.dwFileVersionLS)),
              int(LOWORD(fixed.dwFileVersionLS)));
}

const char* qk_app_version() {
  if (app_version[0]) return app_version;
  // The process's executable (the host application inside the plug-in), never this library's file.
  wchar_t path[MAX_PATH];
  const DWORD length = GetModuleFileNameW(nullptr, path, MAX_PATH);
  if (length == 0 || length >= MAX_PATH) path[0] = 0;
  qk_module_version(reinterpret_cast<const char16_t*>(path), app_version, sizeof app_version);
  return app_version;
}
