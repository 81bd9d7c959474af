// Lua::Config: a stack guard on a Lua state, with the reading of configuration out of tables.
//
// While a Config lives, the top of the stack is the current table and the reading operations work
// on it: push a field by a dotted path, enter a table, push an element by index, pop a value as
// text, number or bool. The destructor puts the stack back to the height it found, also when an
// exception leaves the scope; in that case the value on top is kept just above that height, since
// a Lua error unwinding through the scope has its error object there, and the protected call that
// catches it takes it from the top. Metamethods are honoured throughout (lua_gettable).
//
// A Config belongs to the thread that made it. It has no protection of its own: a Lua error raised
// by a look-up (a metamethod's error, indexing a non-table) goes to the caller's protected call,
// and without one the state panics.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>

#include <lua.hpp>

namespace Lua {

class Config {
 public:
  // Guards the stack of `L` and pushes the value at `index` as the current table. A `detached`
  // Config pushes nothing and leaves the stack as it is at its end.
  Config(lua_State* L, int index, bool detached = false);
  ~Config();
  Config(const Config&) = delete;
  Config& operator=(const Config&) = delete;

  // Pushes t[i] of the table on top, or nil when the top isn't a table.
  void pushIndex(int i);
  // Pushes the value at `path`, or nil. Dots walk nested tables; a missing step gives nil.
  void pushField(const char* path);
  // Pushes the value at `path` if it is a table; otherwise leaves the stack as it was.
  bool pushTable(const char* path);

  // pushField and pushTable for a path whose segments are strings already on the stack, given by
  // their absolute indices: the same look-ups in the same order, with the same checks, without
  // making the segments' strings again (a reader that asks for the same names thousands of times
  // pushes them once). The caller vouches that each index holds a string without a dot.
  void pushFieldOf(std::initializer_list<int> segments);
  bool pushTableOf(std::initializer_list<int> segments);

  // Pop the top whatever its type. They answer true and store the value when it has the wanted
  // type, and leave `out` untouched otherwise.
  // A number (or numeric text), cut toward zero to 64 bits; the low 32 bits are stored.
  bool popInt(uint32_t& out);
  // A string, or a number in Lua's own string form; an embedded zero ends the text.
  bool popString(std::string& out);
  // A boolean, or a number (non-zero is true).
  bool popBool(bool& out);

  lua_State* state() const { return L; }

 private:
  // Leaves the key of `path` ready on top of the table that holds it: 0 when that can't be done
  // (stack unchanged), 1 when the key is on the current table, 2 when it is on the stepped value
  // just below it.
  int resolve(const char* path);
  // resolve() for segments on the stack.
  int resolveOf(std::initializer_list<int> segments);
  // The look-up that follows a resolve answer, and the table check of pushTable.
  void finishField(int resolved);
  bool keepTable();

  lua_State* L;
  int top;
  bool detached;
  int exceptionsAtStart;  // std::uncaught_exceptions() when the guard was made
};

}  // namespace Lua
