// The attribute's part of a scene file: chunks directly under the chunk the host opened for it.
//
//   id      written  body
//   0x1000  always   i32 version, 5
//   0x1010  always   string: the material name, as canonicalMaterialName gives it
//   0x1020  always   string: the user uniforms
//   0x1030  never    string; read and dropped in version 3 only
//   0x1040  never    27 bytes; read and dropped in version 3 only
//   0x1050  always   1 byte: the low byte of the opacity
//   0x1060  always   1 byte: depth bias, 0 or 1
//   0x1070  always   3 bytes: shadow caster, a zero byte, shadow caster only
//   0x1080  always   1 byte: decal
//
// Chunks are written in this order and read in any order; an id between the listed ones, or any
// other id, is skipped. Bad input policy: the reader answers what the chunk stream answers. A read
// that fails leaves its field alone; only a failed read of the version ends the reading, with the
// read's result. The end of the chunks is the normal end.
#pragma once

#include <cstdint>
#include <string>

#include "ChunkIO.h"
#include "MaterialDesc.h"

constexpr USHORT MATERIAL_VERSION_CHUNK = 0x1000;
constexpr USHORT MATERIAL_NAME_CHUNK = 0x1010;
constexpr USHORT MATERIAL_USER_UNIFORMS_CHUNK = 0x1020;
constexpr USHORT MATERIAL_V3_STRING_CHUNK = 0x1030;
constexpr USHORT MATERIAL_V3_BYTES_CHUNK = 0x1040;
constexpr USHORT MATERIAL_OPACITY_CHUNK = 0x1050;
constexpr USHORT MATERIAL_DEPTH_BIAS_CHUNK = 0x1060;
constexpr USHORT MATERIAL_SHADOW_CHUNK = 0x1070;
constexpr USHORT MATERIAL_DECAL_CHUNK = 0x1080;

constexpr int32_t MATERIAL_ATTRIB_VERSION = 5;

// Writes the chunks of `desc`. Answers success without looking at the writes' results.
IOResult saveMaterialAttribChunks(ISave* isave, const IMaterialDesc& desc);

// What the reader tells, chunk by chunk in the order of the file. Texts are UTF-8; the name is as
// saved, before canonicalMaterialName.
class IMaterialAttribChunkSink {
 public:
  virtual ~IMaterialAttribChunkSink() = default;
  virtual void version(int32_t version) = 0;
  virtual void name(const std::string& name) = 0;
  virtual void userUniforms(const std::string& text) = 0;
  virtual void opacity(uint8_t value) = 0;
  virtual void depthBias(bool value) = 0;
  virtual void shadow(bool caster, bool onlyCaster) = 0;
  virtual void decal(uint8_t value) = 0;
};

// Reads the chunks of the current level and tells `sink` what they hold.
IOResult loadMaterialAttribChunks(ILoad* iload, IMaterialAttribChunkSink& sink);
