// qk_assert: the core's assertions and what a failed one does.
//
// A failed qk_assert... builds one report (condition, place, message, call stack), logs it at
// ERROR under QKCORESTATIC when the log would take that, and asks the person at the screen what to
// do: abort the process, break into a debugger (starting one if none is attached), or ignore the
// failure, once or by a skip rule that silences every later failure that is equal in the fields
// chosen (line and file, function, message, call stack). Ignoring returns to the code after the
// assertion, so that code must stay safe to run.
//
// The question is the assertion window (assert/AssertDialogs.h), run by the process's dialog
// system: on POSIX the controlling terminal (assert/TerminalDialogSystem.h), where one exists. A
// window that can't be shown, and a process without a terminal, mean abort, so that nothing ever
// waits for an answer that can't come.
//
// Going to a debugger, on Linux: a debugger is present when /proc/self/status names a tracer.
// Without one, `gdb` is looked for on PATH and launched as `gdb -q -p PID -ex continue` on the
// controlling terminal (platform/qk_platform.h, qk_platform_launch_debugger); when gdb isn't
// found, the notice "Debug break failed!" says so. The launch ends once gdb is attached; if it
// ends otherwise, the process looks for a tracer 20 times, 100 ms apart. Still without a debugger
// the process aborts; with one it stops at SIGTRAP, and continuing returns from the assertion.
//
// Any thread may fail an assertion. The report is built and logged without a lock; the skip
// rules, the question and the actions run under the assertion lock (recursive, so that a failure
// inside the window's own code asks again instead of dead-locking). One question at a time:
// a second thread waits for the first answer and is then checked against any new rule.
#pragma once

#include <cstdint>
#include <string>

#include "qk_format.h"

namespace qk {

// The place of an assertion. `file` and `function` are the compiler's strings, which live as long
// as the program: nothing copies them, and a skip rule keeps the pointers.
struct source_location_internal {
  uint32_t line;
  uint32_t column;
  const char* file;
  const char* function;  // the full signature
};

}  // namespace qk

namespace qkAssert {

// Both start false and 0, and the library only reads them; a host that has a configuration sets
// them before threads fail assertions (qkmt sets abort_on_assert from QK_ABORT_ON_ASSERT=1).
//
// abort_on_assert: no question; the report without its call stack goes to std::cerr, then abort.
extern bool abort_on_assert;
// Not 0: no question and no skip rules; a failed assertion returns once it is logged.
extern uint32_t disableReleaseAssertNotifications;

enum Action : int { ACTION_ABORT = 0, ACTION_RETRY = 1, ACTION_IGNORE = 2 };

// The fields a skip rule compares, in the order of the window's check boxes.
enum Field : uint8_t {
  FIELD_LINE_AND_FILE = 0x1,  // line equal and file names equal
  FIELD_FUNCTION = 0x2,       // function signatures equal
  FIELD_MESSAGE = 0x4,        // message texts equal
  FIELD_CALLSTACK = 0x8,      // call stacks equal, byte for byte
};

// The answer to the assertion question.
struct choice {
  int action = ACTION_ABORT;
  uint8_t fields = 0;
};

// Asks the assertion question with the window's `text` through the process's dialog system. The
// message and call stack options are offered only when `has_message` and `has_callstack` say so.
// A window that can't be made or shown answers abort with no fields.
choice show(const std::string& text, bool has_message, bool has_callstack);

namespace helpers {

// Reports a failed assertion; returns only when the answer was to ignore it (or after a debug
// break that the debugger continued). `condition` is the failed expression's text, "0" for code
// that must not be reached; `format` may be null, and the report then has no message.
void assertImpl(const char* condition, const qk::source_location_internal& location, const char* format, ...)
    QK_PRINTF_FORMAT(3, 4);

}  // namespace helpers
}  // namespace qkAssert

// The column where the compiler tells it (clang), else 0; no rule compares it.
#if defined(__has_builtin)
#if __has_builtin(__builtin_COLUMN)
#define QK_ASSERT_COLUMN __builtin_COLUMN()
#endif
#endif
#ifndef QK_ASSERT_COLUMN
#define QK_ASSERT_COLUMN 0
#endif

#if defined(__GNUC__)
#define QK_ASSERT_LOCATION \
  (::qk::source_location_internal{__LINE__, QK_ASSERT_COLUMN, __FILE__, __PRETTY_FUNCTION__})
#else
#define QK_ASSERT_LOCATION (::qk::source_location_internal{__LINE__, QK_ASSERT_COLUMN, __FILE__, __FUNCSIG__})
#endif

// qk_assert(condition): reports the condition's text when it is false.
#define qk_assert(condition) \
  ((condition)               \
       ? void(0)             \
       : ::qkAssert::helpers::assertImpl(#condition, QK_ASSERT_LOCATION, static_cast<const char*>(nullptr)))
// qk_assert_msg(condition, format, ...): the same with a printf-style message.
#define qk_assert_msg(condition, ...) \
  ((condition) ? void(0) : ::qkAssert::helpers::assertImpl(#condition, QK_ASSERT_LOCATION, __VA_ARGS__))
// qk_assert_fail(format, ...): a branch that must not be reached; its condition reads "0".
#define qk_assert_fail(...) ::qkAssert::helpers::assertImpl("0", QK_ASSERT_LOCATION, __VA_ARGS__)
