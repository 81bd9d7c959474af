// LogQueue: the log's intrusive first-in first-out list of committed records and requests.
//
// A stub node heads the list: its `next` is the first record, and the stub itself when the list
// is empty; a record whose `next` is the stub is the last. The tail word is a spin lock held for
// two stores: a producer swaps it to all ones, links its record behind the old tail, and stores
// the record as the new tail. Any thread may push; one thread at a time may pop (the log's worker,
// or the thread that stops the log once the worker has ended). Head and tail lie a cache line
// apart.
#pragma once

#include <atomic>
#include <cstdint>

#include "log/LogRecord.h"

namespace qk {

class LogQueue {
 public:
  constexpr LogQueue() noexcept : stub_{&stub_}, tail_(&stub_) {}
  LogQueue(const LogQueue&) = delete;
  LogQueue& operator=(const LogQueue&) = delete;

  void push(LogItem* item) noexcept;
  // The first item, or null when the list is empty. One consumer at a time.
  LogItem* pop() noexcept;

 private:
  LogLink* lock_tail() noexcept;

  alignas(64) LogLink stub_;
  alignas(64) std::atomic<LogLink*> tail_;
};

}  // namespace qk
