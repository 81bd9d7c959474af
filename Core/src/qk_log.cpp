// The log: its static state, records, the four modes, commit and dispatch, the worker.
#include "qk_log.h"

#include <atomic>
#include <cstring>
#include <mutex>
#include <thread>

#include "log/LogConsole.h"
#include "log/LogListeners.h"
#include "log/LogOutputs.h"
#include "log/LogPools.h"
#include "log/LogQueue.h"
#include "log/LogRecord.h"
#include "log/LogState.h"
#include "platform/qk_platform.h"
#include "qk/CriticalSection.h"
#include "qk/Semaphore.h"

using qk::LogRecord;

// ---- State -----------------------------------------------------------------------------------
// All of it is static and constant-initialised, so that a message logged from any static
// initialiser works; the semaphores and the worker are used only once the log has started.

namespace {

std::atomic<int64_t> wall_clock_base{0};
std::atomic<bool> initialized{false};
std::atomic<bool> debug_string_only{false};
std::atomic<bool> running{false};
std::atomic<bool> immediate{false};
std::atomic<bool> all_reliable{false};
std::atomic<qk::LogExtraInfo> extra_info{nullptr};
std::atomic<uint32_t> debug_consumers{0};
std::atomic<uint32_t> trace_consumers{0};
std::atomic<uint64_t> text_reallocations{0};
std::atomic<uint32_t> fatal_levels{qk::log::ALERT};
// ALERT, ERROR, ERROR_ONCE, TRACE and RELIABLE; deliberately not WARNING, INFO or DEBUG.
std::atomic<uint32_t> reliable_levels{0x812A};
std::atomic<uint32_t> console_format{qk::log::FULL};
std::atomic<qk_log_fatal_handler> fatal_handler{&qk_log_default_fatal_handler};
std::atomic<bool> fatal_tripped{false};
std::atomic<bool> static_record_busy{false};
std::atomic<uint64_t> dropped{0};
FixedString<256> log_directory;
FixedString<256> default_log_name;

LogRecord static_record;
qk::LogRecordPool reliable_pool;
qk::LogRecordPool normal_pool;
qk::LogQueue queue;

// Free slots of the reliable pool, and records in the queue.
qk::Semaphore& reliable_free() {
  static qk::Semaphore semaphore;
  return semaphore;
}
qk::Semaphore& queued() {
  static qk::Semaphore semaphore;
  return semaphore;
}

// The worker is made with new and never destroyed at exit: a log left running keeps it.
std::thread* worker = nullptr;
std::atomic<bool> stopping{false};
thread_local bool on_worker = false;
// One server of the queue at a time where no worker runs (IMMEDIATE mode, and the stop); recursive,
// since serving a request may log, and a listener may send a request in turn. Made on first use
// and never destroyed: a line may be logged from any file's static initialiser or destructor.
qk::CriticalSection& serving() {
  static qk::CriticalSection* const lock = new qk::CriticalSection;
  return *lock;
}

struct ThreadName {
  bool valid = false;
  char name[128];
};
thread_local ThreadName thread_name;

qk::LogLineSettings line_settings() {
  return {console_format.load(), wall_clock_base.load(), extra_info.load()};
}

// ---- Records ---------------------------------------------------------------------------------

const char* current_thread_name() {
  if (!thread_name.valid) {
    qk_platform_thread_name(thread_name.name, sizeof thread_name.name);
    thread_name.valid = true;
  }
  return thread_name.name;
}

LogRecord* take_record(unsigned level) {
  if (!initialized.load()) {
    bool expected = false;
    // A second thread finds the static record busy: its message is lost, and nothing counts it.
    return static_record_busy.compare_exchange_strong(expected, true) ? &static_record : nullptr;
  }
  LogRecord* record;
  if (all_reliable.load() || (level & reliable_levels.load())) {
    if (running.load() && !on_worker) {  // the worker itself frees records: it mustn't wait for one
      reliable_free().acquire();
    } else if (!reliable_free().try_acquire()) {
      dropped += 1;
      return nullptr;
    }
    record = reliable_pool.pop();
  } else {
    record = normal_pool.pop();
  }
  if (!record) dropped += 1;
  return record;
}

LogRecord* allocate_record(const char* module, unsigned level) {
  LogRecord* record = take_record(level);
  if (!record) return nullptr;
  record->type = qk::LOG_RECORD_MESSAGE;
  record->time = qk_time_seconds();
  record->level = level;
  record->module.assign(module ? module : "<NULL>");
  if (record->thread.empty()) {
    const char* name = current_thread_name();
    record->thread.append(name, strnlen(name, 64));
  }
  record->text.clear();
  return record;
}

void release_record(LogRecord* record) {
  // Only a message is a LogRecord to reset and return. A query lives on its asker's stack; rule
  // sets, backup requests and reserved records are objects of their own kinds, which free
  // themselves by their own type, never as a LogRecord. None of those is made in this library yet,
  // so any of them is left alone here.
  if (record->type != qk::LOG_RECORD_MESSAGE) return;
  record->time = 0.0;
  record->level = 0;
  record->reserved = 0;
  record->thread.clear();
  record->module.clear();
  record->text.clear();  // a grown text keeps its heap block
  if (record == &static_record) {
    static_record_busy.store(false);
  } else if (normal_pool.owns(record)) {
    normal_pool.push(record);
  } else if (reliable_pool.owns(record)) {
    reliable_pool.push(record);
    reliable_free().release();
  }
}

void call_fatal_handler(unsigned level, const char* text) {
  if (!(level & fatal_levels.load()) || fatal_tripped.load()) return;
  if (qk_log_fatal_handler handler = fatal_handler.load())
    fatal_tripped.store(handler(text, qk_log_level_name(level)) != 0);
}

bool filtered_before_formatting(unsigned level) {
  if (!running.load()) return false;
  return ((level & qk::log::DEBUG) && debug_consumers.load() == 0) ||
         ((level & qk::log::TRACE) && trace_consumers.load() == 0);
}

}  // namespace

