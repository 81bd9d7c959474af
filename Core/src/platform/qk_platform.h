// The thin platform layer of the core: every call into the operating system that the core makes
// goes through one of these functions. CMake picks one implementation (platform/posix/ on Linux);
// callers never include a system header of their own for these jobs.
//
// All functions may be called from any thread unless said otherwise.
#pragma once

#include <cstddef>
#include <cstdint>

// ---- Process ---------------------------------------------------------------------------------

// Stops at a debugger's breakpoint. Without a debugger the process ends (SIGTRAP on POSIX).
// Returns only if a debugger lets the process continue.
void qk_platform_debug_break();

// ---- Clock -----------------------------------------------------------------------------------

// A monotonic tick counter and its frequency in ticks per second.
int64_t qk_platform_ticks();
int64_t qk_platform_ticks_per_second();

// ---- Threads ---------------------------------------------------------------------------------

// Writes the calling thread's name, NUL-terminated and cut to `size`, into `out`. Falls back to
// the decimal thread id when the thread has no name. `size` must be at least 1.
void qk_platform_thread_name(char* out, size_t size);

// ---- Standard error --------------------------------------------------------------------------

// Writes bytes to the process's standard error stream. The result is not checked by callers.
void qk_platform_write_stderr(const char* data, size_t size);

// ---- Files -----------------------------------------------------------------------------------

// A file opened for reading; `handle` is invalid (-1) when the open failed.
struct qk_platform_file {
  intptr_t handle = -1;
  bool valid() const { return handle != -1; }
};

// Opens an existing file for reading by its UTF-8 path.
qk_platform_file qk_platform_open_read(const char* path);
// The size of an open file in bytes; false when the system can't tell.
bool qk_platform_file_size(qk_platform_file file, uint64_t& size);
// Reads up to `size` bytes; the count read, 0 at the end, -1 on failure.
int64_t qk_platform_read(qk_platform_file file, void* data, size_t size);
void qk_platform_close(qk_platform_file file);
