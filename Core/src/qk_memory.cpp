#include "qk_memory.h"

#include "platform/qk_platform.h"
#include "qk_log.h"

#include <atomic>

namespace {
// Read, then stored (not exchanged): two threads failing at the same moment may both give the
// first report.
std::atomic<bool> out_of_memory_seen{false};
}  // namespace

void qk_out_of_memory(const char* function, long long size) {
  if (!out_of_memory_seen.load(std::memory_order_relaxed)) {
    out_of_memory_seen.store(true, std::memory_order_relaxed);
    qk_log(QKCORESTATIC, qk::log::ALERT, "Out of memory in %s for %lld bytes.", function, size);
    qk_platform_debug_break();
    return;
  }
  qk_log(QKCORESTATIC, qk::log::ERROR, "More out of memory in %s for %lld bytes.", function, size);
}
