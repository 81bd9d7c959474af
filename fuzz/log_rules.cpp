// Log output rules from any bytes: patterns as a script may give them (any length, any bytes, no
// terminator in reach) compiled and walked against any names, never reading outside a pattern's
// 128 bytes or a name's 64. The input is split at line feeds into: flags and levels (two bytes),
// a module pattern, a thread pattern, a module name, a thread name; missing parts are empty.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "log/LogRules.h"

namespace {

std::string_view next_part(std::string_view& input) {
  const size_t end = input.find('\n');
  const std::string_view part = input.substr(0, end);
  input.remove_prefix(end == std::string_view::npos ? input.size() : end + 1);
  return part;
}

void fill(char (&pattern)[128], std::string_view text) {
  // As the Lua library copies a pattern: at most 128 bytes, the last one forced to NUL.
  std::memcpy(pattern, text.data(), std::min(text.size(), sizeof pattern));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string_view input(reinterpret_cast<const char*>(data), size);
  const std::string_view head = next_part(input);
  qk_log_output_rule rule{};
  rule.flags = head.empty() ? 0 : uint8_t(head[0]) & 0xE;
  rule.levels = head.size() < 2 ? 0 : uint8_t(head[1]);
  fill(rule.module, next_part(input));
  fill(rule.thread, next_part(input));
  const std::string_view module = next_part(input).substr(0, 64);
  const std::string_view thread = next_part(input).substr(0, 64);

  const qk::LogCompiledRule compiled = qk::compile_log_rule(rule, 0);
  const bool taken = qk::log_rules_accept(&compiled, 1, 0xFF, module, thread);
  // A negated pattern can refuse but never accept by itself.
  if (taken && (compiled.flags & QK_LOG_RULE_MODULE) && compiled.module_pattern.negated) std::abort();
  // "*" takes every module.
  if (std::strcmp(compiled.module, "*") == 0 && (compiled.flags & 0xE) == QK_LOG_RULE_MODULE && !taken)
    std::abort();
  return 0;
}
