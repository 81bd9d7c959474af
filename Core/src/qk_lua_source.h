// Script sources: how a chunk gets from a name to lua_load.
//
// A source opens a name and hands back a reader, which gives the chunk's bytes to lua_load. One
// static qkvfs::LuaSource serves every state unless the embedder installs another one on a state
// with qk_lua_set_source. A source must stay alive while any state it is installed on loads.
#pragma once

#include <cstddef>
#include <memory>

#include <lua.hpp>

namespace qk {

// Gives the chunk of one load, piece by piece, with the contract of a lua_Reader. Owned by the
// loader that opened it; used by one thread.
class ILuaReader {
 public:
  virtual ~ILuaReader() = default;
  // The next piece and its size in `*size`, or null at the end.
  virtual const char* read(lua_State* L, size_t* size) = 0;
  // True when the reader can't give, or couldn't give, its data. Asked before and after lua_load.
  virtual bool failed() = 0;
};

class ILuaSource {
 public:
  // An owned reader for `name`, or null when the name can't be opened.
  virtual std::unique_ptr<ILuaReader> open(const char* name) = 0;
  virtual ~ILuaSource() = default;
};

class ILuaSourceImpl : public ILuaSource {
 public:
  std::unique_ptr<ILuaReader> open(const char* name) override = 0;
  ~ILuaSourceImpl() override = default;
};

}  // namespace qk

// Installs `source` for the loads of `L` (null goes back to the static source). The source is kept
// as light userdata in the registry under a private key.
void qk_lua_set_source(lua_State* L, qk::ILuaSource* source);

// Loads the chunk `name` through the state's source. 0 with the chunk function pushed; a status of
// lua_load with its message pushed; LUA_ERRFILE (6) with "failed to read '%s'" pushed when the reader
// failed; -1 with nothing pushed when the source can't open the name.
int qk_lua_load_source(lua_State* L, const char* name);
