#include "Mtl.h"

#include <string>

namespace {

template <class T>
T* entry(const std::vector<T*>& list, int index) {
  return index >= 0 && index < static_cast<int>(list.size()) ? list[static_cast<size_t>(index)] : nullptr;
}

}  // namespace

StandardMaterial::StandardMaterial(const MSTR& name, std::vector<MapSlot> slots) : slots_(std::move(slots)) {
  SetName(name);
}

Texmap* StandardMaterial::GetSubTexmap(int index) {
  return index >= 0 && index < NumSubTexmaps() ? slots_[static_cast<size_t>(index)].map : nullptr;
}

int StandardMaterial::SubTexmapOn(int index) {
  return index >= 0 && index < NumSubTexmaps() && slots_[static_cast<size_t>(index)].on ? 1 : 0;
}

MSTR StandardMaterial::GetSubTexmapSlotName(int index, bool) {
  return index >= 0 && index < NumSubTexmaps() ? slots_[static_cast<size_t>(index)].name : MSTR();
}

MapTexture::MapTexture(const MSTR& name, std::vector<Texmap*> subMaps) : subMaps_(std::move(subMaps)) {
  SetName(name);
}

Texmap* MapTexture::GetSubTexmap(int index) { return entry(subMaps_, index); }

MSTR MapTexture::GetSubTexmapSlotName(int index, bool) {
  if (index < 0 || index >= NumSubTexmaps()) return MSTR();
  return qk_to_wide("Map " + std::to_string(index + 1));
}

MultiMaterial::MultiMaterial(const MSTR& name, std::vector<Mtl*> subMaterials)
    : subs_(std::move(subMaterials)) {
  SetName(name);
}

Mtl* MultiMaterial::GetSubMtl(int index) { return entry(subs_, index); }
