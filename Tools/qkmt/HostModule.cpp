#include "HostModule.h"

#include <climits>
#include <cmath>
#include <memory>
#include <vector>

#include "ChunkFile.h"
#include "HostLua.h"
#include "MaterialAttrib.h"
#include "MaxScript.h"
#include "PluginEntry.h"
#include "SceneFile.h"
#include "ScenePrint.h"
#include "TextEscape.h"
#include "ToolFiles.h"
#include "ToolPaths.h"
#include "qk_lua_package.h"

namespace hostlua {

namespace {

// The elements 1..#t of the table at `index`, each through `take`.
template <class Take>
void eachElement(lua_State* L, int index, Take take) {
  luaL_checktype(L, index, LUA_TTABLE);
  const int count = static_cast<int>(lua_objlen(L, index));
  for (int i = 1; i <= count; ++i) {
    lua_rawgeti(L, index, i);
    take(lua_gettop(L), i);
    lua_pop(L, 1);
  }
}

Texmap* optMap(lua_State* L, int index, const char* what) {
  MtlBase* object = optObject(L, index);
  if (object && object->SuperClassID() != TEXMAP_CLASS_ID)
    fail(L, "%s: a map wanted, got a %s", what, kindOf(object));
  return static_cast<Texmap*>(object);
}

Mtl* optMaterial(lua_State* L, int index, const char* what) {
  MtlBase* object = optObject(L, index);
  if (object && object->SuperClassID() != MATERIAL_CLASS_ID)
    fail(L, "%s: a material wanted, got a %s", what, kindOf(object));
  return static_cast<Mtl*>(object);
}

MSTR checkName(lua_State* L, int index) { return qk_to_wide(luaL_checkstring(L, index)); }

// The attributes of the plug-in's class on `object` in container order, found as an exporter finds
// them: by class id alone.
std::vector<IMaterialAttrib*> attribsOf(MtlBase* object) {
  std::vector<IMaterialAttrib*> found;
  ICustAttribContainer* container = object->GetCustAttribContainer();
  for (int i = 0; container && i < container->GetNumCustAttribs(); ++i) {
    CustAttrib* attrib = container->GetCustAttrib(i);
    if (attrib && attrib->ClassID() == MATERIAL_ATTRIB_CLASS_ID)
      found.push_back(static_cast<IMaterialAttrib*>(attrib));
  }
  return found;
}

IMaterialAttrib* attribOf(MtlBase* object) {
  const std::vector<IMaterialAttrib*> found = attribsOf(object);
  return found.empty() ? nullptr : found.front();
}

void setField(lua_State* L, const char* key, const std::string& text) {
  lua_pushlstring(L, text.data(), text.size());
  lua_setfield(L, -2, key);
}
void setField(lua_State* L, const char* key, lua_Integer number) {
  lua_pushinteger(L, number);
  lua_setfield(L, -2, key);
}
void setBool(lua_State* L, const char* key, bool value) {
  lua_pushboolean(L, value);
  lua_setfield(L, -2, key);
}

// ---- objects and the scene ---------------------------------------------------------------------

int setPlugCfg(lua_State* L) {
  session(L).services().setPlugCfgDir(loaderSpelling(luaL_checkstring(L, 1)));
  return 0;
}

int material(lua_State* L) {
  const MSTR name = checkName(L, 1);
  std::vector<MapSlot> slots;
  if (!lua_isnoneornil(L, 2)) {
    eachElement(L, 2, [&](int slot, int) {
      luaL_checktype(L, slot, LUA_TTABLE);
      lua_getfield(L, slot, "name");
      lua_getfield(L, slot, "on");
      lua_getfield(L, slot, "map");
      MapSlot s;
      s.name = qk_to_wide(luaL_checkstring(L, -3));
      s.on = lua_isnil(L, -2) || lua_toboolean(L, -2);
      s.map = optMap(L, -1, "a map slot");
      lua_pop(L, 3);
      slots.push_back(std::move(s));
    });
  }
  pushObject(L, session(L).adopt(std::make_unique<StandardMaterial>(name, std::move(slots))));
  return 1;
}

int texmap(lua_State* L) {
  const MSTR name = checkName(L, 1);
  std::vector<Texmap*> subs;
  if (!lua_isnoneornil(L, 2))
    eachElement(L, 2, [&](int sub, int) { subs.push_back(optMap(L, sub, "a sub-map")); });
  pushObject(L, session(L).adopt(std::make_unique<MapTexture>(name, std::move(subs))));
  return 1;
}

int multi(lua_State* L) {
  const MSTR name = checkName(L, 1);
  std::vector<Mtl*> subs;
  eachElement(L, 2, [&](int sub, int) { subs.push_back(optMaterial(L, sub, "a sub-material")); });
  pushObject(L, session(L).adopt(std::make_unique<MultiMaterial>(name, std::move(subs))));
  return 1;
}

void pushScene(lua_State* L) {
  const MtlBaseLib& scene = *session(L).host().GetSceneMtls();
  lua_createtable(L, scene.Count(), 0);
  for (int i = 0; i < scene.Count(); ++i) {
    pushObject(L, scene[i]);
    lua_rawseti(L, -2, i + 1);
  }
}

int scene(lua_State* L) {
  if (lua_gettop(L) > 0) {
    std::vector<MtlBase*> list;
    eachElement(L, 1, [&](int entry, int) { list.push_back(optObject(L, entry)); });
    session(L).host().setScene(std::move(list));
    return 0;
  }
  pushScene(L);
  return 1;
}

// ---- the script functions ----------------------------------------------------------------------

std::unique_ptr<Value> toValue(lua_State* L, int index) {
  switch (lua_type(L, index)) {
    case LUA_TNIL: return std::make_unique<Undefined>();
    case LUA_TNUMBER: {
      const double number = lua_tonumber(L, index);
      if (number == std::floor(number) && number >= INT_MIN && number <= INT_MAX)
        return std::make_unique<Integer>(static_cast<int>(number));
      return std::make_unique<Float>(number);
    }
    case LUA_TSTRING: {
      size_t size = 0;
      const char* text = lua_tolstring(L, index, &size);
      return std::make_unique<String>(qk_to_wide(std::string_view(text, size)));
    }
    default:
      if (MtlBase* object = testObject(L, index)) return std::make_unique<MtlBaseValue>(object);
      return std::make_unique<OtherValue>(luaL_typename(L, index));
  }
}

// Upvalue 2: the function's name.
int callPrimitive(lua_State* L) {
  const Primitive* primitive = Primitive::find(qk_to_wide(lua_tostring(L, lua_upvalueindex(2))));
  if (!primitive) return fail(L, "the plug-in registered no such script function");
  const int count = lua_gettop(L);
  std::vector<std::unique_ptr<Value>> values;
  std::vector<Value*> args;
  for (int i = 1; i <= count; ++i) {
    values.push_back(toValue(L, i));
    args.push_back(values.back().get());
  }
  Value* result = primitive->apply(args.data(), count);
  for (int i = 0; i < count; ++i)
    if (result == args[static_cast<size_t>(i)]) {
      lua_pushvalue(L, i + 1);
      return 1;
    }
  if (dynamic_cast<Integer*>(result))
    lua_pushinteger(L, result->to_int());
  else
    lua_pushnil(L);
  return 1;
}

const char* const kScriptFunctions[] = {"CreateMaterialAttrib", "GetOpacity",           "HasMaterialAttrib",
                                        "IsMaterial",           "RemoveMaterialAttrib", "SetMaterial",
                                        "SetOpacity",           "SetUserUniforms"};

// ---- the tool, the attribute, the panel --------------------------------------------------------

int tool(lua_State* L) {
  const int id = static_cast<int>(luaL_checkinteger(L, 1));
  HostStandIn& host = session(L).host();
  if (!host.openedUtility()) {
    ClassDesc* desc = host.classes().find(UTILITY_CLASS_ID, MATERIAL_TOOL_CLASS_ID);
    if (!desc) return fail(L, "the plug-in offers no utility");
    host.openUtility(static_cast<UtilityObj*>(desc->Create(FALSE)));
  }
  if (host.commandPanel().pages().empty()) return fail(L, "the utility has no rollup");
  sendCommand(host.commandPanel().pages().front(), id, BN_CLICKED);
  return 0;
}

int toolClose(lua_State* L) {
  session(L).host().closeUtility();
  return 0;
}

int attribs(lua_State* L) {
  lua_pushinteger(L, static_cast<lua_Integer>(attribsOf(checkObject(L, 1)).size()));
  return 1;
}

void pushTextures(lua_State* L, const IMaterialDesc& desc) {
  lua_createtable(L, static_cast<int>(desc.getTextureCount()), 0);
  for (uint32_t i = 0; i < desc.getTextureCount(); ++i) {
    TextureDesc texture;
    desc.getTexture(i, texture);
    lua_createtable(L, 0, 4);
    setField(L, "name", texture.name);
    setField(L, "tex", texture.tex);
    setField(L, "channel", texture.channel);
    setField(L, "uniforms", texture.uniforms);
    lua_rawseti(L, -2, static_cast<int>(i) + 1);
  }
}

// The allowed sets aren't part of IMaterialDesc; the description behind it is a MaterialDesc.
void pushAllowed(lua_State* L, const IMaterialDesc& desc) {
  const auto* full = dynamic_cast<const MaterialDesc*>(&desc);
  lua_newtable(L);
  int i = 0;
  for (const std::string& node : full ? full->allowedNodes : std::set<std::string>()) {
    lua_pushlstring(L, node.data(), node.size());
    lua_rawseti(L, -2, ++i);
  }
  lua_setfield(L, -2, "allowed_nodes");
  lua_newtable(L);
  i = 0;
  for (ObjectKind kind : full ? full->allowedObjects : std::set<ObjectKind>()) {
    lua_pushinteger(L, static_cast<int>(kind));
    lua_rawseti(L, -2, ++i);
  }
  lua_setfield(L, -2, "allowed_objects");
}

int describe(lua_State* L) {
  IMaterialAttrib* attrib = attribOf(checkObject(L, 1));
  if (!attrib) {
    lua_pushnil(L);
    return 1;
  }
  const IMaterialDesc& desc = *attrib->getMaterialDesc();
  lua_createtable(L, 0, 15);
  setField(L, "name", desc.getName());
  setField(L, "shader_name", desc.getShaderName());
  setField(L, "default_uniforms", desc.getDefaultUniforms());
  setField(L, "default_user_defines", desc.getDefaultUserDefines());
  pushTextures(L, desc);
  lua_setfield(L, -2, "textures");
  setBool(L, "normals", desc.getNormals());
  setField(L, "opacity", desc.getOpacity());
  setBool(L, "depth_bias", desc.getDepthBias());
  setBool(L, "shadow_caster", desc.getShadowCaster());
  setBool(L, "only_shadow_caster", desc.getOnlyShadowCaster());
  setField(L, "decal", desc.getDecal());
  pushAllowed(L, desc);
  setField(L, "user_uniforms", desc.getUserUniforms());
  return 1;
}

int isNodeAllowed(lua_State* L) {
  IMaterialAttrib* attrib = attribOf(checkObject(L, 1));
  const char* name = luaL_checkstring(L, 2);
  if (!attrib) {
    lua_pushnil(L);
    return 1;
  }
  lua_pushboolean(L, attrib->isNodeAllowed(name));
  return 1;
}

int isObjectAllowed(lua_State* L) {
  IMaterialAttrib* attrib = attribOf(checkObject(L, 1));
  const auto kind = static_cast<ObjectKind>(luaL_checkinteger(L, 2));
  if (!attrib) {
    lua_pushnil(L);
    return 1;
  }
  lua_pushboolean(L, attrib->isObjectAllowed(kind));
  return 1;
}

int panel(lua_State* L) {
  MtlBase* object = checkObject(L, 1);
  const lua_Integer width = luaL_optinteger(L, 2, 432);
  if (width <= 0 || width > 100000) return fail(L, "a rollup width of %d pixels", static_cast<int>(width));
  IMaterialAttrib* attrib = attribOf(object);
  if (!attrib) return fail(L, "%s has no material attribute", qk_to_utf8(object->GetName().c_str()).c_str());
  MaterialEditor& editor = session(L).host().materialEditor();
  ParamDlg* dlg = editor.show(*attrib, static_cast<int>(width));
  if (!dlg || editor.pages().empty()) return fail(L, "the attribute made no rollup");
  pushPanel(L, dlg, editor.pages().back());
  return 1;
}

// ---- scene files -------------------------------------------------------------------------------

// Written whole or not at all: a failure leaves an old file at `path` as it was (ToolFiles.h).
int save(lua_State* L) {
  const std::string path = luaL_checkstring(L, 1);
  const std::string error = replaceFile(path, writeScene(session(L).host().GetSceneMtls()->items));
  if (!error.empty()) throw std::runtime_error(error);
  return 0;
}

// Warns of each attribute whose saved material name didn't survive the load: the catalogue lacks
// it, so the attribute's load rule left it with an empty name, which the next save writes.
void warnClearedNames(HostSession& s, const std::string& path, const ChunkFile& file,
                      const SceneRecord& record, const LoadedScene& loaded) {
  for (size_t i = 0; i < record.objects.size(); ++i) {
    const std::vector<IMaterialAttrib*> attribs = attribsOf(loaded.objects[i].get());
    size_t k = 0;
    for (const SceneAttribRecord& saved : record.objects[i].attribs) {
      if (saved.classId != MATERIAL_ATTRIB_CLASS_ID || k >= attribs.size()) continue;
      IMaterialAttrib* attrib = attribs[k++];
      const std::optional<std::string> name = readSavedMaterialAttrib(file, saved.data).name;
      if (!name || name->empty() || *attrib->getMaterialDesc()->getName() != 0) continue;
      s.warn(path + ": material " + quotedText(qk_to_utf8(loaded.objects[i]->GetName().c_str())) + ": " +
             quotedText(*name) + " isn't in the catalogue, so its material name was cleared on load");
    }
  }
}

int load(lua_State* L) {
  const std::string path = luaL_checkstring(L, 1);
  HostSession& s = session(L);
  std::string bytes, reason;
  if (!readFileBytes(path, bytes, reason)) throw std::runtime_error(path + ": " + reason);
  try {
    const ChunkFile file(std::move(bytes));
    const SceneRecord record = readSceneRecord(file);
    LoadedScene loaded = loadScene(file, record, s.host().classes());
    warnClearedNames(s, path, file, record, loaded);
    for (auto& object : loaded.objects) s.adopt(std::move(object));
    s.host().setScene(loaded.scene);
  } catch (const ChunkFormatError& error) {
    throw std::runtime_error(path + ": " + error.what());
  } catch (const SceneError& error) {
    throw std::runtime_error(path + ": " + error.what());
  }
  pushScene(L);
  return 1;
}

// ---- the pick dialog, message boxes, the library -----------------------------------------------

int pick(lua_State* L) {
  if (lua_isnoneornil(L, 1)) {
    session(L).services().setPickAnswer(std::nullopt);
    return 0;
  }
  std::vector<Animatable*> answer;
  eachElement(L, 1, [&](int entry, int) { answer.push_back(checkObject(L, entry)); });
  session(L).services().setPickAnswer(std::move(answer));
  return 0;
}

int boxes(lua_State* L) {
  const std::vector<MessageBoxRecord> shown = session(L).services().takeBoxes();
  lua_createtable(L, static_cast<int>(shown.size()), 0);
  for (size_t i = 0; i < shown.size(); ++i) {
    lua_createtable(L, 0, 3);
    setField(L, "title", shown[i].title);
    setField(L, "text", shown[i].text);
    setField(L, "flags", static_cast<lua_Integer>(shown[i].flags));
    lua_rawseti(L, -2, static_cast<int>(i) + 1);
  }
  return 1;
}

void setText(lua_State* L, const char* key, const MCHAR* text) {
  if (text) setField(L, key, qk_to_utf8(text));
}

int plugin(lua_State* L) {
  lua_newtable(L);
  setText(L, "description", LibDescription());
  const int count = LibNumberClasses();
  setField(L, "class_count", count);
  setField(L, "version", static_cast<lua_Integer>(LibVersion()));
  lua_newtable(L);
  for (int i = 0; i < count; ++i) {
    ClassDesc* desc = LibClassDesc(i);
    if (!desc) continue;
    lua_newtable(L);
    setText(L, "name", desc->ClassName());
    setText(L, "internal_name", desc->InternalName());
    setText(L, "category", desc->Category());
    setField(L, "super_class", static_cast<lua_Integer>(desc->SuperClassID()));
    lua_createtable(L, 2, 0);
    lua_pushinteger(L, static_cast<lua_Integer>(desc->ClassID().PartA()));
    lua_rawseti(L, -2, 1);
    lua_pushinteger(L, static_cast<lua_Integer>(desc->ClassID().PartB()));
    lua_rawseti(L, -2, 2);
    lua_setfield(L, -2, "class_id");
    setBool(L, "public", desc->IsPublic() != 0);
    lua_rawseti(L, -2, i + 1);
  }
  lua_setfield(L, -2, "classes");
  return 1;
}

const luaL_Reg kFunctions[] = {
    {"set_plugcfg", guarded<setPlugCfg>},
    {"material", guarded<material>},
    {"texmap", guarded<texmap>},
    {"multi", guarded<multi>},
    {"scene", guarded<scene>},
    {"tool", guarded<tool>},
    {"tool_close", guarded<toolClose>},
    {"attribs", guarded<attribs>},
    {"describe", guarded<describe>},
    {"is_node_allowed", guarded<isNodeAllowed>},
    {"is_object_allowed", guarded<isObjectAllowed>},
    {"panel", guarded<panel>},
    {"save", guarded<save>},
    {"load", guarded<load>},
    {"pick", guarded<pick>},
    {"boxes", guarded<boxes>},
    {"plugin", guarded<plugin>},
};

// The session of this state's run, kept in the registry by qkmt_install_host: the built-in module
// table is the process's, so its opener finds the session per state.
constexpr char kSessionKey[] = "qkmt.session";

int openHostUnguarded(lua_State* L) {
  lua_getfield(L, LUA_REGISTRYINDEX, kSessionKey);
  if (!lua_touserdata(L, -1)) return luaL_error(L, "host: this Lua state has no host session");
  const int session = lua_gettop(L);
  lua_newtable(L);
  for (const luaL_Reg& function : kFunctions) {
    lua_pushvalue(L, session);
    lua_pushfstring(L, "host.%s", function.name);
    lua_pushcclosure(L, function.func, 2);
    lua_setfield(L, -2, function.name);
  }
  for (const char* name : kScriptFunctions) {
    lua_pushvalue(L, session);
    lua_pushstring(L, name);
    lua_pushcclosure(L, guarded<callPrimitive, false>, 2);
    lua_setfield(L, -2, name);
  }
  return 1;
}

int openHost(lua_State* L) { return guarded<openHostUnguarded>(L); }

}  // namespace

}  // namespace hostlua

void qkmt_install_host(lua_State* L, HostSession& session) {
  using namespace hostlua;
  registerObjects(L);
  registerPanel(L, session);
  lua_pushlightuserdata(L, &session);
  lua_setfield(L, LUA_REGISTRYINDEX, kSessionKey);
  qk_lua_register_builtin("host", openHost);
}
