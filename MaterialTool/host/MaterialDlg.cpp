#include "MaterialDlg.h"

#include <cmath>
#include <stdexcept>
#include <string>
#include <vector>

#include "HostServices.h"
#include "Interface.h"
#include "MaterialAttrib.h"
#include "MaterialTool.h"
#include "MaterialsList.h"
#include "PluginEntry.h"
#include "Resource.h"
#include "TextureUniformsReport.h"

namespace {

// The opacity combo's entries. The index and the stored value differ: "Z written blending" stores
// the 3 of "Sum. blending", and shows as "Sum. blending" at the next refresh.
struct OpacityEntry {
  const MCHAR* text;
  int32_t stored;
};

const OpacityEntry kOpacityEntries[] = {
    {u"None", OPACITY_NONE},
    {u"Blend", OPACITY_BLEND},
    {u"Alpha test", OPACITY_ALPHA_TEST},
    {u"Sum. blending", OPACITY_SUM_BLEND},
    {u"Z written blending", OPACITY_SUM_BLEND},
    {u"Shadowed blend", OPACITY_SHADOWED_BLEND},
};
constexpr int kOpacityEntryCount = sizeof kOpacityEntries / sizeof kOpacityEntries[0];

// The entry that shows a stored opacity, or -1 for a value without one (4, 5, 7 and up).
int opacityEntryOf(int32_t value) {
  switch (value) {
    case OPACITY_NONE: return 0;
    case OPACITY_BLEND: return 1;
    case OPACITY_ALPHA_TEST: return 2;
    case OPACITY_SUM_BLEND: return 3;
    case OPACITY_SHADOWED_BLEND: return 5;
    default: return -1;
  }
}

// The decal combo: the index is the stored decal.
const MCHAR* const kDecalEntries[] = {u"0 (no decal)", u"1 (draw first)", u"2", u"3", u"4", u"5", u"6", u"7",
                                      u"8 (draw last)"};

// The catalogue record behind a selection of the material combo. A selection past the end needs a
// list that changed under the combo.
const MaterialDesc& recordAt(int index) {
  const std::vector<MaterialDesc>& list = getMaterials();
  if (index < 0 || static_cast<size_t>(index) >= list.size())
    throw std::out_of_range("invalid vector subscript");
  return list[static_cast<size_t>(index)];
}

int checkState(bool on) { return on ? BST_CHECKED : BST_UNCHECKED; }

}  // namespace

MaterialDlg::~MaterialDlg() {
  if (!rollup_) return;
  SetWindowLongPtrW(rollup_, GWLP_USERDATA, 0);
  if (params_) params_->DeleteRollupPage(rollup_);
  params_ = nullptr;
  rollup_ = nullptr;
}

// ---- the rollup and its procedure --------------------------------------------------------------

void MaterialDlg::createRollup(HWND materialEditor, IMtlParams* params) {
  materialEditor_ = materialEditor;
  params_ = params;
  rollup_ = params_->AddRollupPage(hInstance, IDD_MATERIAL_ATTRIB, dialogProc, GetString(IDS_PARAMS),
                                   reinterpret_cast<LPARAM>(this), 0, ROLLUP_CAT_STANDARD);
}

INT_PTR MaterialDlg::dialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == WM_INITDIALOG) {
    SetWindowLongPtrW(window, GWLP_USERDATA, lParam);
    if (auto* dlg = reinterpret_cast<MaterialDlg*>(lParam)) dlg->rollup_ = window;
  }
  auto* dlg = reinterpret_cast<MaterialDlg*>(GetWindowLongPtrW(window, GWLP_USERDATA));
  if (!dlg) return 0;
  switch (message) {
    case WM_INITDIALOG: dlg->initControls(window); return 1;
    case WM_COMMAND: return dlg->command(window, static_cast<int>(LOWORD(wParam)), HIWORD(wParam));
    case WM_CUSTEDIT_ENTER:
      if (LOWORD(wParam) != IDC_USER_UNIFORMS) return 0;
      dlg->applyControls(window);
      return 1;
    default: return 0;
  }
}

