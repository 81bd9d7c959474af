#include "LibraryLoader.h"

#include <windows.h>

namespace win32_test {

void LibraryCloser::operator()(void* module) const { FreeLibrary(static_cast<HMODULE>(module)); }

Library load_library(const wchar_t* file, unsigned long& error) {
  HMODULE module = LoadLibraryW(file);
  error = module ? 0 : GetLastError();
  return Library(module);
}

void* library_export(const Library& library, const char* name) {
  return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library.get()), name));
}

std::u16string library_path(const Library& library) {
  wchar_t path[MAX_PATH];
  const DWORD length = GetModuleFileNameW(static_cast<HMODULE>(library.get()), path, MAX_PATH);
  return std::u16string(reinterpret_cast<const char16_t*>(path), length < MAX_PATH ? length : 0);
}

}  // namespace win32_test
