#include "ClassDesc.h"

void ClassDirectory::loadLibrary(const PluginExports& library) {
  library.DllMain(library.module, DLL_PROCESS_ATTACH, nullptr);
  library.LibVersion();
  library.LibInit();
  library.LibDescription();
  const int count = library.LibNumberClasses();
  for (int i = 0; i < count; ++i)
    if (ClassDesc* desc = library.LibClassDesc(i)) classes_.push_back(desc);
}

ClassDesc* ClassDirectory::find(SClass_ID superClass, const Class_ID& id) const {
  for (ClassDesc* desc : classes_)
    if (desc->SuperClassID() == superClass && desc->ClassID() == id) return desc;
  return nullptr;
}
