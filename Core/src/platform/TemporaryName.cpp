#include "platform/TemporaryName.h"

#include <atomic>
#include <chrono>

std::string qk_fs_unique_suffix(uint64_t process_id) {
  static std::atomic<uint64_t> counter{0};
  uint64_t x = process_id << 32 ^ counter.fetch_add(1) * 0x9E3779B97F4A7C15ull ^
               uint64_t(std::chrono::steady_clock::now().time_since_epoch().count());
  x ^= x >> 31;
  x *= 0xBF58476D1CE4E5B9ull;
  x ^= x >> 29;
  static const char digits[] = "0123456789abcdef";
  std::string out(8, '0');
  for (char& c : out) {
    c = digits[x & 15];
    x >>= 4;
  }
  return out;
}
