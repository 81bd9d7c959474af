// The plug-in library's own file on Windows, QKMaterialTool.dll: the plug-in over the host
// stand-in, with the window system's entry and the host services of Windows.
//
// The loader calls the entry below for every reason; it hands the call on to the plug-in's library
// entry with the stand-in's module handle (LibraryEntry.h), so that the two entries answer alike.
// The five exports are the plug-in's own (PluginEntry.h). A static object installs the Windows
// host services for the library's life: the artist's boxes are MessageBoxW boxes, and the plug-in
// configuration directory is the current directory, as nobody plays the host's directories here.
#include "LibraryEntry.h"
#include "WindowsHostServices.h"

namespace {

struct InstalledServices {
  WindowsHostServices services;
  InstalledServices() { setHostServices(&services); }
  ~InstalledServices() { setHostServices(nullptr); }
};

InstalledServices installedServices;

}  // namespace

// The entry the window system's loader calls (through the C runtime's library start-up), in its
// own words: a module handle, a reason and a reserved pointer, answering non-zero to go on.
extern "C" int __stdcall DllMain(void* module, unsigned long reason, void* reserved);

extern "C" int __stdcall DllMain(void*, unsigned long reason, void* reserved) {
  return enterPluginLibrary(reason, reserved);
}
