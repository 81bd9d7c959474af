// The sandbox of a Lua state: one small integer in the state's registry, read again by every
// operation that touches the outside world, and the three process-wide directories of the file
// system layer (VFS_current_dir, VFS_write_dir, VFS_temp_dir in qk_locations.h).
//
// There is no list of rights: each operation knows from which level on it refuses. A state
// without a level, or with one that isn't a number, is at level 0, where nothing is refused. What
// the levels forbid, by operation (a check reads "at this level or above" unless it says "exactly"):
//
//   io.open "r"                     >= 2 path readable;       == 4 refused
//   io.open "w", "a"                >= 1 path writable;       == 4 refused
//   loadfile, dofile                1 path readable; 2 path under the current directory; 3 and up
//                                   no check at all (the load's own rule, in qk_lua_loadfile)
//   lfs.attributes, lfs.dir         >= 2 path readable;       == 4 refused (lfs.dir: logged, empty)
//   lfs.mkdir, lfs.rmdir            >= 1 path writable;       == 4 refused
//   lfs.currentdir, writedir,
//   tempdir, locations              == 4 refused
//   lfs.add_location, del_location  >= 1 refused
//   lfs.create_lockfile             >= 1 the lock file's path writable; == 4 refused
//   require and its loaders, lfs.normpath, realpath, md5sum, chdir: never refused
//
// A refusal is never a Lua error: the function answers nil and "NAME(ARGUMENT): sandbox
// violation", and the log has it at ERROR under "LUA". A level belongs to one state and is read on
// the state's thread; the directories are process-wide and only read here.
#pragma once

#include <lua.hpp>

// The level stored in the state's registry; 0 when there is none or it isn't a number.
int qk_lua_sandbox_level(lua_State* L);

// Stores the level of a state, for embedders (the library itself never sets one).
void qk_lua_set_sandbox_level(lua_State* L, int level);

// True when `path` lies under the current, the write or the temporary directory (qk_path_is_under,
// with its prefix rule: "c:/data" holds "c:/database").
bool qk_lua_path_readable(lua_State* L, const char* path);
// True when `path` lies under the write or the temporary directory.
bool qk_lua_path_writable(lua_State* L, const char* path);

// Reports a refusal: pushes nil and "%s(%s): sandbox violation" (with a null `argument`,
// "%s(): sandbox violation"), logs "<state id> -> <message>" at ERROR under "LUA" (the id is the
// registry's "QK.id", or "?"), and answers 2, the count of results for the caller to return.
// It leaves the id's value below the two results.
int qk_lua_sandbox_violation(lua_State* L, const char* function, const char* argument);
