// qkmt run's --log FILE[:RULES] from any bytes: the parser never reads outside its text, and what it
// accepts is an output the log can take: a name without ":" that starts the text, at least one rule,
// every rule checking a non-empty set of levels and holding terminated patterns; a text without ":"
// is one rule that takes every module.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "LogOption.h"
#include "log/LogRules.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  std::string error;
  const std::optional<LogOutputSpec> spec = parseLogOption(text, error);
  if (!spec) {
    if (error.empty()) std::abort();
    return 0;
  }
  if (spec->logname.empty() || spec->logname.find(':') != std::string::npos ||
      text.substr(0, spec->logname.size()) != spec->logname || spec->rules.empty())
    std::abort();
  if (text.find(':') == std::string_view::npos &&
      (spec->rules.size() != 1 || (spec->rules[0].flags & (QK_LOG_RULE_MODULE | QK_LOG_RULE_THREAD))))
    std::abort();
  for (const qk_log_output_rule& rule : spec->rules) {
    if (!(rule.flags & QK_LOG_RULE_LEVELS) || rule.levels == 0) std::abort();
    if (strnlen(rule.module, sizeof rule.module) == sizeof rule.module ||
        strnlen(rule.thread, sizeof rule.thread) == sizeof rule.thread)
      std::abort();
    const qk::LogCompiledRule compiled = qk::compile_log_rule(rule, 0);
    qk::log_rules_accept(&compiled, 1, qk::log::INFO, "LUA", "main");
  }
  return 0;
}
