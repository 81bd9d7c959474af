// Loading a library by its file as a host does (LoadLibraryW, GetProcAddress, GetModuleFileNameW),
// for tests that also include the host stand-in's types, which can't stand beside <windows.h>.
#pragma once

#include <memory>
#include <string>

namespace win32_test {

struct LibraryCloser {
  void operator()(void* module) const;
};
using Library = std::unique_ptr<void, LibraryCloser>;

// The library `file`, looked for as the system's loader does (the program's folder first); empty
// when it can't be loaded, with the system's error code in `error`.
Library load_library(const wchar_t* file, unsigned long& error);
// The exported function `name` of `library`, or null.
void* library_export(const Library& library, const char* name);
// The full path of the library's file.
std::u16string library_path(const Library& library);

}  // namespace win32_test
