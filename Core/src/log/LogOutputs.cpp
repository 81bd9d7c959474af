#include "log/LogOutputs.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "log/LogBackup.h"
#include "log/LogLine.h"
#include "log/LogOutputFile.h"
#include "log/LogRequests.h"
#include "log/LogRules.h"
#include "log/LogState.h"
#include "platform/qk_platform.h"
#include "qk/CriticalSection.h"
#include "qk_log.h"

namespace qk {

namespace {

// ---- State -----------------------------------------------------------------------------------

struct LogOutput {
  explicit LogOutput(std::string path) : file(std::move(path)) {}

  LogOutput* next = nullptr;
  LogOutputFile file;
  std::unique_ptr<LogRuleSet> rules;
  uint32_t duplicates = 0;
  uint16_t last_length = 0;
  char last_text[65536] = {};
  LogRecord scratch;
  LogLineBuffer scratch_line;
  FixedString<128> small_text;
};

// The outputs lock covers the list, the shared line, each output's duplicate state and file, and
// the backup requests. Made on first use and never destroyed: a line may be logged from any file's
// static initialiser or destructor.
qk::CriticalSection& outputs_lock() {
  static qk::CriticalSection* const lock = new qk::CriticalSection;
  return *lock;
}
LogOutput* outputs = nullptr;
std::atomic<uint32_t> output_count{0};
LogLineBuffer shared_line;
std::map<std::string, log::limits>* backups = nullptr;
std::atomic<uint32_t> pending_rule_sets{0};

// Set while this thread writes outputs: a line it logs meanwhile goes to the console alone.
thread_local bool writing_outputs = false;

// What went wrong while the lock was held, logged once it is let go.
using Failures = std::vector<std::string>;

void report(const Failures& failures) {
  for (const std::string& failure : failures) qk_log(QKCORESTATIC, log::ERROR, "%s", failure.c_str());
}

// ---- Files -----------------------------------------------------------------------------------

// "---- log opened 2024-05-06 07:08:09 UTC ----" and its like, by the log's wall clock.
std::string frame_line(const char* what, const LogLineSettings& settings) {
  const double wall = double(settings.wall_clock_base) + qk_time_seconds();
  qk_platform_calendar date{};
  qk_platform_utc_time(int64_t(wall), date);
  char line[80];
  qk_snprintf(line, sizeof line, "---- log %s %04d-%02d-%02d %02d:%02d:%02d UTC ----\n", what,
              date.year + 1900, date.month + 1, date.day, date.hour, date.minute, date.second);
  return line;
}

bool write_to(LogOutput& output, const char* data, size_t size, const LogLineSettings& settings,
              bool write_through, Failures& failures) {
  std::string failure;
  if (!output.file.is_open()) {
    if (output.file.failed()) return false;
    if (backups) {
      const auto request = backups->find(output.file.path());
      if (request != backups->end())
        back_up_log_file(output.file.path(), request->second, qk_platform_unix_time());
    }
    if (!output.file.open(failure)) {
      failures.push_back(failure);
      return false;
    }
    if (!(output.rules->format & log::NO_HEADER_FOOTER)) {
      const std::string header = frame_line("opened", settings);
      output.file.write(header.data(), header.size(), false, failure);
    }
  }
  if (output.file.write(data, size, write_through, failure)) return true;
  if (!failure.empty()) failures.push_back(failure);
  return false;
}

void write_summary(LogOutput& output, double time, const LogLineSettings& settings, bool write_through,
                   Failures& failures) {
  output.small_text.format("%d duplicate message(s) skipped.", int(output.duplicates));
  output.duplicates = 0;
  output.scratch.module.assign("LOG");
  output.scratch.level = log::WARNING;
  output.scratch.time = time;
  output.scratch.text.assign(output.small_text.view());
  format_log_line(output.scratch_line, output.rules->format, output.scratch, settings.wall_clock_base,
                  settings.extra_info);
  write_to(output, output.scratch_line.data(), output.scratch_line.size(), settings, write_through, failures);
}

// Writes what is pending and the footer, and closes the file.
void close_output(LogOutput& output, const LogLineSettings& settings, Failures& failures) {
  if (output.duplicates != 0) write_summary(output, qk_time_seconds(), settings, false, failures);
  std::string failure;
  if (output.file.is_open() && !(output.rules->format & log::NO_HEADER_FOOTER)) {
    const std::string footer = frame_line("closed", settings);
    output.file.write(footer.data(), footer.size(), false, failure);
  }
  output.file.close(failure);
  if (!failure.empty()) failures.push_back(failure);
}

// ---- Requests --------------------------------------------------------------------------------

void update_consumers() {
  uint32_t debug = 0, trace = 0;
  for (const LogOutput* o = outputs; o; o = o->next) {
    const uint32_t levels = log_rules_levels(o->rules->rules.data(), o->rules->rules.size());
    if (levels & log::DEBUG) debug += 1;
    if (levels & log::TRACE) trace += 1;
  }
  log_set_consumers(debug, trace);
}

void install(std::unique_ptr<LogRuleSet> set, const LogLineSettings& settings, Failures& failures) {
  LogOutput** link = &outputs;
  while (*link && (*link)->rules->logname.view() != set->logname.view()) link = &(*link)->next;
  LogOutput* output = *link;
  if (set->rules.empty() && set->format == 0) {  // the output goes
    if (output) {
      *link = output->next;
      output_count -= 1;
      close_output(*output, settings, failures);
      delete output;
    }
  } else if (output) {
    output->rules = std::move(set);
  } else {
    output = new LogOutput(log_file_path(set->logname.view(), log_folder(), log_default_name()));
    output->rules = std::move(set);
    *link = output;  // at the end of the list
    output_count += 1;
  }
  update_consumers();
}

bool accepts(const LogOutput& output, const LogRecord& record) {
  const LogRuleSet& set = *output.rules;
  return log_rules_accept(set.rules.data(), set.rules.size(), record.level, record.module.view(),
                          record.thread.view());
}

}  // namespace

// ---- Writing ---------------------------------------------------------------------------------

void write_log_outputs(const LogRecord& record, const LogLineSettings& settings, bool write_through) {
  if (writing_outputs || output_count.load() == 0) return;
  Failures failures;
  {
    std::lock_guard<qk::CriticalSection> hold(outputs_lock());
    writing_outputs = true;
    uint32_t last_format = 0;
    for (LogOutput* output = outputs; output; output = output->next) {
      if (!accepts(*output, record)) continue;
      const uint32_t format = output->rules->format;
      if (format & log::SKIP_DUPLICATES) {
        const char* text = record.text.c_str();
        const size_t length = std::strlen(text);
        if (length == output->last_length && std::memcmp(text, output->last_text, length) == 0) {
          output->duplicates += 1;
          continue;
        }
        output->last_length = uint16_t(std::min<size_t>(length, 65535));
        std::memcpy(output->last_text, text, output->last_length);
        output->last_text[output->last_length] = 0;
        if (output->duplicates != 0) write_summary(*output, record.time, settings, write_through, failures);
      }
      if (shared_line.empty() || last_format != format) {
        last_format = format;
        format_log_line(shared_line, format, record, settings.wall_clock_base, settings.extra_info);
      }
      write_to(*output, shared_line.data(), shared_line.size(), settings, write_through, failures);
    }
    shared_line.clear();
    writing_outputs = false;
  }
  report(failures);
}

bool log_outputs_accept(const LogRecord& probe) {
  std::lock_guard<qk::CriticalSection> hold(outputs_lock());
  for (const LogOutput* output = outputs; output; output = output->next)
    if (accepts(*output, probe)) return true;
  return false;
}

void flush_log_outputs() {
  if (output_count.load() == 0) return;
  Failures failures;
  {
    std::lock_guard<qk::CriticalSection> hold(outputs_lock());
    std::string failure;
    for (LogOutput* output = outputs; output; output = output->next)
      if (!output->file.flush(failure)) {
        if (!failure.empty()) failures.push_back(failure);
        failure.clear();
      }
  }
  report(failures);
}

// ---- Requests and closing --------------------------------------------------------------------

void serve_log_request(LogItem* request, const LogLineSettings& settings) {
  Failures failures;
  switch (request->type) {
    case LOG_RECORD_RULE_SET: {
      std::unique_ptr<LogRuleSet> set(static_cast<LogRuleSet*>(request));
      {
        std::lock_guard<qk::CriticalSection> hold(outputs_lock());
        install(std::move(set), settings, failures);
      }
      pending_rule_sets -= 1;
      break;
    }
    case LOG_RECORD_BACKUP: {
      std::unique_ptr<LogBackupRequest> backup(static_cast<LogBackupRequest*>(request));
      std::lock_guard<qk::CriticalSection> hold(outputs_lock());
      if (!backups) backups = new std::map<std::string, log::limits>;
      (*backups)[std::string(backup->file.view())] = {backup->max_total_size, backup->max_age};
      break;
    }
    case LOG_RECORD_QUERY: {
      auto* query = static_cast<LogQuery*>(request);
      query->result = log_outputs_accept(query->message) ? 1 : 0;
      query->answered.release();  // the asker may be gone from here on
      break;
    }
    default: break;  // no other kind is ever queued
  }
  report(failures);
}

void close_log_outputs(const LogLineSettings& settings) {
  Failures failures;
  {
    std::lock_guard<qk::CriticalSection> hold(outputs_lock());
    while (LogOutput* output = outputs) {
      outputs = output->next;
      close_output(*output, settings, failures);
      delete output;
    }
    output_count = 0;
    delete backups;
    backups = nullptr;
    update_consumers();
  }
  report(failures);
}

std::atomic<uint32_t>& log_pending_rule_sets() { return pending_rule_sets; }

}  // namespace qk
