#include "qk_lua_sandbox.h"

#include "qk_locations.h"
#include "qk_log.h"
#include "qk_path.h"

namespace {

// The address of this variable is the registry key of the level.
char level_key;

}  // namespace

int qk_lua_sandbox_level(lua_State* L) {
  lua_pushlightuserdata(L, &level_key);
  lua_rawget(L, LUA_REGISTRYINDEX);
  const int level = int(lua_tointeger(L, -1));
  lua_pop(L, 1);
  return level;
}

void qk_lua_set_sandbox_level(lua_State* L, int level) {
  lua_pushlightuserdata(L, &level_key);
  lua_pushinteger(L, level);
  lua_rawset(L, LUA_REGISTRYINDEX);
}

bool qk_lua_path_readable(lua_State*, const char* path) {
  // Every directory is asked, without stopping at the first that holds the path.
  const int current = qk_path_is_under(VFS_current_dir(), path);
  const int write = qk_path_is_under(VFS_write_dir(), path);
  const int temp = qk_path_is_under(VFS_temp_dir(), path);
  return current || write || temp;
}

bool qk_lua_path_writable(lua_State*, const char* path) {
  const int write = qk_path_is_under(VFS_write_dir(), path);
  const int temp = qk_path_is_under(VFS_temp_dir(), path);
  return write || temp;
}

int qk_lua_sandbox_violation(lua_State* L, const char* function, const char* argument) {
  lua_getfield(L, LUA_REGISTRYINDEX, "QK.id");
  const char* id = lua_type(L, -1) == LUA_TSTRING ? lua_tostring(L, -1) : "?";
  lua_pushnil(L);
  const char* message = argument ? lua_pushfstring(L, "%s(%s): sandbox violation", function, argument)
                                 : lua_pushfstring(L, "%s(): sandbox violation", function);
  qk_log("LUA", qk::log::ERROR, "%s -> %s", id, message);
  return 2;
}
