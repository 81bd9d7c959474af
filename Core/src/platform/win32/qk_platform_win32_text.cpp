// Win32 implementation of the system's UTF-8 and UTF-16 conversions: MultiByteToWideChar and
// WideCharToMultiByte with code page 65001. Without the flags that make them fail on bad input,
// both put U+FFFD in place of a malformed sequence or a lone surrogate. The lower case of the
// path fold comes from LCMapStringEx.
#include <windows.h>

#include "platform/qk_platform.h"

int qk_platform_utf8_to_utf16(const char* source, int length, char16_t* target, int capacity) {
  if (!source || length == 0) return 0;
  return MultiByteToWideChar(CP_UTF8, 0, source, length, reinterpret_cast<wchar_t*>(target), capacity);
}

int qk_platform_utf16_to_utf8(const char16_t* source, int length, char* target, int capacity) {
  if (!source || length == 0) return 0;
  return WideCharToMultiByte(CP_UTF8, 0, reinterpret_cast<const wchar_t*>(source), length, target, capacity,
                             nullptr, nullptr);
}

// The C runtime's towlower of msvcrt.dll knows only ASCII in its "C" locale; the system's own
// lower case in the invariant locale is the counterpart of towlower in C.UTF-8 on POSIX. Unit by
// unit, so that no two units are read as a surrogate pair.
void qk_platform_lower_units(uint16_t* units) {
  for (unsigned u = 0; u < 0x10000; ++u) {
    const wchar_t unit = wchar_t(u);
    wchar_t lower = unit;
    units[u] =
        LCMapStringEx(LOCALE_NAME_INVARIANT, LCMAP_LOWERCASE, &unit, 1, &lower, 1, nullptr, nullptr, 0) == 1
            ? uint16_t(lower)
            : uint16_t(u);
  }
}
