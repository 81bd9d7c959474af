// The working copy of a description that an attribute on a material holds: a MaterialDesc with the
// artist's part added, the user uniforms and an opacity that can change. It has no link to the
// catalogue record it was copied from; the name alone ties them together.
#pragma once

#include <string>

#include "MaterialDesc.h"

class MaterialDescExt : public MaterialDesc {
 public:
  MaterialDescExt() = default;
  MaterialDescExt(const MaterialDescExt&) = default;
  MaterialDescExt& operator=(const MaterialDescExt&) = default;
  ~MaterialDescExt() override = default;

  // Takes every field of a catalogue record; the user uniforms keep their value.
  MaterialDescExt& operator=(const MaterialDesc& record) {
    MaterialDesc::operator=(record);
    return *this;
  }

  void setUserUniforms(const char* text) override { userUniforms = text ? text : ""; }
  const char* getUserUniforms() const override { return userUniforms.c_str(); }
  void setOpacity(int32_t value) override { opacity = value; }

  std::string userUniforms;  // as the artist typed it, in the form of the default uniforms
};
