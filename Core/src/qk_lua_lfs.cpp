// The lfs library: fifteen functions on the process's directories, real folders, the named
// locations, paths, an MD5 of a file and a lock file. Every state has it as the global `lfs`; the
// os opener opens it first.
//
//   attributes(filepath [, name])  a table {mode, modification, size} ("directory" or "file";
//                                  seconds of Unix time; bytes, 0 for a directory), or the one
//                                  value that `name` names exactly; nothing for a missing file or
//                                  another name
//   mkdir(path), rmdir(path)       true, or nil and "can't create directory \"%s\"" / "can't delete
//                                  directory \"%s\"" (the platform layer logs why). mkdir of an
//                                  existing name and rmdir of a missing one are true.
//   dir(path)                      an iterator and the directory object: a snapshot of the names
//                                  (dot names skipped) at 1..n, with n, i (the last handed out),
//                                  next and close; see below. A missing folder lists nothing.
//   chdir(...)                     raises "can't chdir on VFS"
//   currentdir(), writedir(), tempdir()   the process's directory texts
//   locations()                    {n = N, {name =, path =}, ...}: the added pairs, then the roots
//   add_location(name, path)       true when added, false when the name is there already
//   del_location(name)             true when a pair was removed (VFS_del_location compares the
//                                  text with the pairs' paths)
//   normpath(path)                 qk_path_normalize's text (256 bytes of room)
//   realpath(path)                 the absolute path (256 bytes), or nothing
//   md5sum(path)                   32 lower-case hexadecimal digits of the file read through the
//                                  Manager (virtual or real path) in blocks of 4096 bytes, or
//                                  nothing when it can't be opened or read
//   create_lockfile(lockname)      light userdata, or nil and the system's error number: a lock
//                                  file in the temporary directory, held until the process ends
//
// Arguments are taken by lua_tostring, so a number serves as a path. A missing one is the
// argument error with the function's message ("filepath is required", "path is required",
// "lfs.normpath(path)", ...); add_location raises its message with luaL_error. Then comes the
// sandbox check (qk_lua_sandbox.h has the levels), then the work. A refusal answers nil and
// "NAME(ARGUMENT): sandbox violation"; lfs.dir instead logs "lfs.dir(%s): sandbox violation!" or
// "... sandbox read violation!" at ERROR under "LUA" and answers an iterator that ends at once.
//
// The directory object's step function works on its first argument when it has one (nil counts as
// none), else on its closure's table, so that it serves `for` (with or without the table as the
// loop's state), d:next() and a bare call alike; it raises the argument error
// "qk_lua_vfs:lfs_dir_walk" for a first argument that isn't a table. d:close() ("qk_lua_vfs:lfs_dir_close"
// for a non-table) empties the table and removes n, i, next and close; the iterator then gives nil.
//
// A lock file: the temporary directory and the name joined by one "/" where neither has a
// separator at the join, cut to 255 bytes; made or taken over, and locked with flock. A second
// holder gets EWOULDBLOCK (11); a leftover file that no one held gives EEXIST (17) although the
// lock is then held. The file goes when the process ends. Functions run on the state's thread.
#include <algorithm>
#include <cstring>
#include <string>

#include "PathBuffer.h"
#include "platform/qk_fs.h"
#include "qk_locations.h"
#include "qk_log.h"
#include "qk_lua.h"
#include "qk_lua_sandbox.h"
#include "qk_path.h"
#include "qkvfs/qk_vfs.h"

