// The material editor's side of a rollup: ParamDlg is what a material or an attribute gives the
// editor for its rollups, IMtlParams is the editor that holds them.
//
// A ParamDlg belongs to whoever made it; the editor calls DeleteThis when it no longer shows it.
// Main thread only.
#pragma once

#include "HostTypes.h"
#include "Window.h"

class ReferenceTarget;

// Rollup categories: the order in which the host stacks rollups.
constexpr int ROLLUP_CAT_STANDARD = 4000;

class ParamDlg {
 public:
  virtual ~ParamDlg() = default;
  virtual void* GetInterface(ULONG) { return nullptr; }
  virtual Class_ID ClassID() = 0;
  virtual void SetThing(ReferenceTarget* thing) = 0;
  virtual ReferenceTarget* GetThing() = 0;
  virtual void SetTime(TimeValue time) = 0;
  virtual void ReloadDialog() = 0;
  virtual void DeleteThis() = 0;
  virtual void ActivateDlg(BOOL active) = 0;
  virtual int FindSubTexFromHWND(HWND) { return -1; }
  virtual int FindSubMtlFromHWND(HWND) { return -1; }
  virtual INT_PTR Execute(int, ULONG = 0, ULONG = 0, ULONG = 0) { return 0; }
};

class IMtlParams {
 public:
  virtual ~IMtlParams() = default;
  // A rollup page made from dialog template `dialogId` of `instance`, with `param` handed to the
  // procedure at WM_INITDIALOG; the page's window, or null.
  virtual HWND AddRollupPage(HINSTANCE instance, int dialogId, DLGPROC procedure, const MCHAR* title,
                             LPARAM param = 0, DWORD flags = 0, int category = ROLLUP_CAT_STANDARD) = 0;
  virtual void DeleteRollupPage(HWND page) = 0;
};
