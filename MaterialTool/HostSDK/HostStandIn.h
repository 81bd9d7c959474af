// The host itself, played by the stand-in: the core interface with its main window, the command
// panel where a utility shows its rollup, the material editor where a material's attributes show
// theirs, the scene's material list, and the directory of loaded classes.
//
// One HostStandIn is made by whoever plays the host (the tool, a test); it installs itself as the
// core interface for its life and puts back the one before at its end. It doesn't own the scene's
// materials. It must outlive every object that holds its rollups or its material editor: an
// attribute's dialog takes its rollup down through the editor when the attribute goes. The
// directory and the pick dialog ask the installed host services (HostServices.h). Main thread only.
#pragma once

#include <memory>
#include <vector>

#include "Animatable.h"
#include "ClassDesc.h"
#include "Interface.h"
#include "Mtl.h"
#include "ParamDlg.h"
#include "Window.h"

// Rollup pages stacked one below the other in a window of one width. Pages are placed at the left
// edge and sized to the panel's width and their template's height.
class RollupPanel {
 public:
  RollupPanel(const char* title, const RECT& screen);
  ~RollupPanel();
  RollupPanel(const RollupPanel&) = delete;
  RollupPanel& operator=(const RollupPanel&) = delete;

  HWND window() const { return window_; }
  int width() const;
  void setWidth(int pixels);
  HWND addPage(HINSTANCE instance, int dialogId, DLGPROC procedure, const MCHAR* title, LPARAM param);
  // Destroys a page of this panel; does nothing for any other window.
  void deletePage(HWND page);
  const std::vector<HWND>& pages() const { return pages_; }

 private:
  HWND window_;
  std::vector<HWND> pages_;
};

// The material editor: shows the rollups of one attribute at a time.
class MaterialEditor : public IMtlParams {
 public:
  MaterialEditor();
  HWND AddRollupPage(HINSTANCE instance, int dialogId, DLGPROC procedure, const MCHAR* title,
                     LPARAM param = 0, DWORD flags = 0, int category = ROLLUP_CAT_STANDARD) override;
  // A page taken down by its own dialog: the dialog is going, so the editor forgets it.
  void DeleteRollupPage(HWND page) override;

  // Takes down what is shown, then asks `attrib` for its rollups at `width` pixels. The dialog,
  // or null when the attribute has none.
  ParamDlg* show(CustAttrib& attrib, int width);
  // Takes down what is shown: DeleteThis on the dialog, then its pages, as the editor does when it
  // turns to another material.
  void close();
  // The dialog shown, or null when nothing is (also after its attribute was deleted).
  ParamDlg* shown() const { return shown_; }
  const std::vector<HWND>& pages() const { return panel_.pages(); }
  HWND window() const { return panel_.window(); }

 private:
  RollupPanel panel_;
  ParamDlg* shown_ = nullptr;
};

class HostStandIn : public Interface {
 public:
  HostStandIn();
  ~HostStandIn() override;
  HostStandIn(const HostStandIn&) = delete;
  HostStandIn& operator=(const HostStandIn&) = delete;

  const MCHAR* GetDir(int which) override;
  MtlBaseLib* GetSceneMtls() override { return &scene_; }
  HWND GetMAXHWnd() override { return mainWindow_; }
  HWND AddRollupPage(HINSTANCE instance, int dialogId, DLGPROC procedure, const MCHAR* title,
                     LPARAM param = 0, DWORD flags = 0, int category = ROLLUP_CAT_STANDARD) override;
  void DeleteRollupPage(HWND page) override;
  // Asks the host services for the picks, and keeps those that `filter` accepts.
  BOOL TrackViewPickMultiDlg(HWND parent, Tab<TrackViewPick>* result, TrackViewFilter* filter = nullptr,
                             DWORD flags = 0) override;

  void setScene(std::vector<MtlBase*> materials) { scene_.items = std::move(materials); }
  MaterialEditor& materialEditor() { return editor_; }
  RollupPanel& commandPanel() { return commandPanel_; }
  ClassDirectory& classes() { return classes_; }

  // Opens `utility` in the command panel with BeginEditParams; nothing when it is already open.
  void openUtility(UtilityObj* utility);
  // EndEditParams and DeleteThis on the open utility, if any.
  void closeUtility();
  UtilityObj* openedUtility() const { return utility_; }

 private:
  class Util : public IUtil {
   public:
    explicit Util(HostStandIn& host) : host_(host) {}
    void CloseUtility() override { host_.closeUtility(); }

   private:
    HostStandIn& host_;
  };

  HWND mainWindow_;
  RollupPanel commandPanel_;
  MaterialEditor editor_;
  MtlBaseLib scene_;
  ClassDirectory classes_;
  MSTR dir_;
  Util util_{*this};
  UtilityObj* utility_ = nullptr;
  Interface* previous_;
};
