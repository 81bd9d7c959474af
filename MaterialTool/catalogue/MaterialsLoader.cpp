// MaterialsList::loadMaterialsList: running the catalogue script and reading its table `materials`
// field by field into MaterialDesc records.
//
// Bad input policy: a field of the wrong Lua type is no error; the record keeps its default. The
// four failures below end the load with one message box for the artist:
//   "Can't load file: <path>. Reason: <Lua's message>"   file missing, syntax error
//   "Can't parse file: <path>. Reason: <Lua's message>"  error while running the script
//   "Parsing error in file:<path>"                        no table `materials`
//   "Can't parse material: <key>"                         an entry of `materials` isn't a table
// The tables are read outside a protected call, so a Lua error there (a texture entry that Lua
// can't index) reaches the state's panic function and ends the process.
#include <algorithm>
#include <climits>
#include <cstring>
#include <exception>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "HostServices.h"
#include "LuaConfig.h"
#include "MaterialsList.h"
#include "qk_format.h"
#include "qk_lua.h"
#include "qk_text.h"

namespace {

// A failure of the load, carrying the text the artist is shown.
class Exception : public std::exception {
 public:
  explicit Exception(std::string message) : message_(std::move(message)) {}
  const char* what() const noexcept override { return message_.c_str(); }

 private:
  std::string message_;
};

// Owns a state for the length of one load.
class StateHolder {
 public:
  explicit StateHolder(const char* name) : L(qk_lua_newstate(name)) {}
  ~StateHolder() { qk_lua_close(L); }
  StateHolder(const StateHolder&) = delete;
  StateHolder& operator=(const StateHolder&) = delete;
  lua_State* const L;
};

// Lua's message on top of the stack. An error object that isn't text is named by its type, as
// Lua's own interpreter does.
std::string topText(lua_State* L) {
  if (const char* text = lua_tostring(L, -1)) return text;
  return qk_format("(error object is a %s value)", luaL_typename(L, -1));
}

// The loader's path goes through the host's ANSI code page and back to UTF-8, up to the first NUL.
// An ASCII path stays as it is; other bytes come out encoded twice, and such a file isn't found.
std::string convertPathTwice(std::string_view path) {
  if (path.empty()) throw std::out_of_range("Call front() on empty string.");
  const qk::wstring wide = hostServices().ansiToWide(path);
  return qk_to_utf8(wide.c_str());
}

// ---- Reusable buffers ------------------------------------------------------------------------
// A catalogue of thousands of materials is read field by field, so the walk keeps its scratch
// texts and key lists for the whole load: once they have grown, a field costs no allocation beyond
// what the record keeps.

// Texts collected one after another in one block, each ended by a zero byte (the texts come from
// popString, which never holds a zero byte). Cleared and refilled for each table of one level.
class KeyList {
 public:
  void clear() {
    bytes_.clear();
    starts_.clear();
  }
  void add(const std::string& text) {
    starts_.push_back(bytes_.size());
    bytes_.append(text.c_str(), text.size() + 1);
  }
  size_t size() const { return starts_.size(); }
  // Both stay valid until the next add() or clear().
  const char* c_str(size_t i) const { return bytes_.data() + starts_[i]; }
  std::string_view view(size_t i) const {
    const size_t end = i + 1 < starts_.size() ? starts_[i + 1] : bytes_.size();
    return {bytes_.data() + starts_[i], end - starts_[i] - 1};
  }

 private:
  std::string bytes_;
  std::vector<size_t> starts_;
};

// The field names the walk asks for in every material. They are pushed on the stack once, below
// the guarded table, and looked up by their stack slots, so that no look-up makes its name's
// string again.
enum FieldName : int {
  SHADER_NAME,
  UNIFORMS,
  TEXTURES,
  MISC,
  ALLOWED_NODES,
  ALLOWED_OBJECTS,
  DEFAULT_USER_DEFINES,
  NORMALS,
  OPACITY,
  DEPTH_BIAS,
  SHADOW_CASTER,
  ONLY_SHADOW_CASTER,
  TEX,
  CHANNEL,
  FIELD_NAME_COUNT
};

const char* const kFieldNames[FIELD_NAME_COUNT] = {"shader_name",
                                                   "uniforms",
                                                   "textures",
                                                   "misc",
                                                   "allowed_nodes",
                                                   "allowed_objects",
                                                   "default_user_defines",
                                                   "normals",
                                                   "opacity",
                                                   "depthBias",
                                                   "shadowCaster",
                                                   "onlyShadowCaster",
                                                   "tex",
                                                   "channel"};

// The names on the stack, and one slot for the texture key in hand; the stack goes back to its
// height when this ends. Made before the guard, so that the guard's table stays on top.
class FieldNames {
 public:
  explicit FieldNames(lua_State* state) : L(state), base_(lua_gettop(state)) {
    luaL_checkstack(L, FIELD_NAME_COUNT + 1, "field names");
    for (const char* name : kFieldNames) lua_pushstring(L, name);
    lua_pushnil(L);
  }
  ~FieldNames() { lua_settop(L, base_); }
  FieldNames(const FieldNames&) = delete;
  FieldNames& operator=(const FieldNames&) = delete;

