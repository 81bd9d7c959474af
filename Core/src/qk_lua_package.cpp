#include "qk_lua_package.h"

#include <filesystem>
#include <mutex>
#include <string>
#include <system_error>
#include <unordered_map>
#include <vector>

#include "platform/qk_platform.h"
#include "qk/CriticalSection.h"
#include "qk_env.h"
#include "qk_lua.h"
#include "qk_lua_source.h"

namespace {

// The separator that replaces the dots of a module name: the system's own, as the stock loader
// does. Virtual paths take "\" as well, so a template such as "/scripts/?.lua" works alike.
constexpr char kDirectorySeparator = '/';

constexpr char kDefaultPath[] = "./?.lua;!/lua/?.lua;!/lua/?/init.lua;!/?.lua;!/?/init.lua";
constexpr char kDefaultCPath[] = "./lua-?.so;./?.so;!/lua-?.so;!/?.so;";

struct BuiltinModules {
  qk::CriticalSection lock;
  std::unordered_map<std::string, lua_CFunction> openers;
};

BuiltinModules& builtins() {
  static BuiltinModules table;
  return table;
}

// ---- Searchers -----------------------------------------------------------------------------

int host_lua_loader(lua_State* L) {
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

// Pushes the built-in opener, or nothing: require then takes the top, the name itself, as this
// searcher's part of its "not found" text.
int builtin_loader(lua_State* L) {
  const char* name = lua_tostring(L, 1);
  lua_CFunction opener = nullptr;
  if (name) {
    BuiltinModules& table = builtins();
    std::lock_guard<qk::CriticalSection> guard(table.lock);
    const auto found = table.openers.find(name);
    if (found != table.openers.end()) opener = found->second;
  }
  if (opener) lua_pushcfunction(L, opener);
  return 1;
}

int safe_require(lua_State* L) {
  luaL_checkstring(L, 1);
  lua_pushvalue(L, lua_upvalueindex(1));
  lua_pushvalue(L, 1);
  if (lua_pcall(L, 1, 1, 0) != 0) {
    lua_pop(L, 1);
    lua_pushnil(L);
  }
  return 1;
}

// ---- Paths ---------------------------------------------------------------------------------

// The folder of the executable as a real path the script sources read from the disk.
std::string program_folder() {
  namespace fs = std::filesystem;
  std::string executable;
  if (!qk_platform_executable_path(executable)) return ".";
  const fs::path folder = fs::path(executable).parent_path();
  std::error_code error;
  const fs::path cwd = fs::current_path(error);
  if (error) return folder.string();
  const fs::path relative = folder.lexically_relative(cwd);
  return relative.empty() ? folder.string() : relative.string();
}

std::string replace_all(std::string text, const std::string& what, const std::string& with) {
  for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + with.size()))
    text.replace(at, what.size(), with);
  return text;
}

// package[field]: the variable's value with ";;" standing for the default, else the default, and
// then every "!" made the executable's folder.
void set_path(lua_State* L, int package, const char* field, const char* variable, const char* fallback,
              const std::string& folder) {
  std::vector<char> value(0x30000);  // 65,535 units of up to three bytes
  std::string path = fallback;
  if (SYS_getenv(variable, value.data(), value.size()))
    path = replace_all(replace_all(value.data(), ";;", ";\1;"), "\1", fallback);
  path = replace_all(path, "!", folder);
  lua_pushlstring(L, path.data(), path.size());
  lua_setfield(L, package, field);
}

}  // namespace

void qk_lua_register_builtin(const char* name, lua_CFunction opener) {
  BuiltinModules& table = builtins();
  std::lock_guard<qk::CriticalSection> guard(table.lock);
  if (opener)
    table.openers[name] = opener;
  else
    table.openers.erase(name);
}

int qk_lua_open_package(lua_State* L) {
  const int results = luaopen_package(L);
  const int package = lua_gettop(L);
  lua_getfield(L, package, "loaders");
  if (!lua_isnil(L, -1)) {
    lua_pushvalue(L, package);
    lua_pushcclosure(L, host_lua_loader, 1);
    lua_rawseti(L, -2, 2);
    for (int i = int(lua_objlen(L, -1)); i >= 3; --i) {
      lua_rawgeti(L, -1, i);
      lua_rawseti(L, -2, i + 1);
    }
    lua_pushcfunction(L, builtin_loader);
    lua_rawseti(L, -2, 3);
  }
  lua_pop(L, 1);

  const std::string folder = program_folder();
  set_path(L, package, "path", "LUA_PATH", kDefaultPath, folder);
  set_path(L, package, "cpath", "LUA_CPATH", kDefaultCPath, folder);

  lua_getglobal(L, "require");
  lua_pushcclosure(L, safe_require, 1);
  lua_setglobal(L, "safe_require");
  return results;
}
