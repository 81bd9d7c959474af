// The host objects of the module "host" as Lua sees them, and the one way its functions raise
// errors (HostLua.h).
//
// An object is a full userdata of the metatable "qkmt.object" holding a pointer the session owns. A
// weak table in the registry ("qkmt.objects") maps each object to its userdata while Lua holds it,
// so that one object is always one value and `==` tells objects apart. Fields, read-only: `name`,
// `kind`, `sub_materials` (materials) and `map_slots`, what a batch job needs to walk a scene.
#include <cstdarg>
#include <string>

#include "HostLua.h"

namespace hostlua {

namespace {

constexpr const char* kObjectMeta = "qkmt.object";
constexpr const char* kObjectCache = "qkmt.objects";

// A material's sub-materials in slot order, false for an empty slot (none for a standard material).
void pushSubMaterials(lua_State* L, Mtl* material) {
  const int count = material->NumSubMtls();
  lua_createtable(L, count, 0);
  for (int i = 0; i < count; ++i) {
    pushObject(L, material->GetSubMtl(i));
    lua_rawseti(L, -2, i + 1);
  }
}

// The map slots of a material or a map as the host lists them: {name=, on=, map=} each, map false
// for an empty slot. A map's slots are its sub-maps, named "Map 1", "Map 2", ...
void pushMapSlots(lua_State* L, MtlBase* object) {
  const int count = object->NumSubTexmaps();
  lua_createtable(L, count, 0);
  for (int i = 0; i < count; ++i) {
    lua_createtable(L, 0, 3);
    lua_pushstring(L, qk_to_utf8(object->GetSubTexmapSlotName(i).c_str()).c_str());
    lua_setfield(L, -2, "name");
    lua_pushboolean(L, object->SubTexmapOn(i) != 0);
    lua_setfield(L, -2, "on");
    pushObject(L, object->GetSubTexmap(i));
    lua_setfield(L, -2, "map");
    lua_rawseti(L, -2, i + 1);
  }
}

// The fields of a host object: name, kind, sub_materials (materials only), map_slots.
int objectIndex(lua_State* L) {
  MtlBase* object = checkObject(L, 1);
  const std::string key = luaL_checkstring(L, 2);
  if (key == "name")
    lua_pushstring(L, qk_to_utf8(object->GetName().c_str()).c_str());
  else if (key == "kind")
    lua_pushstring(L, kindOf(object));
  else if (key == "sub_materials" && object->SuperClassID() == MATERIAL_CLASS_ID)
    pushSubMaterials(L, static_cast<Mtl*>(object));
  else if (key == "map_slots")
    pushMapSlots(L, object);
  else
    lua_pushnil(L);
  return 1;
}

int objectToString(lua_State* L) {
  MtlBase* object = checkObject(L, 1);
  lua_pushfstring(L, "%s: %s", kindOf(object), qk_to_utf8(object->GetName().c_str()).c_str());
  return 1;
}

// Pushes the error text: where, then the name if wanted and known, then the message.
void pushErrorText(lua_State* L, bool named, const char* format, va_list args) {
  luaL_where(L, 1);
  const char* name = named ? lua_tostring(L, lua_upvalueindex(2)) : nullptr;
  if (name)
    lua_pushfstring(L, "%s: ", name);
  else
    lua_pushliteral(L, "");
  lua_pushvfstring(L, format, args);
  lua_concat(L, 3);
}

}  // namespace

const char* kindOf(MtlBase* object) {
  if (object->ClassID() == MULTI_MATERIAL_CLASS_ID) return "multi-material";
  return object->SuperClassID() == MATERIAL_CLASS_ID ? "material" : "map";
}

MtlBase* testObject(lua_State* L, int index) {
  void* data = lua_touserdata(L, index);
  if (!data || !lua_getmetatable(L, index)) return nullptr;
  luaL_getmetatable(L, kObjectMeta);
  const bool ours = lua_rawequal(L, -1, -2) != 0;
  lua_pop(L, 2);
  return ours ? *static_cast<MtlBase**>(data) : nullptr;
}

int fail(lua_State* L, const char* format, ...) {
  va_list args;
  va_start(args, format);
  pushErrorText(L, true, format, args);
  va_end(args);
  return lua_error(L);
}

int failUnnamed(lua_State* L, const char* format, ...) {
  va_list args;
  va_start(args, format);
  pushErrorText(L, false, format, args);
  va_end(args);
  return lua_error(L);
}

void pushObject(lua_State* L, MtlBase* object) {
  if (!object) return lua_pushboolean(L, 0);
  lua_getfield(L, LUA_REGISTRYINDEX, kObjectCache);
  lua_pushlightuserdata(L, object);
  lua_rawget(L, -2);
  if (lua_isnil(L, -1)) {
    lua_pop(L, 1);
    *static_cast<MtlBase**>(lua_newuserdata(L, sizeof(MtlBase*))) = object;
    luaL_getmetatable(L, kObjectMeta);
    lua_setmetatable(L, -2);
    lua_pushlightuserdata(L, object);
    lua_pushvalue(L, -2);
    lua_rawset(L, -4);
  }
  lua_remove(L, -2);
}

MtlBase* checkObject(lua_State* L, int index) {
  MtlBase* object = testObject(L, index);
  if (!object) luaL_typerror(L, index, "host object");
  return object;
}

MtlBase* optObject(lua_State* L, int index) {
  if (lua_isnoneornil(L, index) || (lua_isboolean(L, index) && !lua_toboolean(L, index))) return nullptr;
  return checkObject(L, index);
}

void registerObjects(lua_State* L) {
  luaL_newmetatable(L, kObjectMeta);
  lua_pushcfunction(L, guarded<objectIndex>);
  lua_setfield(L, -2, "__index");
  lua_pushcfunction(L, guarded<objectToString>);
  lua_setfield(L, -2, "__tostring");
  lua_pop(L, 1);
  lua_newtable(L);
  lua_createtable(L, 0, 1);
  lua_pushstring(L, "v");
  lua_setfield(L, -2, "__mode");
  lua_setmetatable(L, -2);
  lua_setfield(L, LUA_REGISTRYINDEX, kObjectCache);
}

}  // namespace hostlua
