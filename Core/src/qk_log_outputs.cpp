// The log's outputs as callers reach them: rule sets, backup requests, the question whether a
// message would be written.
#include <cstring>
#include <memory>

#include "log/LogBackup.h"
#include "log/LogOutputs.h"
#include "log/LogRequests.h"
#include "log/LogState.h"
#include "qk_assert.h"
#include "qk_log.h"

void qk_log_set_output(const char* logname, const char* module, unsigned level, unsigned format) {
  if (!module && level == 0 && format == 0) {
    qk_log_set_output_rules(logname, 0, nullptr, 0, 0);
    return;
  }
  qk_log_output_rule rule{};
  if (module && *module) {
    std::strncpy(rule.module, module, sizeof rule.module);
    rule.module[sizeof rule.module - 1] = 0;
    rule.flags |= QK_LOG_RULE_MODULE;
  }
  if (level != 0) {
    rule.levels = level;
    rule.flags |= QK_LOG_RULE_LEVELS;
  }
  qk_log_set_output_rules(logname, 1, &rule, 0, format);
}

void qk_log_set_output_rules(const char* logname, uint64_t num_rules, const qk_log_output_rule* rules,
                             unsigned levels, unsigned format) {
  qk_assert_msg(logname && (num_rules == 0 || rules != nullptr), "qk_log_set_output_rules: invalid args.");
  if (!logname || !*logname) {
    qk_assert_fail("qk_log_set_output_rules: logname is empty! See on the stack who's doing this.");
    return;
  }
  auto set = std::make_unique<qk::LogRuleSet>();
  set->logname.assign(logname);
  set->format = format;
  const uint64_t count = rules ? num_rules : 0;  // null rules, already reported, count as none
  set->rules.reserve(size_t(count));
  for (uint64_t i = 0; i < count; ++i) {
    set->rules.push_back(qk::compile_log_rule(rules[i], levels));
    set->levels |= set->rules.back().levels;
  }
  qk::log_pending_rule_sets() += 1;
  qk::log_send_request(set.release());
}

void qk_log_backup(const char* logname, const qk::log::limits* limits) {
  auto request = std::make_unique<qk::LogBackupRequest>();
  const qk::log::limits chosen = limits ? *limits : qk::log::limits{};
  request->max_total_size = chosen.max_total_size;
  request->max_age = chosen.max_age;
  request->file.assign(qk::log_file_path(logname ? logname : "", qk::log_folder(), qk::log_default_name()));
  qk::log_send_request(request.release());
}

int qk_log_is_enabled(const char* module, unsigned level) {
  if (!qk::log_running()) return 0;
  // While rule sets are on their way, only the worker knows the outputs they make. The worker
  // itself answers from what it has.
  if (qk::log_pending_rule_sets().load() != 0 && !qk::log_on_worker_thread()) {
    qk::LogQuery query;
    qk::log_identify(query.message, module, level);
    qk::log_send_request(&query);
    query.answered.acquire();
    return query.result;
  }
  qk::LogRecord probe;
  qk::log_identify(probe, module, level);
  return qk::log_outputs_accept(probe) ? 1 : 0;
}
