// loadMaterialsList: the schema with its defaults and truncation rules, and every failure message.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "MaterialsList.h"
#include "RecordingHost.h"
#include "TempDir.h"
#include "qk_format.h"
#include "qk_lua.h"

namespace {

class MaterialsLoader : public ::testing::Test {
 protected:
  bool load(const std::string& script) {
    return list.loadMaterialsList(dir.write("materials.lua", script).c_str());
  }

  // The one material that `materials = { m = { <fields> } }` yields, loaded into a list of its own.
  const MaterialDesc& material(const std::string& fields) {
    MaterialsList& own = *lists.emplace_back(std::make_unique<MaterialsList>());
    const std::string file = dir.write("one.lua", "materials = { m = { " + fields + " } }");
    EXPECT_TRUE(own.loadMaterialsList(file.c_str())) << fields;
    EXPECT_EQ(own.materials().size(), 1u) << fields;
    static const MaterialDesc none;
    return own.materials().empty() ? none : own.materials().front();
  }

  // The one message box shown, as "caption|text|style".
  std::string onlyBox() {
    EXPECT_EQ(host.boxes.size(), 1u);
    if (host.boxes.empty()) return "";
    const Box& b = host.boxes.front();
    return b.caption + "|" + b.text + "|" + std::to_string(b.style);
  }

  // The keys of the table that `expression` gives after running `script`, in Lua's traversal order.
  static std::vector<std::string> traversalOrder(const std::string& script, const char* expression) {
    lua_State* L = luaL_newstate();
    luaL_openlibs(L);
    const std::string code = script + "\nlocal keys = {} for k in pairs(" + expression +
                             ") do keys[#keys + 1] = tostring(k) end return table.concat(keys, ',')";
    EXPECT_EQ(luaL_dostring(L, code.c_str()), 0);
    std::vector<std::string> keys;
    std::string all = lua_tostring(L, -1);
    lua_close(L);
    for (size_t start = 0, comma; start <= all.size(); start = comma + 1) {
      comma = all.find(',', start);
      if (comma == std::string::npos) comma = all.size();
      keys.push_back(all.substr(start, comma - start));
    }
    return keys;
  }

