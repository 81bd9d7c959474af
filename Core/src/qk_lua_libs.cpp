// The opener of debug; base, package, io, os (with lfs) and log have files of their own.
#include "qk_lua.h"

namespace {

// Names removed from the debug library. None: the debug library is complete and unrestricted.
const char* const hidden_debug_functions[] = {nullptr};

}  // namespace

int qk_lua_open_debug(lua_State* L) {
  luaopen_debug(L);
  for (const char* const* name = hidden_debug_functions; *name; ++name) {
    lua_pushnil(L);
    lua_setfield(L, -2, *name);
  }
  return 1;
}
