// What `qkmt scene` prints of a scene file: each object with its name, kind, sub-objects and map
// slots, and for each attribute of the material plug-in the values its chunks hold, read directly
// from the chunks without the catalogue; or the raw chunk tree.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "ChunkFile.h"
#include "SceneFile.h"

// The saved values of one attribute, each present when its chunk was there.
struct SavedMaterialAttrib {
  std::optional<int32_t> version;
  std::optional<std::string> name;
  std::optional<std::string> userUniforms;
  std::optional<uint8_t> opacity;
  std::optional<bool> depthBias;
  std::optional<bool> shadowCaster;
  std::optional<bool> onlyShadowCaster;
  std::optional<uint8_t> decal;
};

// The values in the data chunk `data` of `file`, as the attribute's Load would read them. Throws
// SceneError when a chunk is too short for what it holds or a string is broken.
SavedMaterialAttrib readSavedMaterialAttrib(const ChunkFile& file, int data);

// The scene as text, one block per object; `name` is the file's name for the heading.
std::string sceneText(const std::string& name, const ChunkFile& file, const SceneRecord& record);
// The scene as one JSON document, `name` as its "file".
std::string sceneJson(const std::string& name, const ChunkFile& file, const SceneRecord& record);
// The document of a file that can't be shown: {"file":..., "error":...}.
std::string sceneErrorJson(const std::string& name, const std::string& error);
// The chunk tree, chunk by chunk as it is checked, with ids, offsets, lengths and data bodies in
// hexadecimal, appended to `out`. Every intact chunk before a break is shown: a container whose
// length runs past the end of its parent (a cut file) is shown with what is there and walked; the
// walk ends at the first chunk that isn't intact. Answers the first break in the words of the
// chunk file's own check (ChunkFile.h), empty for an intact tree.
std::string chunkTree(std::string_view bytes, std::string& out);
