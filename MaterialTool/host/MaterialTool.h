// MaterialTool: the utility with two buttons. "Make Cool" puts a MaterialAttrib on every material
// of the scene, "No Good" takes them all off again. Both walk the scene's material list in order,
// skipping empty entries; a multi-material is entered one level deep (its non-empty sub-materials
// are visited, it isn't, and a multi-material inside it isn't entered).
//
// There is one tool, a global object: its class descriptor's Create answers it. MtlFilter makes the
// host's pick dialog offer materials only. Main thread only.
#pragma once

#include <functional>

#include "Interface.h"
#include "WTLPanel.h"

// The tool's rollup, template 102.
class MaterialPanel : public ma::WTLPanel<MaterialPanel> {
 public:
  MaterialPanel();
  // Enables "Make Cool".
  void onOpened() override;
  INT_PTR handleMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
};

class MaterialTool : public UtilityObj {
 public:
  // Adds the rollup ("Material Tool") to `host`, replacing one there from before.
  void BeginEditParams(Interface* host, IUtil* util) override;
  void EndEditParams(Interface* host, IUtil* util) override;
  void SelectionSetChanged(Interface*, IUtil*) override {}
  // Nothing: the tool is global.
  void DeleteThis() override {}
  void SetStartupParam(MSTR) override {}

  Interface* host() const { return host_; }
  MaterialPanel& panel() { return panel_; }

 private:
  IUtil* util_ = nullptr;
  Interface* host_ = nullptr;
  MaterialPanel panel_;
};

// The global tool.
MaterialTool& theMaterialTool();

// Offers exactly the animatables of the material super class.
class MtlFilter : public TrackViewFilter {
 public:
  BOOL proc(Animatable* anim, Animatable* client, int subNum) override;
  BOOL TextColor(Animatable*, Animatable*, int, COLORREF&) override { return FALSE; }
};

// Calls `visit` for each material of `host`'s scene the buttons visit, in order.
void forEachSceneMaterial(Interface* host, const std::function<void(MtlBase*)>& visit);
