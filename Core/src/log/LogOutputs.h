// The log's outputs: the list of files with their rule sets, the duplicate filter, the backup
// requests, and the requests of the queue that change them.
//
// Every dispatched record passes write_log_outputs first. Under the outputs lock, each output that
// takes the record (log/LogRules.h) writes its line; outputs of equal format in a row share one
// formatted line, so a line is formatted at most once per run of such outputs. An output whose
// format skips duplicates counts a text equal to its last one (the text alone: module, level and
// thread don't count; a text longer than 65,535 bytes is never equal) and writes the summary
// "%d duplicate message(s) skipped." before the next different text, with that text's time, in
// its own format, as a WARNING of module "LOG" with no thread. Nothing else flushes the count,
// except the output's closing (see qk_log.h for files, headers and the closing).
//
// A line logged on the thread that is writing outputs (a failing file operation) reaches the
// console alone. Failures of the files are logged after the lock is let go.
//
// Safe from any thread; requests are served by one thread at a time (the queue's server).
#pragma once

#include <atomic>
#include <cstdint>

#include "log/LogConsole.h"
#include "log/LogRecord.h"

namespace qk {

// Writes `record` to every output that takes it; `write_through` writes each line to its file at
// once (IMMEDIATE mode).
void write_log_outputs(const LogRecord& record, const LogLineSettings& settings, bool write_through);

// Serves a request from the queue: installs a rule set (or removes its output), remembers a
// backup request, answers a query. Frees the rule set and the backup request; a query belongs to
// its asker, who may be gone as soon as it is answered.
void serve_log_request(LogItem* request, const LogLineSettings& settings);

// True when an output takes a record of the probe's level, module and thread.
bool log_outputs_accept(const LogRecord& probe);

// Writes every output's buffer to its file.
void flush_log_outputs();

// Closes every output (a pending duplicate count and the footer written) and forgets the backup
// requests.
void close_log_outputs(const LogLineSettings& settings);

// Rule sets sent and not yet installed.
std::atomic<uint32_t>& log_pending_rule_sets();

}  // namespace qk
