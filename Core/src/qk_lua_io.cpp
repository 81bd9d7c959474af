// The system's io library: seven functions on real files, in place of Lua's stock io.
//
//   io.open(path [, mode])  a file, or nil and a message. Only the mode's first letter counts: "r"
//                           reads (the file must exist as a file: "can't open \"%s\" for '%s'"), "w"
//                           rewrites, "a" appends; any other gives "io.open(%s): only 'r' and 'w'
//                           are supported on VFS" with the path. A path beginning with "/" (virtual)
//                           can't be opened: io works on real paths, through qk_vfs_open_real_small,
//                           so a file below 1 MiB is read whole at open and holds no descriptor.
//                           Sandbox: level 4 refuses ("io.open"); "r" from level 2 on wants a
//                           readable path ("io.open(r)"), "w" and "a" from level 1 on a writable one
//                           ("io.open(w)"). No path: the argument error "requires a filename".
//   f:read([format])        a number n: n bytes, "" at the end (never nil); nothing or "*l": a line;
//                           "*a": up to size() bytes; "*n" raises "io.read('*n') is not supported";
//                           another "*x" gives no value; a format not beginning with "*" is the
//                           argument error "invalid option". Only the second letter counts.
//   f:lines()               an iterator of lines; nil at the end, the file stays open; no value once
//                           the file is closed.
//   f:write(...)            strings and numbers, others skipped; returns nothing and reports no
//                           failure.
//   f:close(), f:__gc()     ends the file; a second close does nothing. f:flush() does nothing.
//
// A line ends at a line feed, which isn't part of it, and every carriage return in it is dropped;
// a last line without a line feed counts, and the call after it gives nil. Lines are read ahead
// through a buffer of 16 KiB (not 1 KiB: a large file is read by the system call, and fewer calls
// make line reading of a big text 1.4 times faster), which read(n) empties first, so that no
// script can tell its size.
//
// The io table and the files' metatable ("QK.io", its own __index) hold the same seven functions,
// so f:open and io.__gc exist too. Every function but open takes its file as argument 1; given
// anything that isn't a live file of this library (io.write("x"), io.read(), a closed file,
// another userdata), it does nothing and answers nothing. A file belongs to its state's thread.
#include <cstdint>
#include <cstring>

#include "platform/qk_fs.h"
#include "qk_lua.h"
#include "qk_lua_sandbox.h"
#include "qkvfs/IFile.h"
#include "qkvfs/RealPath.h"

