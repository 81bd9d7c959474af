// The catalogue checker's reading of one material, field by field in the loader's order: its
// name, shader_name, uniforms, textures, misc, allowed_nodes, allowed_objects and
// default_user_defines, each with the rules MaterialsLoader.cpp applies.
#include <cmath>
#include <cstdint>

#include "LintReader.h"
#include "NameSuggestion.h"
#include "Utf8Form.h"
#include "qk_format.h"

namespace {

using Found = LintReader::Found;

// A uniform line is formatted into 512 bytes: 511 of text at most.
constexpr size_t kUniformLineLimit = 511;
// The longest list the checker follows; the loader reads on up to INT_MAX.
constexpr int kListLimit = 1 << 20;

const std::vector<std::string_view> kMaterialFields = {
    "shader_name",         "uniforms", "textures", "misc", "allowed_nodes", "allowed_objects",
    "default_user_defines"};
const std::vector<std::string_view> kMiscFields = {"normals", "opacity", "depthBias", "shadowCaster",
                                                   "onlyShadowCaster"};
const std::vector<std::string_view> kTextureFields = {"tex", "channel", "uniforms"};
const std::vector<std::string_view> kOpacityWords = {"blend", "alpha_test", "sum_blend"};
const std::vector<std::string_view> kObjectWords = {"Mesh", "Spline", "Line"};

// A text for a message: at most 60 bytes, cut at a character's start, control bytes escaped.
std::string shown(std::string_view text) {
  std::string_view part = text;
  bool cut = false;
  if (part.size() > 60) {
    size_t end = 57;
    while (end > 0 && (static_cast<unsigned char>(part[end]) & 0xC0) == 0x80) --end;
    part = part.substr(0, end);
    cut = true;
  }
  std::string out;
  for (char c : part) {
    if (c == '\r')
      out += "\\r";
    else if (c == '\n')
      out += "\\n";
    else if (static_cast<unsigned char>(c) < 0x20)
      out += qk_format("\\x%02X", static_cast<unsigned char>(c));
    else
      out += c;
  }
  return cut ? out + "..." : out;
}

bool contains(const std::vector<std::string_view>& words, std::string_view word) {
  for (std::string_view candidate : words)
    if (candidate == word) return true;
  return false;
}

// Entries of the table at `table` whose key isn't one of `fields`: unknown, with a suggestion from
// `fields`, else from `otherLevel` (the fields of misc for a material, and the other way round),
// written as `otherPrefix` + name, with `otherNote` said about it.
void unknownFields(LintReader& r, int table, const std::string& path,
                   const std::vector<std::string_view>& fields,
                   const std::vector<std::string_view>& otherLevel, const char* otherPrefix,
                   const char* otherNote) {
  lua_State* L = r.L;
  r.forEachEntry(table, [&](size_t, int key, int) {
    const std::string where = r.keyPath(path, key);
    if (lua_type(L, key) != LUA_TSTRING) {
      r.report(where, "unknown-field", "an entry without a field name: ignored");
      return;
    }
    const std::string name = lua_tostring(L, key);
    if (contains(fields, name)) return;
    if (name == "decal") {
      r.report(where, "unknown-field",
               "the catalogue has no decal key: ignored; the artist chooses the drawing order in the panel");
      return;
    }
    std::string message = "unknown field: ignored";
    std::string suggestion = closestName(name, fields);
    if (suggestion.empty() && !otherLevel.empty()) {
      suggestion = closestName(name, otherLevel);
      if (!suggestion.empty()) {
        suggestion = otherPrefix + suggestion;
        message += otherNote;
      }
    }
    r.report(where, "unknown-field", message, suggestion);
  });
}

void wrongType(LintReader& r, const std::string& path, int value, const char* wanted, const char* instead) {
  r.report(path, "wrong-type", r.typeOf(value) + " where " + wanted + " is read: ignored, so " + instead);
}

// ---- Uniform blocks ----------------------------------------------------------------------------

// The table at `table` as readUniformBlock reads it: one line per key, a value that is no text
// repeating the text before it, lines cut at 511 bytes. `whole` names what the host's wide
// conversion empties.
void lintUniformBlock(LintReader& r, int table, const std::string& path, const char* whole) {
  lua_State* L = r.L;
  std::string text;  // one buffer for keys and values, as the loader has it
  const std::vector<LintReader::Key> keys = r.tableKeys(table, path, text);
  r.forEachEntry(table, [&](size_t i, int, int value) {
    const LintReader::Key& key = keys[i];
    const Found found = r.lookup(table, key.text, key.path);
    if (found == Found::Panic) return;
    const bool reached = lua_rawequal(L, -1, value) != 0;
    const bool isText = r.takeText(-1, text, key.path);
    const std::string line = key.text + "=" + text;
    const std::string written = (line + "\r\n").substr(0, kUniformLineLimit);
    const std::string result = "the line reads \"" + shown(line) + "\"";
    if (!reached)
      r.report(key.path, key.type == LUA_TSTRING ? (key.cut ? "text-cut" : "dotted-key") : "key-not-text",
               r.unreachedReason(key) + ", and " + result);
    else if (!isText)
      r.report(key.path, "value-not-text",
               r.typeOf(value) + " isn't a text: the line repeats the text before it, " + "and " + result);
    if (line.size() + 2 > kUniformLineLimit)
      r.report(key.path, "line-cut",
               qk_format("the line is %zu bytes with its line end: it is cut to %zu and loses the line end",
                         line.size() + 2, kUniformLineLimit));
    r.checkWideText(key.path, written, whole);
  });
}

// ---- Textures ----------------------------------------------------------------------------------

// The channel at the top: cut toward zero to 64 bits and kept as its low 32 bits.
void checkChannel(LintReader& r, const std::string& path) {
  const double number = lua_tonumber(r.L, -1);
  if (!std::isfinite(number) || std::fabs(number) >= 9223372036854775808.0) {
    r.report(path, "channel-cut",
             "the channel has no integer value (not a number, or too large): the host takes 0");
    return;
  }
  const auto whole = static_cast<int64_t>(number);
  const auto kept = static_cast<int32_t>(static_cast<uint32_t>(whole));
  if (static_cast<double>(whole) != number || kept != whole)
    r.report(path, "channel-cut",
             qk_format("the channel %s is taken as %d", lua_tostring(r.L, -1), static_cast<int>(kept)));
}

// Why a texture whose "tex" or "channel" didn't read as wanted is dropped. The look-up's value is
// on top.
std::string droppedReason(LintReader& r, bool reached, const LintReader::Key& key, int entry,
                          const char* field, const char* wanted) {
  if (!reached) return r.unreachedReason(key) + ", and the texture is dropped";
  if (!lua_istable(r.L, entry)) return r.typeOf(entry) + ", not a table: the texture is dropped";
  if (lua_isnil(r.L, -1)) return std::string("dropped: it has no \"") + field + "\"";
  return std::string("dropped: its \"") + field + "\" is " + r.typeOf(-1) + ", not " + wanted;
}

void lintTexture(LintReader& r, int textures, const LintReader::Key& key, int entry) {
  lua_State* L = r.L;
  r.lookup(textures, key.text, key.path, false);
  const bool reached = lua_rawequal(L, -1, entry) != 0;
  lua_pop(L, 1);

  std::string tex;
  if (r.lookup(textures, key.text + ".tex", key.path) == Found::Panic) return;
  if (!r.takeText(-1, tex, key.path + ".tex")) {
    r.report(key.path, "texture-dropped", droppedReason(r, reached, key, entry, "tex", "a text"));
    return;
  }
  lua_pop(L, 1);
  if (r.lookup(textures, key.text + ".channel", key.path) == Found::Panic) return;
  if (!lua_isnumber(L, -1)) {
    r.report(key.path, "texture-dropped", droppedReason(r, reached, key, entry, "channel", "a number"));
    return;
  }
  checkChannel(r, key.path + ".channel");
  lua_pop(L, 1);
  if (!reached)
    r.report(key.path, "dotted-key", r.unreachedReason(key) + ", and takes the texture from there");

  const std::string uniformsPath = key.path + ".uniforms";
  if (r.lookup(textures, key.text + ".uniforms", key.path) == Found::Value) {
    if (lua_istable(L, -1))
      lintUniformBlock(r, lua_gettop(L), uniformsPath, "the whole texture report");
    else
      wrongType(r, uniformsPath, -1, "a table", "the texture has no uniforms");
  }
  lua_pop(L, 1);
  r.checkWideText(key.path, key.text, "the whole texture report");
  if (reached && lua_istable(L, entry)) unknownFields(r, entry, key.path, kTextureFields, {}, "", "");
}

void lintTextures(LintReader& r, int textures, const std::string& path) {
  std::string text;
  const std::vector<LintReader::Key> keys = r.tableKeys(textures, path, text);
  r.forEachEntry(textures, [&](size_t i, int, int entry) { lintTexture(r, textures, keys[i], entry); });
}

// ---- misc, lists, user defines -----------------------------------------------------------------

void lintMisc(LintReader& r, int misc, const std::string& path) {
  lua_State* L = r.L;
  unknownFields(r, misc, path, kMiscFields, kMaterialFields, "",
                " (a field of the material itself, not of misc)");
  const struct {
    const char* name;
    const char* instead;
  } flags[] = {{"normals", "normals stay on"},
               {"depthBias", "no depth bias"},
               {"shadowCaster", "the material casts shadows"},
               {"onlyShadowCaster", "not only a shadow caster"}};
  for (const auto& flag : flags) {
    const std::string where = path + "." + flag.name;
    if (r.lookup(misc, flag.name, where) == Found::Value && !lua_isboolean(L, -1) && !lua_isnumber(L, -1))
      wrongType(r, where, -1, "a boolean or a number", flag.instead);
    lua_pop(L, 1);
  }
  const std::string where = path + ".opacity";
  std::string word;
  if (r.lookup(misc, "opacity", where) == Found::Value) {
    if (!r.takeText(-1, word, where))
      wrongType(r, where, -1, "a text", "no blending");
    else if (!contains(kOpacityWords, word))
      r.report(where, "unknown-word", "\"" + shown(word) + "\" isn't an opacity mode: no blending",
               closestName(word, kOpacityWords));
  }
  lua_pop(L, 1);
}

// allowed_nodes and allowed_objects: t[1], t[2], ... up to the first that is no text.
void lintList(LintReader& r, int list, const std::string& path, bool objects) {
  lua_State* L = r.L;
  int end = 1;
  for (; end <= kListLimit; ++end) {
    lua_pushnumber(L, end);
    lua_gettable(L, list);
    const std::string where = path + "[" + std::to_string(end) + "]";
    std::string word;
    if (!r.takeText(-1, word, where)) break;
    lua_pop(L, 1);
    if (objects && !contains(kObjectWords, word))
      r.report(where, "unknown-word", "\"" + shown(word) + "\" isn't an object kind: skipped",
               closestName(word, kObjectWords));
  }
  if (end > kListLimit) {
    r.report(path, "list-cut", qk_format("the list goes on past %d entries; the host reads on", kListLimit));
    return;
  }
  const std::string stop = path + "[" + std::to_string(end) + "]";
  const std::string stopper = lua_isnil(L, -1) ? std::string("a hole (nil)") : r.typeOf(-1);
  lua_pop(L, 1);
  int after = 0;
  r.forEachEntry(list, [&](size_t, int key, int) {
    const double index = lua_type(L, key) == LUA_TNUMBER ? lua_tonumber(L, key) : 0;
    if (index >= 1 && index < end && index == std::floor(index)) return;
    if (index > end && index == std::floor(index)) {
      ++after;
      return;
    }
    if (index != end)
      r.report(r.keyPath(path, key), "list-cut",
               "not a list entry [1], [2], ...: ignored, only the list is read");
  });
  if (after > 0 || stopper != "a hole (nil)")
    r.report(stop, "list-cut",
             qk_format("the list ends at %s: %s", stopper.c_str(),
                       after == 1  ? "the entry after it is ignored"
                       : after > 1 ? qk_format("the %d entries after it are ignored", after).c_str()
                                   : "this entry is ignored"));
}

void lintUserDefines(LintReader& r, int defines, const std::string& path) {
  lua_State* L = r.L;
  std::string text;
  const std::vector<LintReader::Key> keys = r.tableKeys(defines, path, text);
  r.forEachEntry(defines, [&](size_t i, int, int value) {
    const LintReader::Key& key = keys[i];
    if (r.lookup(defines, key.text, key.path) == Found::Panic) return;
    const bool reached = lua_rawequal(L, -1, value) != 0;
    std::string define;
    const bool isText = r.takeText(-1, define, key.path);
    const std::string result =
        isText ? "the define reads " + shown(key.text + " = \"" + define + "\";") : "the define is left out";
    if (!reached)
      r.report(key.path, key.type == LUA_TSTRING ? (key.cut ? "text-cut" : "dotted-key") : "key-not-text",
               r.unreachedReason(key) + ", and " + result);
    else if (!isText)
      r.report(key.path, "value-not-text", r.typeOf(value) + " isn't a text: " + result);
  });
}

// Looks up `field` of the material at `material`; for a table, runs `lint` on it at its stack
// position; any other value but nil is of the wrong type.
template <class Lint>
void tableField(LintReader& r, int material, const std::string& path, const char* field, const char* instead,
                Lint lint) {
  const std::string where = path.empty() ? field : path + "." + field;
  if (r.lookup(material, field, where) == Found::Value) {
    if (lua_istable(r.L, -1))
      lint(lua_gettop(r.L), where);
    else
      wrongType(r, where, -1, "a table", instead);
  }
  lua_pop(r.L, 1);
}

}  // namespace

