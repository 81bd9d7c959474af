// The host's object model, as far as the plug-in uses it: animatables with their containers of
// custom attributes, references, and the custom attribute itself.
//
// Ownership in the stand-in: whoever makes a host object owns it (a scene, a test); a container
// belongs to its animatable, and the container owns the attributes appended to it, deleting an
// attribute when it is removed. Main thread only.
#pragma once

#include <memory>
#include <vector>

#include "HostTypes.h"
#include "Window.h"

class ICustAttribContainer;
class CustAttrib;
class ISave;
class ILoad;
class ParamDlg;
class IMtlParams;
class ReferenceTarget;
using RefTargetHandle = ReferenceTarget*;

// The map of originals to copies that a clone is made with. The stand-in's objects hold no
// references that would need remapping, so it carries nothing.
class RemapDir {};

class Animatable {
 public:
  Animatable();
  virtual ~Animatable();
  Animatable(const Animatable&) = delete;
  Animatable& operator=(const Animatable&) = delete;

  virtual Class_ID ClassID() { return Class_ID(0, 0); }
  virtual SClass_ID SuperClassID() { return 0; }
  virtual int NumSubs() { return 0; }
  virtual MSTR SubAnimName(int) { return MSTR(); }

  // The container of custom attributes, or null before one is allocated.
  ICustAttribContainer* GetCustAttribContainer();
  void AllocCustAttribContainer();

 private:
  std::unique_ptr<ICustAttribContainer> container_;
};

class ReferenceMaker : public Animatable {
 public:
  virtual int NumRefs() { return 0; }
  virtual RefTargetHandle GetReference(int) { return nullptr; }
  virtual void SetReference(int, RefTargetHandle) {}
  virtual RefResult NotifyRefChanged() { return REF_SUCCEED; }
  // The object's part of a scene file, written and read as chunks (ChunkIO.h).
  virtual IOResult Save(ISave*) { return IO_OK; }
  virtual IOResult Load(ILoad*) { return IO_OK; }
};

class ReferenceTarget : public ReferenceMaker {
 public:
  // A copy of the object, owned by the caller; null when the class can't be copied.
  virtual RefTargetHandle Clone(RemapDir&) { return nullptr; }
  // The host's part of a clone. The stand-in's objects have nothing of the host's to copy.
  virtual void BaseClone(ReferenceTarget* from, ReferenceTarget* to, RemapDir& remap);
  // Tells the dependents of a change. The stand-in has no dependents to tell.
  RefResult NotifyDependents() { return REF_SUCCEED; }
};

// A custom attribute: extra data and a rollup that ride on an animatable.
class CustAttrib : public ReferenceTarget {
 public:
  virtual const MCHAR* GetName() { return u""; }
  // The rollup of the attribute in the material editor; the attribute keeps the dialog.
  virtual ParamDlg* CreateParamDlg(HWND, IMtlParams*) { return nullptr; }
  virtual bool CheckCopyAttribTo(ICustAttribContainer*) { return true; }
};

// The custom attributes of one animatable, in order. The container owns them.
class ICustAttribContainer {
 public:
  explicit ICustAttribContainer(Animatable* owner) : owner_(owner) {}
  int GetNumCustAttribs() const { return static_cast<int>(attribs_.size()); }
  // The attribute at `index`, or null when there is none.
  CustAttrib* GetCustAttrib(int index) const;
  // Takes ownership of `attrib` and puts it last.
  void AppendCustAttrib(CustAttrib* attrib);
  // Deletes the attribute at `index`; an index out of range does nothing.
  void RemoveCustAttrib(int index);
  Animatable* GetOwner() const { return owner_; }

 private:
  Animatable* owner_;
  std::vector<std::unique_ptr<CustAttrib>> attribs_;
};
