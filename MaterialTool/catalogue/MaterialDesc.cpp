#include "MaterialDesc.h"

#include <stdexcept>

MaterialDesc& MaterialDesc::operator=(const MaterialDesc& other) {
  shadowCaster = other.shadowCaster;
  onlyShadowCaster = other.onlyShadowCaster;
  depthBias = other.depthBias;
  decal = other.decal;
  normals = other.normals;
  opacity = other.opacity;
  if (this == &other) return *this;
  name = other.name;
  shaderName = other.shaderName;
  defaultUniforms = other.defaultUniforms;
  defaultUserDefines = other.defaultUserDefines;
  textures = other.textures;
  allowedNodes = other.allowedNodes;
  allowedObjects = other.allowedObjects;
  return *this;
}

void MaterialDesc::getTexture(uint32_t index, TextureDesc& out) const {
  if (index >= textures.size()) throw std::out_of_range("invalid vector subscript");
  out = textures[index];
}
