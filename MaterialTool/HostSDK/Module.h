// A plug-in library as the host stand-in sees it: a module handle and the resources compiled into
// the library, its dialog templates and its string table.
//
// Resources are plain constant data that the library defines; the module handle points at them, as
// a library's handle gives the host its resources. Nothing is owned and nothing changes after
// static initialisation, so any thread may read them.
#pragma once

#include <cstddef>

#include "HostTypes.h"

// The kinds of control a dialog template can hold.
enum class ControlKind { Dialog, Static, PushButton, CheckBox, GroupBox, ComboBox, Edit, CustEdit };

// One control of a template; its rectangle is in dialog units.
struct ControlTemplate {
  int id;
  ControlKind kind;
  const char* text;  // UTF-8
  int x, y, cx, cy;
};

// A dialog template: size in dialog units, font, and its controls in their order of creation.
struct DialogTemplate {
  int id;
  int cx, cy;
  const char* font;
  int pointSize;
  const ControlTemplate* controls;
  size_t controlCount;
};

// One entry of a string table.
struct StringResource {
  UINT id;
  const char* text;  // UTF-8
};

// A library's resources.
struct Module {
  const char* name;
  const DialogTemplate* dialogs;
  size_t dialogCount;
  const StringResource* strings;
  size_t stringCount;
};

using HINSTANCE = const Module*;

// Copies string `id` of the module into `buffer` (at most `size` units with the NUL, cut when
// longer) and answers its length; 0 when the module is null or has no such string.
int LoadStringW(HINSTANCE instance, UINT id, MCHAR* buffer, int size);

// The dialog template `id` of the module, or null.
const DialogTemplate* FindDialogTemplate(HINSTANCE instance, int id);