  TempDir dir;
  RecordingHost host;
  MaterialsList list;
  std::vector<std::unique_ptr<MaterialsList>> lists;
};

// ---- Schema ----------------------------------------------------------------------------------

TEST_F(MaterialsLoader, ReadsEveryFieldOfTheSchema) {
  const MaterialDesc& m = material(
      "shader_name = 'lit', uniforms = { a = 1 },"
      "textures = { d = { tex = 'Diffuse Color', channel = 2, uniforms = { s = 'x' } } },"
      "misc = { normals = false, opacity = 'alpha_test', depthBias = true, shadowCaster = false,"
      "         onlyShadowCaster = true },"
      "allowed_nodes = { 'b', 'a' }, allowed_objects = { 'Line', 'Mesh' },"
      "default_user_defines = { A = 'on' }");
  EXPECT_EQ(m.name, "m");
  EXPECT_EQ(m.shaderName, "lit");
  EXPECT_EQ(m.defaultUniforms, "a=1\r\n");
  ASSERT_EQ(m.textures.size(), 1u);
  EXPECT_EQ(m.textures[0].name, "d");
  EXPECT_EQ(m.textures[0].tex, "Diffuse Color");
  EXPECT_EQ(m.textures[0].channel, 2);
  EXPECT_EQ(m.textures[0].uniforms, "s=x\r\n");
  EXPECT_FALSE(m.normals);
  EXPECT_EQ(m.opacity, OPACITY_ALPHA_TEST);
  EXPECT_TRUE(m.depthBias);
  EXPECT_FALSE(m.shadowCaster);
  EXPECT_TRUE(m.onlyShadowCaster);
  EXPECT_EQ(m.decal, 0);  // the script has no key for it
  EXPECT_EQ(m.allowedNodes, (std::set<std::string>{"a", "b"}));
  EXPECT_EQ(m.allowedObjects, (std::set<ObjectKind>{ObjectKind::Mesh, ObjectKind::Line}));
  EXPECT_EQ(m.defaultUserDefines, "A = \"on\";");
  EXPECT_TRUE(host.boxes.empty());
}

TEST_F(MaterialsLoader, AnEmptyEntryHasTheDefaults) {
  const MaterialDesc& m = material("");
  EXPECT_EQ(m.shaderName, "");
  EXPECT_TRUE(m.textures.empty());
  EXPECT_TRUE(m.shadowCaster);
  EXPECT_TRUE(m.normals);
  EXPECT_FALSE(m.onlyShadowCaster || m.depthBias);
  EXPECT_EQ(m.opacity, 0);
}

TEST_F(MaterialsLoader, FieldsOfTheWrongTypeCountAsAbsent) {
  const MaterialDesc& m = material(
      "shader_name = {}, uniforms = 'x', textures = 3, misc = 'x', allowed_nodes = 'a',"
      "allowed_objects = 1, default_user_defines = true");
  EXPECT_EQ(m.shaderName, "");
  EXPECT_EQ(m.defaultUniforms, "");
  EXPECT_TRUE(m.textures.empty() && m.allowedNodes.empty() && m.allowedObjects.empty());
  EXPECT_EQ(m.defaultUserDefines, "");
}

TEST_F(MaterialsLoader, ANumberShaderNameIsTakenInItsStringForm) {
  EXPECT_EQ(material("shader_name = 12.5").shaderName, "12.5");
}

TEST_F(MaterialsLoader, RetiredNamesBecomeDefault) {
  ASSERT_TRUE(load("materials = { metal = { shader_name = 'm' }, default = { shader_name = 'd' },"
                   "             Metal = {}, billboard = {} }"));
  const std::vector<std::string> order = traversalOrder(
      "materials = { metal = {}, default = {}, Metal = {}, billboard = {} }", "materials");
  ASSERT_EQ(list.materials().size(), 4u);
  for (size_t i = 0; i < order.size(); ++i) {
    const bool retired = order[i] == "metal" || order[i] == "billboard";
    EXPECT_EQ(list.materials()[i].name, retired ? "default" : order[i]);  // "Metal" isn't retired
  }
  // The first "default" in list order is the one a look-up finds.
  for (const MaterialDesc& m : list.materials()) {
    if (m.name == "default") {
      EXPECT_EQ(list.findMaterial("default"), &m);
      break;
    }
  }
  EXPECT_EQ(canonicalMaterialName("Grass"), "default");
  EXPECT_EQ(canonicalMaterialName("grass"), "grass");
  EXPECT_EQ(canonicalMaterialName(""), "");
}

TEST_F(MaterialsLoader, TheListKeepsTraversalOrder) {
  const std::string script = "materials = { z = {}, a = {}, m = {}, b = {}, k = {} }";
  ASSERT_TRUE(load(script));
  const std::vector<std::string> order = traversalOrder(script, "materials");
  ASSERT_EQ(list.materials().size(), order.size());
  for (size_t i = 0; i < order.size(); ++i) EXPECT_EQ(list.materials()[i].name, order[i]);
}

// ---- Uniform blocks --------------------------------------------------------------------------

TEST_F(MaterialsLoader, UniformLinesEndWithCarriageReturnAndLineFeed) {
  EXPECT_EQ(material("uniforms = { a = 1 }").defaultUniforms, "a=1\r\n");
}

TEST_F(MaterialsLoader, NumbersAreWrittenInLuasOwnForm) {
  EXPECT_EQ(material("uniforms = { a = 1.5 }").defaultUniforms, "a=1.5\r\n");
  EXPECT_EQ(material("uniforms = { a = 1e20 }").defaultUniforms, "a=1e+20\r\n");
  EXPECT_EQ(material("uniforms = { a = 1/3 }").defaultUniforms, "a=0.33333333333333\r\n");
}

TEST_F(MaterialsLoader, ALineIsCutAt511BytesAndLosesItsLineEnd) {
  const std::string fits(507, 'v');  // "a=" + 507 + "\r\n" = 511
  EXPECT_EQ(material("uniforms = { a = '" + fits + "' }").defaultUniforms, "a=" + fits + "\r\n");
  const std::string longer(600, 'v');
  EXPECT_EQ(material("uniforms = { a = '" + longer + "' }").defaultUniforms,
            "a=" + std::string(509, 'v'));
}

TEST_F(MaterialsLoader, ANonTextValueRepeatsTheTextBeforeIt) {
  const std::string script = "materials = { m = { uniforms = { first = {}, b = 'B', c = true } } }";
  ASSERT_TRUE(load(script));
  const std::vector<std::string> keys = traversalOrder(script, "materials.m.uniforms");
  // Each value that isn't text repeats the previous line's value; before the first line that is
  // the last key that was collected.
  std::string expected, previous = keys.back();
  for (const std::string& key : keys) {
    if (key == "b") previous = "B";
    expected += key + "=" + previous + "\r\n";
  }
  EXPECT_EQ(list.materials()[0].defaultUniforms, expected);
}

TEST_F(MaterialsLoader, ANumberKeyIsLookedUpAsText) {
  // The key 1 becomes the text "1", and t["1"] is nil: the line repeats the collected key.
  EXPECT_EQ(material("uniforms = { 'x' }").defaultUniforms, "1=1\r\n");
}

TEST_F(MaterialsLoader, DottedUniformKeysWalkNestedTables) {
  const std::string block = material("uniforms = { ['a.b'] = 'flat', a = { b = 'nested' } }").defaultUniforms;
  EXPECT_NE(block.find("a.b=nested\r\n"), std::string::npos) << block;
}

// ---- Textures --------------------------------------------------------------------------------

TEST_F(MaterialsLoader, ATextureWithoutTexOrChannelIsDropped) {
  const MaterialDesc& m = material(
      "textures = { keep = { tex = 'T', channel = 1 }, notex = { channel = 1 },"
      "             nochannel = { tex = 'T' }, text = 'x', badchannel = { tex = 'T', channel = 'c' } }");
  ASSERT_EQ(m.textures.size(), 1u);
  EXPECT_EQ(m.textures[0].name, "keep");
}

TEST_F(MaterialsLoader, ChannelsAreCutTowardZero) {
  const MaterialDesc& m = material(
      "textures = { a = { tex = 'T', channel = 1.9 }, b = { tex = 'T', channel = -1.9 },"
      "             c = { tex = 'T', channel = '12' }, d = { tex = 'T', channel = 4294967297 } }");
  std::map<std::string, int32_t> channels;
  for (const TextureDesc& t : m.textures) channels[t.name] = t.channel;
  EXPECT_EQ(channels, (std::map<std::string, int32_t>{{"a", 1}, {"b", -1}, {"c", 12}, {"d", 1}}));
}

TEST_F(MaterialsLoader, ATextureNameWithADotCannotBeReached) {
  EXPECT_TRUE(material("textures = { ['a.b'] = { tex = 'T', channel = 1 } }").textures.empty());
}

TEST_F(MaterialsLoader, TexturesKeepTraversalOrderAndTheirUniforms) {
  const std::string textures =
      "{ t1 = { tex = 'A', channel = 1, uniforms = { u = 2 } }, t2 = { tex = 'B', channel = 2 },"
      "  t3 = { tex = 'C', channel = 3, uniforms = 'not a table' } }";
  const MaterialDesc& m = material("textures = " + textures);
  const std::vector<std::string> order = traversalOrder("t = " + textures, "t");
  ASSERT_EQ(m.textures.size(), 3u);
  for (size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(m.textures[i].name, order[i]);
    EXPECT_EQ(m.textures[i].uniforms, order[i] == "t1" ? "u=2\r\n" : "");
  }
}

using MaterialsLoaderDeathTest = MaterialsLoader;

TEST_F(MaterialsLoaderDeathTest, ATextureEntryLuaCannotIndexEndsTheProcess) {
  EXPECT_DEATH(load("materials = { m = { textures = { a = 1 } } }"),
               "ALERT   LUA \\(.*\\): Lua panic: attempt to index a number value");
}

// ---- misc ------------------------------------------------------------------------------------

TEST_F(MaterialsLoader, MiscFlagsTakeBooleansAndNumbers) {
  EXPECT_TRUE(material("misc = {}").shadowCaster);
  EXPECT_FALSE(material("misc = { shadowCaster = 0 }").shadowCaster);
  EXPECT_TRUE(material("misc = { shadowCaster = 'no' }").shadowCaster);
  EXPECT_FALSE(material("misc = { onlyShadowCaster = 'yes' }").onlyShadowCaster);
  EXPECT_TRUE(material("misc = { onlyShadowCaster = 2 }").onlyShadowCaster);
  EXPECT_TRUE(material("misc = { normals = 'no' }").normals);
  EXPECT_FALSE(material("misc = { normals = '0' }").normals);
  EXPECT_FALSE(material("misc = { depthBias = {} }").depthBias);
  EXPECT_TRUE(material("misc = { depthBias = -1 }").depthBias);
}

TEST_F(MaterialsLoader, OpacityTextsAreExactAndCaseSensitive) {
  EXPECT_EQ(material("misc = { opacity = 'blend' }").opacity, OPACITY_BLEND);
  EXPECT_EQ(material("misc = { opacity = 'alpha_test' }").opacity, OPACITY_ALPHA_TEST);
  EXPECT_EQ(material("misc = { opacity = 'sum_blend' }").opacity, OPACITY_SUM_BLEND);
  EXPECT_EQ(material("misc = { opacity = 'Blend' }").opacity, OPACITY_NONE);
  EXPECT_EQ(material("misc = { opacity = 1 }").opacity, OPACITY_NONE);
}

// ---- Allowed sets and user defines -----------------------------------------------------------

TEST_F(MaterialsLoader, AllowedNodesStopAtTheFirstGap) {
  EXPECT_EQ(material("allowed_nodes = { 'a', nil, 'b' }").allowedNodes, (std::set<std::string>{"a"}));
  EXPECT_EQ(material("allowed_nodes = { 'b', 'a', 'b', 7 }").allowedNodes,
            (std::set<std::string>{"7", "a", "b"}));
  EXPECT_EQ(material("allowed_nodes = { 'a', {}, 'b' }").allowedNodes, (std::set<std::string>{"a"}));
}

TEST_F(MaterialsLoader, UnknownObjectKindsAreSkipped) {
  EXPECT_EQ(material("allowed_objects = { 'Mesh', 'Teapot', 'Line' }").allowedObjects,
            (std::set<ObjectKind>{ObjectKind::Mesh, ObjectKind::Line}));
  EXPECT_EQ(material("allowed_objects = { 'mesh', 'Spline' }").allowedObjects,
            (std::set<ObjectKind>{ObjectKind::Spline}));
}

TEST_F(MaterialsLoader, UserDefinesRunTogetherWithoutSeparators) {
  EXPECT_EQ(material("default_user_defines = { a = '1' }").defaultUserDefines, "a = \"1\";");
  const std::string script = "materials = { m = { default_user_defines = { a = '1', b = 2, c = {} } } }";
  ASSERT_TRUE(load(script));
  std::string expected;
  for (const std::string& key : traversalOrder(script, "materials.m.default_user_defines"))
    if (key != "c") expected += key + " = \"" + (key == "a" ? "1" : "2") + "\";";
  EXPECT_EQ(list.materials().back().defaultUserDefines, expected);
}

// ---- Failures --------------------------------------------------------------------------------

TEST_F(MaterialsLoader, AMissingFileCannotBeLoaded) {
  EXPECT_FALSE(list.loadMaterialsList("absent.lua"));
  EXPECT_EQ(onlyBox(), "Error|Can't load file: absent.lua. Reason: no file 'absent.lua'|48");
}

TEST_F(MaterialsLoader, ASyntaxErrorCannotBeLoaded) {
  EXPECT_FALSE(load("materials = {"));
  EXPECT_EQ(onlyBox(),
            "Error|Can't load file: materials.lua. Reason: [string \"materials.lua\"]:1: "
            "unexpected symbol near '<eof>'|48");
}

TEST_F(MaterialsLoader, ARunningErrorCannotBeParsed) {
  EXPECT_FALSE(load("error('broken catalogue')"));
  EXPECT_EQ(onlyBox(),
            "Error|Can't parse file: materials.lua. Reason: [string \"materials.lua\"]:1: "
            "broken catalogue|48");
}

TEST_F(MaterialsLoader, AnErrorObjectThatIsNotTextIsNamedByItsType) {
  EXPECT_FALSE(load("error({})"));
  EXPECT_EQ(onlyBox(), "Error|Can't parse file: materials.lua. Reason: (error object is a table value)|48");
}

TEST_F(MaterialsLoader, AScriptWithoutTheTableIsAParsingError) {
  EXPECT_FALSE(load("materials = 'none'"));
  EXPECT_EQ(onlyBox(), "Error|Parsing error in file:materials.lua|48");
}

TEST_F(MaterialsLoader, AnEntryThatIsNotATableCannotBeParsed) {
  EXPECT_FALSE(load("materials = { a = 1 }"));
  EXPECT_EQ(onlyBox(), "Error|Can't parse material: a|48");
}

TEST_F(MaterialsLoader, AMaterialKeyWithADotCannotBeReached) {
  EXPECT_FALSE(load("materials = { ['a.b'] = {} }"));
  EXPECT_EQ(onlyBox(), "Error|Can't parse material: a.b|48");
}

TEST_F(MaterialsLoader, AKeyThatIsNotTextRepeatsThePreviousKey) {
  EXPECT_FALSE(load("materials = { [true] = {} }"));
  EXPECT_EQ(onlyBox(), "Error|Can't parse material: |48");
}

TEST_F(MaterialsLoader, AFailedLoadKeepsWhatItReadBefore) {
  const std::string script = "materials = { a = {}, b = {}, c = {}, bad = 1, d = {}, e = {} }";
  EXPECT_FALSE(load(script));
  EXPECT_EQ(onlyBox(), "Error|Can't parse material: bad|48");
  std::vector<std::string> before;
  for (const std::string& key : traversalOrder(script, "materials")) {
    if (key == "bad") break;
    before.push_back(key);
  }
  ASSERT_EQ(list.materials().size(), before.size());
  for (size_t i = 0; i < before.size(); ++i) EXPECT_EQ(list.materials()[i].name, before[i]);
}

// ---- Every rule at once ---------------------------------------------------------------------

std::string escaped(const std::string& text) {
  std::string out;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '\\')
      out += "\\\\";
    else if (c == '\r')
      out += "\\r";
    else if (c == '\n')
      out += "\\n";
    else if (byte >= 32 && byte < 127)
      out += c;
    else
      out += qk_format("\\x%02X", byte);
  }
  return out;
}

