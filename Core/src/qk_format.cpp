#include "qk_format.h"

#include <stb_sprintf.h>

int qk_vsnprintf(char* target, size_t size, const char* format, va_list args) {
  // stb_sprintf takes an int size; a larger target is used up to INT_MAX bytes.
  // A size of 0 only counts; stb would otherwise write a terminator in front of the target.
  if (size == 0) return stbsp_vsnprintf(nullptr, 0, format, args);
  int limit = size > 0x7FFFFFFF ? 0x7FFFFFFF : static_cast<int>(size);
  return stbsp_vsnprintf(target, limit, format, args);
}

int qk_snprintf(char* target, size_t size, const char* format, ...) {
  va_list args;
  va_start(args, format);
  int n = qk_vsnprintf(target, size, format, args);
  va_end(args);
  return n;
}

std::string qk_format(const char* format, ...) {
  char buffer[8192];
  va_list args;
  va_start(args, format);
  stbsp_vsnprintf(buffer, sizeof buffer, format, args);
  va_end(args);
  return std::string(buffer);
}
