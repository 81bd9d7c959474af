#include "LogOption.h"

#include <strings.h>

#include <cstring>

namespace {

struct LevelName {
  const char* name;
  unsigned level;
};

const LevelName level_names[] = {
    {"alert", qk::log::ALERT},           {"error", qk::log::ERROR}, {"warning", qk::log::WARNING},
    {"error_once", qk::log::ERROR_ONCE}, {"info", qk::log::INFO},   {"debug", qk::log::DEBUG},
    {"trace", qk::log::TRACE},           {"all", qk::log::ALL},     {"reliable", qk::log::RELIABLE},
};

const char kLevelList[] = "alert, error, warning, error_once, info, debug, trace, all, reliable";

bool levelOf(std::string_view word, unsigned& level) {
  for (const LevelName& entry : level_names)
    if (word.size() == std::strlen(entry.name) && strncasecmp(word.data(), entry.name, word.size()) == 0) {
      level = entry.level;
      return true;
    }
  return false;
}

std::string quoted(std::string_view text) { return "\"" + std::string(text) + "\""; }

// Copies a pattern into the rule's field; false when it doesn't fit.
bool copyPattern(std::string_view pattern, char (&field)[128], std::string& error) {
  if (pattern.size() >= sizeof field) {
    error = "the pattern " + quoted(pattern.substr(0, 16)) + "... is longer than 127 bytes";
    return false;
  }
  std::memcpy(field, pattern.data(), pattern.size());
  field[pattern.size()] = 0;
  return true;
}

bool parseLevels(std::string_view text, unsigned& levels, std::string& error) {
  levels = 0;
  for (;;) {
    const size_t plus = text.find('+');
    const std::string_view word = text.substr(0, plus);
    unsigned level = 0;
    if (!levelOf(word, level)) {
      error = word.empty() ? "a level is missing after \"=\" or \"+\""
                           : "unknown level " + quoted(word) + " (the levels: " + kLevelList + ")";
      return false;
    }
    levels |= level;
    if (plus == std::string_view::npos) return true;
    text.remove_prefix(plus + 1);
  }
}

// One rule: [MODULE][@THREAD][=LEVELS].
bool parseRule(std::string_view text, qk_log_output_rule& rule, std::string& error) {
  rule = {};
  if (text.empty()) {
    error = "a rule is empty (rules are separated by \",\")";
    return false;
  }
  rule.flags = QK_LOG_RULE_LEVELS;
  rule.levels = qk::log::ALL;
  const size_t equals = text.find('=');
  if (equals != std::string_view::npos) {
    if (!parseLevels(text.substr(equals + 1), rule.levels, error)) return false;
    text = text.substr(0, equals);
  }
  const size_t at = text.find('@');
  if (at != std::string_view::npos) {
    const std::string_view thread = text.substr(at + 1);
    if (thread.empty()) {
      error = "a thread pattern is missing after \"@\"";
      return false;
    }
    if (!copyPattern(thread, rule.thread, error)) return false;
    rule.flags |= QK_LOG_RULE_THREAD;
    text = text.substr(0, at);
  }
  if (!text.empty()) {
    if (!copyPattern(text, rule.module, error)) return false;
    rule.flags |= QK_LOG_RULE_MODULE;
  }
  return true;
}

}  // namespace

std::optional<LogOutputSpec> parseLogOption(std::string_view text, std::string& error) {
  const size_t colon = text.find(':');
  LogOutputSpec spec;
  spec.logname = std::string(text.substr(0, colon));
  if (spec.logname.empty()) {
    error = "a log file name is wanted before the rules";
    return std::nullopt;
  }
  if (spec.logname.find('\0') != std::string::npos) {
    error = "the log file name holds a zero byte";
    return std::nullopt;
  }
  if (colon == std::string_view::npos) {
    spec.rules.push_back({QK_LOG_RULE_LEVELS, "", qk::log::ALL, ""});
    return spec;
  }
  std::string_view rules = text.substr(colon + 1);
  for (;;) {
    const size_t comma = rules.find(',');
    qk_log_output_rule rule;
    if (!parseRule(rules.substr(0, comma), rule, error)) return std::nullopt;
    spec.rules.push_back(rule);
    if (comma == std::string_view::npos) return spec;
    rules.remove_prefix(comma + 1);
  }
}

RunLog::RunLog(const std::vector<LogOutputSpec>& outputs) {
  qk_log_options options;
  options.mode = qk::log::IMMEDIATE;
  qk_log_start(options);
  for (const LogOutputSpec& output : outputs)
    qk_log_set_output_rules(output.logname.c_str(), output.rules.size(), output.rules.data(), 0,
                            qk::log::FULL);
}

RunLog::~RunLog() { qk_log_stop(); }
