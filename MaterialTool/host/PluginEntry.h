// The outer shell of the plug-in library "QKMaterialTool": the library entry, the five exported
// functions through which the host learns of the library's two classes (the utility MaterialTool
// and the custom attribute MaterialAttrib), their class descriptors, and the string helper.
//
// Nothing is loaded at library load: the catalogue is loaded on first need. The host calls all of
// this on its main thread, in an order of its own; no call depends on another.
#pragma once

#include "ClassDesc.h"
#include "HostTypes.h"
#include "Module.h"

constexpr Class_ID MATERIAL_TOOL_CLASS_ID(0x7408371E, 0x63865983);

// The version of the host's SDK the library was made with: release 28000 in the upper half,
// interface number 68 and revision 0 below.
constexpr ULONG PLUGIN_SDK_VERSION = 0x6D604400;

// The library's module handle, set by the library entry; null before.
extern HINSTANCE hInstance;
// Set to 1 at the first library entry call.
extern int controlsInit;

// The library entry: stores the module handle, sets the controls-ready flag, answers TRUE, for
// every reason. Named apart from the system's own entry (DllMain), which mingw-w64 gives C linkage
// whatever its arguments: where the library has a file of its own, that entry hands each call on
// to this one (LibraryEntry.h).
BOOL LibMain(HINSTANCE instance, ULONG reason, void* reserved);

// The five exports, with plain (C) names and the platform's default calling convention, exported
// from the library's file where there is one (QKMaterialTool.dll on Windows).
extern "C" {
// String 1, "MaterialTool", through the string buffer; null while the instance isn't set.
QK_EXPORT const MCHAR* LibDescription();
// 2.
QK_EXPORT int LibNumberClasses();
// 0: the utility's descriptor, 1: the attribute's, anything else null.
QK_EXPORT ClassDesc* LibClassDesc(int index);
QK_EXPORT ULONG LibVersion();
// Does nothing.
QK_EXPORT void LibInit();
}

// The exports as the host stand-in loads them.
PluginExports pluginExports();

// String `id` of the library's string table, through one shared buffer of 512 units: the text
// stays valid until the next call, so copy it or hand it on at once. Null when the instance isn't
// set or the string doesn't exist.
const MCHAR* GetString(UINT id);

ClassDesc2* GetMaterialToolClassDesc();
ClassDesc2* GetMaterialAttribClassDesc();
