// The call stack of a failed assertion, through Boost.Stacktrace: its libbacktrace backend on POSIX,
// its debugger-engine backend on Windows (CMake chooses with the backend's definitions).
#include <boost/stacktrace.hpp>

#include "assert/AssertReport.h"

namespace qkAssert::helpers {

namespace {

// Where a capture made here finds the frame of capture_callstack's caller, whose address is
// `return_address`: the number of frames above it, which are the capture's own. The backends
// differ in how many of their own frames they leave in (the debugger engine one more than
// libbacktrace), so the count is measured rather than assumed; when the address isn't found, 2
// (this function's frame and capture_callstack's).
__attribute__((noinline)) size_t frames_above(const void* return_address) {
  const boost::stacktrace::stacktrace probe(0, 16);
  for (size_t i = 0; i < probe.size(); ++i)
    if (probe[i].address() == return_address) return i;
  return 2;
}

}  // namespace

// Kept out of line, so that the frames it skips are its own.
__attribute__((noinline)) std::string capture_callstack(unsigned skip) {
  try {
    // The probe runs one call deeper than the capture below: its count less one is the capture's.
    const size_t own = frames_above(__builtin_return_address(0)) - 1;
    const boost::stacktrace::stacktrace frames(own + skip, 65535);
    return boost::stacktrace::to_string(frames);
  } catch (...) {  // no memory for the frames, or a failed look-up: the report goes on without
    return std::string();
  }
}

}  // namespace qkAssert::helpers
