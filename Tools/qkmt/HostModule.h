// The built-in module "host" of `qkmt run`: the whole plug-in as the host would drive it, for a
// script (`local host = require "host"`). The README lists its functions.
#pragma once

#include <lua.hpp>

#include "HostSession.h"

// Makes `require "host"` give the module of `session`, which must outlive the state: "host" is a
// built-in module of the script host (qk_lua_register_builtin, found by require's third searcher),
// and the session is kept in the state's registry, where the module's opener finds it. A state
// without a session that requires "host" gets the error "host: this Lua state has no host session".
void qkmt_install_host(lua_State* L, HostSession& session);
