#include "LintReader.h"

#include <cstring>

#include "Utf8Form.h"
#include "qk_format.h"

namespace {

bool isIdentifier(std::string_view key) {
  if (key.empty() || (key[0] >= '0' && key[0] <= '9')) return false;
  for (char c : key)
    if (!(c == '_' || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')))
      return false;
  return true;
}

// A value the last step of a look-up may index without an error: a table, or anything with a
// metatable that has __index (a string has the string library there).
bool indexable(lua_State* L, int index) {
  if (lua_istable(L, index)) return true;
  if (!lua_getmetatable(L, index)) return false;
  lua_getfield(L, -1, "__index");
  const bool has = !lua_isnil(L, -1);
  lua_pop(L, 2);
  return has;
}

}  // namespace

void LintReader::report(const std::string& path, const char* code, std::string message,
                        std::string suggestion, bool fatal) {
  if (!suggestion.empty()) message += "; did you mean \"" + suggestion + "\"?";
  findings_.push_back(
      LintFinding{path.empty() ? "materials" : path, code, std::move(message), std::move(suggestion), fatal});
}

std::string LintReader::childPath(const std::string& path, std::string_view key) {
  if (isIdentifier(key)) return path.empty() ? std::string(key) : path + "." + std::string(key);
  std::string quoted = "[\"";
  for (char c : key) quoted += (c == '"' || c == '\\') ? std::string("\\") + c : std::string(1, c);
  return path + quoted + "\"]";
}

std::string LintReader::keyPath(const std::string& path, int index) {
  switch (lua_type(L, index)) {
    case LUA_TSTRING: {
      size_t size = 0;
      const char* text = lua_tolstring(L, index, &size);
      return childPath(path, std::string_view(text, size));
    }
    case LUA_TNUMBER: {
      lua_pushvalue(L, index);
      const std::string number = lua_tostring(L, -1);
      lua_pop(L, 1);
      return path + "[" + number + "]";
    }
    case LUA_TBOOLEAN: return path + (lua_toboolean(L, index) ? "[true]" : "[false]");
    default: return path + "[" + luaL_typename(L, index) + "]";
  }
}

std::vector<LintReader::Key> LintReader::tableKeys(int table, const std::string& path, std::string& text) {
  std::vector<Key> keys;
  forEachEntry(table, [&](size_t, int key, int) {
    Key entry{std::string(), keyPath(path, key), lua_type(L, key), false};
    if (lua_isstring(L, key)) {
      lua_pushvalue(L, key);  // the copy is converted, never the key lua_next holds
      size_t size = 0;
      const char* bytes = lua_tolstring(L, -1, &size);
      text = bytes;
      entry.cut = std::strlen(bytes) != size;
      lua_pop(L, 1);
    }
    entry.text = text;
    keys.push_back(std::move(entry));
  });
  return keys;
}

LintReader::Found LintReader::lookup(int table, const std::string& name, const std::string& path,
                                     bool reportPanic) {
  const size_t lastDot = name.rfind('.');
  if (lastDot == std::string::npos) {
    lua_pushlstring(L, name.data(), name.size());
    lua_gettable(L, table);
    return lua_isnil(L, -1) ? Found::Nothing : Found::Value;
  }
  lua_pushvalue(L, table);
  for (size_t start = 0; start <= lastDot;) {
    const size_t dot = name.find('.', start);
    if (!lua_istable(L, -1)) {
      lua_pop(L, 1);
      lua_pushnil(L);
      return Found::Nothing;
    }
    lua_pushlstring(L, name.data() + start, dot - start);
    lua_gettable(L, -2);
    lua_remove(L, -2);
    if (lua_isnil(L, -1)) return Found::Nothing;
    start = dot + 1;
  }
  if (!indexable(L, -1)) {
    if (reportPanic)
      report(path, "lua-panic",
             qk_format("the look-up of \"%s\" reaches %s at \"%s\" and indexes it: the host stops with a "
                       "Lua panic (attempt to index %s value)",
                       name.c_str(), typeOf(-1).c_str(), name.substr(0, lastDot).c_str(), typeOf(-1).c_str()),
             {}, true);
    lua_pop(L, 1);
    lua_pushnil(L);
    return Found::Panic;
  }
  lua_pushstring(L, name.c_str() + lastDot + 1);
  lua_gettable(L, -2);
  lua_remove(L, -2);
  return lua_isnil(L, -1) ? Found::Nothing : Found::Value;
}

bool LintReader::takeText(int index, std::string& out, const std::string& path) {
  if (!lua_isstring(L, index)) return false;
  lua_pushvalue(L, index);
  size_t size = 0;
  const char* bytes = lua_tolstring(L, -1, &size);
  out = bytes;
  lua_pop(L, 1);
  if (out.size() != size)
    report(path, "text-cut",
           qk_format("the text holds a zero byte at %zu of %zu: the host keeps only what comes before it",
                     out.size(), size));
  return true;
}

void LintReader::checkWideText(const std::string& path, std::string_view text, const char* whole,
                               const char* badNote) {
  const Utf8Form form = inspectUtf8(text);
  if (!form.wellFormed)
    report(
        path, "not-utf8",
        qk_format("byte 0x%02X at %zu isn't UTF-8 (a catalogue saved as Latin-1?): the host shows U+FFFD in "
                  "place of each such byte%s",
                  static_cast<unsigned char>(text[form.firstBadByte]), form.firstBadByte, badNote));
  else if (form.beyondBmp)
    report(path, "beyond-bmp",
           qk_format("U+%04X lies beyond the Basic Multilingual Plane: the host empties %s", form.beyondBmp,
                     whole));
}

std::string LintReader::unreachedReason(const Key& key) const {
  if (key.type == LUA_TSTRING && key.cut)
    return "the key holds a zero byte: the host looks up \"" + key.text + "\", not this entry";
  if (key.type == LUA_TSTRING)
    return "the key holds a dot: the host walks the nested path \"" + key.text + "\", not this entry";
  if (key.type == LUA_TNUMBER) return "the key is a number: the host looks up the text \"" + key.text + "\"";
  return qk_format("a %s key isn't a text: the host takes the key before it, \"%s\", in its place",
                   lua_typename(L, key.type), key.text.c_str());
}

std::string LintReader::typeOf(int index) const { return std::string("a ") + luaL_typename(L, index); }