// ---- Logging ---------------------------------------------------------------------------------

const char* qk_log_level_name(unsigned level) {
  switch (level & 0x7FFF) {
    case qk::log::ALERT: return "ALERT  ";
    case qk::log::ERROR: return "ERROR  ";
    case qk::log::WARNING: return "WARNING";
    case qk::log::ERROR_ONCE: return "ERROR_ONCE";
    case qk::log::INFO: return "INFO   ";
    case qk::log::DEBUG: return "DEBUG  ";
    case qk::log::TRACE: return "TRACE  ";
    default: return "UNKNOWN";
  }
}

qk_log_message qk_log_alloc_message(const char* module, unsigned level) {
  LogRecord* record = allocate_record(module, level);
  if (!record) return {nullptr, nullptr, 0};
  return {record, record->text.data(), record->text.capacity()};
}

void qk_log_commit_message(LogRecord* record, size_t length) {
  if (!record) return;
  record->text.set_size(length);  // cut to the capacity
  // The handler runs before the line exists anywhere.
  call_fatal_handler(record->level, record->text.c_str());
  record->time = qk_time_seconds();
  if (initialized.load()) {
    if (immediate.load()) {
      qk::dispatch_log_record(*record, line_settings());
      qk::call_log_listeners(*record, wall_clock_base.load());
      release_record(record);
    } else {
      queue.push(record);
      queued().release();
    }
    return;
  }
  if (debug_string_only.load()) qk::write_log_record_to_debugger(*record, line_settings());
  else qk::dispatch_log_record(*record, line_settings());
  release_record(record);
}

void qk_log_v(const char* module, unsigned level, const char* format, va_list args) {
  if (filtered_before_formatting(level)) return;
  LogRecord* record = allocate_record(module, level);
  if (!record) {
    // The wording stays as it is, whatever the reason for having no record.
    call_fatal_handler(level, "...message is too long...");
    return;
  }
  va_list again;
  va_copy(again, args);
  const size_t capacity = record->text.capacity();
  int needed = qk_vsnprintf(record->text.data(), capacity + 1, format, args);
  if (needed < 0) needed = 0;
  if (size_t(needed) > capacity) {
    text_reallocations += 1;
    if (record->text.reserve(size_t(needed)))
      qk_vsnprintf(record->text.data(), record->text.capacity() + 1, format, again);
  }
  va_end(again);
  qk_log_commit_message(record, size_t(needed));
}

void qk_log(const char* module, unsigned level, const char* format, ...) {
  va_list args;
  va_start(args, format);
  qk_log_v(module, level, format, args);
  va_end(args);
}

void qk_log_write(const char* module, unsigned level, const char* text) {
  if (filtered_before_formatting(level)) return;
  if (!text) text = "";
  if (LogRecord* record = allocate_record(module, level)) {
    size_t length = std::strlen(text);
    if (length > record->text.capacity()) {
      text_reallocations += 1;
      record->text.reserve(length);
    }
    if (length > record->text.capacity()) length = record->text.capacity();
    std::memcpy(record->text.data(), text, length);
    qk_log_commit_message(record, length);
  }
  // After the commit and with or without a record: a fatal level reaches the handler twice.
  call_fatal_handler(level, text);
}