INT_PTR MaterialDlg::command(HWND window, int id, unsigned code) {
  if (code == CBN_SELCHANGE) {
    if (id == IDC_MATERIAL)
      changeMaterial();
    else if (id == IDC_OPACITY || id == IDC_DECAL)
      applyControls(window);
    else
      return 0;
    return 1;
  }
  if (code == BN_CLICKED) {
    if (id == IDC_SET_TO_MATERIALS)
      setToMaterials();
    else if (id == IDC_ZBIAS || id == IDC_SHADOW_CASTER || id == IDC_ONLY_SHADOW_CASTER)
      applyControls(window);
    else if (id == IDC_SHOW_TEXTURE_UNIFORMS)
      showTextureUniforms();
    else
      return 0;
    return 1;
  }
  return 0;
}

// ---- controls and description ------------------------------------------------------------------

void MaterialDlg::initControls(HWND rollup) {
  materialCombo_ = GetDlgItem(rollup, IDC_MATERIAL);
  userUniforms_ = GetICustEdit(GetDlgItem(rollup, IDC_USER_UNIFORMS));
  const HWND opacity = GetDlgItem(rollup, IDC_OPACITY);
  ComboBox_ResetContent(opacity);
  for (const OpacityEntry& entry : kOpacityEntries) ComboBox_AddString(opacity, entry.text);
  ComboBox_SetCurSel(opacity, 0);
  const HWND decal = GetDlgItem(rollup, IDC_DECAL);
  ComboBox_ResetContent(decal);
  for (const MCHAR* entry : kDecalEntries) ComboBox_AddString(decal, entry);
  ComboBox_SetCurSel(decal, 0);
  refreshControls();
}

void MaterialDlg::refreshControls() {
  if (!rollup_) return;
  const MaterialDescExt& desc = *attrib_->getMaterialDescExt();
  if (userUniforms_) userUniforms_->SetText(qk_to_wide(desc.getUserUniforms()).c_str());
  SetDlgItemTextW(rollup_, IDC_DEFAULT_UNIFORMS, qk_to_wide(desc.getDefaultUniforms()).c_str());
  const int opacity = opacityEntryOf(desc.getOpacity());
  if (opacity >= 0) ComboBox_SetCurSel(GetDlgItem(rollup_, IDC_OPACITY), opacity);
  CheckDlgButton(rollup_, IDC_ZBIAS, checkState(desc.getDepthBias()));
  ComboBox_SetCurSel(GetDlgItem(rollup_, IDC_DECAL), desc.getDecal());
  CheckDlgButton(rollup_, IDC_SHADOW_CASTER, checkState(desc.getShadowCaster()));
  CheckDlgButton(rollup_, IDC_ONLY_SHADOW_CASTER, checkState(desc.getOnlyShadowCaster()));
  ComboBox_ResetContent(materialCombo_);
  for (const MaterialDesc& record : getMaterials())
    ComboBox_AddString(materialCombo_, qk_to_wide(record.name).c_str());
  const int found = ComboBox_FindStringExact(materialCombo_, -1, qk_to_wide(desc.getName()).c_str());
  if (found != CB_ERR) ComboBox_SetCurSel(materialCombo_, found);
}

void MaterialDlg::changeMaterial() {
  const int selection = ComboBox_GetCurSel(materialCombo_);
  if (selection == CB_ERR) return;
  MaterialDescExt& desc = *attrib_->getMaterialDescExt();
  const std::string name = recordAt(selection).name;
  if (name == desc.name) return;
  attrib_->setMaterial(name);
  desc.setUserUniforms("");
  refreshControls();
}

