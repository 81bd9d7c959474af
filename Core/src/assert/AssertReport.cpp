#include "assert/AssertReport.h"

#include <cstring>
#include <utility>

namespace qkAssert::helpers {

namespace {

constexpr size_t kMessagePlace = 4072;

// A text the report can append: a null pointer reads "null", as the core's formatter prints it.
const char* text_of(const char* text) { return text ? text : "null"; }

const char* message_text(const message_buffer& message) { return message.empty() ? "" : message.data(); }

bool same_text(const char* a, const char* b) { return std::strcmp(text_of(a), text_of(b)) == 0; }

}  // namespace

void format_message(message_buffer& message, const char* format, va_list args) {
  static const char kFailed[] = "Failed to create assertion message.";
  va_list again;
  va_copy(again, args);
  message.resize(kMessagePlace, boost::container::default_init);
  int needed = qk_vsnprintf(message.data(), message.size(), format, args);
  if (needed >= 0 && size_t(needed) >= kMessagePlace) {
    message.resize(size_t(needed) + 1, boost::container::default_init);
    needed = qk_vsnprintf(message.data(), message.size(), format, again);
    // Cut to 4071 characters whether or not the grown buffer held the whole message.
    if (needed >= 0 && size_t(needed) >= kMessagePlace)
      std::memcpy(message.data() + kMessagePlace - 4, "...", 4);
  }
  va_end(again);
  if (needed < 0) message.assign(kFailed, kFailed + sizeof kFailed);
}

std::string build_text(const char* condition, const qk::source_location_internal& location,
                       const message_buffer* message, const std::string& callstack,
                       size_t& length_without_callstack) {
  std::string text = "Assertion failed!\n";
  text += "\nCondition: \"";
  text += text_of(condition);
  text += "\"\n\nFile: \"";
  text += text_of(location.file);
  text += "\"\nLine: ";
  text += std::to_string(location.line);
  text += "\nFunction: \"";
  text += text_of(location.function);
  text += '"';
  if (message) {
    text += "\n\nMessage:\n\"";
    text += message_text(*message);  // up to its first NUL
    text += '"';
  }
  length_without_callstack = text.size();
  if (!callstack.empty()) {
    text += "\n\nCallstack:\n";
    text += callstack;
  }
  return text;
}

skip_rule make_skip_rule(uint8_t fields, const qk::source_location_internal& location,
                         message_buffer& message, std::string& callstack) {
  message_buffer kept_message;
  std::string kept_callstack;
  if (fields & FIELD_MESSAGE) {
    kept_message = std::move(message);
    message.clear();
  }
  if (fields & FIELD_CALLSTACK) {
    kept_callstack = std::move(callstack);
    callstack.clear();
  }
  return
      [fields, location, rule_message = std::move(kept_message), rule_callstack = std::move(kept_callstack)](
          const qk::source_location_internal& where, const message_buffer& what, const std::string& stack) {
        // Every chosen comparison must hold; the column never counts.
        if ((fields & FIELD_LINE_AND_FILE) &&
            (where.line != location.line || !same_text(where.file, location.file)))
          return false;
        if ((fields & FIELD_FUNCTION) && !same_text(where.function, location.function)) return false;
        if ((fields & FIELD_MESSAGE) && std::strcmp(message_text(what), message_text(rule_message)) != 0)
          return false;
        if ((fields & FIELD_CALLSTACK) && stack != rule_callstack) return false;
        return true;
      };
}

}  // namespace qkAssert::helpers
