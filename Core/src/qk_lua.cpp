// Life of a state: creation with the system's allocator and panic, loading through a script
// source, running, closing.
#include "qk_lua.h"

#include <cstdlib>
#include <memory>

#include "LuaStateRegistry.h"
#include "LuaThreadUse.h"
#include "platform/qk_platform.h"
#include "qk_locations.h"
#include "qk_log.h"
#include "qk_lua_sandbox.h"
#include "qk_lua_source.h"
#include "qk_memory.h"
#include "qk_path.h"
#include "qkvfs/LuaSource.h"

namespace {

constexpr char kIdKey[] = "QK.id";

// Index 1, not -1: when Lua panics it has reset the stack to hold the error object alone.
int panic(lua_State* L) {
  qk_log("LUA", qk::log::ALERT, "Lua panic: %s", lua_tostring(L, 1));
  qk_platform_debug_break();
  return 0;  // a debugger let the process go on: Lua ends it
}

// The address of this variable is the registry key of an installed source.
char source_key;

qkvfs::LuaSource default_source;

// The sandbox's rule for loading a chunk, apart from the level table: level 1 wants a readable
// path, level 2 one under the current directory, and every other level (3 and up too) loads
// anything.
bool may_load(lua_State* L, const char* filename) {
  switch (qk_lua_sandbox_level(L)) {
    case 1: return qk_lua_path_readable(L, filename);
    case 2: return qk_path_is_under(VFS_current_dir(), filename) != 0;
    default: return true;
  }
}

const char* read_piece(lua_State* L, void* reader, size_t* size) {
  return static_cast<qk::ILuaReader*>(reader)->read(L, size);
}

}  // namespace

lua_State* qk_lua_newstate(const char* name) {
  std::unique_ptr<LuaStateStats> record = qk_lua_make_record(name);
  lua_State* L = lua_newstate(qk_lua_state_alloc, record.get());
  lua_atpanic(L, panic);
  lua_pushstring(L, name);
  lua_setfield(L, LUA_REGISTRYINDEX, kIdKey);
  LuaStateRegistry::instance().insert(L, std::move(record));
  qk_log("LUA", qk::log::TRACE, "Created state \"%s\" - %p", name, static_cast<void*>(L));
  return L;
}

void qk_lua_openlibs(lua_State* L) {
  static const luaL_Reg libs[] = {
      {"", qk_lua_open_base},           {"package", qk_lua_open_package},
      {"table", luaopen_table},         {"io", qk_lua_open_io},
      {"os", qk_lua_open_os},           {"string", luaopen_string},
      {"math", luaopen_math},           {"debug", qk_lua_open_debug},
      {"log", qk_lua_open_log},
  };
  for (const luaL_Reg& lib : libs) {
    lua_pushcfunction(L, lib.func);
    lua_pushstring(L, lib.name);
    lua_call(L, 1, 0);
  }
}

int qk_lua_loadfile(lua_State* L, const char* filename) {
  if (!filename) {
    lua_pushstring(L, "no filename given");
    return LUA_ERRFILE;
  }
  char id[256];
  lua_getfield(L, LUA_REGISTRYINDEX, kIdKey);
  if (lua_type(L, -1) == LUA_TSTRING)
    qk_snprintf(id, sizeof id, "%s", lua_tostring(L, -1));
  else
    qk_snprintf(id, sizeof id, "%p", static_cast<void*>(L));
  lua_pop(L, 1);
  qk_log("lua_loadfile", qk::log::TRACE, "%s: %s", id, filename);

  if (!may_load(L, filename)) {
    lua_pushfstring(L, "can't open '%s': sandbox violation", filename);
    return LUA_ERRFILE;
  }
  const int status = qk_lua_load_source(L, filename);
  if (status != -1) return status;
  lua_pushfstring(L, "no file '%s'", filename);
  return LUA_ERRFILE;
}

int qk_lua_pcall(lua_State* L, int nargs, int nresults, int errfunc) {
  return qk_lua_metered_pcall(L, nargs, nresults, errfunc);
}

void qk_lua_close(lua_State* L) {
  lua_getfield(L, LUA_REGISTRYINDEX, kIdKey);
  const char* id = lua_type(L, -1) == LUA_TSTRING ? lua_tostring(L, -1) : "!!!missing QK.id!!!";
  qk_log("LUA", qk::log::TRACE, "Deleted state \"%s\" - %p", id, static_cast<void*>(L));
  lua_close(L);
  qk_lua_thread_use_forget(L);
  LuaStateRegistry::instance().remove(L);  // last: lua_close still allocates through the record
}

// ---- Sources ---------------------------------------------------------------------------------

void qk_lua_set_source(lua_State* L, qk::ILuaSource* source) {
  lua_pushlightuserdata(L, &source_key);
  if (source)
    lua_pushlightuserdata(L, source);
  else
    lua_pushnil(L);
  lua_rawset(L, LUA_REGISTRYINDEX);
}

int qk_lua_load_source(lua_State* L, const char* name) {
  lua_pushlightuserdata(L, &source_key);
  lua_rawget(L, LUA_REGISTRYINDEX);
  auto* source = static_cast<qk::ILuaSource*>(lua_touserdata(L, -1));
  lua_pop(L, 1);
  if (!source) source = &default_source;

  std::unique_ptr<qk::ILuaReader> reader = source->open(name);
  if (!reader) return -1;
  if (!reader->failed()) {
    const int status = lua_load(L, read_piece, reader.get(), name);
    if (!reader->failed()) return status;
    lua_pop(L, 1);
  }
  lua_pushfstring(L, "failed to read '%s'", name);
  return LUA_ERRFILE;
}
