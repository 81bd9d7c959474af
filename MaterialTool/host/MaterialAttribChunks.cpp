#include "MaterialAttribChunks.h"

#include "MaterialsList.h"

namespace {

void writeChunk(ISave* isave, USHORT id, const void* body, ULONG size) {
  ULONG written = 0;
  isave->BeginChunk(id);
  isave->Write(body, size, &written);
  isave->EndChunk();
}

void writeString(ISave* isave, USHORT id, const char* text) {
  isave->BeginChunk(id);
  isave->WriteWString(text);
  isave->EndChunk();
}

bool readString(ILoad* iload, std::string& out) {
  MCHAR* text = nullptr;
  if (iload->ReadWStringChunk(text) != IO_OK) return false;
  out = qk_to_utf8(text);
  return true;
}

template <size_t N>
bool readBytes(ILoad* iload, uint8_t (&bytes)[N]) {
  ULONG read = 0;
  return iload->Read(bytes, N, &read) == IO_OK;
}

}  // namespace

IOResult saveMaterialAttribChunks(ISave* isave, const IMaterialDesc& desc) {
  const int32_t version = MATERIAL_ATTRIB_VERSION;
  writeChunk(isave, MATERIAL_VERSION_CHUNK, &version, sizeof version);
  writeString(isave, MATERIAL_NAME_CHUNK, canonicalMaterialName(desc.getName()).c_str());
  writeString(isave, MATERIAL_USER_UNIFORMS_CHUNK, desc.getUserUniforms());
  const uint8_t opacity = static_cast<uint8_t>(desc.getOpacity() & 0xFF);
  writeChunk(isave, MATERIAL_OPACITY_CHUNK, &opacity, 1);
  const uint8_t depthBias = desc.getDepthBias() ? 1 : 0;
  writeChunk(isave, MATERIAL_DEPTH_BIAS_CHUNK, &depthBias, 1);
  const uint8_t shadow[3] = {static_cast<uint8_t>(desc.getShadowCaster() ? 1 : 0), 0,
                             static_cast<uint8_t>(desc.getOnlyShadowCaster() ? 1 : 0)};
  writeChunk(isave, MATERIAL_SHADOW_CHUNK, shadow, 3);
  const uint8_t decal = desc.getDecal();
  writeChunk(isave, MATERIAL_DECAL_CHUNK, &decal, 1);
  return IO_OK;
}

IOResult loadMaterialAttribChunks(ILoad* iload, IMaterialAttribChunkSink& sink) {
  int32_t version = 0;  // decides only about the chunks of version 3
  while (iload->OpenChunk() == IO_OK) {
    IOResult versionRead = IO_OK;
    std::string text;
    uint8_t byte[1] = {0};
    switch (iload->CurChunkID()) {
      case MATERIAL_VERSION_CHUNK: {
        ULONG read = 0;
        versionRead = iload->Read(&version, sizeof version, &read);
        if (versionRead == IO_OK) sink.version(version);
        break;
      }
      case MATERIAL_NAME_CHUNK:
        if (readString(iload, text)) sink.name(text);
        break;
      case MATERIAL_USER_UNIFORMS_CHUNK:
        if (readString(iload, text)) sink.userUniforms(text);
        break;
      case MATERIAL_V3_STRING_CHUNK:
        if (version == 3) readString(iload, text);
        break;
      case MATERIAL_V3_BYTES_CHUNK:
        if (version == 3) {
          uint8_t dropped[27];
          readBytes(iload, dropped);
        }
        break;
      case MATERIAL_OPACITY_CHUNK:
        if (readBytes(iload, byte)) sink.opacity(byte[0]);
        break;
      case MATERIAL_DEPTH_BIAS_CHUNK:
        if (readBytes(iload, byte)) sink.depthBias(byte[0] != 0);
        break;
      case MATERIAL_SHADOW_CHUNK: {
        uint8_t shadow[3] = {0, 0, 0};
        if (readBytes(iload, shadow)) sink.shadow(shadow[0] != 0, shadow[2] != 0);
        break;
      }
      case MATERIAL_DECAL_CHUNK:
        if (readBytes(iload, byte)) sink.decal(byte[0]);
        break;
      default: break;
    }
    iload->CloseChunk();
    if (versionRead != IO_OK) return versionRead;
  }
  return IO_OK;
}
