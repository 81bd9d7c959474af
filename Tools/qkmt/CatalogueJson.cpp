#include "CatalogueJson.h"

#include "JsonWriter.h"

namespace {

void writeTexture(JsonWriter& g, const TextureDesc& texture) {
  g.beginMap();
  g.text("name", texture.name);
  g.text("tex", texture.tex);
  g.key("channel").integer(texture.channel);
  g.text("uniforms", texture.uniforms);
  g.endMap();
}

void writeMaterial(JsonWriter& g, const MaterialDesc& desc) {
  g.beginMap();
  g.text("name", desc.name);
  g.text("shader_name", desc.shaderName);
  g.text("default_uniforms", desc.defaultUniforms);
  g.text("default_user_defines", desc.defaultUserDefines);
  g.key("textures").beginArray();
  for (const TextureDesc& texture : desc.textures) writeTexture(g, texture);
  g.endArray();
  g.key("normals").boolean(desc.normals);
  g.key("opacity").integer(desc.opacity);
  g.key("depth_bias").boolean(desc.depthBias);
  g.key("shadow_caster").boolean(desc.shadowCaster);
  g.key("only_shadow_caster").boolean(desc.onlyShadowCaster);
  g.key("decal").integer(desc.decal);
  g.texts("allowed_nodes", desc.allowedNodes);
  g.key("allowed_objects").beginArray();
  for (ObjectKind kind : desc.allowedObjects) g.integer(static_cast<int>(kind));
  g.endArray();
  g.endMap();
}

}  // namespace

std::string catalogueJson(const CatalogueOutcome& outcome, const std::vector<MaterialDesc>& materials) {
  JsonWriter g;
  g.beginMap();
  g.text("file", outcome.file);
  g.key("load_failed").boolean(outcome.loadFailed);
  if (outcome.loadFailed) g.text("error", outcome.error);
  if (!outcome.reason.empty()) g.text("reason", outcome.reason);
  g.key("materials").beginArray();
  for (const MaterialDesc& desc : materials) writeMaterial(g, desc);
  g.endArray();
  g.endMap();
  return g.document();
}
