// The package library of a state, and the process's table of built-in C modules.
//
// qk_lua_open_package (declared in qk_lua.h) opens Lua's stock package library and changes three
// things:
//   - package.loaders has five searchers: 1 the stock preload table; 2 the host's Lua loader, which
//     tries each template of package.path ("?" replaced by the module name with its dots made "/")
//     through the script sources (qk_lua_load_source), so a template beginning with "/" reads the
//     virtual file system and any other the disk, with no sandbox check; 3 the built-in module
//     table below; 4 and 5 the stock C library loaders over package.cpath.
//   - package.path and package.cpath: LUA_PATH and LUA_CPATH of the environment (";;" standing for
//     the default, as stock Lua has it), else the defaults
//         path   "./?.lua;!/lua/?.lua;!/lua/?/init.lua;!/?.lua;!/?/init.lua"
//         cpath  "./lua-?.so;./?.so;!/lua-?.so;!/?.so;"
//     with every "!" replaced by the folder of the process's executable. That folder is spelled
//     relative to the working directory when it is absolute, because a name beginning with "/"
//     is virtual here.
//   - a global safe_require(name): require in a plain protected call; its result, or nil when it
//     raised (nothing is logged). A name that isn't a string raises.
//
// A module missing everywhere gets require's "module 'N' not found:" text with, in order, the
// preload line, the "no file" lines of the Lua loader, the bare name N (the built-in loader's
// answer when it has nothing), and the lines of the C loaders. A chunk that fails to compile
// raises "error loading module 'N' from file 'F':\n\t<message>".
//
// The built-in table is process-wide, guarded by a lock of its own; any thread may register or
// look up. A state finds a module there only through require.
#pragma once

#include <lua.hpp>

// Enters `opener` as the built-in module `name` (replacing one of that name); require calls it
// with the module's name as a C function without upvalues. A null opener removes the entry.
void qk_lua_register_builtin(const char* name, lua_CFunction opener);