// Each record as lines of text, in list order.
std::string describe(const std::vector<MaterialDesc>& list) {
  std::string out;
  for (const MaterialDesc& m : list) {
    out += "material " + escaped(m.name) + "\n  shader " + escaped(m.shaderName) + "\n  uniforms " +
           escaped(m.defaultUniforms) + "\n  defines " + escaped(m.defaultUserDefines) + "\n";
    for (const TextureDesc& t : m.textures)
      out += "  texture " + escaped(t.name) + " | " + escaped(t.tex) + " | " + std::to_string(t.channel) +
             " | " + escaped(t.uniforms) + "\n";
    out +=
        qk_format("  flags normals=%d opacity=%d depth_bias=%d shadow=%d only_shadow=%d decal=%d\n  nodes ",
                  m.normals, m.opacity, m.depthBias, m.shadowCaster, m.onlyShadowCaster, m.decal);
    for (const std::string& node : m.allowedNodes)
      out += (&node == &*m.allowedNodes.begin() ? "" : ",") + node;
    out += "\n  objects ";
    for (const ObjectKind kind : m.allowedObjects)
      out += (kind == *m.allowedObjects.begin() ? "" : ",") + std::to_string(int(kind));
    out += "\n";
  }
  return out;
}

std::string testData(const std::string& name) {
  const char* root = std::getenv("QK_TEST_DATA");
  EXPECT_NE(root, nullptr) << "QK_TEST_DATA isn't set";
  std::ifstream in(std::string(root ? root : ".") + "/" + name, std::ios::binary | std::ios::ate);
  EXPECT_TRUE(in) << "missing test input " << name;
  std::string bytes(in ? size_t(in.tellg()) : 0, '\0');
  in.seekg(0);
  in.read(bytes.data(), std::streamsize(bytes.size()));
  return bytes;
}