namespace {

constexpr char kMetatable[] = "QK.io";
constexpr size_t kStep = 512;

// The full userdata of an open file. It owns `file` until close.
struct LuaFile {
  qkvfs::IFile* file;
  int32_t pos;
  int32_t len;
  char buf[16384];  // read-ahead of lines
};

// The live file at `index`, or null for anything else.
LuaFile* live_file(lua_State* L, int index) {
  auto* file = static_cast<LuaFile*>(lua_touserdata(L, index));
  if (!file || !lua_getmetatable(L, index)) return nullptr;
  luaL_getmetatable(L, kMetatable);
  const bool ours = lua_rawequal(L, -1, -2) != 0;
  lua_pop(L, 2);
  return ours && file->file ? file : nullptr;
}

// ---- Reading -------------------------------------------------------------------------------

// Appends bytes with memcpy into the buffer's free room (luaL_addlstring copies byte by byte).
void add_bytes(luaL_Buffer& b, const char* data, size_t size) {
  while (size > 0) {
    size_t room = LUAL_BUFFERSIZE - size_t(b.p - b.buffer);
    if (room == 0) {
      luaL_prepbuffer(&b);
      room = LUAL_BUFFERSIZE;
    }
    const size_t n = size < room ? size : room;
    std::memcpy(b.p, data, n);
    b.p += n;
    data += n;
    size -= n;
  }
}

void push_bytes(lua_State* L, LuaFile& f, lua_Number wanted) {
  luaL_Buffer bytes;
  luaL_buffinit(L, &bytes);
  // Beyond any file's size, a count is as good as the largest one.
  size_t left = wanted < 9007199254740992.0 ? size_t(wanted) : SIZE_MAX;
  while (left > 0) {
    size_t step = left < kStep ? left : kStep;
    size_t got;
    if (f.pos < f.len) {
      got = size_t(f.len - f.pos) < step ? size_t(f.len - f.pos) : step;
      add_bytes(bytes, f.buf + f.pos, got);
      f.pos += int32_t(got);
    } else {
      // Straight from the file into the buffer's free room.
      if (bytes.p == bytes.buffer + LUAL_BUFFERSIZE) luaL_prepbuffer(&bytes);
      const size_t room = LUAL_BUFFERSIZE - size_t(bytes.p - bytes.buffer);
      if (step > room) step = room;
      got = f.file->read(bytes.p, step);
      bytes.p += got;
    }
    if (got == 0) break;
    left -= got;
  }
  luaL_pushresult(&bytes);
}

// Pushes the next line, or nil when nothing at all was left.
void push_line(lua_State* L, LuaFile& f) {
  // The usual case: the whole line, without a carriage return, lies in the read-ahead.
  if (f.pos < f.len) {
    const char* start = f.buf + f.pos;
    const size_t available = size_t(f.len - f.pos);
    const char* feed = static_cast<const char*>(std::memchr(start, '\n', available));
    if (feed && !std::memchr(start, '\r', size_t(feed - start))) {
      lua_pushlstring(L, start, size_t(feed - start));
      f.pos += int32_t(feed - start + 1);
      return;
    }
  }
  luaL_Buffer line;
  luaL_buffinit(L, &line);
  size_t consumed = 0;
  for (;;) {
    if (f.pos >= f.len) {
      const size_t got = f.file->read(f.buf, sizeof f.buf);
      f.pos = 0;
      f.len = int32_t(got);
      if (got < 1) break;
    }
    const char* start = f.buf + f.pos;
    const size_t available = size_t(f.len - f.pos);
    const char* feed = static_cast<const char*>(std::memchr(start, '\n', available));
    const size_t run = feed ? size_t(feed - start) : available;
    // The run without its carriage returns.
    for (const char* piece = start; piece < start + run;) {
      const char* cr = static_cast<const char*>(std::memchr(piece, '\r', size_t(start + run - piece)));
      const char* piece_end = cr ? cr : start + run;
      add_bytes(line, piece, size_t(piece_end - piece));
      piece = cr ? cr + 1 : piece_end;
    }
    consumed += run + (feed ? 1 : 0);
    f.pos += int32_t(run + (feed ? 1 : 0));
    if (feed) break;
  }
  luaL_pushresult(&line);
  if (consumed == 0) {
    lua_pop(L, 1);
    lua_pushnil(L);
  }
}

int io_read(lua_State* L) {
  LuaFile* f = live_file(L, 1);
  if (!f) return 0;
  if (lua_type(L, 2) == LUA_TNUMBER) {
    const lua_Number wanted = lua_tonumber(L, 2);
    if (!(wanted >= 0)) return 0;  // negative, or not a number at all
    push_bytes(L, *f, wanted);
    return 1;
  }
  const char* format = lua_tostring(L, 2);
  if (!format) {
    push_line(L, *f);
    return 1;
  }
  if (format[0] != '*') return luaL_argerror(L, 2, "invalid option");
  switch (format[1]) {
    case 'l': push_line(L, *f); return 1;
    case 'n': return luaL_error(L, "io.read('*n') is not supported");
    case 'a': push_bytes(L, *f, lua_Number(f->file->size())); return 1;
    default: return 0;
  }
}

int next_line(lua_State* L) {
  LuaFile* f = live_file(L, lua_upvalueindex(1));
  if (!f) return 0;
  push_line(L, *f);
  return 1;
}

int io_lines(lua_State* L) {
  if (!live_file(L, 1)) return 0;
  lua_pushvalue(L, 1);
  lua_pushcclosure(L, next_line, 1);
  return 1;
}

// ---- Writing, closing, opening -------------------------------------------------------------

int io_write(lua_State* L) {
  LuaFile* f = live_file(L, 1);
  if (!f) return 0;
  const int top = lua_gettop(L);
  for (int i = 2; i <= top; ++i) {
    size_t size;
    if (const char* text = lua_type(L, i) == LUA_TSTRING || lua_type(L, i) == LUA_TNUMBER
                               ? lua_tolstring(L, i, &size)
                               : nullptr)
      f->file->write(text, size);
  }
  return 0;
}

int io_close(lua_State* L) {
  if (LuaFile* f = live_file(L, 1)) {
    f->file->release();
    f->file = nullptr;
  }
  return 0;
}

int io_flush(lua_State*) { return 0; }

int can_not_open(lua_State* L, const char* path, const char* mode) {
  lua_pushnil(L);
  lua_pushfstring(L, "can't open \"%s\" for '%s'", path, mode);
  return 2;
}

int io_open(lua_State* L) {
  const char* path = lua_tostring(L, 1);
  const char* mode = lua_tostring(L, 2);
  if (!path) return luaL_argerror(L, 1, "requires a filename");
  const int level = qk_lua_sandbox_level(L);
  if (level == 4) return qk_lua_sandbox_violation(L, "io.open", path);
  if (!mode) mode = "r";
  uint32_t open_mode;
  switch (mode[0]) {
    case 'r': {
      if (level >= 2 && !qk_lua_path_readable(L, path))
        return qk_lua_sandbox_violation(L, "io.open(r)", path);
      fs_entry entry;
      if (!qk_fs_stat(path, &entry) || entry.kind != 1) return can_not_open(L, path, mode);
      open_mode = 0;
      break;
    }
    case 'w':
    case 'a':
      if (level >= 1 && !qk_lua_path_writable(L, path))
        return qk_lua_sandbox_violation(L, "io.open(w)", path);
      open_mode = mode[0] == 'w' ? 1 : 2;
      break;
    default:
      lua_pushnil(L);
      lua_pushfstring(L, "io.open(%s): only 'r' and 'w' are supported on VFS", path);
      return 2;
  }
  qkvfs::IFile* file = qk_vfs_open_real_small(path, open_mode, false);
  if (!file) return can_not_open(L, path, mode);
  auto* f = static_cast<LuaFile*>(lua_newuserdata(L, sizeof(LuaFile)));
  f->file = file;
  f->pos = 0;
  f->len = 0;
  luaL_getmetatable(L, kMetatable);
  lua_setmetatable(L, -2);
  return 1;
}

const luaL_Reg kFunctions[] = {
    {"open", io_open}, {"close", io_close}, {"__gc", io_close},  {"write", io_write},
    {"read", io_read}, {"lines", io_lines}, {"flush", io_flush}, {nullptr, nullptr},
};

}  // namespace

int qk_lua_open_io(lua_State* L) {
  luaL_newmetatable(L, kMetatable);
  lua_pushvalue(L, -1);
  lua_setfield(L, -2, "__index");
  luaL_register(L, nullptr, kFunctions);
  const luaL_Reg none[] = {{nullptr, nullptr}};
  luaL_register(L, "io", none);
  // The same function values in both tables.
  for (const luaL_Reg* function = kFunctions; function->name; ++function) {
    lua_getfield(L, -2, function->name);
    lua_setfield(L, -2, function->name);
  }
  return 1;
}
