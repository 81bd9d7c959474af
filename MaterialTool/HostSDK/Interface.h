// The host's core interface (GetCOREInterface), its pick dialog with the filter that chooses what it
// offers, and the utility plug-ins of its command panel.
//
// The host that answers GetCOREInterface is installed by whoever plays the host (HostStandIn) and
// lives as long as it is installed. Main thread only.
#pragma once

#include <vector>

#include "HostTypes.h"
#include "Mtl.h"
#include "ParamDlg.h"

using COLORREF = DWORD;

// The host's growable array.
template <class T>
class Tab {
 public:
  int Count() const { return static_cast<int>(items_.size()); }
  T& operator[](int index) { return items_[static_cast<size_t>(index)]; }
  const T& operator[](int index) const { return items_[static_cast<size_t>(index)]; }
  void Append(const T& item) { items_.push_back(item); }
  void ZeroCount() { items_.clear(); }

 private:
  std::vector<T> items_;
};

// One result of the pick dialog: the animatable picked, and where it was found.
struct TrackViewPick {
  ReferenceTarget* anim = nullptr;
  ReferenceTarget* client = nullptr;
  int subNum = 0;
};

// Decides what the pick dialog offers.
class TrackViewFilter {
 public:
  virtual ~TrackViewFilter() = default;
  virtual BOOL proc(Animatable* anim, Animatable* client, int subNum) = 0;
  // FALSE: the entry has no colour of its own.
  virtual BOOL TextColor(Animatable*, Animatable*, int, COLORREF&) { return FALSE; }
};

class Interface {
 public:
  virtual ~Interface() = default;
  // The directory of id `which`; the text stays valid until the next call.
  virtual const MCHAR* GetDir(int which) = 0;
  // The materials and maps of the scene.
  virtual MtlBaseLib* GetSceneMtls() = 0;
  // The host's main window.
  virtual HWND GetMAXHWnd() = 0;
  // A rollup page in the command panel; the page's window, or null.
  virtual HWND AddRollupPage(HINSTANCE instance, int dialogId, DLGPROC procedure, const MCHAR* title,
                             LPARAM param = 0, DWORD flags = 0, int category = ROLLUP_CAT_STANDARD) = 0;
  virtual void DeleteRollupPage(HWND page) = 0;
  // The pick dialog: lets the user pick several of the entries that `filter` accepts. FALSE when
  // the dialog was cancelled; else the picks are appended to `result`.
  virtual BOOL TrackViewPickMultiDlg(HWND parent, Tab<TrackViewPick>* result,
                                     TrackViewFilter* filter = nullptr, DWORD flags = 0) = 0;
};

// The installed host, or null.
Interface* GetCOREInterface();
// Installs `host` (null: none) and answers the one installed before.
Interface* SetCOREInterface(Interface* host);

// The command panel's handle on an open utility.
class IUtil {
 public:
  virtual ~IUtil() = default;
  virtual void CloseUtility() = 0;
};

// A utility plug-in of the command panel.
class UtilityObj {
 public:
  virtual ~UtilityObj() = default;
  virtual void BeginEditParams(Interface* host, IUtil* util) = 0;
  virtual void EndEditParams(Interface* host, IUtil* util) = 0;
  virtual void SelectionSetChanged(Interface*, IUtil*) {}
  virtual void DeleteThis() = 0;
  virtual void SetStartupParam(MSTR) {}
};
