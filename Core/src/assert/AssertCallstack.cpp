// The call stack of a failed assertion, through Boost.Stacktrace: its libbacktrace backend on POSIX,
// its debugger-engine backend on Windows (CMake chooses with the backend's definitions).
#include <boost/stacktrace.hpp>

#include "assert/AssertReport.h"

namespace qkAssert::helpers {

// Kept out of line, so that the frame it skips is its own.
__attribute__((noinline)) std::string capture_callstack(unsigned skip) {
  try {
    const boost::stacktrace::stacktrace frames(skip + 1, 65535);
    return boost::stacktrace::to_string(frames);
  } catch (...) {  // no memory for the frames, or a failed look-up: the report goes on without
    return std::string();
  }
}

}  // namespace qkAssert::helpers
