// The rules of a log output: which records it takes, compiled once, evaluated for every record.
//
// A rule checks the level (flag 0x2: the record's level must have a bit of `levels`), the module
// (0x4) and the thread (0x8) against patterns. A pattern is a name, or a prefix with "*" at its
// end ("Lua*"), either of them negated with "!" at its start ("!LUA"); "*" matches every name and
// "!" refuses the empty one. Names are compared case-sensitively, as the record holds them (cut to
// 64 bytes).
//
// The rules of an output are walked in order:
//   1. a rule whose level check fails doesn't apply: next rule;
//   2. with a module pattern: a negated hit refuses the record and ends the walk, no match goes on
//      to the next rule, a match goes on here;
//   3. without a thread pattern the record is accepted;
//   4. the thread pattern: a match accepts, a negated hit refuses, no match goes to the next rule.
// When no rule accepted, the output refuses the record: an output with no rules takes nothing, and
// one whose only rule is negated takes nothing either, since only a rule that isn't negated can
// accept.
//
// Pure functions of their arguments; reentrant.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "qk_log.h"

namespace qk {

// A compiled pattern. `length` is the pattern's length without a trailing "*" (the "!" counted).
struct LogPattern {
  bool wildcard = false;
  uint32_t length = 0;
  uint32_t negated = 0;  // 0 or 1
};

// A rule as given, followed by its two compiled patterns (compiled only where the rule's flag is
// set).
struct LogCompiledRule {
  uint32_t flags = 0;
  char module[128] = {};
  uint32_t levels = 0;
  char thread[128] = {};
  LogPattern module_pattern;
  LogPattern thread_pattern;
};

enum class LogMatch { none, match, negated };

LogPattern compile_log_pattern(const char* pattern);
// Copies the rule (each pattern's last byte forced to NUL), merges `extra_levels` into its mask
// (and sets the level flag when they aren't 0), and compiles its patterns.
LogCompiledRule compile_log_rule(const qk_log_output_rule& rule, unsigned extra_levels);

LogMatch match_log_pattern(const char* pattern, const LogPattern& compiled, std::string_view name);

// True when the rules accept a record of this level, module and thread.
bool log_rules_accept(const LogCompiledRule* rules, size_t count, unsigned level, std::string_view module,
                      std::string_view thread);

// The levels an output with these rules may take: the or of the masks, a rule without a level
// check counting as every level.
uint32_t log_rules_levels(const LogCompiledRule* rules, size_t count);

}  // namespace qk
