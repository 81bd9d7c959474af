// MaterialAttrib: the custom attribute that ties a material of the host to an engine material. It
// holds one working copy of a catalogue entry (MaterialDescExt), saves it with the scene, and shows
// it in its rollup (MaterialDlg).
//
// An exporter in another library finds the attribute by its class id alone and reads it through
// IMaterialAttrib, the whole contract with it; isNodeAllowed and isObjectAllowed exist for the
// exporter, and the plug-in never filters anything by them itself.
//
// The attribute keeps a copy of the catalogue's entry, not a link: a scene brings it back by name,
// and the saved values are then put over the catalogue's. Nothing here reports an error to the
// artist; a change raises no notification, makes no undo record and doesn't mark the scene as
// changed. The attribute owns its description and its dialog; the material's container owns the
// attribute. Main thread only.
#pragma once

#include <memory>
#include <string_view>

#include "Animatable.h"
#include "MaterialDesc.h"
#include "MaterialDescExt.h"

constexpr Class_ID MATERIAL_ATTRIB_CLASS_ID(0x07CB6596, 0x7E112E78);

class MaterialDlg;

// The exporter's view of an attribute.
struct IMaterialAttrib : public CustAttrib {
  // The description, owned by the attribute.
  virtual IMaterialDesc* getMaterialDesc() = 0;
  // True when allowedNodes is empty or holds exactly `name` (same length and bytes).
  virtual bool isNodeAllowed(const char* name) = 0;
  // True when allowedObjects is empty or holds `kind`.
  virtual bool isObjectAllowed(ObjectKind kind) = 0;
};

class MaterialAttrib : public IMaterialAttrib {
 public:
  using MaterialDescExt = ::MaterialDescExt;

  // A fresh attribute with the defaults of a description and a dialog of its own; no catalogue
  // entry is applied (getOrCreateMaterialAttrib does that).
  MaterialAttrib();
  ~MaterialAttrib() override;

  IMaterialDesc* getMaterialDesc() override { return &desc_; }
  bool isNodeAllowed(const char* name) override;
  bool isObjectAllowed(ObjectKind kind) override;
  virtual MaterialDescExt* getMaterialDescExt() { return &desc_; }

  SClass_ID SuperClassID() override { return CUST_ATTRIB_CLASS_ID; }
  Class_ID ClassID() override { return MATERIAL_ATTRIB_CLASS_ID; }
  // "Material Attributes" whatever the index; the attribute has no sub-animations.
  MSTR SubAnimName(int index) override;
  int NumRefs() override { return 1; }
  RefTargetHandle GetReference(int index) override;
  void SetReference(int index, RefTargetHandle target) override;
  // The chunks of MaterialAttribChunks.h, version 5.
  IOResult Save(ISave* isave) override;
  IOResult Load(ILoad* iload) override;
  // A new attribute with this one's description and user uniforms; no catalogue entry is applied.
  RefTargetHandle Clone(RemapDir& remap) override;
  const MCHAR* GetName() override { return u"Material"; }
  // Makes the rollup in the material editor and answers this attribute's one dialog.
  ParamDlg* CreateParamDlg(HWND materialEditor, IMtlParams* params) override;
  bool CheckCopyAttribTo(ICustAttribContainer*) override { return true; }

  // Applies the catalogue entry `name`: every field of the entry replaces the description's, the
  // user uniforms stay. "building_no_shadow", "default_no_shadow" and "only_shadow" are legacy
  // names of "building" and "default" with the shadow flags off, off, and both on. False, and
  // nothing changed, when the catalogue has no such entry.
  bool setMaterial(std::string_view name);
  // Takes over the description and the user uniforms of `other`; nothing for this attribute itself.
  void copySettingsFrom(const MaterialAttrib& other);

 private:
  std::unique_ptr<MaterialDlg> dialog_;
  MaterialDescExt desc_;
  RefTargetHandle reference_ = nullptr;
};

// The first attribute of this class on `material` (found by class id alone), or null; adds nothing.
// Null for a null material, for one without a container, and for an empty container.
MaterialAttrib* findMaterialAttrib(Animatable* material);
bool hasMaterialAttrib(Animatable* material);
// The attribute of `material`, or a new one set to "default" (whether or not the catalogue has it)
// and appended to the material's container, which is made when missing. The usual moment at which
// the catalogue is first loaded.
MaterialAttrib* getOrCreateMaterialAttrib(Animatable* material);
// Removes every attribute of this class from `material`, which may be null.
void removeMaterialAttribs(Animatable* material);
