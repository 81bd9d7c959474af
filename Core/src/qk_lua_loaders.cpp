// The script functions that load chunks by name: the base library's `loadfile` and `dofile`, and
// the package library's Lua loader. All three go through qk_lua_loadfile / qk_lua_load_source, so
// a name that begins with "/" is read from the virtual file system and any other from the disk.
#include <string>

#include "qk_lua.h"
#include "qk_lua_source.h"

namespace {

// The separator that replaces the dots of a module name: the system's own ("/" here), as in the
// stock loader. Virtual paths take "\" as well, so a template such as "/scripts/?.lua" works alike.
constexpr char kDirectorySeparator = '/';

}  // namespace

int qk_lua_loadfile_function(lua_State* L) {
  const int status = qk_lua_loadfile(L, lua_tostring(L, 1));
  if (status == 0) return 1;
  lua_pushnil(L);
  lua_insert(L, -2);
  return 2;
}

int qk_lua_dofile_function(lua_State* L) {
  const char* name = luaL_optstring(L, 1, nullptr);
  const int height = lua_gettop(L);
  if (qk_lua_loadfile(L, name) != 0) return lua_error(L);
  lua_call(L, 0, LUA_MULTRET);
  return lua_gettop(L) - height;
}

int qk_lua_package_loader(lua_State* L) {
  std::string name = luaL_checkstring(L, 1);
  for (char& c : name)
    if (c == '.') c = kDirectorySeparator;
  lua_getfield(L, lua_upvalueindex(1), "path");
  const char* path = lua_tostring(L, -1);
  if (!path) return luaL_error(L, "'package.%s' must be a string", "path");
  const std::string templates = path;
  lua_pop(L, 1);

  luaL_Buffer message;
  luaL_buffinit(L, &message);
  for (size_t at = 0; at <= templates.size();) {
    size_t end = templates.find(';', at);
    if (end == std::string::npos) end = templates.size();
    std::string filename = templates.substr(at, end - at);
    at = end + 1;
    if (filename.empty()) continue;
    for (size_t mark = filename.find('?'); mark != std::string::npos;
         mark = filename.find('?', mark + name.size()))
      filename.replace(mark, 1, name);
    const int status = qk_lua_load_source(L, filename.c_str());
    if (status == -1) {
      lua_pushfstring(L, "\n\tno file '%s'", filename.c_str());
      luaL_addvalue(&message);
      continue;
    }
    if (status == 0) return 1;
    return luaL_error(L, "error loading module '%s' from file '%s':\n\t%s", lua_tostring(L, 1),
                      filename.c_str(), lua_tostring(L, -1));
  }
  luaL_pushresult(&message);
  return 1;
}
