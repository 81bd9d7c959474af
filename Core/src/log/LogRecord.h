// The log's record: one message (or one request to the log's worker) on its way to the outputs.
//
// Everything the log's queue holds begins with a LogItem: the link, then the kind. Records of
// messages (LogRecord) come from the log's two pools or are its one static record; they are
// released, never deleted. Requests (rule sets, backup requests, queries) are in log/LogRequests.h.
// An item belongs to one thread at a time: the thread that made it until it is queued, then the
// queue's consumer. Its link is its first word, so that the spin-word free stacks and the queue
// can hold it.
#pragma once

#include <atomic>
#include <cstdint>

#include "FixedString.h"
#include "PathBuffer.h"

namespace qk {

struct LogLink {
  std::atomic<LogLink*> next{nullptr};
};

// The record's type word. Only a message is a LogRecord; the other kinds share the link and the
// type word but are objects of their own, freed by their own type (rule sets, backup requests and
// reserved records) or living on the asker's stack (queries). The log's release leaves them alone.
enum LogRecordType : uint32_t {
  LOG_RECORD_MESSAGE = 0,   // reset and returned to its pool
  LOG_RECORD_RULE_SET = 1,  // a heap object of its own kind
  LOG_RECORD_BACKUP = 2,    // a heap object of its own kind
  LOG_RECORD_QUERY = 3,     // lives on the asker's stack
  LOG_RECORD_RESERVED = 4,  // a heap object of its own kind
};

// The head of everything the queue holds.
struct LogItem : LogLink {
  uint32_t type;

  constexpr explicit LogItem(uint32_t kind) noexcept : type(kind) {}
};

struct LogRecord : LogItem {
  double time = 0.0;       // seconds of the log's monotonic clock
  uint32_t level = 0;      // as passed in, RELIABLE included
  uint32_t reserved = 0;   // written by no one; handed to listeners
  FixedString<64> thread;  // the logging thread's name
  FixedString<64> module;
  PathBuffer<255> text;  // 256 bytes in place

  constexpr LogRecord() noexcept : LogItem(LOG_RECORD_MESSAGE) {}
};

}  // namespace qk
