#include "LuaConfig.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <exception>

#include "LuaThreadUse.h"

namespace Lua {

namespace {

// A truncating conversion to 64 bits as the processor does it: a value that has no 64-bit integer
// (NaN, infinities, out of range) gives the "integer indefinite" value 0x8000000000000000.
int64_t truncate_to_int64(double value) {
  if (!(value > -9223372036854775808.0 && value < 9223372036854775808.0)) return INT64_MIN;
  return static_cast<int64_t>(value);
}

// Lua's own string form of a number (LUA_NUMBER_FMT, "%.14g"), written here rather than by
// lua_tolstring: Lua's conversion makes a new string in the state for each number, whose garbage
// then drives collection steps over the whole catalogue table while it is being read. A whole
// number of at most 14 digits is plain digits and needs no formatter (-0 keeps its sign through
// the formatter). Any other number goes through std::to_chars with the general form and 14
// digits, which the language defines as printf's "%.14g" in the "C" locale, so the text is the
// one Lua's lua_number2str writes, byte for byte, at a tenth of snprintf's cost (a catalogue's
// fractions, such as a roughness of 0.3, are the common case). A NaN is written as glibc prints
// it, on every system.
void number_text(lua_Number value, std::string& out) {
  // C runtimes print a NaN differently (glibc "-nan" when its sign is set, as 0/0 leaves it on
  // x86; mingw-w64's runtime "nan" either way): glibc's form is written here, so that a catalogue
  // reads the same on every system.
  if (std::isnan(value)) {
    out = std::signbit(value) ? "-nan" : "nan";
    return;
  }
  char digits[40];
  if (value > -1e14 && value < 1e14 && value == std::trunc(value) && !(value == 0 && std::signbit(value))) {
    char* const end = digits + sizeof digits;
    char* first = end;
    uint64_t magnitude = uint64_t(value < 0 ? -value : value);
    do {
      *--first = char('0' + magnitude % 10);
      magnitude /= 10;
    } while (magnitude != 0);
    if (value < 0) *--first = '-';
    out.assign(first, end);
    return;
  }
  const std::to_chars_result written =
      std::to_chars(digits, digits + sizeof digits, value, std::chars_format::general, 14);
  out.assign(digits, written.ptr);
}

static_assert(sizeof(LUA_NUMBER_FMT) == 6 && LUA_NUMBER_FMT[0] == '%' && LUA_NUMBER_FMT[1] == '.' &&
                  LUA_NUMBER_FMT[2] == '1' && LUA_NUMBER_FMT[3] == '4' && LUA_NUMBER_FMT[4] == 'g',
              "number_text writes numbers as \"%.14g\" writes them");

}  // namespace

Config::Config(lua_State* state, int index, bool detach)
    : L(state), top(lua_gettop(state)), detached(detach), exceptionsAtStart(std::uncaught_exceptions()) {
  if (detached) return;
  qk_lua_thread_use_begin(L);
  lua_pushvalue(L, index);
}

Config::~Config() {
  if (detached) return;
  qk_lua_thread_use_end(L);
  if (std::uncaught_exceptions() > exceptionsAtStart && lua_gettop(L) > top) {
    // Unwinding: keep the value on top, which is the error object when Lua raised.
    if (lua_gettop(L) > top + 1) lua_replace(L, top + 1);
    lua_settop(L, top + 1);
    return;
  }
  lua_settop(L, top);
}

int Config::resolve(const char* path) {
  if (!lua_istable(L, -1)) return 0;
  const char* last_dot = std::strrchr(path, '.');
  if (!last_dot) {
    lua_pushstring(L, path);
    return 1;
  }
  lua_pushvalue(L, -1);
  // Each segment before the last dot steps one level down; empty segments are legal keys. A step
  // may land on any non-nil value: it is checked only when the next segment comes.
  for (const char* segment = path; segment <= last_dot;) {
    const char* dot = std::strchr(segment, '.');
    lua_pushlstring(L, segment, size_t(dot - segment));
    if (!lua_istable(L, -2)) {
      lua_pop(L, 2);
      return 0;
    }
    lua_gettable(L, -2);
    if (lua_isnil(L, -1)) {
      lua_pop(L, 2);
      return 0;
    }
    lua_remove(L, -2);
    segment = dot + 1;
  }
  lua_pushstring(L, last_dot + 1);
  return 2;
}

int Config::resolveOf(std::initializer_list<int> segments) {
  if (!lua_istable(L, -1)) return 0;
  if (segments.size() == 1) {
    lua_pushvalue(L, *segments.begin());
    return 1;
  }
  lua_pushvalue(L, -1);
  const int* last = segments.end() - 1;
  for (const int* segment = segments.begin(); segment != last; ++segment) {
    lua_pushvalue(L, *segment);
    if (!lua_istable(L, -2)) {
      lua_pop(L, 2);
      return 0;
    }
    lua_gettable(L, -2);
    if (lua_isnil(L, -1)) {
      lua_pop(L, 2);
      return 0;
    }
    lua_remove(L, -2);
  }
  lua_pushvalue(L, *last);
  return 2;
}

void Config::finishField(int resolved) {
  if (resolved == 0) {
    lua_pushnil(L);
    return;
  }
  lua_gettable(L, -2);
  if (resolved == 2) lua_remove(L, -2);
}

bool Config::keepTable() {
  if (lua_istable(L, -1)) return true;
  lua_pop(L, 1);
  return false;
}

void Config::pushField(const char* path) { finishField(resolve(path)); }

bool Config::pushTable(const char* path) {
  pushField(path);
  return keepTable();
}

void Config::pushFieldOf(std::initializer_list<int> segments) { finishField(resolveOf(segments)); }

bool Config::pushTableOf(std::initializer_list<int> segments) {
  pushFieldOf(segments);
  return keepTable();
}

void Config::pushIndex(int i) {
  if (!lua_istable(L, -1)) {
    lua_pushnil(L);
    return;
  }
  lua_pushnumber(L, i);
  lua_gettable(L, -2);
}

bool Config::popInt(uint32_t& out) {
  const bool ok = lua_isnumber(L, -1) != 0;
  if (ok) out = static_cast<uint32_t>(truncate_to_int64(lua_tonumber(L, -1)));
  lua_pop(L, 1);
  return ok;
}

bool Config::popString(std::string& out) {
  // lua_isstring's test (a string or a number), from one look at the type.
  const int type = lua_type(L, -1);
  if (type == LUA_TNUMBER) {
    number_text(lua_tonumber(L, -1), out);
  } else if (type == LUA_TSTRING) {
    // Up to the first NUL: an embedded zero cuts the text. The text is the state's, never `out`'s,
    // so a plain append does (an assignment checks for overlap first).
    const char* text = lua_tolstring(L, -1, nullptr);
    out.clear();
    out.append(text, std::strlen(text));
  }
  lua_pop(L, 1);
  return type == LUA_TNUMBER || type == LUA_TSTRING;
}

bool Config::popBool(bool& out) {
  bool ok = true;
  if (lua_isboolean(L, -1))
    out = lua_toboolean(L, -1) != 0;
  else if (lua_isnumber(L, -1))
    out = lua_tonumber(L, -1) != 0.0;
  else
    ok = false;
  lua_pop(L, 1);
  return ok;
}

}  // namespace Lua
