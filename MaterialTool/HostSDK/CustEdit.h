// The host's own edit control (a "CustEdit" control of a dialog template), seen through ICustEdit.
//
// GetICustEdit gives the control's interface, or null for a window that isn't such a control. The
// stand-in keeps one interface per control, owned by the control, so an interface that is never
// given back with ReleaseICustEdit costs nothing; it is valid while its control exists.
#pragma once

#include "Window.h"

class ICustEdit {
 public:
  virtual ~ICustEdit() = default;
  // Copies the text into `buffer`, at most `size` units with the NUL; longer text is cut.
  virtual void GetText(MCHAR* buffer, int size) = 0;
  virtual void SetText(const MCHAR* text) = 0;
};

ICustEdit* GetICustEdit(HWND control);
void ReleaseICustEdit(ICustEdit* edit);
