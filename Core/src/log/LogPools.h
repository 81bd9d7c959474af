// LogRecordPool: 1024 message records in static storage, with a spin-word free stack and an
// in-use counter. The storage is raw until fill() constructs the records, which the log does when
// it starts; before that the pool is empty. Membership is decided by address. Safe from any
// thread; fill() only while no other thread uses the pool.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "log/LogRecord.h"
#include "qk/SpinWordStack.h"

namespace qk {

class LogRecordPool {
 public:
  static constexpr size_t kRecords = 1024;

  constexpr LogRecordPool() noexcept {}
  LogRecordPool(const LogRecordPool&) = delete;
  LogRecordPool& operator=(const LogRecordPool&) = delete;

  // Constructs the records and puts them all on the free stack; once per process.
  void fill();
  // A free record, or null.
  LogRecord* pop() noexcept;
  void push(LogRecord* record) noexcept;
  bool owns(const LogRecord* record) const noexcept;
  uint32_t in_use() const noexcept { return in_use_.load(); }

 private:
  SpinWordStack free_;
  std::atomic<uint32_t> in_use_{0};
  bool filled_ = false;
  alignas(LogRecord) unsigned char storage_[kRecords * sizeof(LogRecord)] = {};
};

}  // namespace qk