bool lintMaterial(LintReader& r, int materials, const LintReader::Key& key, int value) {
  lua_State* L = r.L;
  if (r.lookup(materials, key.text, key.path) == Found::Panic) return false;
  const bool reached = lua_rawequal(L, -1, value) != 0;
  const std::string box =
      "the load stops here with the box \"Can't parse material: " + shown(key.text) + "\"";
  if (!lua_istable(L, -1)) {
    r.report(key.path, "not-a-table",
             (reached ? r.typeOf(value) + ", not a table: " : r.unreachedReason(key) + ": ") + box, {}, true);
    return false;
  }
  if (!reached)
    r.report(key.path, "dotted-key", r.unreachedReason(key) + ", and reads that table as the material");
  const int material = lua_gettop(L);
  const std::string& path = key.path;
  r.checkWideText(path, key.text, "the name in the material combo and in saved scenes",
                  ", and a scene saved with it names another material, so the name is cleared on load");

  unknownFields(r, material, path, kMaterialFields, kMiscFields, "misc.", " (a field of misc)");
  std::string shader;
  const std::string shaderPath = path + ".shader_name";
  if (r.lookup(material, "shader_name", shaderPath) == Found::Value && !r.takeText(-1, shader, shaderPath))
    wrongType(r, shaderPath, -1, "a text", "the shader name stays empty");
  lua_pop(L, 1);
  tableField(r, material, path, "uniforms", "no default uniforms", [&](int table, const std::string& where) {
    lintUniformBlock(r, table, where, "the whole uniform block in the panel");
  });
  tableField(r, material, path, "textures", "no textures",
             [&](int table, const std::string& where) { lintTextures(r, table, where); });
  tableField(r, material, path, "misc", "every misc value keeps its default",
             [&](int table, const std::string& where) { lintMisc(r, table, where); });
  tableField(r, material, path, "allowed_nodes", "allowed on every node",
             [&](int table, const std::string& where) { lintList(r, table, where, false); });
  tableField(r, material, path, "allowed_objects", "allowed on every object kind",
             [&](int table, const std::string& where) { lintList(r, table, where, true); });
  tableField(r, material, path, "default_user_defines", "no user defines",
             [&](int table, const std::string& where) { lintUserDefines(r, table, where); });
  lua_pop(L, 1);
  return true;
}
