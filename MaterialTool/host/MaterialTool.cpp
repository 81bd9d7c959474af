#include "MaterialTool.h"

#include "MaterialAttrib.h"
#include "Resource.h"

namespace {

MaterialTool materialTool;

}  // namespace

MaterialTool& theMaterialTool() { return materialTool; }

// ---- the panel ---------------------------------------------------------------------------------

MaterialPanel::MaterialPanel() : WTLPanel(IDD_MATERIAL_TOOL) {}

void MaterialPanel::onOpened() { EnableWindow(GetDlgItem(rollup(), IDC_MAKE_COOL), TRUE); }

INT_PTR MaterialPanel::handleMessage(HWND, UINT message, WPARAM wParam, LPARAM) {
  if (message == WM_DESTROY) return 1;
  if (message != WM_COMMAND || HIWORD(wParam) != BN_CLICKED) return 0;
  const int id = static_cast<int>(LOWORD(wParam));
  if (id == IDC_MAKE_COOL) {
    forEachSceneMaterial(host(), [](MtlBase* material) { getOrCreateMaterialAttrib(material); });
    return 1;
  }
  if (id == IDC_NO_GOOD) {
    forEachSceneMaterial(host(), [](MtlBase* material) { removeMaterialAttribs(material); });
    return 1;
  }
  return 0;
}

// ---- the tool ----------------------------------------------------------------------------------

void MaterialTool::BeginEditParams(Interface* host, IUtil* util) {
  host_ = host;
  util_ = util;
  panel_.deleteRollup();
  if (panel_.addRollup(host, u"Material Tool")) {
    panel_.onOpened();
    panel_.onRefreshed();
  }
}

void MaterialTool::EndEditParams(Interface*, IUtil*) {
  util_ = nullptr;
  host_ = nullptr;
  panel_.deleteRollup();
  panel_.onClosed();
}

// ---- the walk and the filter -------------------------------------------------------------------

void forEachSceneMaterial(Interface* host, const std::function<void(MtlBase*)>& visit) {
  MtlBaseLib* scene = host ? host->GetSceneMtls() : nullptr;
  if (!scene) return;
  for (int i = 0; i < scene->Count(); ++i) {
    MtlBase* entry = (*scene)[i];
    if (!entry) continue;
    if (entry->ClassID() == MULTI_MATERIAL_CLASS_ID) {
      auto* multi = static_cast<Mtl*>(entry);
      for (int j = 0; j < multi->NumSubMtls(); ++j)
        if (Mtl* sub = multi->GetSubMtl(j)) visit(sub);
    } else {
      visit(entry);
    }
  }
}

BOOL MtlFilter::proc(Animatable* anim, Animatable*, int) {
  return anim && anim->SuperClassID() == MATERIAL_CLASS_ID ? TRUE : FALSE;
}
