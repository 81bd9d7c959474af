// The decoded output of the decompressing readers when memory runs out: the out-of-memory report
// ends in the debugger's trap (SIGTRAP), which the death test's child lets pass as a debugger would.
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdlib>

#include "qk/DecodedOutput.h"

namespace {

// A debugger that lets the process continue after the out-of-memory trap: a chunk area that can't
// be made is never written through, and the reader goes on without it.
void continue_after_trap(int) {}

TEST(DecodedOutputDeathTest, WithoutMemoryForTheChunkAreaNothingIsWrittenThroughNull) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        std::signal(SIGTRAP, continue_after_trap);
        qk::DecodedOutput output(100, SIZE_MAX / 4);  // an area the allocator refuses
        const auto step = [](unsigned char* dst, size_t n) {
          std::fill_n(dst, n, 'x');
          return n;
        };
        const auto finished = [] { return false; };
        unsigned char out[10];
        const bool ok = output.read(out, 10, step, finished) == 10 && output.skip(5, step, finished) == 0 &&
                        output.chunk(step, finished).empty() && output.position() == 10;
        std::exit(ok ? 0 : 1);
      },
      testing::ExitedWithCode(0), "Out of memory in qk_malloc");
}

}  // namespace
