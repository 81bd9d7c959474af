#include "PluginEntry.h"

#include <new>

#include "LibraryEntry.h"
#include "MaterialAttrib.h"
#include "MaterialTool.h"
#include "Resource.h"

HINSTANCE hInstance = nullptr;
int controlsInit = 0;

namespace {

MCHAR stringBuffer[512];

class MaterialAttribClassDesc : public ClassDesc2 {
 public:
  int IsPublic() override { return 1; }
  void* Create(BOOL) override {
    CustAttrib* attrib = new (std::nothrow) MaterialAttrib;
    return attrib;
  }
  const MCHAR* ClassName() override { return GetString(IDS_ATTRIB_CLASS_NAME); }
  SClass_ID SuperClassID() override { return CUST_ATTRIB_CLASS_ID; }
  Class_ID ClassID() override { return MATERIAL_ATTRIB_CLASS_ID; }
  const MCHAR* Category() override { return GetString(IDS_CATEGORY); }
  const MCHAR* InternalName() override { return u"MaterialAttrib"; }
  HINSTANCE HInstance() override { return hInstance; }
};

class MaterialToolClassDesc : public ClassDesc2 {
 public:
  int IsPublic() override { return 1; }
  // The one global tool, whatever is asked.
  void* Create(BOOL) override {
    UtilityObj* tool = &theMaterialTool();
    return tool;
  }
  const MCHAR* ClassName() override { return GetString(IDS_TOOL_CLASS_NAME); }
  SClass_ID SuperClassID() override { return UTILITY_CLASS_ID; }
  Class_ID ClassID() override { return MATERIAL_TOOL_CLASS_ID; }
  const MCHAR* Category() override { return GetString(IDS_CATEGORY); }
  const MCHAR* InternalName() override { return u"MaterialTool"; }
  HINSTANCE HInstance() override { return hInstance; }
};

MaterialAttribClassDesc materialAttribClassDesc;
MaterialToolClassDesc materialToolClassDesc;

}  // namespace

BOOL LibMain(HINSTANCE instance, ULONG, void*) {
  hInstance = instance;
  if (!controlsInit) controlsInit = 1;
  return TRUE;
}

int enterPluginLibrary(unsigned long reason, void* reserved) {
  return LibMain(&QKMaterialToolModule, ULONG(reason), reserved);
}

const MCHAR* LibDescription() { return GetString(IDS_LIBDESCRIPTION); }

int LibNumberClasses() { return 2; }

ClassDesc* LibClassDesc(int index) {
  switch (index) {
    case 0: return &materialToolClassDesc;
    case 1: return &materialAttribClassDesc;
    default: return nullptr;
  }
}

ULONG LibVersion() { return PLUGIN_SDK_VERSION; }

void LibInit() {}

PluginExports pluginExports() {
  return {&QKMaterialToolModule, LibMain,    LibDescription, LibNumberClasses,
          LibClassDesc,          LibVersion, LibInit};
}

const MCHAR* GetString(UINT id) {
  if (!hInstance) return nullptr;
  return LoadStringW(hInstance, id, stringBuffer, sizeof stringBuffer / sizeof stringBuffer[0]) ? stringBuffer
                                                                                                : nullptr;
}

ClassDesc2* GetMaterialToolClassDesc() { return &materialToolClassDesc; }

ClassDesc2* GetMaterialAttribClassDesc() { return &materialAttribClassDesc; }
