#include "log/LogRules.h"

#include <cstring>

namespace qk {

namespace {

void copy_pattern(char (&target)[128], const char (&source)[128]) {
  std::memcpy(target, source, sizeof target);
  target[sizeof target - 1] = 0;
}

}  // namespace

LogPattern compile_log_pattern(const char* pattern) {
  LogPattern compiled;
  size_t length = std::strlen(pattern);
  if (length != 0 && pattern[length - 1] == '*') {
    compiled.wildcard = true;
    length -= 1;
  }
  if (length != 0 && pattern[0] == '!') compiled.negated = 1;
  compiled.length = uint32_t(length);
  return compiled;
}

LogCompiledRule compile_log_rule(const qk_log_output_rule& rule, unsigned extra_levels) {
  LogCompiledRule compiled;
  compiled.flags = rule.flags;
  copy_pattern(compiled.module, rule.module);
  compiled.levels = rule.levels | extra_levels;
  copy_pattern(compiled.thread, rule.thread);
  if (extra_levels != 0) compiled.flags |= QK_LOG_RULE_LEVELS;
  if (compiled.flags & QK_LOG_RULE_MODULE) compiled.module_pattern = compile_log_pattern(compiled.module);
  if (compiled.flags & QK_LOG_RULE_THREAD) compiled.thread_pattern = compile_log_pattern(compiled.thread);
  return compiled;
}

LogMatch match_log_pattern(const char* pattern, const LogPattern& compiled, std::string_view name) {
  const char* rest = pattern + compiled.negated;
  const size_t length = compiled.length - compiled.negated;
  // A wildcard compares the prefix; a plain pattern the whole name.
  const bool equal = compiled.wildcard ? name.size() >= length && std::memcmp(name.data(), rest, length) == 0
                                       : name.size() == length && std::memcmp(name.data(), rest, length) == 0;
  if (!equal) return LogMatch::none;
  return compiled.negated ? LogMatch::negated : LogMatch::match;
}

bool log_rules_accept(const LogCompiledRule* rules, size_t count, unsigned level, std::string_view module,
                      std::string_view thread) {
  for (size_t i = 0; i < count; ++i) {
    const LogCompiledRule& rule = rules[i];
    if ((rule.flags & QK_LOG_RULE_LEVELS) && !(level & rule.levels)) continue;
    if (rule.flags & QK_LOG_RULE_MODULE) {
      const LogMatch m = match_log_pattern(rule.module, rule.module_pattern, module);
      if (m == LogMatch::negated) return false;
      if (m == LogMatch::none) continue;
    }
    if (!(rule.flags & QK_LOG_RULE_THREAD)) return true;
    const LogMatch t = match_log_pattern(rule.thread, rule.thread_pattern, thread);
    if (t == LogMatch::match) return true;
    if (t == LogMatch::negated) return false;
  }
  return false;
}

uint32_t log_rules_levels(const LogCompiledRule* rules, size_t count) {
  uint32_t levels = 0;
  for (size_t i = 0; i < count; ++i)
    levels |= (rules[i].flags & QK_LOG_RULE_LEVELS) ? rules[i].levels : ~uint32_t(0);
  return levels;
}

}  // namespace qk
