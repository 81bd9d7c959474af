// What the pieces of the Lua module "host" share: the session behind every function, the userdata
// of host objects, and the one way a failure becomes a Lua error.
//
// Every function of the module holds its session as upvalue 1 and its name as upvalue 2
// ("host.save", "panel:select"; a script function its bare name, "SetMaterial"). Host objects
// (materials, maps, multi-materials) are full userdata of the metatable "qkmt.object" holding a
// pointer the session owns; one object has one userdata while Lua holds it, so that `==` tells
// objects apart.
//
// Errors carry the script's location as Lua writes it and the function's name:
// `[string "tour.lua"]:12: host.panel: Wall has no material attribute`. Lua's own argument errors
// name the function themselves (`bad argument #1 to 'scene'`), and so do the script functions'
// count errors (`SetMaterial wanted 2, got 1`), which keep the host's text.
#pragma once

#include <exception>
#include <lua.hpp>
#include <string>

#include "HostSession.h"

namespace hostlua {

inline HostSession& session(lua_State* L) {
  return *static_cast<HostSession*>(lua_touserdata(L, lua_upvalueindex(1)));
}

// Raises a Lua error: the location of the calling script line, the function's name (upvalue 2, if
// there is one), ": " and the formatted message (lua_pushfstring's formats).
int fail(lua_State* L, const char* format, ...);
// The same without the function's name, for texts that name it themselves.
int failUnnamed(lua_State* L, const char* format, ...);

// Runs `body`; a C++ exception becomes a Lua error with its message, named unless `Named` is false.
// Lua's own errors pass.
template <int (*Body)(lua_State*), bool Named = true>
int guarded(lua_State* L) {
  std::string message;
  try {
    return Body(L);
  } catch (const std::exception& error) {
    message = error.what();
  }
  return Named ? fail(L, "%s", message.c_str()) : failUnnamed(L, "%s", message.c_str());
}

// Makes the metatable of host objects and the registry's table of their userdata (HostObjects.cpp).
void registerObjects(lua_State* L);
// "material", "multi-material" or "map".
const char* kindOf(MtlBase* object);
// The object at `index`, or null for anything that isn't a host object.
MtlBase* testObject(lua_State* L, int index);
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
