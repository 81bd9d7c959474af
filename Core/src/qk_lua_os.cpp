// The os library of a state: Lua's stock os with what could hurt the host taken out or routed
// through the sandbox (qk_lua_sandbox.h). Its opener opens lfs first, so that every state has the
// global `lfs` without a line of its own in the list of libraries.
//
//   clock, date, difftime, time   stock, never refused
//   execute(command)              stock, behind a guard: refused at every level but 0 (a negative
//                                 level too), the refusal named "execute"; at level 0 the stock
//                                 function runs in a protected call, and if it raises, the log has
//                                 "sanbox('execute'): <message>" at ERROR under "LUA" and the
//                                 script gets nothing back (no error)
//   remove(path)                  true, or nil and "os.remove('%s') failed. See log for details."
//                                 (a missing file leaves no log line, any other failure the
//                                 platform layer's). From level 3 refused; at levels 1 and 2 the
//                                 path must be writable.
//   rename(oldname, newname)      true, or nil and "os.rename('%s', '%s') failed. See log for
//                                 details."; replaces an existing newname. From level 3 refused as
//                                 "lfs.rename"; at levels 1 and 2 both names must be writable, else
//                                 refused as "lfs.remove" with oldname. (These texts are the
//                                 refusals' fixed wording, which log readers match.)
//   getpid()                      the process id
//   open_uri(uri)                 0 when the desktop's opener was started, else the shell's error
//                                 code (qk_shell_open); refused at every level but 0
//   getenv(name)                  the value (SYS_getenv, 32,768 bytes of room), or nil for an
//                                 unset, empty, too big or badly encoded variable; refused from
//                                 level 4
//   exit, setlocale, tmpname      nil: a script can't end the host, change its locale or make names
//                                 of files outside the sandbox
//
// Paths are real paths of the system, relative to the working directory unless they begin with
// "/", as for lfs. A missing path argument raises "path is required", "oldname is required" or
// "newname is required"; numbers serve as texts. A refusal answers nil and "NAME(ARGUMENT):
// sandbox violation" and logs it; it is never a Lua error. Functions run on the state's thread.
#include "platform/qk_fs.h"
#include "platform/qk_platform.h"
#include "qk_env.h"
#include "qk_log.h"
#include "qk_lua.h"
#include "qk_lua_sandbox.h"

namespace {

// The functions that stay stock behind the guard; their texts' addresses are their registry keys.
const char kExecute[] = "execute";
const char* const wrapped_functions[] = {kExecute, nullptr};

// The stock function of a wrapped name, called only at level 0. Its name is the closure's upvalue.
int guard(lua_State* L) {
  const char* name = static_cast<const char*>(lua_touserdata(L, lua_upvalueindex(1)));
  if (qk_lua_sandbox_level(L) != 0) {
    const char* argument = lua_tostring(L, 1);
    return qk_lua_sandbox_violation(L, name ? name : "unknown function", argument ? argument : "nil");
  }
  const int count = lua_gettop(L);
  lua_pushlightuserdata(L, const_cast<char*>(name));
  lua_rawget(L, LUA_REGISTRYINDEX);
  lua_insert(L, 1);
  if (lua_pcall(L, count, 1, 0) == 0) return 1;
  const char* message = lua_tostring(L, -1);
  qk_log("LUA", qk::log::ERROR, "sanbox('%s'): %s", name ? name : "unknown func",
         message ? message : "unknown error");
  return 0;
}

const char* required(lua_State* L, int index, const char* message) {
  const char* text = lua_tostring(L, index);
  if (!text) luaL_argerror(L, index, message);
  return text;
}

int os_remove(lua_State* L) {
  const char* path = required(L, 1, "path is required");
  const int level = qk_lua_sandbox_level(L);
  if (level >= 3 || (level >= 1 && !qk_lua_path_writable(L, path)))
    return qk_lua_sandbox_violation(L, "os.remove", path);
  if (qk_fs_delete(path, false)) {
    lua_pushboolean(L, 1);
    return 1;
  }
  lua_pushnil(L);
  lua_pushfstring(L, "os.remove('%s') failed. See log for details.", path);
  return 2;
}

int os_rename(lua_State* L) {
  const char* old_name = required(L, 1, "oldname is required");
  const char* new_name = required(L, 2, "newname is required");
  const int level = qk_lua_sandbox_level(L);
  if (level >= 3) return qk_lua_sandbox_violation(L, "lfs.rename", old_name);
  if (level >= 1 && !(qk_lua_path_writable(L, old_name) && qk_lua_path_writable(L, new_name)))
    return qk_lua_sandbox_violation(L, "lfs.remove", old_name);
  if (qk_fs_move(old_name, new_name)) {
    lua_pushboolean(L, 1);
    return 1;
  }
  lua_pushnil(L);
  lua_pushfstring(L, "os.rename('%s', '%s') failed. See log for details.", old_name, new_name);
  return 2;
}

int os_getpid(lua_State* L) {
  lua_pushinteger(L, lua_Integer(qk_platform_process_id()));
  return 1;
}

int os_open_uri(lua_State* L) {
  const char* uri = luaL_checkstring(L, 1);
  if (qk_lua_sandbox_level(L) != 0) return qk_lua_sandbox_violation(L, "os.open_uri", uri);
  lua_pushinteger(L, qk_shell_open(uri));
  return 1;
}

int os_getenv(lua_State* L) {
  const char* name = luaL_checkstring(L, 1);
  if (qk_lua_sandbox_level(L) >= 4) return qk_lua_sandbox_violation(L, "os.getenv", name);
  char value[32768];
  if (SYS_getenv(name, value, sizeof value))
    lua_pushstring(L, value);
  else
    lua_pushnil(L);
  return 1;
}

const luaL_Reg os_functions[] = {
    {"remove", os_remove},     {"rename", os_rename}, {"getpid", os_getpid},
    {"open_uri", os_open_uri}, {"getenv", os_getenv}, {nullptr, nullptr},
};

const char* const removed_names[] = {"tmpname", "exit", "setlocale", "rename", "getpid", nullptr};

}  // namespace

int qk_lua_open_os(lua_State* L) {
  lua_pushcfunction(L, qk_lua_open_lfs);
  lua_pushstring(L, "lfs");
  lua_call(L, 1, 0);
  luaopen_os(L);
  for (const char* const* name = removed_names; *name; ++name) {
    lua_pushnil(L);
    lua_setfield(L, -2, *name);
  }
  luaL_register(L, nullptr, os_functions);
  // Each wrapped function moves to the registry, keyed by its name's address, and the guard takes
  // its place with that address as its upvalue.
  for (const char* const* name = wrapped_functions; *name; ++name) {
    void* key = const_cast<char*>(*name);
    lua_pushlightuserdata(L, key);
    lua_getfield(L, -2, *name);
    lua_rawset(L, LUA_REGISTRYINDEX);
    lua_pushlightuserdata(L, key);
    lua_pushcclosure(L, guard, 1);
    lua_setfield(L, -2, *name);
  }
  return 2;
}
