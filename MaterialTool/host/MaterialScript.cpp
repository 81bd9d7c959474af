// The eight global script functions: what the artist does in the panel, for a script of the host.
// They carry no logic beyond argument checks and reach the attribute through the helpers of
// MaterialAttrib.h.
//
//   CreateMaterialAttrib(material)        adds the attribute if missing; answers the material
//   GetOpacity(material)                  the opacity, 0 for no material; ADDS an attribute
//   HasMaterialAttrib(material)           1 or 0; adds nothing
//   IsMaterial(material, name)            SETS the material `name`, then 1 if the description now
//                                         bears that name, else 0; 0 when either is null
//   RemoveMaterialAttrib(material)        removes every attribute of the class; answers the material
//   SetMaterial(material, name)           sets the material; user uniforms stay; answers the material
//   SetOpacity(material, integer)         stores the absolute value, unchecked; answers the material
//   SetUserUniforms(material, text)       answers the material
//
// The count of arguments is checked first, before any conversion; a wrong count raises
// ArgCountError with the function's name, except that IsMaterial names "SetMaterial". A null
// conversion of an argument is no error: the function does nothing and gives its usual answer.
// Conversion errors of the values themselves pass through. No function refreshes an open rollup.
#include <cstdint>
#include <string>

#include "MaterialAttrib.h"
#include "MaxScript.h"
#include "Mtl.h"

namespace {

void checkCount(const MCHAR* name, int wanted, int got) {
  if (got != wanted) throw ArgCountError(name, wanted, got);
}

std::string utf8(const MCHAR* text) { return qk_to_utf8(text); }

Value* CreateMaterialAttrib_cf(Value** args, int count) {
  checkCount(u"CreateMaterialAttrib", 1, count);
  if (Mtl* material = args[0]->to_mtl()) getOrCreateMaterialAttrib(material);
  return args[0];
}

Value* GetOpacity_cf(Value** args, int count) {
  checkCount(u"GetOpacity", 1, count);
  MtlBase* material = args[0]->to_mtlbase();
  if (!material) return Integer::intern(0);
  return Integer::intern(getOrCreateMaterialAttrib(material)->getMaterialDesc()->getOpacity());
}

Value* HasMaterialAttrib_cf(Value** args, int count) {
  checkCount(u"HasMaterialAttrib", 1, count);
  return Integer::intern(hasMaterialAttrib(args[0]->to_mtlbase()) ? 1 : 0);
}

Value* IsMaterial_cf(Value** args, int count) {
  checkCount(u"SetMaterial", 2, count);
  MtlBase* material = args[0]->to_mtlbase();
  const MCHAR* name = args[1]->to_string();
  if (!material || !name) return Integer::intern(0);
  MaterialAttrib* attrib = getOrCreateMaterialAttrib(material);
  attrib->setMaterial(utf8(name));
  const std::string again = utf8(args[1]->to_string());
  return Integer::intern(again == attrib->getMaterialDesc()->getName() ? 1 : 0);
}

Value* RemoveMaterialAttrib_cf(Value** args, int count) {
  checkCount(u"RemoveMaterialAttrib", 1, count);
  removeMaterialAttribs(args[0]->to_mtlbase());
  return args[0];
}

Value* SetMaterial_cf(Value** args, int count) {
  checkCount(u"SetMaterial", 2, count);
  MtlBase* material = args[0]->to_mtlbase();
  const MCHAR* name = args[1]->to_string();
  if (material && name) getOrCreateMaterialAttrib(material)->setMaterial(utf8(name));
  return args[0];
}

Value* SetOpacity_cf(Value** args, int count) {
  checkCount(u"SetOpacity", 2, count);
  MtlBase* material = args[0]->to_mtlbase();
  const int value = args[1]->to_int();
  // The absolute value, in unsigned arithmetic so that the lowest integer stays itself.
  const uint32_t magnitude = value < 0 ? 0u - static_cast<uint32_t>(value) : static_cast<uint32_t>(value);
  if (material)
    getOrCreateMaterialAttrib(material)->getMaterialDescExt()->setOpacity(static_cast<int32_t>(magnitude));
  return args[0];
}

Value* SetUserUniforms_cf(Value** args, int count) {
  checkCount(u"SetUserUniforms", 2, count);
  MtlBase* material = args[0]->to_mtlbase();
  const MCHAR* text = args[1]->to_string();
  if (material && text)
    getOrCreateMaterialAttrib(material)->getMaterialDescExt()->setUserUniforms(utf8(text).c_str());
  return args[0];
}

// In the order of registration.
Primitive CreateMaterialAttrib_pf(u"CreateMaterialAttrib", CreateMaterialAttrib_cf);
Primitive GetOpacity_pf(u"GetOpacity", GetOpacity_cf);
Primitive HasMaterialAttrib_pf(u"HasMaterialAttrib", HasMaterialAttrib_cf);
Primitive IsMaterial_pf(u"IsMaterial", IsMaterial_cf);
Primitive RemoveMaterialAttrib_pf(u"RemoveMaterialAttrib", RemoveMaterialAttrib_cf);
Primitive SetMaterial_pf(u"SetMaterial", SetMaterial_cf);
Primitive SetOpacity_pf(u"SetOpacity", SetOpacity_cf);
Primitive SetUserUniforms_pf(u"SetUserUniforms", SetUserUniforms_cf);

}  // namespace
