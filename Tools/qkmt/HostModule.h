// The built-in module "host" of `qkmt run`: the whole plug-in as the host would drive it, for a
// script (`local host = require "host"`). The README lists its functions.
#pragma once

#include <lua.hpp>

#include "HostSession.h"

// Makes `require "host"` give the module of `session`, which must outlive the state.
void qkmt_preload_host(lua_State* L, HostSession& session);
