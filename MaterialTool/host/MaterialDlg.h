// MaterialDlg: the rollup of a MaterialAttrib in the host's material editor. The artist picks the
// engine material, types user uniforms, sets blending, decal order and shadow flags, copies the
// whole setting to other materials, and asks which texture uniforms take effect.
//
// The dialog holds no settings of its own: every value stands in the attribute's description, and
// the controls are a view written from it (refreshControls) and read back into it (applyControls).
// The default uniforms box shows the catalogue's text read-only; the uniforms box is the artist's;
// neither is parsed or merged. One dialog belongs to one attribute for the attribute's life and
// serves each rollup made for it; the attribute deletes it, and the destructor takes a rollup that
// is still there down. The material editor's parameters are not owned. Main thread only.
#pragma once

#include "CustEdit.h"
#include "ParamDlg.h"

class MaterialAttrib;

constexpr Class_ID MATERIAL_DLG_CLASS_ID(0x1C277801, 0x507F7191);

// The template was laid out for a rollup this wide; other widths widen its wide controls.
constexpr int MATERIAL_DLG_LAYOUT_WIDTH = 432;

class MaterialDlg : public ParamDlg {
 public:
  explicit MaterialDlg(MaterialAttrib* attrib) : attrib_(attrib) {}
  ~MaterialDlg() override;
  MaterialDlg(const MaterialDlg&) = delete;
  MaterialDlg& operator=(const MaterialDlg&) = delete;

  Class_ID ClassID() override { return MATERIAL_DLG_CLASS_ID; }
  void SetThing(ReferenceTarget*) override {}
  ReferenceTarget* GetThing() override { return nullptr; }
  void SetTime(TimeValue) override {}
  void ReloadDialog() override { refreshControls(); }
  // Nothing: the attribute owns the dialog and deletes it with itself.
  void DeleteThis() override {}
  void ActivateDlg(BOOL) override { refreshControls(); }
  int FindSubTexFromHWND(HWND) override { return -1; }
  int FindSubMtlFromHWND(HWND) override { return -1; }
  INT_PTR Execute(int, ULONG = 0, ULONG = 0, ULONG = 0) override { return 0; }

  // Remembers both and adds the rollup (template 130) to the material editor.
  void createRollup(HWND materialEditor, IMtlParams* params);
  // Fills the opacity and decal combos, then refreshControls.
  void initControls(HWND rollup);
  // The description to the controls; nothing without a rollup.
  void refreshControls();
  // The controls to the description; nothing at all while the material combo has no selection.
  void applyControls(HWND rollup);
  // "Set this to materials ...": the description and user uniforms to the materials picked.
  void setToMaterials();
  // "Show texture uniforms": which textures' uniforms take effect on the material, in a box.
  void showTextureUniforms();
  // Widens one control: left and top stay, width and height are multiplied and cut to integers.
  void scaleControlWidth(int id, double factorX, double factorY);
  // Fits the wide controls to a rollup that isn't MATERIAL_DLG_LAYOUT_WIDTH pixels wide.
  void adjustWidth();

  HWND rollup() const { return rollup_; }

 private:
  static INT_PTR dialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
  INT_PTR command(HWND window, int id, unsigned code);
  // The material combo's new selection: a new material begins with no user uniforms.
  void changeMaterial();

  HWND materialEditor_ = nullptr;
  HWND rollup_ = nullptr;
  IMtlParams* params_ = nullptr;
  MaterialAttrib* attrib_;
  HWND materialCombo_ = nullptr;
  ICustEdit* userUniforms_ = nullptr;
};
