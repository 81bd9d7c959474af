#include "TextureUniformsReport.h"

#include <cstdint>

namespace {

char asciiLower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool equalIgnoringAsciiCase(const std::string& a, const std::string& b) {
  if (a.size() != b.size()) return false;
  for (size_t i = 0; i < a.size(); ++i)
    if (asciiLower(a[i]) != asciiLower(b[i])) return false;
  return true;
}

bool isUsed(ISubMap& owner, const TextureDesc& texture) {
  const int slots = owner.NumSubTexmaps();
  int match = -1;
  for (int i = 0; i < slots && match < 0; ++i)
    if (equalIgnoringAsciiCase(qk_to_utf8(owner.GetSubTexmapSlotName(i, true).c_str()), texture.tex) &&
        owner.SubTexmapOn(i))
      match = i;
  if (match < 0) return false;
  Texmap* map = owner.GetSubTexmap(match);
  if (!map) return false;
  const int64_t layers = map->NumSubTexmaps();
  if (layers == 0) return texture.channel == 0;
  const int64_t first = 2 * static_cast<int64_t>(texture.channel);
  return layers > first && first >= INT32_MIN && map->GetSubTexmap(static_cast<int>(first)) != nullptr;
}

}  // namespace

std::string textureUniformsReport(ISubMap& owner, const IMaterialDesc& desc) {
  std::string used;
  std::string unused = "\r\n\r\n=========== UNUSED UNIFORMS ===========\r\n";
  const uint32_t count = desc.getTextureCount();
  for (uint32_t i = 0; i < count; ++i) {
    TextureDesc texture;
    desc.getTexture(i, texture);
    if (isUsed(owner, texture)) {
      if (!used.empty()) used += "\r\n";
      used += "------ uniforms of '" + texture.name + "' ------\r\n" + texture.uniforms;
    } else {
      unused += "\r\n------ uniforms of '" + texture.name + "' ------\r\n" + texture.uniforms;
    }
  }
  return used + unused;
}