// every-rule.lua exercises every odd rule of the schema together (keys that aren't text, numbers in
// every form, dotted keys, cut lines, metatables, retired names); every-rule.txt holds, byte for byte,
// what the loader made of it when it was first written. A faster loader must make the same.
TEST_F(MaterialsLoader, EveryRuleTogetherGivesTheRecordedCatalogue) {
  ASSERT_TRUE(load(testData("catalogues/every-rule.lua")));
  EXPECT_EQ(describe(list.materials()), testData("catalogues/every-rule.txt"));
  EXPECT_TRUE(host.boxes.empty());
}

// ---- Tables with and without metatables ----------------------------------------------------
// A table without a metatable is read in fewer steps than one with a metatable, whose look-ups may
// run Lua code. An empty metatable changes no look-up, so a catalogue whose every table has one
// must read exactly as the same catalogue without them.

// Appended to a catalogue: gives every table under `materials` an empty metatable, where it has none.
const char kEmptyMetatables[] = R"(
local seen = {}
local function wrap(t)
  if seen[t] then return end
  seen[t] = true
  if getmetatable(t) == nil then setmetatable(t, {}) end
  for _, v in pairs(t) do if type(v) == "table" then wrap(v) end end
end
wrap(materials)
)";

// A random catalogue with the schema's odd corners: keys that are numbers, booleans, dotted or hold
// a zero byte, values of every type, gaps in arrays, texture entries that are text. It leaves out
// what ends the process (texture entries and dotted keys' first steps that Lua can't index).
class RandomCatalogue {
 public:
  explicit RandomCatalogue(unsigned seed) : random_(seed) {}

