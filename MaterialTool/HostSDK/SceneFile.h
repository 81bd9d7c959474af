// The host's scene file: the scene's materials and maps with their names, kinds, sub-material
// slots, sub-maps and map slots, and the custom attributes of each, every attribute as the chunks
// its own Save writes. docs/scene-format.md is the description of the format.
//
// Writing walks the scene's list and saves each object reached once, an object after everything it
// refers to, so that references point backwards only. Reading checks the whole structure first
// (readSceneRecord) and refuses a broken file with SceneError (or ChunkFormatError for the chunk
// structure itself) naming what is wrong and where; nothing is made from a file that fails. Loading
// then makes the objects, and each attribute through its class's descriptor and its Load.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "ChunkFile.h"
#include "ClassDesc.h"
#include "Mtl.h"

// Chunk ids of the scene file.
constexpr USHORT SCENE_CHUNK = 0x2000;
constexpr USHORT SCENE_FORMAT_CHUNK = 0x2001;
constexpr USHORT OBJECT_CHUNK = 0x2010;
constexpr USHORT OBJECT_KIND_CHUNK = 0x2011;
constexpr USHORT OBJECT_NAME_CHUNK = 0x2012;
constexpr USHORT OBJECT_SUBS_CHUNK = 0x2013;
constexpr USHORT MAP_SLOT_CHUNK = 0x2014;
constexpr USHORT SLOT_NAME_CHUNK = 0x2015;
constexpr USHORT SLOT_ON_CHUNK = 0x2016;
constexpr USHORT SLOT_MAP_CHUNK = 0x2017;
constexpr USHORT ATTRIB_CHUNK = 0x2020;
constexpr USHORT ATTRIB_CLASS_CHUNK = 0x2021;
constexpr USHORT ATTRIB_DATA_CHUNK = 0x2022;
constexpr USHORT SCENE_MTLS_CHUNK = 0x2030;

constexpr uint32_t SCENE_FORMAT = 1;
// An empty slot, sub-map or scene entry.
constexpr uint32_t NO_OBJECT = 0xFFFFFFFFu;

enum class SceneObjectType : uint32_t { StandardMaterial = 0, MultiMaterial = 1, Map = 2 };

class SceneError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct SceneSlotRecord {
  MSTR name;
  bool on = true;
  uint32_t map = NO_OBJECT;
};

struct SceneAttribRecord {
  Class_ID classId;
  SClass_ID superClass = 0;
  int data = -1;  // the node of its data chunk in the file
};

struct SceneObjectRecord {
  SceneObjectType type = SceneObjectType::StandardMaterial;
  MSTR name;
  std::vector<uint32_t> subs;  // sub-materials of a multi-material, sub-maps of a map
  std::vector<SceneSlotRecord> slots;
  std::vector<SceneAttribRecord> attribs;
};

// A scene file as read and checked, before anything is made from it.
struct SceneRecord {
  std::vector<SceneObjectRecord> objects;
  std::vector<uint32_t> scene;
};

const char* sceneObjectTypeName(SceneObjectType type);

// The bytes of the scene file of `scene`; throws SceneError when an object can't be saved.
std::string writeScene(const std::vector<MtlBase*>& scene);

// Reads and checks the structure; throws SceneError.
SceneRecord readSceneRecord(const ChunkFile& file);

struct LoadedScene {
  std::vector<std::unique_ptr<MtlBase>> objects;  // in file order
  std::vector<MtlBase*> scene;
};

// Makes the objects of a checked scene file; each attribute is made by its class's descriptor in
// `classes` and read by its Load. Throws SceneError for an attribute whose class isn't there, whose
// Load fails, or whose chunks are read wrongly.
LoadedScene loadScene(const ChunkFile& file, const SceneRecord& record, const ClassDirectory& classes);
