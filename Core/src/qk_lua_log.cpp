// The log library of a state: the script's way into qk_log (qk_log.h). No function of it is ever
// refused by the sandbox.
//
//   write(module, level, format, ...)        logs under `module` at `level` (an integer)
//   alert, error, warning, info, debug(format, ...)
//                                            log at their level under the state's "QK.id" (or
//                                            "LUA" when that isn't a string), the name `print`
//                                            logs under too
//   set_output(logname, module, level, format)
//                                            one rule for the output `logname`: the module pattern
//                                            (checked unless empty) and the levels (checked unless
//                                            0); qk_log_set_output
//   set_output_rules(logname, rules, levels, format)
//                                            the output's rules from an array of tables
//                                            {module =, thread =, level =}, walked from 1 up to the
//                                            first entry that isn't a table, at most 16;
//                                            qk_log_set_output_rules
//   backup(logname [, options])              asks for backups of the output's file
//
// Constants, set in this order: ALERT 0x2, ERROR 0x8, WARNING 0x10, INFO 0x40, DEBUG 0x80, ALL and
// ALL_LEVELS 0xFF, TRACE 0x100, RELIABLE 0x8000 (levels); MESSAGE 0, TIME and TIME_UTC 0x1,
// TIME_RELATIVE 0x80, TIME_LOCAL 0x81, MODULE 0x4, THREAD 0x8, LEVEL 0x2, FULL 0x10F, EXTRA_INFO
// and MODELTIME 0x200, NO_HEADER_FOOTER 0x4000, BACKUP 0x8000 (format bits); ASYNC 0, IMMEDIATE 1
// (the log's modes). Equal values mean different things where they belong: ERROR and THREAD are
// both 8, LEVEL and ALERT both 2.
//
// The text of a log call. With arguments behind the format, the text is string.format of the
// format and those arguments, called through the global `string` (which must be a table, else
// Lua's indexing error is raised) in a protected call; when formatting fails the format itself is
// logged as it stands, with no error. A format alone is logged as it stands, so "100%" is fine.
// A call with no text at all (log.info(), log.info({})) logs an empty line.
//
// Backups. A format with BACKUP (0x8000) sends the format without that bit and asks for backups of
// `logname` with the default limits. The limits start at 10 MiB in all and seven days
// (qk::log::limits); the fields `log.max_total_size_mbytes` and `log.max_age_days` of the log
// table, which a script may set, replace them when they are numbers, and so do the same fields of
// `options` in log.backup. Values are whole numbers (lua_tointeger); a negative one counts as 0, no
// limit. The defaults are read from the table as the opener made it (kept in the registry), so
// they hold even when the global `log` is replaced.
//
// Bad arguments raise Lua's standard argument errors; `rules` must be a table. Functions run on the
// state's thread and call the log's thread-safe entry points.
#include <cstring>

#include "qk_log.h"
#include "qk_lua.h"