  std::string script() {
    std::string out = "materials = {\n";
    const int count = pick(1, 6);
    for (int i = 0; i < count; ++i) {
      const char* const names[] = {"metal", "default", "stone", "m"};
      out += "  [\"" + std::string(names[pick(0, 3)]) + std::to_string(i) + "\"] = { shader_name = " + value() +
             ", uniforms = " + block() + ", textures = " + textures() + ", misc = " + misc() +
             ", allowed_nodes = " + array() + ", allowed_objects = " + array() +
             ", default_user_defines = " + block() + " },\n";
    }
    return out + "}\n";
  }

 private:
  int pick(int low, int high) { return std::uniform_int_distribution<int>(low, high)(random_); }

  std::string key() {
    switch (pick(0, 9)) {
      case 0: return "[" + std::to_string(pick(1, 3)) + "]";
      case 1: return "[2.5]";
      case 2: return "[true]";
      case 3: return "[\"nest.q\"]";    // a path through the table below
      case 4: return "[\"absent.q\"]";  // a path whose first step is nil
      case 5: return "[\"z\\0w\"]";     // looked up by the text before the zero
      default: return std::string(1, char('a' + pick(0, 5)));
    }
  }
  std::string value() {
    switch (pick(0, 9)) {
      case 0: return std::to_string(pick(-3, 99));
      case 1: return "0." + std::to_string(pick(0, 999));
      case 2: return "true";
      case 3: return "{}";
      case 4: return "\"1.5\"";
      case 5: return "\"x\\0y\"";
      default: return "\"v" + std::to_string(pick(0, 9)) + "\"";
    }
  }
  // A table of keys and values, with the table that dotted keys step into.
  std::string block() {
    if (pick(0, 5) == 0) return value();
    std::string out = "{ nest = { q = " + value() + " }, ";
    for (int i = pick(0, 5); i > 0; --i) out += key() + " = " + value() + ", ";
    return out + "}";
  }
  std::string texture() {
    switch (pick(0, 7)) {
      case 0: return "\"text\"";
      case 1: return "{ channel = 1 }";
      case 2: return "{ tex = 5, channel = \"2\", uniforms = " + block() + " }";
      default:
        return "{ tex = \"Diffuse Color\", channel = " + std::to_string(pick(0, 3)) + ", uniforms = " + block() +
               " }";
    }
  }
  std::string textures() {
    std::string out = "{ nest = { q = " + texture() + " }, ";
    for (int i = pick(0, 4); i > 0; --i) out += key() + " = " + texture() + ", ";
    return out + "}";
  }
  std::string misc() {
    return "{ normals = " + value() + ", opacity = \"blend\", shadowCaster = " + value() + " }";
  }
  std::string array() {
    const char* const items[] = {"\"Mesh\"", "\"Line\"", "\"Spline\"", "\"node\"", "nil", "7", "true"};
    std::string out = "{ ";
    for (int i = pick(0, 5); i > 0; --i) out += std::string(items[pick(0, 6)]) + ", ";
    return out + "}";
  }

