// What the log's parts ask of the log's own state (qk_log.cpp): its mode, the way into its queue,
// and the settings of its lines. Internal to the log; safe from any thread.
#pragma once

#include <cstdint>
#include <string_view>

#include "log/LogConsole.h"
#include "log/LogRecord.h"

namespace qk {

// A worker drains the queue (started ASYNC).
bool log_running();
// Started IMMEDIATE: records are dispatched on the calling thread.
bool log_immediate();
// True on the log's worker thread.
bool log_on_worker_thread();

// Puts a request in the queue for its server: the worker when one runs, the calling thread at once
// when the log was started IMMEDIATE; while the log isn't started it waits there for the start.
void log_send_request(LogItem* request);

// Outputs that take DEBUG and TRACE, for the test before formatting.
void log_set_consumers(uint32_t debug, uint32_t trace);

// The log folder and the default log name of the start.
std::string_view log_folder();
std::string_view log_default_name();

// Fills a record's module (null: "<NULL>"), level and thread as a message of the calling thread.
void log_identify(LogRecord& record, const char* module, unsigned level);

LogLineSettings log_line_settings();

}  // namespace qk