void MaterialDlg::applyControls(HWND rollup) {
  MaterialDescExt& desc = *attrib_->getMaterialDescExt();
  const int selection = ComboBox_GetCurSel(materialCombo_);
  if (selection == CB_ERR) return;
  const std::string name = recordAt(selection).name;
  if (name != desc.name) attrib_->setMaterial(name);
  if (userUniforms_) {
    MCHAR text[2048];
    userUniforms_->GetText(text, 2048);
    desc.setUserUniforms(qk_to_utf8(text).c_str());
  }
  const int opacity = ComboBox_GetCurSel(GetDlgItem(rollup, IDC_OPACITY));
  if (opacity >= 0 && opacity < kOpacityEntryCount) desc.setOpacity(kOpacityEntries[opacity].stored);
  desc.setDepthBias(IsDlgButtonChecked(rollup, IDC_ZBIAS) == BST_CHECKED);
  desc.setDecal(static_cast<uint8_t>(ComboBox_GetCurSel(GetDlgItem(rollup, IDC_DECAL))));
  desc.setShadowCaster(IsDlgButtonChecked(rollup, IDC_SHADOW_CASTER) == BST_CHECKED);
  desc.setOnlyShadowCaster(IsDlgButtonChecked(rollup, IDC_ONLY_SHADOW_CASTER) == BST_CHECKED);
}

// ---- the two buttons ---------------------------------------------------------------------------

void MaterialDlg::setToMaterials() {
  Interface* host = GetCOREInterface();
  if (!host) return;
  Tab<TrackViewPick> picks;
  MtlFilter filter;
  if (!host->TrackViewPickMultiDlg(host->GetMAXHWnd(), &picks, &filter, 0)) return;
  for (int i = 0; i < picks.Count(); ++i)
    if (Animatable* picked = picks[i].anim) getOrCreateMaterialAttrib(picked)->copySettingsFrom(*attrib_);
}

void MaterialDlg::showTextureUniforms() {
  Interface* host = GetCOREInterface();
  MtlBaseLib* scene = host ? host->GetSceneMtls() : nullptr;
  MtlBase* owner = nullptr;
  for (int i = 0; scene && i < scene->Count() && !owner; ++i)
    if (findMaterialAttrib((*scene)[i]) == attrib_) owner = (*scene)[i];
  if (!owner) {
    hostServices().messageBox(u"Invalid rollaut. Reassign material to geometry!", u"Error!",
                              MB_OK | MB_ICONERROR);
    return;
  }
  const std::string report = textureUniformsReport(*owner, *attrib_->getMaterialDesc());
  hostServices().messageBox(qk_to_wide(report).c_str(), u"Texture uniforms", MB_OK | MB_ICONINFORMATION);
}

// ---- width -------------------------------------------------------------------------------------

void MaterialDlg::scaleControlWidth(int id, double factorX, double factorY) {
  const HWND control = GetDlgItem(rollup_, id);
  RECT rect, rollup;
  if (!GetWindowRect(control, &rect) || !GetWindowRect(rollup_, &rollup)) return;
  const double width = static_cast<double>(rect.right - rect.left);
  const double height = static_cast<double>(rect.bottom - rect.top);
  MoveWindow(control, static_cast<int>(rect.left - rollup.left), static_cast<int>(rect.top - rollup.top),
             static_cast<int>(width * factorX), static_cast<int>(height * factorY), TRUE);
}

void MaterialDlg::adjustWidth() {
  RECT client;
  if (!GetClientRect(rollup_, &client)) return;
  const double scale = static_cast<double>(client.right - client.left) / MATERIAL_DLG_LAYOUT_WIDTH;
  if (std::fabs(scale - 1.0) <= 0.00001) return;
  scaleControlWidth(IDC_MATERIAL_GROUP, scale, 1.0);
  scaleControlWidth(IDC_MATERIAL, scale * 0.95, 1.0);
  for (int id : {IDC_DEFAULT_UNIFORMS, IDC_USER_UNIFORMS, IDC_SHOW_TEXTURE_UNIFORMS, IDC_MISC_GROUP,
                 IDC_SET_TO_MATERIALS})
    scaleControlWidth(id, scale, 1.0);
}