namespace {

// Argument 1 as text, or the argument error with `message`.
const char* required(lua_State* L, int index, const char* message) {
  const char* text = lua_tostring(L, index);
  if (!text) luaL_argerror(L, index, message);
  return text;
}

// ---- Files and folders ---------------------------------------------------------------------

int attributes(lua_State* L) {
  const char* path = required(L, 1, "filepath is required");
  const int level = qk_lua_sandbox_level(L);
  if (level == 4 || (level >= 2 && !qk_lua_path_readable(L, path)))
    return qk_lua_sandbox_violation(L, "lfs.attributes", path);
  fs_entry entry;
  if (!qk_fs_stat(path, &entry)) return 0;
  const char* mode = entry.kind == 2 ? "directory" : "file";
  const char* name = lua_tostring(L, 2);
  if (!name) {
    lua_createtable(L, 0, 3);
    lua_pushstring(L, mode);
    lua_setfield(L, -2, "mode");
    lua_pushnumber(L, lua_Number(entry.modification_time));
    lua_setfield(L, -2, "modification");
    lua_pushnumber(L, lua_Number(entry.size));
    lua_setfield(L, -2, "size");
  } else if (std::strcmp(name, "mode") == 0) {
    lua_pushstring(L, mode);
  } else if (std::strcmp(name, "modification") == 0) {
    lua_pushnumber(L, lua_Number(entry.modification_time));
  } else if (std::strcmp(name, "size") == 0) {
    lua_pushnumber(L, lua_Number(entry.size));
  } else {
    return 0;
  }
  return 1;
}

// The sandbox of mkdir and rmdir: from level 1 on the path must be writable; 4 refuses.
bool may_change(lua_State* L, const char* path) {
  const int level = qk_lua_sandbox_level(L);
  return level != 4 && (level < 1 || qk_lua_path_writable(L, path));
}

int fail(lua_State* L, const char* format, const char* path) {
  lua_pushnil(L);
  lua_pushfstring(L, format, path);
  return 2;
}

int make_directory(lua_State* L) {
  const char* path = required(L, 1, "path is required");
  if (!may_change(L, path)) return qk_lua_sandbox_violation(L, "lfs.mkdir", path);
  fs_entry entry;
  if (!(qk_fs_stat(path, &entry) && entry.kind == 2) && !qk_fs_mkdir(path))
    return fail(L, "can't create directory \"%s\"", path);
  lua_pushboolean(L, 1);
  return 1;
}

int remove_directory(lua_State* L) {
  const char* path = required(L, 1, "path is required");
  if (!may_change(L, path)) return qk_lua_sandbox_violation(L, "lfs.rmdir", path);
  fs_entry entry;
  if (qk_fs_stat(path, &entry) && entry.kind != 0 && !qk_fs_rmdir(path, false))
    return fail(L, "can't delete directory \"%s\"", path);
  lua_pushboolean(L, 1);
  return 1;
}

int change_directory(lua_State* L) { return luaL_error(L, "can't chdir on VFS"); }

// ---- The directory object ------------------------------------------------------------------

int dir_step(lua_State* L) {
  const int table = lua_isnoneornil(L, 1) ? lua_upvalueindex(1) : 1;
  if (!lua_istable(L, table)) return luaL_argerror(L, 1, "qk_lua_vfs:lfs_dir_walk");
  lua_getfield(L, table, "i");
  const int i = int(lua_tointeger(L, -1)) + 1;
  lua_pop(L, 1);
  lua_rawgeti(L, table, i);
  lua_pushinteger(L, i);
  lua_setfield(L, table, "i");
  return 1;
}

int dir_close(lua_State* L) {
  if (!lua_istable(L, 1)) return luaL_argerror(L, 1, "qk_lua_vfs:lfs_dir_close");
  lua_getfield(L, 1, "n");
  const int n = int(lua_tointeger(L, -1));
  lua_pop(L, 1);
  for (int i = 1; i <= n; ++i) {
    lua_pushnil(L);
    lua_rawseti(L, 1, i);
  }
  for (const char* key : {"i", "n", "next", "close"}) {
    lua_pushnil(L);
    lua_setfield(L, 1, key);
  }
  return 0;
}

int dir_nothing(lua_State*) { return 0; }

void add_entry(void* user, std::string_view, std::string_view name, const fs_entry&) {
  auto* L = static_cast<lua_State*>(user);
  lua_getfield(L, -1, "n");
  const int n = int(lua_tointeger(L, -1)) + 1;
  lua_pop(L, 1);
  lua_pushlstring(L, name.data(), name.size());
  lua_rawseti(L, -2, n);
  lua_pushinteger(L, n);
  lua_setfield(L, -2, "n");
}

int directory(lua_State* L) {
  const char* path = required(L, 1, "path is required");
  const int level = qk_lua_sandbox_level(L);
  const char* refusal = level == 4                                     ? "sandbox violation!"
                        : level >= 2 && !qk_lua_path_readable(L, path) ? "sandbox read violation!"
                                                                       : nullptr;
  if (refusal) {
    qk_log("LUA", qk::log::ERROR, "lfs.dir(%s): %s", path, refusal);
    lua_pushcfunction(L, dir_nothing);
    return 1;
  }
  lua_newtable(L);
  lua_pushinteger(L, 0);
  lua_setfield(L, -2, "n");
  qk_fs_list(path, add_entry, L);  // a folder that can't be read lists nothing
  lua_pushcfunction(L, dir_step);
  lua_setfield(L, -2, "next");
  lua_pushcfunction(L, dir_close);
  lua_setfield(L, -2, "close");
  lua_pushvalue(L, -1);
  lua_pushcclosure(L, dir_step, 1);
  lua_insert(L, -2);
  return 2;
}

// ---- Directories and locations -------------------------------------------------------------

template <const char* (*Text)(), const char* Name>
int directory_text(lua_State* L) {
  if (qk_lua_sandbox_level(L) == 4) return qk_lua_sandbox_violation(L, Name, "");
  lua_pushstring(L, Text());
  return 1;
}
constexpr char kCurrentDir[] = "lfs.currentdir";
constexpr char kWriteDir[] = "lfs.writedir";
constexpr char kTempDir[] = "lfs.tempdir";

void add_location_entry(void* context, VFS_LocationInfo* location) {
  auto* L = static_cast<lua_State*>(context);
  lua_getfield(L, -1, "n");
  const int n = int(lua_tointeger(L, -1)) + 1;
  lua_pop(L, 1);
  lua_createtable(L, 0, 2);
  lua_pushstring(L, location->name);
  lua_setfield(L, -2, "name");
  lua_pushstring(L, location->path);
  lua_setfield(L, -2, "path");
  lua_rawseti(L, -2, n);
  lua_pushinteger(L, n);
  lua_setfield(L, -2, "n");
}

int locations(lua_State* L) {
  if (qk_lua_sandbox_level(L) == 4) return qk_lua_sandbox_violation(L, "lfs.locations", "");
  lua_newtable(L);
  lua_pushinteger(L, 0);
  lua_setfield(L, -2, "n");
  VFS_get_locations(add_location_entry, L);
  return 1;
}

int add_location(lua_State* L) {
  const char* name = lua_tostring(L, 1);
  const char* path = lua_tostring(L, 2);
  if (!name || !path) return luaL_error(L, "lfs.add_location(name, path)");
  if (qk_lua_sandbox_level(L) >= 1) return qk_lua_sandbox_violation(L, "lfs.add_location", name);
  lua_pushboolean(L, VFS_add_location(name, path));
  return 1;
}

int del_location(lua_State* L) {
  const char* name = required(L, 1, "lfs.del_location(name)");
  if (qk_lua_sandbox_level(L) >= 1) return qk_lua_sandbox_violation(L, "lfs.del_location", name);
  lua_pushboolean(L, VFS_del_location(name));
  return 1;
}

// ---- Paths, digests, locks -----------------------------------------------------------------

int normpath(lua_State* L) {
  const char* path = required(L, 1, "lfs.normpath(path)");
  PathBuffer<256> normal;
  const std::string_view text = qk_path_normalize(path, normal, false);
  lua_pushlstring(L, text.data(), text.size());
  return 1;
}

int realpath(lua_State* L) {
  const char* path = required(L, 1, "lfs.realpath(path)");
  char real[256];
  if (!VFS_path_getreal(real, sizeof real, path)) return 0;
  lua_pushstring(L, real);
  return 1;
}

int md5sum(lua_State* L) {
  const char* path = required(L, 1, "lfs.md5sum(path)");
  char hex[33];
  if (!qk_vfs_md5sum(path, hex)) return 0;
  lua_pushstring(L, hex);
  return 1;
}

int create_lockfile(lua_State* L) {
  const char* name = required(L, 1, "lfs.create_lockfile(lockname)");
  const char* base = VFS_temp_dir();
  std::string path(base, std::min(std::strlen(base), size_t(255)));
  auto separator = [](char c) { return c == '/' || c == '\\'; };
  if (*name && !path.empty() && !separator(path.back()) && !separator(name[0])) path += '/';
  if (!*name && !path.empty() && !separator(path.back())) path += '/';
  path.append(name, std::min(std::strlen(name), size_t(255) - std::min(path.size(), size_t(255))));
  const int level = qk_lua_sandbox_level(L);
  if (level == 4 || (level >= 1 && !qk_lua_path_writable(L, path.c_str())))
    return qk_lua_sandbox_violation(L, "lfs.create_lockfile", name);
  qk_platform_file handle;
  const int code = qk_fs_create_temp(path.c_str(), &handle);
  if (code != 0) {
    lua_pushnil(L);
    lua_pushinteger(L, code);
    return 2;
  }
  lua_pushlightuserdata(L, reinterpret_cast<void*>(handle.handle));
  return 1;
}

const luaL_Reg kFunctions[] = {
    {"attributes", attributes},
    {"mkdir", make_directory},
    {"rmdir", remove_directory},
    {"dir", directory},
    {"chdir", change_directory},
    {"currentdir", directory_text<VFS_current_dir, kCurrentDir>},
    {"writedir", directory_text<VFS_write_dir, kWriteDir>},
    {"tempdir", directory_text<VFS_temp_dir, kTempDir>},
    {"locations", locations},
    {"add_location", add_location},
    {"del_location", del_location},
    {"normpath", normpath},
    {"realpath", realpath},
    {"md5sum", md5sum},
    {"create_lockfile", create_lockfile},
    {nullptr, nullptr},
};

}  // namespace

int qk_lua_open_lfs(lua_State* L) {
  luaL_register(L, "lfs", kFunctions);
  return 1;
}
