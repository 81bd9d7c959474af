#include "MaterialAttrib.h"

#include <string>

#include "MaterialAttribChunks.h"
#include "MaterialDlg.h"
#include "MaterialsList.h"
#include "PluginEntry.h"
#include "Resource.h"

namespace {

// Legacy names that combine a catalogue entry with shadow flags.
struct LegacyName {
  const char* name;
  const char* entry;
  bool shadowCaster;
  bool onlyShadowCaster;
};

const LegacyName kLegacyNames[] = {
    {"building_no_shadow", "building", false, false},
    {"default_no_shadow", "default", false, false},
    {"only_shadow", "default", true, true},
};

// Applies what Load reads to the attribute: the name through the catalogue first in every scene
// that Save wrote, then the saved values over the catalogue's.
class Applier : public IMaterialAttribChunkSink {
 public:
  explicit Applier(MaterialAttrib& attrib) : attrib_(attrib), desc_(*attrib.getMaterialDescExt()) {}
  void version(int32_t) override {}
  void name(const std::string& name) override { attrib_.setMaterial(canonicalMaterialName(name)); }
  void userUniforms(const std::string& text) override { desc_.setUserUniforms(text.c_str()); }
  void opacity(uint8_t value) override { desc_.opacity = value; }
  void depthBias(bool value) override { desc_.setDepthBias(value); }
  void shadow(bool caster, bool onlyCaster) override {
    desc_.setShadowCaster(caster);
    desc_.setOnlyShadowCaster(onlyCaster);
  }
  void decal(uint8_t value) override { desc_.setDecal(value); }

 private:
  MaterialAttrib& attrib_;
  MaterialDescExt& desc_;
};

bool isOurs(CustAttrib* attrib) { return attrib && attrib->ClassID() == MATERIAL_ATTRIB_CLASS_ID; }

}  // namespace

MaterialAttrib::MaterialAttrib() {
  GetMaterialAttribClassDesc()->MakeAutoParamBlocks(this);
  dialog_ = std::make_unique<MaterialDlg>(this);
}

MaterialAttrib::~MaterialAttrib() {
  // The dialog goes first: it may still hold a rollup that shows the description.
  dialog_.reset();
}

bool MaterialAttrib::isNodeAllowed(const char* name) {
  if (desc_.allowedNodes.empty()) return true;
  const std::string_view wanted = name ? name : "";
  for (const std::string& node : desc_.allowedNodes)
    if (node == wanted) return true;
  return false;
}

bool MaterialAttrib::isObjectAllowed(ObjectKind kind) {
  if (desc_.allowedObjects.empty()) return true;
  for (ObjectKind allowed : desc_.allowedObjects)
    if (allowed == kind) return true;
  return false;
}

MSTR MaterialAttrib::SubAnimName(int) {
  const MCHAR* text = GetString(IDS_PARAMS);
  return text ? MSTR(text) : MSTR();
}

RefTargetHandle MaterialAttrib::GetReference(int index) { return index == 0 ? reference_ : nullptr; }

void MaterialAttrib::SetReference(int index, RefTargetHandle target) {
  if (index == 0) reference_ = target;
}

IOResult MaterialAttrib::Save(ISave* isave) { return saveMaterialAttribChunks(isave, desc_); }

IOResult MaterialAttrib::Load(ILoad* iload) {
  Applier applier(*this);
  return loadMaterialAttribChunks(iload, applier);
}

RefTargetHandle MaterialAttrib::Clone(RemapDir& remap) {
  auto* clone = new MaterialAttrib;
  BaseClone(this, clone, remap);
  if (clone != this) clone->copySettingsFrom(*this);
  return clone;
}

ParamDlg* MaterialAttrib::CreateParamDlg(HWND materialEditor, IMtlParams* params) {
  dialog_->createRollup(materialEditor, params);
  dialog_->adjustWidth();
  return dialog_.get();
}

bool MaterialAttrib::setMaterial(std::string_view name) {
  const LegacyName* legacy = nullptr;
  for (const LegacyName& candidate : kLegacyNames)
    if (name == candidate.name) legacy = &candidate;
  const std::string wanted(legacy ? std::string_view(legacy->entry) : name);
  const MaterialDesc* entry = findMaterial(wanted);
  if (!entry) return false;
  desc_ = *entry;
  if (legacy) {
    desc_.setShadowCaster(legacy->shadowCaster);
    desc_.setOnlyShadowCaster(legacy->onlyShadowCaster);
  }
  return true;
}

void MaterialAttrib::copySettingsFrom(const MaterialAttrib& other) {
  if (&other == this) return;
  desc_ = static_cast<const MaterialDesc&>(other.desc_);
  desc_.userUniforms = other.desc_.userUniforms;
}

// ---- finding, creating, removing ---------------------------------------------------------------

MaterialAttrib* findMaterialAttrib(Animatable* material) {
  ICustAttribContainer* container = material ? material->GetCustAttribContainer() : nullptr;
  for (int i = 0; container && i < container->GetNumCustAttribs(); ++i) {
    CustAttrib* attrib = container->GetCustAttrib(i);
    if (isOurs(attrib)) return static_cast<MaterialAttrib*>(attrib);
  }
  return nullptr;
}

bool hasMaterialAttrib(Animatable* material) { return findMaterialAttrib(material) != nullptr; }

MaterialAttrib* getOrCreateMaterialAttrib(Animatable* material) {
  ICustAttribContainer* container = material->GetCustAttribContainer();
  if (!container) {
    material->AllocCustAttribContainer();
    container = material->GetCustAttribContainer();
  }
  if (MaterialAttrib* found = findMaterialAttrib(material)) return found;
  auto* attrib = new MaterialAttrib;
  attrib->setMaterial("default");
  container->AppendCustAttrib(attrib);
  return attrib;
}

void removeMaterialAttribs(Animatable* material) {
  ICustAttribContainer* container = material ? material->GetCustAttribContainer() : nullptr;
  if (!container) return;
  for (int i = 0; i < container->GetNumCustAttribs();) {
    if (isOurs(container->GetCustAttrib(i)))
      container->RemoveCustAttrib(i);
    else
      ++i;
  }
}
