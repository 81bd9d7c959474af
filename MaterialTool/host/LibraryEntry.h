// The plug-in's library entry as the window system's loader reaches it, in plain words free of the
// host stand-in's types (which a file that defines the system's own entry can't include): hands
// each call on to LibMain (PluginEntry.h) with the stand-in's module handle, whose resources are
// what the plug-in reads. Answers LibMain's answer.
#pragma once

int enterPluginLibrary(unsigned long reason, void* reserved);
