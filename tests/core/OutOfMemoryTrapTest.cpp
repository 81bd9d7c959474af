// The one out-of-memory report, which ends in the debugger's trap (SIGTRAP): each case runs in a
// death test's child, and one lets the process continue after the trap as a debugger would.
#include <gtest/gtest.h>

#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "qk_memory.h"

// The sanitizers' allocators return null for a refused request: the suite's other file says so.

namespace {

constexpr size_t kRefused = SIZE_MAX / 4;

// ---- Out of memory -----------------------------------------------------------------------------

TEST(OutOfMemoryDeathTest, FirstReportIsAnAlertThenATrap) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(qk_out_of_memory("qk_malloc", 1024), testing::KilledBySignal(SIGTRAP),
              "^[0-9-]+ [0-9:.]+ ALERT   QKCORESTATIC \\([^)]+\\): "
              "Out of memory in qk_malloc for 1024 bytes\\.\n$");
}

// A debugger that lets the process continue after the trap: the first report returns, and every
// later one is the "More" text at ERROR.
void continue_after_trap(int) {}

TEST(OutOfMemoryDeathTest, ReportsAfterTheFirstSayMoreAndReturn) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const std::string bytes = std::to_string(kRefused);
  EXPECT_EXIT(
      {
        std::signal(SIGTRAP, continue_after_trap);
        void* a = qk_malloc(kRefused);
        void* b = qk_realloc(nullptr, kRefused);
        std::exit(a == nullptr && b == nullptr ? 0 : 1);
      },
      testing::ExitedWithCode(0),
      "ALERT   QKCORESTATIC \\([^)]+\\): Out of memory in qk_malloc for " + bytes +
          " bytes\\.\n.* ERROR   QKCORESTATIC \\([^)]+\\): More out of memory in qk_realloc for " + bytes +
          " bytes\\.\n$");
}

}  // namespace
