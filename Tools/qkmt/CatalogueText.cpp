#include "CatalogueText.h"

#include <string_view>

#include "TextEscape.h"
#include "qk_format.h"

namespace {

const char* yesNo(bool value) { return value ? "yes" : "no"; }

// A uniform block, one line per row. A line that lost its line end (cut at 511 bytes) says so.
void appendUniforms(std::string& out, std::string_view block, const char* indent) {
  while (!block.empty()) {
    const size_t end = block.find("\r\n");
    out += indent;
    if (end == std::string_view::npos) {
      out += visibleText(block) + "   <- no line end\n";
      return;
    }
    out += visibleText(block.substr(0, end)) + "\n";
    block.remove_prefix(end + 2);
  }
}

const char* objectName(ObjectKind kind) {
  switch (kind) {
    case ObjectKind::Mesh: return "Mesh";
    case ObjectKind::Spline: return "Spline";
    case ObjectKind::Line: return "Line";
  }
  return "?";
}

void appendMaterial(std::string& out, const MaterialDesc& desc, size_t index, size_t count) {
  out += qk_format("%s  (%zu of %zu)\n", visibleText(desc.name).c_str(), index + 1, count);
  out += "  shader           " + visibleText(desc.shaderName) + "\n";
  out += qk_format("  opacity          %s\n", opacityName(desc.opacity).c_str());
  out += qk_format("  flags            normals %s, Z-Bias %s, shadow caster %s, only shadow caster %s\n",
                   yesNo(desc.normals), yesNo(desc.depthBias), yesNo(desc.shadowCaster),
                   yesNo(desc.onlyShadowCaster));
  out += desc.decal ? qk_format("  decal            %u\n", unsigned(desc.decal))
                    : std::string("  decal            none\n");

  out += desc.textures.empty() ? "  textures         none\n" : "  textures\n";
  for (const TextureDesc& texture : desc.textures) {
    out += qk_format("    %s  slot \"%s\", channel %d\n", visibleText(texture.name).c_str(),
                     visibleText(texture.tex).c_str(), texture.channel);
    appendUniforms(out, texture.uniforms, "      | ");
  }

  out += "  allowed nodes    ";
  if (desc.allowedNodes.empty()) out += "all";
  for (auto it = desc.allowedNodes.begin(); it != desc.allowedNodes.end(); ++it)
    out += (it == desc.allowedNodes.begin() ? "\"" : ", \"") + visibleText(*it) + "\"";
  out += "\n  allowed objects  ";
  if (desc.allowedObjects.empty()) out += "all";
  for (auto it = desc.allowedObjects.begin(); it != desc.allowedObjects.end(); ++it)
    out += std::string(it == desc.allowedObjects.begin() ? "" : ", ") + objectName(*it);
  out += "\n";

  out += desc.defaultUniforms.empty() ? "  uniforms         none\n" : "  uniforms\n";
  appendUniforms(out, desc.defaultUniforms, "    | ");
  out += "  user defines     " +
         (desc.defaultUserDefines.empty() ? std::string("none") : visibleText(desc.defaultUserDefines)) +
         "\n";
}

}  // namespace

std::string opacityName(int32_t opacity) {
  switch (opacity) {
    case OPACITY_NONE: return "None";
    case OPACITY_BLEND: return "Blend";
    case OPACITY_ALPHA_TEST: return "Alpha test";
    case OPACITY_SUM_BLEND: return "Sum. blending";
    case OPACITY_SHADOWED_BLEND: return "Shadowed blend";
    default: return qk_format("unknown (%d)", opacity);
  }
}

std::string catalogueText(const std::vector<MaterialDesc>& materials) {
  std::string out;
  for (size_t i = 0; i < materials.size(); ++i) {
    if (i) out += "\n";
    appendMaterial(out, materials[i], i, materials.size());
  }
  return out;
}
