// The script host: Lua 5.1 states as the system makes them.
//
// A caller never calls lua_newstate itself: it asks qk_lua_newstate for a named state, opens the
// libraries with qk_lua_openlibs, loads with qk_lua_loadfile, runs with qk_lua_pcall, reads the
// results through a Lua::Config and ends with qk_lua_close. Any thread may make, run and close its
// own state; a state belongs to one thread at a time.
//
// A Lua error raised outside a protected call reaches the state's panic function, which logs
// "Lua panic: %s" at ALERT under "LUA" and stops the process at a debugger trap.
#pragma once

#include <lua.hpp>

// A new state named `name` (kept in the registry under "QK.id", never cut). Never fails softly:
// running out of memory ends in qk_out_of_memory.
lua_State* qk_lua_newstate(const char* name);

// Opens the libraries, each by calling its opener with its name: base (""), "package", "table",
// "io", "os", "string", "math", "debug", "log".
void qk_lua_openlibs(lua_State* L);

// Loads the file `filename` as a chunk. 0 with the chunk function on the stack; otherwise non-zero
// with the message on the stack: LUA_ERRFILE (6) with "no filename given" for a null name, with
// "can't open '%s': sandbox violation" when the state's sandbox forbids the load (level 1: the path
// must be readable; level 2: under the current directory; no check at other levels; no log line),
// and with "no file '%s'" for a missing one, or the status and message of lua_load.
int qk_lua_loadfile(lua_State* L, const char* filename);

// lua_pcall with the same arguments, results and stack contract.
int qk_lua_pcall(lua_State* L, int nargs, int nresults, int errfunc);

// Closes a state made by qk_lua_newstate.
void qk_lua_close(lua_State* L);

// The openers of qk_lua_openlibs. Each starts from Lua's stock library of its name and adds to or
// replaces what it gives:
//   qk_lua_open_base     print to the log, loadfile and dofile through qk_lua_loadfile, the version
//                        globals (qk_lua_base.cpp);
//   qk_lua_open_package  the host's Lua loader, the built-in module table, safe_require
//                        (qk_lua_package.h);
//   qk_lua_open_io       the system's small io on real files (qk_lua_io.cpp);
//   qk_lua_open_os       lfs first (qk_lua_lfs.cpp), then os with the sandbox (qk_lua_os.cpp);
//   qk_lua_open_debug    the stock debug library, complete;
//   qk_lua_open_log      the log library (qk_lua_log.cpp).
int qk_lua_open_base(lua_State* L);
int qk_lua_open_package(lua_State* L);
int qk_lua_open_io(lua_State* L);
int qk_lua_open_os(lua_State* L);
int qk_lua_open_lfs(lua_State* L);
int qk_lua_open_debug(lua_State* L);
int qk_lua_open_log(lua_State* L);
