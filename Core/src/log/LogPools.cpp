#include "log/LogPools.h"

#include <new>

namespace qk {

void LogRecordPool::fill() {
  if (filled_) return;
  filled_ = true;
  // Pushed from the last down, so that records come out in address order.
  for (size_t i = kRecords; i-- > 0;) free_.push(static_cast<LogLink*>(new (storage_ + i * sizeof(LogRecord)) LogRecord));
}

LogRecord* LogRecordPool::pop() noexcept {
  LogRecord* record = static_cast<LogRecord*>(static_cast<LogLink*>(free_.pop()));
  if (record) in_use_ += 1;
  return record;
}

void LogRecordPool::push(LogRecord* record) noexcept {
  free_.push(static_cast<LogLink*>(record));
  in_use_ -= 1;
}

bool LogRecordPool::owns(const LogRecord* record) const noexcept {
  const auto* p = reinterpret_cast<const unsigned char*>(record);
  return p >= storage_ && p < storage_ + sizeof storage_;
}

}  // namespace qk