namespace {

// The address of this variable is the registry key of the log table.
char log_table_key;

// The text of a log call whose format is at `index`; see the file's comment. The text lives on
// the stack until the function returns.
const char* log_text(lua_State* L, int index) {
  const int count = lua_gettop(L);
  if (count <= index) return lua_tolstring(L, index, nullptr);
  lua_getfield(L, LUA_GLOBALSINDEX, "string");
  lua_getfield(L, -1, "format");
  lua_remove(L, -2);
  for (int i = index; i <= count; ++i) lua_pushvalue(L, i);
  if (qk_lua_pcall(L, count - index + 1, 1, 0) == 0) return lua_tostring(L, -1);
  lua_pop(L, 1);
  return lua_tolstring(L, index, nullptr);
}

int write_with_module(lua_State* L) {
  const char* module = luaL_checkstring(L, 1);
  const auto level = unsigned(luaL_checkinteger(L, 2));
  qk_log_write(module, level, log_text(L, 3));
  return 0;
}

// log.alert ... log.debug: the level is the closure's upvalue.
int write_at_level(lua_State* L) {
  const auto level = unsigned(lua_tointeger(L, lua_upvalueindex(1)));
  const char* text = log_text(L, 1);
  lua_getfield(L, LUA_REGISTRYINDEX, "QK.id");
  const char* module = lua_type(L, -1) == LUA_TSTRING ? lua_tostring(L, -1) : "LUA";
  qk_log_write(module, level, text);
  return 0;
}

// ---- Backups -----------------------------------------------------------------------------------

// The limits' fields of the table at `index`, over `limits`.
void read_limits(lua_State* L, int index, qk::log::limits& limits) {
  lua_getfield(L, index, "max_age_days");
  if (lua_isnumber(L, -1)) {
    const lua_Integer days = lua_tointeger(L, -1);
    limits.max_age = days < 0 ? 0 : uint64_t(days) * 86400u;
  }
  lua_pop(L, 1);
  lua_getfield(L, index, "max_total_size_mbytes");
  if (lua_isnumber(L, -1)) {
    const lua_Integer mbytes = lua_tointeger(L, -1);
    limits.max_total_size = mbytes < 0 ? 0 : uint64_t(mbytes) << 20;
  }
  lua_pop(L, 1);
}

// The default limits over which the log table's fields are read.
qk::log::limits table_limits(lua_State* L) {
  qk::log::limits limits;
  lua_pushlightuserdata(L, &log_table_key);
  lua_rawget(L, LUA_REGISTRYINDEX);
  if (lua_istable(L, -1)) read_limits(L, lua_gettop(L), limits);
  lua_pop(L, 1);
  return limits;
}

void backup_if_asked(lua_State* L, const char* logname, lua_Integer format) {
  if (!(format & qk::log::BACKUP)) return;
  const qk::log::limits limits = table_limits(L);
  qk_log_backup(logname, &limits);
}

int backup(lua_State* L) {
  const char* logname = luaL_checkstring(L, 1);
  qk::log::limits limits = table_limits(L);
  if (lua_istable(L, 2)) read_limits(L, 2, limits);
  qk_log_backup(logname, &limits);
  return 0;
}

// ---- Outputs -----------------------------------------------------------------------------------

int set_output(lua_State* L) {
  const char* logname = luaL_checkstring(L, 1);
  const char* module = luaL_checkstring(L, 2);
  const auto level = unsigned(luaL_checkinteger(L, 3));
  const lua_Integer format = luaL_checkinteger(L, 4);
  qk_log_set_output(logname, module, level, unsigned(format) & ~unsigned(qk::log::BACKUP));
  backup_if_asked(L, logname, format);
  return 0;
}

constexpr int kMaxRules = 16;

// A pattern field of the rule table on top: a string or a number is copied (127 bytes at most) and
// turns the check on, an empty one too; anything else leaves the check off.
void read_pattern(lua_State* L, const char* field, char (&pattern)[128], uint32_t flag, uint32_t& flags) {
  lua_getfield(L, -1, field);
  if (lua_isstring(L, -1)) {
    size_t length = 0;
    const char* text = lua_tolstring(L, -1, &length);
    if (length > sizeof pattern - 1) length = sizeof pattern - 1;
    std::memcpy(pattern, text, length);
    pattern[length] = 0;
    flags |= flag;
  }
  lua_pop(L, 1);
}

int set_output_rules(lua_State* L) {
  const char* logname = luaL_checkstring(L, 1);
  const auto levels = unsigned(luaL_checkinteger(L, 3));
  const lua_Integer format = luaL_checkinteger(L, 4);
  luaL_checktype(L, 2, LUA_TTABLE);
  qk_log_output_rule rules[kMaxRules] = {};
  int count = 0;
  for (; count < kMaxRules; ++count) {
    lua_rawgeti(L, 2, count + 1);
    if (!lua_istable(L, -1)) {
      lua_pop(L, 1);
      break;
    }
    qk_log_output_rule& rule = rules[count];
    read_pattern(L, "module", rule.module, QK_LOG_RULE_MODULE, rule.flags);
    read_pattern(L, "thread", rule.thread, QK_LOG_RULE_THREAD, rule.flags);
    lua_getfield(L, -1, "level");
    if (lua_isnumber(L, -1)) {
      rule.levels = unsigned(lua_tointeger(L, -1));
      rule.flags |= QK_LOG_RULE_LEVELS;
    }
    lua_pop(L, 2);
  }
  qk_log_set_output_rules(logname, uint64_t(count), rules, levels,
                          unsigned(format) & ~unsigned(qk::log::BACKUP));
  backup_if_asked(L, logname, format);
  return 0;
}

// ---- The table -----------------------------------------------------------------------------------

struct Constant {
  const char* name;
  unsigned value;
  const char* function;  // the function that logs at this level, or null
};

const Constant constants[] = {
    {"ALERT", qk::log::ALERT, "alert"},
    {"ERROR", qk::log::ERROR, "error"},
    {"WARNING", qk::log::WARNING, "warning"},
    {"INFO", qk::log::INFO, "info"},
    {"DEBUG", qk::log::DEBUG, "debug"},
    {"ALL", qk::log::ALL, nullptr},
    {"ALL_LEVELS", qk::log::ALL_LEVELS, nullptr},
    {"TRACE", qk::log::TRACE, nullptr},
    {"RELIABLE", qk::log::RELIABLE, nullptr},
    {"MESSAGE", qk::log::MESSAGE, nullptr},
    {"TIME", qk::log::TIME, nullptr},
    {"TIME_UTC", qk::log::TIME, nullptr},
    {"TIME_RELATIVE", qk::log::TIME_RELATIVE, nullptr},
    {"TIME_LOCAL", qk::log::TIME_LOCAL, nullptr},
    {"MODULE", qk::log::MODULE, nullptr},
    {"THREAD", qk::log::THREAD, nullptr},
    {"LEVEL", qk::log::LEVEL, nullptr},
    {"FULL", qk::log::FULL, nullptr},
    {"EXTRA_INFO", qk::log::EXTRA_INFO, nullptr},
    {"MODELTIME", qk::log::MODELTIME, nullptr},
    {"NO_HEADER_FOOTER", qk::log::NO_HEADER_FOOTER, nullptr},
    {"BACKUP", qk::log::BACKUP, nullptr},
    {"ASYNC", qk::log::ASYNC, nullptr},
    {"IMMEDIATE", qk::log::IMMEDIATE, nullptr},
};

const luaL_Reg log_functions[] = {
    {"write", write_with_module}, {"set_output", set_output}, {"set_output_rules", set_output_rules},
    {"backup", backup},           {nullptr, nullptr},
};

}  // namespace

int qk_lua_open_log(lua_State* L) {
  luaL_register(L, "log", log_functions);
  lua_pushlightuserdata(L, &log_table_key);
  lua_pushvalue(L, -2);
  lua_rawset(L, LUA_REGISTRYINDEX);
  for (const Constant& constant : constants) {
    lua_pushinteger(L, lua_Integer(constant.value));
    lua_setfield(L, -2, constant.name);
    if (constant.function) {
      lua_pushinteger(L, lua_Integer(constant.value));
      lua_pushcclosure(L, write_at_level, 1);
      lua_setfield(L, -2, constant.function);
    }
  }
  return 1;
}