  std::mt19937 random_;
};

TEST_F(MaterialsLoader, EmptyMetatablesChangeNothingRead) {
  for (unsigned seed = 1; seed <= 300; ++seed) {
    const std::string script = RandomCatalogue(seed).script();
    MaterialsList plain, wrapped;
    ASSERT_TRUE(plain.loadMaterialsList(dir.write("plain.lua", script).c_str())) << script;
    ASSERT_TRUE(wrapped.loadMaterialsList(dir.write("wrapped.lua", script + kEmptyMetatables).c_str()));
    ASSERT_EQ(describe(plain.materials()), describe(wrapped.materials())) << "seed " << seed << "\n" << script;
  }
  EXPECT_TRUE(host.boxes.empty());
}

// Each dotted look-up of a texture field asks the textures table again, __index included, and
// finds what an entry's own __index put there; an array element that isn't there is asked of __index.
TEST_F(MaterialsLoader, EveryLookUpAsksTheMetatable) {
  ASSERT_TRUE(load(R"(
    local asked = 0
    local entries = { __index = function(t, key)
      asked = asked + 1
      return { tex = "T" .. asked, channel = asked, uniforms = { n = asked } }
    end }
    local swapping = {}
    swapping.d = setmetatable({ tex = "Bump" }, { __index = function(t, key)
      swapping.d = { uniforms = { swapped = key } }
      return 1
    end })
    materials = { m = {
      textures = setmetatable({ [1] = {} }, entries),
      allowed_nodes = setmetatable({ "a" }, { __index = { [2] = "b" } }),
      default_user_defines = setmetatable({ A = "a" }, { __index = { B = "b" } }),
    }, s = { textures = swapping } })"));
  ASSERT_EQ(list.materials().size(), 2u);
  const MaterialDesc& m = list.materials()[0].name == "m" ? list.materials()[0] : list.materials()[1];
  const MaterialDesc& s = list.materials()[0].name == "s" ? list.materials()[0] : list.materials()[1];
  ASSERT_EQ(s.textures.size(), 1u);
  EXPECT_EQ(s.textures[0].tex, "Bump");
  EXPECT_EQ(s.textures[0].channel, 1);
  EXPECT_EQ(s.textures[0].uniforms, "swapped=channel\r\n");
  ASSERT_EQ(m.textures.size(), 1u);
  EXPECT_EQ(m.textures[0].name, "1");  // looked up as "1", which only __index answers
  EXPECT_EQ(m.textures[0].tex, "T1");
  EXPECT_EQ(m.textures[0].channel, 2);
  EXPECT_EQ(m.textures[0].uniforms, "n=3\r\n");
  EXPECT_EQ(m.allowedNodes, (std::set<std::string>{"a", "b"}));
  EXPECT_EQ(m.defaultUserDefines, "A = \"a\";");  // only the table's own keys are walked
}

TEST_F(MaterialsLoader, EveryRuleWithEmptyMetatablesGivesTheRecordedCatalogue) {
  ASSERT_TRUE(load(testData("catalogues/every-rule.lua") + kEmptyMetatables));
  EXPECT_EQ(describe(list.materials()), testData("catalogues/every-rule.txt"));
}

TEST_F(MaterialsLoader, AnEmptyPathIsOutOfRange) {
  try {
    list.loadMaterialsList("");
    FAIL() << "no exception";
  } catch (const std::out_of_range& e) {
    EXPECT_STREQ(e.what(), "Call front() on empty string.");
  }
  EXPECT_TRUE(host.boxes.empty());
}

TEST_F(MaterialsLoader, ANonAsciiPathIsEncodedTwiceAndNotFound) {
  const std::string name = "m\xC3\xA4terials.lua";  // "mäterials.lua" in UTF-8
  dir.write(name, "materials = {}");
  EXPECT_FALSE(list.loadMaterialsList(name.c_str()));
  EXPECT_EQ(onlyBox(), "Error|Can't load file: " + name + ". Reason: no file 'm\xC3\x83\xC2\xA4terials.lua'|48");
}

}  // namespace
