// The thin platform layer of the core: every call into the operating system that the core makes
// goes through one of these functions. CMake picks one implementation (platform/posix/ on Linux);
// callers never include a system header of their own for these jobs.
//
// All functions may be called from any thread unless said otherwise.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// ---- Process ---------------------------------------------------------------------------------

// Stops at a debugger's breakpoint. Without a debugger the process ends (SIGTRAP on POSIX).
// Returns only if a debugger lets the process continue.
void qk_platform_debug_break();

// ---- Memory ----------------------------------------------------------------------------------

// The size of a heap block as the C runtime's allocator knows it (at least the size asked for);
// 0 for a null pointer.
size_t qk_platform_block_size(void* block);

// Makes, grows or shrinks a heap block aligned to 16 bytes (null `block` makes one), keeping the
// bytes both sizes share. Null when memory ran out; `block` is then unchanged. Such blocks are
// freed by qk_platform_aligned_free.
void* qk_platform_aligned_realloc(void* block, size_t size);
void qk_platform_aligned_free(void* block);

// ---- Clock -----------------------------------------------------------------------------------

// A monotonic tick counter and its frequency in ticks per second.
int64_t qk_platform_ticks();
int64_t qk_platform_ticks_per_second();

// Seconds since 1970-01-01 00:00:00 UTC by the system's wall clock.
int64_t qk_platform_unix_time();

// A calendar time broken down from seconds since 1970-01-01 00:00:00 UTC: `year` counts from
// 1900 and `month` from 0, as the C runtime's broken-down time does.
struct qk_platform_calendar {
  int year, month, day, hour, minute, second;
};
// In UTC, or in the local time zone. False when the system can't represent the time.
bool qk_platform_utc_time(int64_t seconds, qk_platform_calendar& out);
bool qk_platform_local_time(int64_t seconds, qk_platform_calendar& out);

// ---- Threads ---------------------------------------------------------------------------------

// Writes the calling thread's name, NUL-terminated and cut to `size`, into `out`, or the decimal
// thread id when the thread has no name of its own. `size` must be at least 1. On Linux every
// thread starts with the process's name (the file it was started by, cut to 15 bytes), so a
// thread whose name is still exactly that counts as unnamed, the main thread included; a thread
// that a named thread started inherits that name and shows it.
void qk_platform_thread_name(char* out, size_t size);

// ---- Text ------------------------------------------------------------------------------------

// The system's conversions between UTF-8 and UTF-16 units. Both follow one contract: `length` is
// the source's length in units, or -1 for a NUL-terminated source whose terminator is converted
// too. With a `capacity` of 0 they only count. They answer the units written (counted), or 0 when
// the target is too small or the source is empty. Well-formed text converts exactly, characters
// beyond the Basic Multilingual Plane as surrogate pairs; a malformed sequence or a lone surrogate
// becomes U+FFFD.
int qk_platform_utf8_to_utf16(const char* source, int length, char16_t* target, int capacity);
int qk_platform_utf16_to_utf8(const char16_t* source, int length, char* target, int capacity);

// The C runtime's lower case (towlower) of every UTF-16 unit, into `units` (0x10000 entries): the
// unit itself where towlower leaves it or answers beyond 16 bits. On POSIX in the C.UTF-8 locale
// where the system has one (else "C"), whatever the process's locale; on Windows the system's
// lower case of the invariant locale (LCMapStringEx), as msvcrt.dll's towlower knows only ASCII.
void qk_platform_lower_units(uint16_t* units);

// ---- Standard error and the debugger channel -------------------------------------------------

// Writes bytes to the process's standard error stream. The result is not checked by callers.
void qk_platform_write_stderr(const char* data, size_t size);

// True when standard error is an interactive console that takes colours. The first call decides
// and prepares the console for UTF-8; later calls answer the same.
bool qk_platform_stderr_is_console();

// Sets the colour of what is written to the console next, as a console attribute: bit 0 blue,
// bit 1 green, bit 2 red, bit 3 bright; 7 is the console's default. Only for a console.
void qk_platform_set_console_colour(int attribute);

