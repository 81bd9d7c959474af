// How a plug-in library presents its classes to the host: a class descriptor per class, the
// library's exported functions, and the host's directory of the classes it has loaded.
//
// Create answers a pointer to the base of the class's super class, as void*: a CustAttrib* for a
// custom attribute, a UtilityObj* for a utility. Descriptors are static objects of the library and
// outlive every use. Main thread only.
#pragma once

#include <vector>

#include "HostTypes.h"
#include "Module.h"

class ReferenceMaker;

class ClassDesc {
 public:
  virtual ~ClassDesc() = default;
  virtual int IsPublic() = 0;
  // A new object of the class (or the one object of a class that has only one); `loading` is TRUE
  // when the host makes it to read it from a scene file.
  virtual void* Create(BOOL loading = FALSE) = 0;
  virtual const MCHAR* ClassName() = 0;
  virtual SClass_ID SuperClassID() = 0;
  virtual Class_ID ClassID() = 0;
  virtual const MCHAR* Category() = 0;
  virtual const MCHAR* InternalName() { return nullptr; }
  virtual HINSTANCE HInstance() { return nullptr; }
};

// The descriptor of a class whose parameters the host keeps in blocks.
class ClassDesc2 : public ClassDesc {
 public:
  // Makes the parameter blocks the class describes for `owner`. The stand-in describes none, so
  // this makes nothing.
  void MakeAutoParamBlocks(ReferenceMaker*) {}
};

// The reason of a library entry call.
constexpr ULONG DLL_PROCESS_DETACH = 0;
constexpr ULONG DLL_PROCESS_ATTACH = 1;

// The exports of a plug-in library. The stand-in links its plug-in, so "loading" it means calling
// these; `module` is the library's own handle, which the host hands to its entry.
struct PluginExports {
  HINSTANCE module;
  BOOL (*DllMain)(HINSTANCE instance, ULONG reason, void* reserved);
  const MCHAR* (*LibDescription)();
  int (*LibNumberClasses)();
  ClassDesc* (*LibClassDesc)(int index);
  ULONG (*LibVersion)();
  void (*LibInit)();
};

// The classes the host knows, from the libraries it has loaded.
class ClassDirectory {
 public:
  // Calls the library's entry and exports as the host does when it loads a library, and keeps its
  // class descriptors.
  void loadLibrary(const PluginExports& library);
  // The descriptor of a class, or null.
  ClassDesc* find(SClass_ID superClass, const Class_ID& id) const;
  const std::vector<ClassDesc*>& classes() const { return classes_; }

 private:
  std::vector<ClassDesc*> classes_;
};
