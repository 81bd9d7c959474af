#include "CatalogueJson.h"

#include <memory>
#include <string_view>

#include <yajl/yajl_gen.h>

namespace {

// One generator for one document.
class Generator {
 public:
  Generator() : gen_(yajl_gen_alloc(nullptr), yajl_gen_free) {
    // Texts go out byte for byte: a catalogue may hold bytes that aren't UTF-8.
    yajl_gen_config(gen_.get(), yajl_gen_validate_utf8, 0);
  }

  void key(std::string_view text) { string(text); }
  void string(std::string_view text) {
    yajl_gen_string(gen_.get(), reinterpret_cast<const unsigned char*>(text.data()), text.size());
  }
  void integer(long long value) { yajl_gen_integer(gen_.get(), value); }
  void boolean(bool value) { yajl_gen_bool(gen_.get(), value); }
  void beginMap() { yajl_gen_map_open(gen_.get()); }
  void endMap() { yajl_gen_map_close(gen_.get()); }
  void beginArray() { yajl_gen_array_open(gen_.get()); }
  void endArray() { yajl_gen_array_close(gen_.get()); }

  std::string text() const {
    const unsigned char* buffer = nullptr;
    size_t size = 0;
    yajl_gen_get_buf(gen_.get(), &buffer, &size);
    return std::string(reinterpret_cast<const char*>(buffer), size);
  }

 private:
  std::unique_ptr<struct yajl_gen_t, void (*)(yajl_gen)> gen_;
};

void writeTexture(Generator& g, const TextureDesc& texture) {
  g.beginMap();
  g.key("name"); g.string(texture.name);
  g.key("tex"); g.string(texture.tex);
  g.key("channel"); g.integer(texture.channel);
  g.key("uniforms"); g.string(texture.uniforms);
  g.endMap();
}

void writeMaterial(Generator& g, const MaterialDesc& desc) {
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
  Generator g;
  g.beginMap();
  g.key("load_failed"); g.boolean(loadFailed);
  g.key("materials");
  g.beginArray();
  for (const MaterialDesc& desc : materials) writeMaterial(g, desc);
  g.endArray();
  g.endMap();
  return g.text();
}