  int operator[](FieldName name) const { return base_ + 1 + name; }
  int keySlot() const { return base_ + 1 + FIELD_NAME_COUNT; }

 private:
  lua_State* const L;
  const int base_;
};

// ---- The walk ----------------------------------------------------------------------------------

// Reads the table `materials` of a state that has run the catalogue script. Holds the stack guard
// on the table of globals for its life.
class CatalogueReader {
 public:
  explicit CatalogueReader(lua_State* L) : names_(L), config_(L, LUA_GLOBALSINDEX) {}

  // Appends a record for every entry of `materials`, in traversal order. A failure throws Exception
  // with the records before it in `list`.
  void readMaterials(const std::string& path, std::vector<MaterialDesc>& list) {
    if (!config_.pushTable("materials")) throw Exception(std::string("Parsing error in file:") + path);
    text_.clear();
    readTableKeys(materialKeys_, text_);
    list.reserve(list.size() + materialKeys_.size());
    for (size_t i = 0; i < materialKeys_.size(); ++i) {
      const char* key = materialKeys_.c_str(i);
      if (!config_.pushTable(key)) throw Exception("Can't parse material: " + std::string(key));
      // The record is built in its place in the list (reserved above, so no record moves), and
      // taken out again should anything be thrown while it is half-built.
      MaterialDesc& desc = list.emplace_back();
      try {
        readMaterial(materialKeys_.view(i), desc);
      } catch (...) {
        list.pop_back();
        throw;
      }
      lua_pop(state(), 1);
    }
    lua_pop(state(), 1);
  }

 private:
  lua_State* state() const { return config_.state(); }

  // The field `name` of the table on top.
  void pushField(FieldName name) { config_.pushFieldOf({names_[name]}); }
  bool pushTable(FieldName name) { return config_.pushTableOf({names_[name]}); }

  // The dotted path `key` + "." + `name` of the table on top, where `key` is the text of a texture's
  // key. A key without a dot is made a string once, into the key slot, for its three look-ups; a
  // key with dots walks its segments as the path's text says.
  void takeTextureKey(std::string_view key) {
    keyHasDot_ = key.find('.') != std::string_view::npos;
    if (keyHasDot_) return;
    lua_pushlstring(state(), key.data(), key.size());
    lua_replace(state(), names_.keySlot());
  }
  void pushTextureField(std::string_view key, FieldName name) {
    if (entryInHand_) return pushField(name);
    if (!keyHasDot_) return config_.pushFieldOf({names_.keySlot(), names_[name]});
    path_.assign(key).append(1, '.').append(kFieldNames[name]);
    config_.pushField(path_.c_str());
  }

  // Whether the value on top has a metatable; the stack stays as it is. A table without one is read
  // by plain look-ups that run no Lua code.
  bool topHasMetatable() {
    if (!lua_getmetatable(state(), -1)) return false;
    lua_pop(state(), 1);
    return true;
  }

  // For a key without a dot in a textures table without a metatable (on top): pushes the entry
  // under the key slot's string when it is a table without a metatable, and answers true. Each of
  // the entry's three dotted look-ups would first find the entry again, and with no metatable on
  // either table no Lua code runs between them that could change it, so it is found once and its
  // fields are read from it. Otherwise pushes nothing and answers false.
  bool pushPlainEntry() {
    lua_State* L = state();
    lua_pushvalue(L, names_.keySlot());
    lua_gettable(L, -2);
    if (lua_istable(L, -1) && !topHasMetatable()) return true;
    lua_pop(L, 1);
    return false;
  }
  void dropEntry() {
    if (entryInHand_) lua_pop(state(), 1);
    entryInHand_ = false;
  }

  // The keys of the table on top, in traversal order, each through `text`. A key that is neither
  // string nor number leaves `text` as it was, so its entry repeats the previous key's text (or
  // what `text` held before the first key). The key is copied before conversion, so that lua_next
  // never sees a converted key. The stack ends as it began.
  void readTableKeys(KeyList& keys, std::string& text) {
    lua_State* L = state();
    keys.clear();
    lua_pushnil(L);
    while (lua_next(L, -2)) {
      lua_pushvalue(L, -2);
      config_.popString(text);
      keys.add(text);
      lua_pop(L, 1);
    }
  }

