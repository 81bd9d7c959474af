// Failed assertions: the report, the skip rules, the question and its actions.
#include "qk_assert.h"

#include <cstdlib>
#include <iostream>
#include <mutex>
#include <vector>

#include "assert/AssertDialogs.h"
#include "assert/AssertReport.h"
#include "platform/qk_platform.h"
#include "qk/CriticalSection.h"
#include "qk_log.h"

namespace qkAssert {

bool abort_on_assert = false;
uint32_t disableReleaseAssertNotifications = 0;

namespace {

using helpers::message_buffer;
using helpers::skip_rule;

constexpr uint16_t kAbortId = 3, kRetryId = 4, kIgnoreId = 5;

// The assertion lock and the skip rules it covers, made on first use and kept to the end of the
// process. Recursive, as a failure inside the window's own code takes it again on its thread.
struct Rules {
  qk::CriticalSection lock;
  std::vector<skip_rule> rules;
};

Rules& rules() {
  static Rules* const instance = new Rules;  // assertions may fail while statics are destroyed
  return *instance;
}

// The end of every road without a debugger. On POSIX the runtime shows nothing of its own before
// SIGABRT ends the process, so there is no message box to turn off first.
[[noreturn]] void abort_now() { std::abort(); }

// Launches the debugger and waits for it; false when it couldn't be launched at all.
bool launch_debugger() {
  std::string path;
  if (!qk_platform_find_program(qk_platform_debugger_name(), path)) return false;
  int exit_code = 0;
  if (!qk_platform_launch_debugger(path, exit_code)) return false;
  if (exit_code == 0) return true;  // attached
  // The debugger may still be on its way: look for it 20 times, 100 ms apart.
  for (int poll = 0; poll < 20 && !qk_platform_debugger_present(); ++poll) qk_platform_sleep(100);
  return true;
}

void go_to_debugger() {
  if (!qk_platform_debugger_present() && !launch_debugger())
    show_notice(dialog_system(), "Debug break failed!",
                std::string("Failed to launch debugger. Maybe, ") + qk_platform_debugger_name() +
                    " is missing from system folder.");
  if (!qk_platform_debugger_present()) abort_now();
  qk_platform_debug_break();  // continuing in the debugger returns from the assertion
}

void report(const std::string& text, size_t length_without_callstack,
            const qk::source_location_internal& location, message_buffer& message, std::string& callstack,
            bool has_message) {
  if (qk_log_is_enabled(QKCORESTATIC, qk::log::ERROR))
    qk_log(QKCORESTATIC, qk::log::ERROR, "%s", text.c_str());
  if (abort_on_assert) {
    std::cerr.write(text.data(), std::streamsize(length_without_callstack));
    std::cerr.flush();
    abort_now();
  }
  if (disableReleaseAssertNotifications != 0) return;

  Rules& r = rules();
  std::lock_guard<qk::CriticalSection> hold(r.lock);
  for (const skip_rule& rule : r.rules)
    if (rule(location, message, callstack)) return;  // the first match ends the walk

  const std::string window_text =
      "Assert notifications in Release build can be disabled by setting config variable \""
      "disableReleaseAssertNotifications\" to true.\n\n" +
      text;
  const choice answer = show(window_text, has_message, !callstack.empty());
  switch (answer.action) {
    case ACTION_RETRY: go_to_debugger(); return;
    case ACTION_IGNORE:
      if (answer.fields != 0)
        r.rules.push_back(helpers::make_skip_rule(answer.fields, location, message, callstack));
      return;
    default: abort_now();
  }
}

}  // namespace

choice show(const std::string& text, bool has_message, bool has_callstack) {
  bool line_and_file = false, function = false, message = false, callstack = false;
  IDialogSystem& system = dialog_system();
  std::optional<CustomWinDialogBox> box =
      makeAssertDialog(system, "Assertion failed!", text, &line_and_file, &function,
                       has_message ? &message : nullptr, has_callstack ? &callstack : nullptr);
  choice answer;
  if (!box) return answer;  // no window means abort
  switch (system.run(*box)) {
    case kAbortId: answer.action = ACTION_ABORT; break;
    case kRetryId: answer.action = ACTION_RETRY; break;
    case kIgnoreId: answer.action = ACTION_IGNORE; break;
    default: answer.action = ACTION_ABORT; break;  // a window that failed, or an answer it doesn't know
  }
  answer.fields = uint8_t((line_and_file ? FIELD_LINE_AND_FILE : 0) | (function ? FIELD_FUNCTION : 0) |
                          (message ? FIELD_MESSAGE : 0) | (callstack ? FIELD_CALLSTACK : 0));
  return answer;
}

namespace helpers {

__attribute__((noinline)) void assertImpl(const char* condition, const qk::source_location_internal& location,
                                          const char* format, ...) {
  message_buffer message;
  if (format) {
    va_list args;
    va_start(args, format);
    format_message(message, format, args);
    va_end(args);
  }
  std::string callstack = capture_callstack(1);  // without this function's frame
  size_t length_without_callstack = 0;
  const std::string text =
      build_text(condition, location, format ? &message : nullptr, callstack, length_without_callstack);
  report(text, length_without_callstack, location, message, callstack, format != nullptr);
}

}  // namespace helpers
}  // namespace qkAssert
