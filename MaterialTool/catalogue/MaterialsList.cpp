#include "MaterialsList.h"

#include "HostServices.h"
#include "qk_text.h"

namespace {

// Names that the catalogue no longer tells apart from "default". The empty entry ends the table.
const char* const retiredMaterialNames[] = {"metal", "Concrete", "Ground", "Grass", "billboard", ""};

}  // namespace

void MaterialsList::loadIfDue() {
  if (!list_.empty() || loadFailed_) return;
  // The host's separator doesn't matter: a forward slash works on every host.
  const std::string path = qk_to_utf8(hostServices().getDir(APP_PLUGCFG_DIR).c_str()) + "/materials.lua";
  loadFailed_ = !loadMaterialsList(path.c_str());
}

const MaterialDesc* MaterialsList::findMaterial(std::string_view name) {
  loadIfDue();
  for (const MaterialDesc& desc : list_)
    if (desc.name == name) return &desc;
  return nullptr;
}

const std::vector<MaterialDesc>& MaterialsList::getMaterials() {
  loadIfDue();
  return list_;
}

MaterialsList& theMaterialsList() {
  static MaterialsList list;
  return list;
}

const MaterialDesc* findMaterial(std::string_view name) { return theMaterialsList().findMaterial(name); }

const std::vector<MaterialDesc>& getMaterials() { return theMaterialsList().getMaterials(); }

std::string canonicalMaterialName(std::string_view name) {
  for (const char* const* retired = retiredMaterialNames; **retired; ++retired)
    if (name == *retired) return "default";
  return std::string(name);
}
