// The openers of os, debug and log; base, package, io and lfs have files of their own.
//
// In this build the system's own os and log libraries are not there yet: os opens lfs and then the
// stock os library, and the log library is an empty table.
#include "qk_lua.h"

namespace {

// Names removed from the debug library. None: the debug library is complete and unrestricted.
const char* const hidden_debug_functions[] = {nullptr};

}  // namespace

int qk_lua_open_os(lua_State* L) {
  lua_pushcfunction(L, qk_lua_open_lfs);
  lua_pushstring(L, "lfs");
  lua_call(L, 1, 0);
  return luaopen_os(L);
}

int qk_lua_open_debug(lua_State* L) {
  luaopen_debug(L);
  for (const char* const* name = hidden_debug_functions; *name; ++name) {
    lua_pushnil(L);
    lua_setfield(L, -2, *name);
  }
  return 1;
}

int qk_lua_open_log(lua_State* L) {
  lua_newtable(L);
  lua_pushvalue(L, -1);
  lua_setglobal(L, "log");
  return 1;
}