  // Builds block_ anew from the table on top: line(key, value text), which appends to block_, for
  // each entry in traversal order. A value that is neither string nor number is passed over when
  // `skipOthers` is set; otherwise its line repeats the text before it: the previous entry's value,
  // or for the first entry the last key.
  //
  // The entries are looked up by their keys' text, as paths (see readTableKeys), after all keys
  // have been collected. The table is read in one walk instead when that finds the same: every key
  // is a string that is its own text (no dot, which would make it a path; no zero byte, which
  // would cut it), so a look-up by it finds the value the walk found, which is never nil: no
  // __index is asked and no Lua code runs between the look-ups. A key of another kind, or a value
  // that would repeat text (which depends on keys not yet walked), ends the walk, and the table is
  // read key by key from the start. A table with a metatable is always read key by key: one rule
  // for every table that has one, which also gives two readings of one catalogue to compare, as an
  // empty metatable changes no look-up. The stack ends as it began.
  template <class Line>
  void readTextEntries(bool skipOthers, Line line) {
    block_.clear();
    if (walkTextEntries(skipOthers, line)) return;
    block_.clear();  // what the walk wrote before it gave up
    text_.clear();
    readTableKeys(blockKeys_, text_);
    for (size_t i = 0; i < blockKeys_.size(); ++i) {
      config_.pushField(blockKeys_.c_str(i));
      if (config_.popString(text_) || !skipOthers) line(blockKeys_.view(i), text_);
    }
  }

  // The walk of readTextEntries: answers false where it gives up, having called `line` for the
  // entries before.
  template <class Line>
  bool walkTextEntries(bool skipOthers, Line line) {
    lua_State* L = state();
    if (topHasMetatable()) return false;
    lua_pushnil(L);
    while (lua_next(L, -2)) {
      size_t length = 0;
      const char* key = lua_type(L, -2) == LUA_TSTRING ? lua_tolstring(L, -2, &length) : nullptr;
      if (!key || std::memchr(key, '.', length) || std::memchr(key, '\0', length)) {
        lua_pop(L, 2);
        return false;
      }
      if (config_.popString(text_)) {
        line(std::string_view(key, length), text_);  // the key stays on the stack until the next step
      } else if (!skipOthers) {
        lua_pop(L, 1);
        return false;
      }
    }
    return true;
  }

  // One line "key=value\r\n" of a uniform block, cut at 511 bytes (it was formatted into 512
  // bytes), losing its line end.
  void appendUniformLine(std::string_view key, const std::string& value) {
    const size_t length = std::min<size_t>(key.size() + 1 + value.size() + 2, 511);
    const size_t at = block_.size();
    block_.resize(at + length);
    char* line = &block_[at];
    size_t room = length;
    const auto put = [&](const char* bytes, size_t count) {
      count = std::min(count, room);
      std::memcpy(line, bytes, count);
      line += count;
      room -= count;
    };
    put(key.data(), key.size());
    put("=", 1);
    put(value.data(), value.size());
    put("\r\n", 2);
  }

  // The table on top as a uniform block: one line per key in traversal order. A value that is
  // neither string nor number repeats the text before it: the previous key's value, or for the
  // first key the last key that was collected.
  void readUniformBlock(std::string& out) {
    // built in block_, then copied once at its full size
    readTextEntries(
        false, [this](std::string_view key, const std::string& value) { appendUniformLine(key, value); });
    out.assign(block_);
  }

  // The table on top as textures, in traversal order. An entry without a text `tex` or a number
  // `channel` is dropped without a word. The fields are reached by dotted paths, so a texture name
  // holding a dot can't be reached.
  void readTextures(std::vector<TextureDesc>& out) {
    out.clear();
    text_.clear();
    readTableKeys(textureKeys_, text_);
    out.reserve(textureKeys_.size());
    const bool plainTextures = !topHasMetatable();
    for (size_t i = 0; i < textureKeys_.size(); ++i) {
      const std::string_view key = textureKeys_.view(i);
      TextureDesc& texture = out.emplace_back();
      texture.name.assign(key);
      takeTextureKey(key);
      entryInHand_ = plainTextures && !keyHasDot_ && pushPlainEntry();
      uint32_t channel = 0;
      pushTextureField(key, TEX);
      bool keep = config_.popString(texture.tex);
      if (keep) {
        pushTextureField(key, CHANNEL);
        keep = config_.popInt(channel);
      }
      if (!keep) {
        dropEntry();
        out.pop_back();
        continue;
      }
      texture.channel = static_cast<int32_t>(channel);
      pushTextureField(key, UNIFORMS);
      if (lua_istable(state(), -1)) {
        readUniformBlock(texture.uniforms);
      }
      lua_pop(state(), 1);
      dropEntry();
    }
  }

