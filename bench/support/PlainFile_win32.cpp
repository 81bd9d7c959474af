#include "PlainFile.h"

#include <windows.h>

#include <vector>

namespace qkbench {

PlainFile::PlainFile(const std::string& path) {
  const int units = MultiByteToWideChar(CP_UTF8, 0, path.c_str(), -1, nullptr, 0);
  if (units <= 0) return;
  std::vector<wchar_t> wide(static_cast<size_t>(units));
  MultiByteToWideChar(CP_UTF8, 0, path.c_str(), -1, wide.data(), units);
  const HANDLE file = CreateFileW(wide.data(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                  FILE_ATTRIBUTE_NORMAL, nullptr);
  if (file != INVALID_HANDLE_VALUE) handle_ = intptr_t(file);
}

PlainFile::~PlainFile() {
  if (ok()) CloseHandle(HANDLE(handle_));
}

// A handle opened without FILE_FLAG_OVERLAPPED reads synchronously at the OVERLAPPED's offset.
size_t PlainFile::read_at(uint64_t offset, void* out, size_t size) {
  OVERLAPPED at{};
  at.Offset = DWORD(offset);
  at.OffsetHigh = DWORD(offset >> 32);
  DWORD got = 0;
  if (!ReadFile(HANDLE(handle_), out, DWORD(size), &got, &at)) return 0;
  return got;
}

}  // namespace qkbench
