// Requests to the log's worker, which travel in the log's queue beside the message records.
//
// A rule set and a backup request are made on the heap by their sender and freed by whoever
// serves the queue. A query lives on its asker's stack: the server stores the answer and signals
// it, and must not touch it afterwards.
#pragma once

#include <boost/container/small_vector.hpp>
#include <cstdint>

#include "FixedString.h"
#include "log/LogRecord.h"
#include "log/LogRules.h"
#include "qk/Semaphore.h"
#include "qk_memory.h"

namespace qk {

// The rules of one output. A set with no rules and format 0 removes the output.
struct LogRuleSet : LogItem {
  LogRuleSet() noexcept : LogItem(LOG_RECORD_RULE_SET) {}

  FixedString<256> logname;
  uint32_t format = 0;
  uint32_t levels = 0;  // the or of all its rules' masks
  boost::container::small_vector<LogCompiledRule, 16, qk::allocator<LogCompiledRule>> rules;
};

// The limits of the backups of one file, by its path.
struct LogBackupRequest : LogItem {
  LogBackupRequest() noexcept : LogItem(LOG_RECORD_BACKUP) {}

  FixedString<256> file;
  uint64_t max_total_size = 0xA00000;
  uint64_t max_age = 604800;
};

// Would a message of this module, level and thread reach an output? Asked of the worker while rule
// sets are on their way to it.
struct LogQuery : LogItem {
  LogQuery() noexcept : LogItem(LOG_RECORD_QUERY) {}

  Semaphore answered;  // released once, when `result` holds the answer
  int32_t result = 0;
  LogRecord message;  // module, level and thread; no text
};

}  // namespace qk
