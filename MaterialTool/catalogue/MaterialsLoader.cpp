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
#include <climits>
#include <exception>
#include <stdexcept>
#include <string>
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

// The keys of the table on top, in traversal order, each through `text`. A key that is neither
// string nor number leaves `text` as it was, so its entry repeats the previous key's text (or what
// `text` held before the first key). The key is copied before conversion, so that lua_next never
// sees a converted key. The stack ends as it began.
void readTableKeys(Lua::Config& config, std::vector<std::string>& keys, std::string& text) {
  lua_State* L = config.state();
  keys.clear();
  lua_pushnil(L);
  while (lua_next(L, -2)) {
    lua_pushvalue(L, -2);
    config.popString(text);
    keys.push_back(text);
    lua_pop(L, 1);
  }
}

// The table on top as a uniform block: one line "key=value\r\n" per key in traversal order. A line
// is formatted into 512 bytes, so a longer one is cut at 511 and loses its line end. A value that
// is neither string nor number repeats the text before it: the previous key's value, or for the
// first key the last key that was collected.
void readUniformBlock(Lua::Config& config, std::string& out) {
  out.clear();
  std::vector<std::string> keys;
  std::string text;
  readTableKeys(config, keys, text);
  char line[512];
  for (const std::string& key : keys) {
    config.pushField(key.c_str());
    config.popString(text);
    qk_snprintf(line, sizeof line, "%s=%s\r\n", key.c_str(), text.c_str());
    out += line;
  }
}

// The table on top as textures, in traversal order. An entry without a text `tex` or a number
// `channel` is dropped without a word. The fields are reached by dotted paths, so a texture name
// holding a dot can't be reached.
void readTextures(Lua::Config& config, std::vector<TextureDesc>& out) {
  out.clear();
  std::vector<std::string> keys;
  std::string text;
  readTableKeys(config, keys, text);
  for (const std::string& key : keys) {
    TextureDesc texture;
    texture.name = key;
    config.pushField((key + ".tex").c_str());
    if (!config.popString(texture.tex)) continue;
    uint32_t channel = 0;
    config.pushField((key + ".channel").c_str());
    if (!config.popInt(channel)) continue;
    texture.channel = static_cast<int32_t>(channel);
    if (config.pushTable((key + ".uniforms").c_str())) {
      readUniformBlock(config, texture.uniforms);
      lua_pop(config.state(), 1);
    }
    out.push_back(std::move(texture));
  }
}

int32_t opacityFromText(const std::string& text) {
  if (text == "blend") return OPACITY_BLEND;
  if (text == "alpha_test") return OPACITY_ALPHA_TEST;
  if (text == "sum_blend") return OPACITY_SUM_BLEND;
  return OPACITY_NONE;
}

void readMisc(Lua::Config& config, MaterialDesc& desc) {
  config.pushField("normals");
  config.popBool(desc.normals);
  std::string opacity;
  config.pushField("opacity");
  if (config.popString(opacity)) desc.opacity = opacityFromText(opacity);
  config.pushField("depthBias");
  config.popBool(desc.depthBias);
  bool value = true;
  config.pushField("shadowCaster");
  if (!config.popBool(value)) value = true;
  desc.shadowCaster = value;
  value = false;
  config.pushField("onlyShadowCaster");
  if (!config.popBool(value)) value = false;
  desc.onlyShadowCaster = value;
}

// Calls `take` with the elements t[1], t[2], ... of the table on top as text, up to the first that
// is neither string nor number.
template <class Take>
void readArray(Lua::Config& config, Take take) {
  std::string text;
  for (int i = 1; i < INT_MAX; ++i) {
    config.pushIndex(i);
    if (!config.popString(text)) break;
    take(text);
  }
}

void readAllowedObjects(Lua::Config& config, std::set<ObjectKind>& out) {
  readArray(config, [&](const std::string& kind) {
    if (kind == "Mesh") out.insert(ObjectKind::Mesh);
    else if (kind == "Spline") out.insert(ObjectKind::Spline);
    else if (kind == "Line") out.insert(ObjectKind::Line);
  });
}

// `name = "value";` for each key with a text value, with no separator between entries.
void readUserDefines(Lua::Config& config, std::string& out) {
  std::vector<std::string> keys;
  std::string text;
  readTableKeys(config, keys, text);
  for (const std::string& key : keys) {
    std::string value;
    config.pushField(key.c_str());
    if (config.popString(value)) out += key + " = \"" + value + "\";";
  }
}

// Reads the entry `key` of the table `materials` on top into `desc`.
void readMaterial(Lua::Config& config, const std::string& key, MaterialDesc& desc) {
  lua_State* L = config.state();
  if (!config.pushTable(key.c_str())) throw Exception("Can't parse material: " + key);
  desc.name = canonicalMaterialName(key);
  config.pushField("shader_name");
  config.popString(desc.shaderName);
  if (config.pushTable("uniforms")) {
    readUniformBlock(config, desc.defaultUniforms);
    lua_pop(L, 1);
  }
  if (config.pushTable("textures")) {
    readTextures(config, desc.textures);
    lua_pop(L, 1);
  }
  if (config.pushTable("misc")) {
    readMisc(config, desc);
    lua_pop(L, 1);
  }
  if (config.pushTable("allowed_nodes")) {
    readArray(config, [&](const std::string& node) { desc.allowedNodes.insert(node); });
    lua_pop(L, 1);
  }
  if (config.pushTable("allowed_objects")) {
    readAllowedObjects(config, desc.allowedObjects);
    lua_pop(L, 1);
  }
  if (config.pushTable("default_user_defines")) {
    readUserDefines(config, desc.defaultUserDefines);
    lua_pop(L, 1);
  }
}

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

    Lua::Config config(L, LUA_GLOBALSINDEX);
    if (!config.pushTable("materials")) throw Exception(std::string("Parsing error in file:") + path);
    std::vector<std::string> keys;
    std::string text;
    readTableKeys(config, keys, text);
    for (const std::string& key : keys) {
      MaterialDesc desc;
      readMaterial(config, key, desc);
      list_.push_back(desc);
      lua_pop(L, 1);
    }
    lua_pop(L, 1);
  } catch (const Exception& e) {
    const qk::wstring text = qk_to_wide(e.what());
    hostServices().messageBox(text.c_str(), u"Error", MB_OK | MB_ICONEXCLAMATION);
    return false;
  }
  return true;
}
