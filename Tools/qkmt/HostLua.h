// What the pieces of the Lua module "host" share: the session behind every function, the userdata
// of host objects, and the one way a C++ failure becomes a Lua error.
//
// Every function of the module holds its session as upvalue 1. Host objects (materials, maps,
// multi-materials) are full userdata of the metatable "qkmt.object" holding a pointer the session
// owns; one object has one userdata while Lua holds it, so that `==` tells objects apart.
#pragma once

#include <exception>
#include <lua.hpp>
#include <string>

#include "HostSession.h"

namespace hostlua {

inline HostSession& session(lua_State* L) {
  return *static_cast<HostSession*>(lua_touserdata(L, lua_upvalueindex(1)));
}

// Runs `body`; a C++ exception becomes a Lua error with its message. Lua's own errors pass.
template <int (*Body)(lua_State*)>
int guarded(lua_State* L) {
  std::string message;
  try {
    return Body(L);
  } catch (const std::exception& error) {
    message = error.what();
  }
  lua_pushstring(L, message.c_str());
  return lua_error(L);
}

// Pushes the userdata of `object`, or false for null.
void pushObject(lua_State* L, MtlBase* object);
// The object at `index`; a Lua error for anything else.
MtlBase* checkObject(lua_State* L, int index);
// The object at `index`, null for false or nil; a Lua error for anything else.
MtlBase* optObject(lua_State* L, int index);

// Registers the metatable of panels; `p` methods need the session as upvalue.
void registerPanel(lua_State* L, HostSession& session);
// Pushes a panel object for the rollup `page` of dialog `dlg`.
void pushPanel(lua_State* L, ParamDlg* dlg, HWND page);

}  // namespace hostlua
