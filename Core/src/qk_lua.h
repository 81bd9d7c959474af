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
// with the message on the stack: LUA_ERRFILE (6) with "no filename given" for a null name and with
// "no file '%s'" for a missing one, or the status and message of lua_load.
int qk_lua_loadfile(lua_State* L, const char* filename);

// lua_pcall with the same arguments, results and stack contract.
int qk_lua_pcall(lua_State* L, int nargs, int nresults, int errfunc);

// Closes a state made by qk_lua_newstate.
void qk_lua_close(lua_State* L);

// The openers of qk_lua_openlibs. Each starts from Lua's stock library of its name; where the
// system has a library of its own, its opener adds to or replaces what the stock one gives.
int qk_lua_open_base(lua_State* L);
int qk_lua_open_package(lua_State* L);
int qk_lua_open_io(lua_State* L);
int qk_lua_open_os(lua_State* L);
int qk_lua_open_debug(lua_State* L);
int qk_lua_open_log(lua_State* L);

// The loading functions that the openers install (qk_lua_loaders.cpp):
//   loadfile(name)  qk_lua_loadfile: the chunk, or nil and the message;
//   dofile(name)    qk_lua_loadfile, then runs the chunk and answers its results; a failure to
//                   load is raised;
//   the package loader, package.loaders[2] with the package table as its upvalue: each template of
//   package.path ("?" replaced by the module name, its dots made "/") through qk_lua_load_source.
//   A missing file adds "\n\tno file '%s'" to the answer; a chunk that fails to load raises
//   "error loading module '%s' from file '%s':\n\t%s".
int qk_lua_loadfile_function(lua_State* L);
int qk_lua_dofile_function(lua_State* L);
int qk_lua_package_loader(lua_State* L);
