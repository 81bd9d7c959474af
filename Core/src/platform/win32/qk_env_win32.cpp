// Win32 implementation of the environment function of qk_env.h: GetEnvironmentVariableW into a
// stack buffer, converted to UTF-8 for the caller.
#include <windows.h>
#undef ERROR  // wingdi.h's macro, which would hide the log level of that name

#include <climits>

#include "platform/qk_platform.h"
#include "qk_env.h"
#include "qk_log.h"

namespace {

constexpr int kNameUnits = 32768;
constexpr DWORD kValueArgument = 0x10000;  // counts units; the buffer below holds half as many
constexpr int kValueUnits = 0x10000 / 2;   // the value buffer holds 65,536 bytes

}  // namespace

int SYS_getenv(const char* name, char* value, size_t value_size) {
  char16_t wide_name[kNameUnits];
  if (qk_platform_utf8_to_utf16(name, -1, wide_name, kNameUnits) == 0) {
    qk_log(QKCORESTATIC, qk::log::ERROR, "SYS_getenv(\"%s\"): bad encoding.", name);
    return 0;
  }
  // The system's limit of 32,767 units per variable keeps the argument larger than the buffer
  // harmless.
  wchar_t wide_value[kValueUnits];
  const DWORD units =
      GetEnvironmentVariableW(reinterpret_cast<const wchar_t*>(wide_name), wide_value, kValueArgument);
  if (units == 0) return 0;  // unset or empty
  const int capacity = int(value_size > size_t(INT_MAX) ? INT_MAX : value_size);
  if (units >= kValueArgument ||
      qk_platform_utf16_to_utf8(reinterpret_cast<const char16_t*>(wide_value), -1, value, capacity) == 0) {
    qk_log(QKCORESTATIC, qk::log::ERROR, "SYS_getenv(\"%s\"): variable value is too big.", name);
    return 0;
  }
  return 1;
}
