// The openers of the libraries that qk_lua_openlibs opens.
//
// Each opener starts from Lua's stock library of its name. In this build the system's own print,
// the built-in module loader, io, os and log library are not there yet: the stock libraries serve,
// and the log library is an empty table. `loadfile`, `dofile` and the Lua module loader are the
// system's, so that names beginning with "/" come from the virtual file system.
#include "qk_lua.h"

namespace {

// Names removed from the debug library. None: the debug library is complete and unrestricted.
const char* const hidden_debug_functions[] = {nullptr};

}  // namespace

int qk_lua_open_base(lua_State* L) {
  const int results = luaopen_base(L);
  lua_register(L, "loadfile", qk_lua_loadfile_function);
  lua_register(L, "dofile", qk_lua_dofile_function);
  return results;
}

int qk_lua_open_package(lua_State* L) {
  const int results = luaopen_package(L);
  const int package = lua_gettop(L);
  lua_getfield(L, package, "loaders");
  if (!lua_isnil(L, -1)) {
    lua_pushvalue(L, package);
    lua_pushcclosure(L, qk_lua_package_loader, 1);
    lua_rawseti(L, -2, 2);
  }
  lua_pop(L, 1);
  return results;
}
int qk_lua_open_io(lua_State* L) { return luaopen_io(L); }
int qk_lua_open_os(lua_State* L) { return luaopen_os(L); }

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
