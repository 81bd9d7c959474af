// Materials and maps of the host: the map slots every material and map has (ISubMap), materials
// with sub-materials, and the three classes the stand-in offers: a standard material with named map
// slots, a map with sub-maps, and the multi-material.
//
// Sub-materials, sub-maps and the maps of slots are pointers to objects that someone else owns (a
// scene, a test); an object doesn't own what it points at. Main thread only.
#pragma once

#include <vector>

#include "Animatable.h"

class Texmap;

// The map slots of a material or a map.
class ISubMap {
 public:
  virtual ~ISubMap() = default;
  virtual int NumSubTexmaps() { return 0; }
  // The map in slot `index`, or null for an empty slot or an index out of range.
  virtual Texmap* GetSubTexmap(int) { return nullptr; }
  // Non-zero when slot `index` is switched on.
  virtual int SubTexmapOn(int) { return 1; }
  virtual MSTR GetSubTexmapSlotName(int, bool localized = true) {
    (void)localized;
    return MSTR();
  }
};

class MtlBase : public ReferenceTarget, public ISubMap {
 public:
  const MSTR& GetName() const { return name_; }
  void SetName(const MSTR& name) { name_ = name; }

 private:
  MSTR name_;
};

class Mtl : public MtlBase {
 public:
  SClass_ID SuperClassID() override { return MATERIAL_CLASS_ID; }
  virtual int NumSubMtls() { return 0; }
  // The sub-material at `index`, or null for an empty slot or an index out of range.
  virtual Mtl* GetSubMtl(int) { return nullptr; }
};

class Texmap : public MtlBase {
 public:
  SClass_ID SuperClassID() override { return TEXMAP_CLASS_ID; }
};

// A map slot of a standard material.
struct MapSlot {
  MSTR name;
  bool on = true;
  Texmap* map = nullptr;
};

// A material with named map slots, in the order given.
class StandardMaterial : public Mtl {
 public:
  explicit StandardMaterial(const MSTR& name, std::vector<MapSlot> slots = {});
  Class_ID ClassID() override { return STANDARD_MATERIAL_CLASS_ID; }
  int NumSubTexmaps() override { return static_cast<int>(slots_.size()); }
  Texmap* GetSubTexmap(int index) override;
  int SubTexmapOn(int index) override;
  MSTR GetSubTexmapSlotName(int index, bool localized = true) override;
  const std::vector<MapSlot>& slots() const { return slots_; }

 private:
  std::vector<MapSlot> slots_;
};

// A map whose sub-maps (null for an empty one) are its slots, named "Map 1", "Map 2", ...
class MapTexture : public Texmap {
 public:
  explicit MapTexture(const MSTR& name, std::vector<Texmap*> subMaps = {});
  Class_ID ClassID() override { return MAP_TEXTURE_CLASS_ID; }
  int NumSubTexmaps() override { return static_cast<int>(subMaps_.size()); }
  Texmap* GetSubTexmap(int index) override;
  MSTR GetSubTexmapSlotName(int index, bool localized = true) override;
  const std::vector<Texmap*>& subMaps() const { return subMaps_; }

 private:
  std::vector<Texmap*> subMaps_;
};

// The multi-material: a list of sub-materials, null for an empty slot.
class MultiMaterial : public Mtl {
 public:
  explicit MultiMaterial(const MSTR& name, std::vector<Mtl*> subMaterials = {});
  Class_ID ClassID() override { return MULTI_MATERIAL_CLASS_ID; }
  int NumSubMtls() override { return static_cast<int>(subs_.size()); }
  Mtl* GetSubMtl(int index) override;
  const std::vector<Mtl*>& subMaterials() const { return subs_; }

 private:
  std::vector<Mtl*> subs_;
};

// The scene's list of materials and maps, with null entries allowed.
class MtlBaseLib {
 public:
  int Count() const { return static_cast<int>(items.size()); }
  MtlBase* operator[](int index) const { return items[static_cast<size_t>(index)]; }
  std::vector<MtlBase*> items;
};
