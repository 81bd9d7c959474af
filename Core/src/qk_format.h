// Formatting for the whole core, on stb_sprintf, so that no text depends on the C runtime's locale:
// the decimal point is ".", a null %s prints "null", non-finite floats print "NaN" and "Inf".
// Reentrant; safe from any thread.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <string>

// The texts are checked against C99's printf, which stb_sprintf follows (%zu, %lld), also where
// the compiler's plain "printf" means an older runtime's (GCC for Windows): GCC names C99's
// "gnu_printf"; clang knows C99's under "printf" alone.
#if defined(__clang__)
#define QK_PRINTF_FORMAT(fmt, args) __attribute__((format(printf, fmt, args)))
#elif defined(__GNUC__)
#define QK_PRINTF_FORMAT(fmt, args) __attribute__((format(gnu_printf, fmt, args)))
#else
#define QK_PRINTF_FORMAT(fmt, args)
#endif

// Formats into `target` of `size` bytes, always terminated when `size` is not 0. Answers the length
// the whole text needs, also when it was cut; a size of 0 with a null target only counts.
int qk_vsnprintf(char* target, size_t size, const char* format, va_list args);
int qk_snprintf(char* target, size_t size, const char* format, ...) QK_PRINTF_FORMAT(3, 4);

// Formats into a string; a text longer than 8191 bytes is cut there.
std::string qk_format(const char* format, ...) QK_PRINTF_FORMAT(1, 2);