// Hands a NUL-terminated UTF-16 line to the debugger channel. On POSIX, where no such channel
// exists, the line goes as UTF-8 to the file named by the environment variable QK_DEBUG_OUTPUT
// (appended; the variable is read once), and nowhere when the variable is unset or empty.
void qk_platform_debug_output(const char16_t* line);
// False when lines handed to the debugger channel go nowhere, so that the caller can spare their
// conversion (on POSIX: QK_DEBUG_OUTPUT is unset or names no writable file).
bool qk_platform_debug_output_open();

// ---- Questions -------------------------------------------------------------------------------

// Asks the Abort/Retry/Ignore question of a fatal-level message, `title` over `text`. Answers 1
// for Ignore and 0 for Abort or Retry. On POSIX the question is asked on the terminal only when
// standard input and standard error are both terminals; otherwise nothing waits and the answer
// is 0 at once.
int qk_platform_ask_abort_retry_ignore(const char* title, const char* text);

// ---- The controlling terminal -----------------------------------------------------------------
//
// A question that only the person at the process's controlling terminal may answer, whatever its
// standard streams are redirected to. One question at a time; the caller serialises.

struct qk_platform_terminal;

// Opens the controlling terminal; null when the process has none (as in CI, or in a daemon). While
// it is open, the terminal's end-of-file key is an ordinary character, so that a line ends only
// with Enter and a stray Ctrl-D can't end the question.
qk_platform_terminal* qk_platform_terminal_open();
// Restores the terminal's settings and closes it. Null is ignored.
void qk_platform_terminal_close(qk_platform_terminal* terminal);
void qk_platform_terminal_write(qk_platform_terminal* terminal, const char* data, size_t size);
// Reads one line, without its line end; at most 1024 bytes of it are kept. False when the terminal
// hung up or failed: no answer will come from it.
bool qk_platform_terminal_read_line(qk_platform_terminal* terminal, std::string& line);

// ---- Debugger --------------------------------------------------------------------------------

// True when a debugger is attached: on Linux, when /proc/self/status names a tracer.
bool qk_platform_debugger_present();
uint32_t qk_platform_process_id();
void qk_platform_sleep(uint32_t milliseconds);

// The debugger that a failed assertion launches: "gdb" on POSIX, "vsjitdebugger.exe" on Windows.
const char* qk_platform_debugger_name();

// Finds `program` in the folders of PATH, as the shell would; false when none holds it as an
// executable file. On Windows, whose debugger lives in the system folder, the answer is that
// folder and the name, whether or not the file is there: the launch finds out.
bool qk_platform_find_program(const char* program, std::string& path);

// The absolute path of the process's executable (/proc/self/exe on Linux, GetModuleFileNameW on
// Windows); false when it can't be read.
bool qk_platform_executable_path(std::string& path);

// Launches the debugger `debugger` (a path, as qk_platform_find_program gives it) to attach to
// this process, and waits without limit until the launch has ended. On Windows the launch is
// `debugger -p PID` itself, and `exit_code` is 0 when it answered 0x400B0 (attached) or its status
// couldn't be read, else its status (1 for a status of 0). The launch is a process of
// its own, which starts `debugger -q -p PID -ex continue` on the controlling terminal (standard
// streams are kept when there is none) and ends as soon as the debugger is attached, with status
// 0, or when the debugger ends first, with the debugger's status (1 for a status of 0 or a signal).
// The process allows its descendants to trace it (PR_SET_PTRACER) for the launch. False when the
// launch couldn't be started; else `exit_code` holds its status.
bool qk_platform_launch_debugger(const std::string& debugger, int& exit_code);

// ---- Files -----------------------------------------------------------------------------------

// A file opened for reading; `handle` is invalid (-1) when the open failed.
struct qk_platform_file {
  intptr_t handle = -1;
  bool valid() const { return handle != -1; }
};

// Reads up to `size` bytes; the count read, 0 at the end, -1 on failure.
int64_t qk_platform_read(qk_platform_file file, void* data, size_t size);
void qk_platform_close(qk_platform_file file);

// ---- Standard output -------------------------------------------------------------------------

// Sends what the process writes to standard output to standard error instead, until
// qk_platform_stdout_restore with the answer: so that a script's own output can't mix with what a
// tool prints as its result. The C runtime's buffer of stdout is flushed before the switch and
// again before the restore, so each piece lands on the side it was written for. Answers -1 when
// nothing could be switched (and nothing changed). Main thread only: the switch is process-wide.
int qk_platform_stdout_divert();
void qk_platform_stdout_restore(int token);
