#include "CatalogueJson.h"

#include "JsonWriter.h"

namespace {

void writeTexture(JsonWriter& g, const TextureDesc& texture) {
  g.beginMap();
  g.key("name"); g.string(texture.name);
  g.key("tex"); g.string(texture.tex);
  g.key("channel"); g.integer(texture.channel);
  g.key("uniforms"); g.string(texture.uniforms);
  g.endMap();
}

void writeMaterial(JsonWriter& g, const MaterialDesc& desc) {
  g.beginMap();
  g.key("name"); g.string(desc.name);
  g.key("shader_name"); g.string(desc.shaderName);
  g.key("default_uniforms"); g.string(desc.defaultUniforms);
  g.key("default_user_defines"); g.string(desc.defaultUserDefines);
  g.key("textures");
  g.beginArray();
  for (const TextureDesc& texture : desc.textures) writeTexture(g, texture);
  g.endArray();
  g.key("normals"); g.boolean(desc.normals);
  g.key("opacity"); g.integer(desc.opacity);
  g.key("depth_bias"); g.boolean(desc.depthBias);
  g.key("shadow_caster"); g.boolean(desc.shadowCaster);
  g.key("only_shadow_caster"); g.boolean(desc.onlyShadowCaster);
  g.key("decal"); g.integer(desc.decal);
  g.key("allowed_nodes");
  g.beginArray();
  for (const std::string& node : desc.allowedNodes) g.string(node);
  g.endArray();
  g.key("allowed_objects");
  g.beginArray();
  for (ObjectKind kind : desc.allowedObjects) g.integer(static_cast<int>(kind));
  g.endArray();
  g.endMap();
}

}  // namespace

std::string catalogueJson(const std::vector<MaterialDesc>& materials, bool loadFailed) {
  JsonWriter g;
  g.beginMap();
  g.key("load_failed"); g.boolean(loadFailed);
  g.key("materials");
  g.beginArray();
  for (const MaterialDesc& desc : materials) writeMaterial(g, desc);
  g.endArray();
  g.endMap();
  return g.text();
}
