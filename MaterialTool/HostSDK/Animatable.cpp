#include "Animatable.h"

Animatable::Animatable() = default;

Animatable::~Animatable() = default;

ICustAttribContainer* Animatable::GetCustAttribContainer() { return container_.get(); }

void Animatable::AllocCustAttribContainer() {
  if (!container_) container_ = std::make_unique<ICustAttribContainer>(this);
}

void ReferenceTarget::BaseClone(ReferenceTarget*, ReferenceTarget*, RemapDir&) {}

CustAttrib* ICustAttribContainer::GetCustAttrib(int index) const {
  if (index < 0 || index >= GetNumCustAttribs()) return nullptr;
  return attribs_[static_cast<size_t>(index)].get();
}

void ICustAttribContainer::AppendCustAttrib(CustAttrib* attrib) {
  if (attrib) attribs_.emplace_back(attrib);
}

void ICustAttribContainer::RemoveCustAttrib(int index) {
  if (index < 0 || index >= GetNumCustAttribs()) return;
  attribs_.erase(attribs_.begin() + index);
}
