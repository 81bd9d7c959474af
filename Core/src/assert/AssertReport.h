// The report of a failed assertion and the skip rules made from it.
//
// The text reads "Assertion failed!\n", "\nCondition: \"...\"\n", "\nFile: \"...\"\nLine: N",
// "\nFunction: \"...\"", then, with a message, "\n\nMessage:\n\"...\"", and, with a call stack,
// "\n\nCallstack:\n" and the frames.
//
// The call stack comes from Boost.Stacktrace (its libbacktrace backend, which reads the program's
// debug information). Its text is one line per frame, numbered from 0 for the function that
// failed the assertion: " 0# function at file:line" where the source line is known, " 0# function
// in binary" where only the binary is, the number right-aligned to the width of the largest one.
// A capture that fails gives no text, and the report no call stack section.
//
// Everything here is reentrant; a skip rule is read-only once made and may be called from any
// thread (the assertion lock serialises the calls anyway).
#pragma once

#include <boost/container/small_vector.hpp>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "qk_assert.h"
#include "qk_memory.h"

namespace qkAssert::helpers {

// The message of an assertion, NUL-terminated; 4072 bytes in place. Empty when there is none.
using message_buffer = boost::container::small_vector<char, 4072, qk::allocator<char>>;

// Formats the message. A failed format gives "Failed to create assertion message.". A message of
// 4072 bytes or more grows the buffer and is formatted again, and is then cut to 4068 bytes and
// "...", 4071 characters in all, whether or not the larger buffer held it.
void format_message(message_buffer& message, const char* format, va_list args);

// The call stack of the calling thread as text, leaving out the `skip` innermost frames besides
// this function's own; at most 65,535 frames. Empty when the capture failed.
std::string capture_callstack(unsigned skip);

// The report's text. `message` is null when the assertion has no message; an empty `callstack`
// leaves its section out. `length_without_callstack` gets the length of the text before the call
// stack section.
std::string build_text(const char* condition, const qk::source_location_internal& location,
                       const message_buffer* message, const std::string& callstack,
                       size_t& length_without_callstack);

// A skip rule: true when a failure equals the one that made the rule in every field chosen.
using skip_rule =
    std::function<bool(const qk::source_location_internal&, const message_buffer&, const std::string&)>;

// Makes a rule comparing `fields` (qkAssert::Field bits). The rule keeps `location` and takes the
// message and call stack only when their fields are chosen (it then takes them over: the caller's
// are left empty).
skip_rule make_skip_rule(uint8_t fields, const qk::source_location_internal& location,
                         message_buffer& message, std::string& callstack);

}  // namespace qkAssert::helpers