  static int32_t opacityFromText(const std::string& text) {
    if (text == "blend") return OPACITY_BLEND;
    if (text == "alpha_test") return OPACITY_ALPHA_TEST;
    if (text == "sum_blend") return OPACITY_SUM_BLEND;
    return OPACITY_NONE;
  }

  void readMisc(MaterialDesc& desc) {
    pushField(NORMALS);
    config_.popBool(desc.normals);
    pushField(OPACITY);
    if (config_.popString(text_)) desc.opacity = opacityFromText(text_);
    pushField(DEPTH_BIAS);
    config_.popBool(desc.depthBias);
    bool value = true;
    pushField(SHADOW_CASTER);
    if (!config_.popBool(value)) value = true;
    desc.shadowCaster = value;
    value = false;
    pushField(ONLY_SHADOW_CASTER);
    if (!config_.popBool(value)) value = false;
    desc.onlyShadowCaster = value;
  }

  // Calls `take` with the elements t[1], t[2], ... of the table on top as text, up to the first
  // that is neither string nor number. Without a metatable on the table, t[i] is a plain read,
  // which lua_rawgeti does in one call.
  template <class Take>
  void readArray(Take take) {
    const bool plain = !topHasMetatable();
    for (int i = 1; i < INT_MAX; ++i) {
      if (plain)
        lua_rawgeti(state(), -1, i);
      else
        config_.pushIndex(i);
      if (!config_.popString(text_)) break;
      take(text_);
    }
  }

  void readAllowedObjects(std::set<ObjectKind>& out) {
    readArray([&](const std::string& kind) {
      if (kind == "Mesh")
        out.insert(ObjectKind::Mesh);
      else if (kind == "Spline")
        out.insert(ObjectKind::Spline);
      else if (kind == "Line")
        out.insert(ObjectKind::Line);
    });
  }

  // `name = "value";` for each key with a text value, with no separator between entries.
  void readUserDefines(std::string& out) {
    readTextEntries(true, [this](std::string_view name, const std::string& value) {
      block_.append(name).append(" = \"").append(value).append("\";");
    });
    out.append(block_);
  }

  // Reads the material table on top, the entry `key` of `materials`, into `desc`.
  void readMaterial(std::string_view key, MaterialDesc& desc) {
    lua_State* L = state();
    desc.name = canonicalMaterialName(key);
    pushField(SHADER_NAME);
    config_.popString(desc.shaderName);
    if (pushTable(UNIFORMS)) {
      readUniformBlock(desc.defaultUniforms);
      lua_pop(L, 1);
    }
    if (pushTable(TEXTURES)) {
      readTextures(desc.textures);
      lua_pop(L, 1);
    }
    if (pushTable(MISC)) {
      readMisc(desc);
      lua_pop(L, 1);
    }
    if (pushTable(ALLOWED_NODES)) {
      readArray([&](const std::string& node) { desc.allowedNodes.insert(node); });
      lua_pop(L, 1);
    }
    if (pushTable(ALLOWED_OBJECTS)) {
      readAllowedObjects(desc.allowedObjects);
      lua_pop(L, 1);
    }
    if (pushTable(DEFAULT_USER_DEFINES)) {
      readUserDefines(desc.defaultUserDefines);
      lua_pop(L, 1);
    }
  }

  FieldNames names_;  // before the guard, which keeps its table on top of them
  Lua::Config config_;
  KeyList materialKeys_, textureKeys_, blockKeys_;
  bool keyHasDot_ = false;
  bool entryInHand_ = false;  // a texture entry is on top of its table (pushPlainEntry)
  std::string text_;          // the one text buffer of each step, as the rules above use it
  std::string path_;          // dotted paths
  std::string block_;         // a uniform block or the user defines while they are built
};

}  // namespace

bool MaterialsList::loadMaterialsList(const char* path) {
  StateHolder state("MaterialsList::loadMaterialsList");
  lua_State* L = state.L;
  try {
    qk_lua_openlibs(L);
    const std::string converted = convertPathTwice(path);
    if (qk_lua_loadfile(L, converted.c_str()) != 0)
      throw Exception(std::string("Can't load file: ") + path + ". Reason: " + topText(L));
    if (qk_lua_pcall(L, 0, 0, 0) != 0)
      throw Exception(std::string("Can't parse file: ") + path + ". Reason: " + topText(L));

    CatalogueReader(L).readMaterials(path, list_);
  } catch (const Exception& e) {
    const qk::wstring text = qk_to_wide(e.what());
    hostServices().messageBox(text.c_str(), u"Error", MB_OK | MB_ICONEXCLAMATION);
    return false;
  }
  return true;
}
