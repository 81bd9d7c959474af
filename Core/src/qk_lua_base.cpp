// The base library of a state: Lua's stock base functions with the system's `print`, `loadfile`
// and `dofile`, and the version globals.
//
//   print(...)       each argument through the global `tostring`, joined by tabs, logged as it
//                    stands at DEBUG | RELIABLE (0x8080) under the state's "QK.id" (or "LUA"), with
//                    no newline added; never to standard output. A `tostring` that answers no
//                    string raises "'tostring' must return a string to 'print'". With no argument
//                    the line is empty.
//   loadfile(name)   qk_lua_loadfile (through the script sources and the sandbox): the chunk, or
//                    nil and the message; no name gives nil and "no filename given".
//   dofile(name)     the same, then runs the chunk and answers its results; a failure to load is
//                    raised.
//   _APP_VERSION     qk_app_version(): the version of the process's executable;
//   _ARCHITECTURE    "x86_64" (the architecture the library was built for);
//   QK_FINAL_VERSION, QK_PUBLIC_AVAILABLE   false.
#include "qk_env.h"
#include "qk_log.h"
#include "qk_lua.h"

namespace {

#if defined(__x86_64__) || defined(_M_X64)
constexpr char kArchitecture[] = "x86_64";
#elif defined(__aarch64__)
constexpr char kArchitecture[] = "arm64";
#else
constexpr char kArchitecture[] = "unknown";
#endif

int print(lua_State* L) {
  const int count = lua_gettop(L);
  lua_getglobal(L, "tostring");
  luaL_Buffer text;
  luaL_buffinit(L, &text);
  for (int i = 1; i <= count; ++i) {
    // The tab goes in while nothing of ours is above the buffer's own stack slots.
    if (i > 1) luaL_addchar(&text, '\t');
    lua_pushvalue(L, count + 1);
    lua_pushvalue(L, i);
    lua_call(L, 1, 1);
    if (lua_type(L, -1) != LUA_TSTRING) return luaL_error(L, "'tostring' must return a string to 'print'");
    luaL_addvalue(&text);
  }
  // With no argument nothing was pushed for the text: the top is `tostring` itself, whose text is
  // null, which the log writes as an empty line.
  if (count > 0) luaL_pushresult(&text);
  lua_getfield(L, LUA_REGISTRYINDEX, "QK.id");
  const char* module = lua_type(L, -1) == LUA_TSTRING ? lua_tostring(L, -1) : "LUA";
  qk_log_write(module, qk::log::DEBUG | qk::log::RELIABLE, lua_tostring(L, -2));
  return 0;
}

int loadfile(lua_State* L) {
  const int status = qk_lua_loadfile(L, lua_tostring(L, 1));
  if (status == 0) return 1;
  lua_pushnil(L);
  lua_insert(L, -2);
  return 2;
}

int dofile(lua_State* L) {
  const char* name = luaL_optstring(L, 1, nullptr);
  const int height = lua_gettop(L);
  if (qk_lua_loadfile(L, name) != 0) return lua_error(L);
  lua_call(L, 0, LUA_MULTRET);
  return lua_gettop(L) - height;
}

}  // namespace

int qk_lua_open_base(lua_State* L) {
  const int results = luaopen_base(L);
  lua_register(L, "print", print);
  lua_register(L, "loadfile", loadfile);
  lua_register(L, "dofile", dofile);
  lua_pushstring(L, qk_app_version());
  lua_setglobal(L, "_APP_VERSION");
  lua_pushstring(L, kArchitecture);
  lua_setglobal(L, "_ARCHITECTURE");
  lua_pushboolean(L, 0);
  lua_setglobal(L, "QK_FINAL_VERSION");
  lua_pushboolean(L, 0);
  lua_setglobal(L, "QK_PUBLIC_AVAILABLE");
  return results;
}