// ---- Counters and settings -------------------------------------------------------------------

uint64_t qk_log_dropped() { return dropped.load(); }
uint64_t qk_log_text_reallocations() { return text_reallocations.load(); }

int qk_log_default_fatal_handler(const char* text, const char* level_text) {
  return qk_platform_ask_abort_retry_ignore(level_text, text);
}

qk_log_fatal_handler qk_log_set_fatal_handler(qk_log_fatal_handler handler) {
  fatal_tripped.store(false);
  return fatal_handler.exchange(handler);
}

bool qk_log_fatal_tripped() { return fatal_tripped.load(); }
void qk_log_set_fatal_levels(unsigned levels) { fatal_levels.store(levels); }
void qk_log_set_debug_string_only(bool on) { debug_string_only.store(on); }
void qk_log_set_console_format(unsigned format) { console_format.store(format); }
void qk_log_set_stderr_levels(unsigned levels) { qk::set_log_stderr_levels(levels); }
void qk_log_set_extra_info(size_t (*callback)(char*, size_t)) { extra_info.store(callback); }

// ---- Start and stop --------------------------------------------------------------------------

namespace {

// Serves one item of the queue: a message is dispatched, shown to the listeners and released; a
// request goes to the outputs.
void serve(qk::LogItem* item) {
  if (item->type != qk::LOG_RECORD_MESSAGE) {
    qk::serve_log_request(item, line_settings());
    return;
  }
  auto* record = static_cast<LogRecord*>(item);
  qk::dispatch_log_record(*record, line_settings());
  qk::call_log_listeners(*record, wall_clock_base.load());
  release_record(record);
}

void drain_queue() {
  std::lock_guard<qk::CriticalSection> hold(serving());
  while (qk::LogItem* item = queue.pop()) serve(item);
}

void worker_main() {
  on_worker = true;
  for (;;) {
    if (!queued().try_acquire()) {
      qk::flush_log_outputs();  // nothing to do: what is written reaches the files
      queued().acquire();
    }
    if (qk::LogItem* item = queue.pop())
      serve(item);
    else if (stopping.load())
      return;  // the count of the stop request, with the queue empty
  }
}

}  // namespace

bool qk_log_start(const qk_log_options& options) {
  if (initialized.load()) return false;
  normal_pool.fill();
  reliable_pool.fill();
  reliable_free().reset(int64_t(qk::LogRecordPool::kRecords - reliable_pool.in_use()));
  queued().reset(0);
  wall_clock_base.store(options.use_system_clock
                            ? qk_platform_unix_time() - int64_t(qk_time_seconds())
                            : options.wall_clock_base);
  log_directory.assign(options.log_directory ? options.log_directory : "");
  default_log_name.assign(options.default_log_name ? options.default_log_name : "");
  drain_queue();  // requests sent before the start: their outputs exist from here on
  all_reliable.store(options.all_reliable);
  immediate.store(options.mode == qk::log::IMMEDIATE);
  if (!immediate.load()) {
    stopping.store(false);
    running.store(true);
    worker = new std::thread(worker_main);
  }
  initialized.store(true);
  return true;
}

void qk_log_stop() {
  if (!initialized.load()) return;
  initialized.store(false);  // new messages take the static record from here on
  if (worker) {
    stopping.store(true);
    queued().release();
    worker->join();
    delete worker;
    worker = nullptr;
  }
  running.store(false);
  drain_queue();  // records committed while the worker ended
  qk::close_log_outputs(line_settings());
  immediate.store(false);
  all_reliable.store(false);
}

// ---- What the log's parts ask of it ----------------------------------------------------------

namespace qk {

bool log_running() { return running.load(); }
bool log_immediate() { return immediate.load(); }
bool log_on_worker_thread() { return on_worker; }

void log_send_request(LogItem* request) {
  queue.push(request);
  queued().release();
  if (initialized.load() && immediate.load()) drain_queue();  // no worker: the sender serves
}

void log_set_consumers(uint32_t debug, uint32_t trace) {
  debug_consumers.store(debug);
  trace_consumers.store(trace);
}

std::string_view log_folder() { return log_directory.view(); }
std::string_view log_default_name() { return default_log_name.view(); }

void log_identify(LogRecord& record, const char* module, unsigned level) {
  record.level = level;
  record.module.assign(module ? module : "<NULL>");
  const char* name = current_thread_name();
  record.thread.assign(std::string_view(name, strnlen(name, 64)));
}

LogLineSettings log_line_settings() { return line_settings(); }

}  // namespace qk
