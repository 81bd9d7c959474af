#include "SceneFile.h"

#include <unordered_map>

#include "ChunkReader.h"
#include "ChunkWriter.h"
#include "qk_format.h"

namespace {

// ---- writing -----------------------------------------------------------------------------------

void putU32(std::string& out, uint32_t value) {
  for (int i = 0; i < 4; ++i) out.push_back(static_cast<char>((value >> (8 * i)) & 0xFF));
}

class SceneWriter {
 public:
  void add(MtlBase* object);
  uint32_t indexOf(MtlBase* object) const { return object ? index_.at(object) : NO_OBJECT; }
  void writeObjects();
  ChunkWriter& out() { return out_; }

 private:
  void chunk(USHORT id, const std::string& body);
  void writeObject(MtlBase* object);
  void writeAttribs(MtlBase* object);

  std::vector<MtlBase*> order_;
  std::unordered_map<MtlBase*, uint32_t> index_;
  ChunkWriter out_;
};

// Everything an object refers to comes before it.
void SceneWriter::add(MtlBase* object) {
  if (!object || index_.count(object)) return;
  index_[object] = NO_OBJECT;  // being added: a reference back to it can't form a cycle here
  if (auto* multi = dynamic_cast<MultiMaterial*>(object)) {
    for (Mtl* sub : multi->subMaterials()) add(sub);
  } else if (auto* map = dynamic_cast<MapTexture*>(object)) {
    for (Texmap* sub : map->subMaps()) add(sub);
  } else if (auto* standard = dynamic_cast<StandardMaterial*>(object)) {
    for (const MapSlot& slot : standard->slots()) add(slot.map);
  } else {
    throw SceneError("a scene object of a class the scene file can't hold");
  }
  index_[object] = static_cast<uint32_t>(order_.size());
  order_.push_back(object);
}

void SceneWriter::chunk(USHORT id, const std::string& body) {
  out_.BeginChunk(id);
  ULONG written = 0;
  out_.Write(body.data(), static_cast<ULONG>(body.size()), &written);
  out_.EndChunk();
}

void SceneWriter::writeObjects() {
  for (MtlBase* object : order_) writeObject(object);
}

void SceneWriter::writeObject(MtlBase* object) {
  out_.BeginChunk(OBJECT_CHUNK);
  std::string body;
  std::string subs;
  SceneObjectType type = SceneObjectType::StandardMaterial;
  if (auto* multi = dynamic_cast<MultiMaterial*>(object)) {
    type = SceneObjectType::MultiMaterial;
    for (Mtl* sub : multi->subMaterials()) putU32(subs, indexOf(sub));
  } else if (auto* map = dynamic_cast<MapTexture*>(object)) {
    type = SceneObjectType::Map;
    for (Texmap* sub : map->subMaps()) putU32(subs, indexOf(sub));
  }
  putU32(body, static_cast<uint32_t>(type));
  chunk(OBJECT_KIND_CHUNK, body);
  out_.BeginChunk(OBJECT_NAME_CHUNK);
  out_.WriteWString(object->GetName().c_str());
  out_.EndChunk();
  if (type != SceneObjectType::StandardMaterial) chunk(OBJECT_SUBS_CHUNK, subs);
  if (auto* standard = dynamic_cast<StandardMaterial*>(object)) {
    for (const MapSlot& slot : standard->slots()) {
      out_.BeginChunk(MAP_SLOT_CHUNK);
      out_.BeginChunk(SLOT_NAME_CHUNK);
      out_.WriteWString(slot.name.c_str());
      out_.EndChunk();
      chunk(SLOT_ON_CHUNK, std::string(1, slot.on ? '\1' : '\0'));
      std::string map;
      putU32(map, indexOf(slot.map));
      chunk(SLOT_MAP_CHUNK, map);
      out_.EndChunk();
    }
  }
  writeAttribs(object);
  out_.EndChunk();
}

void SceneWriter::writeAttribs(MtlBase* object) {
  ICustAttribContainer* container = object->GetCustAttribContainer();
  for (int i = 0; container && i < container->GetNumCustAttribs(); ++i) {
    CustAttrib* attrib = container->GetCustAttrib(i);
    if (!attrib) continue;
    out_.BeginChunk(ATTRIB_CHUNK);
    std::string identity;
    putU32(identity, attrib->ClassID().PartA());
    putU32(identity, attrib->ClassID().PartB());
    putU32(identity, attrib->SuperClassID());
    chunk(ATTRIB_CLASS_CHUNK, identity);
    out_.BeginChunk(ATTRIB_DATA_CHUNK);
    attrib->Save(&out_);
    out_.EndChunk();
    out_.EndChunk();
  }
}

// ---- reading -----------------------------------------------------------------------------------

class RecordReader {
 public:
  explicit RecordReader(const ChunkFile& file) : file_(file) {}
  SceneRecord read();

 private:
  const ChunkNode& node(int index) const { return file_.nodes()[static_cast<size_t>(index)]; }
  [[noreturn]] void fail(const ChunkNode& at, const std::string& what) const {
    throw SceneError(qk_format("chunk 0x%04X at offset %zu: %s", at.id, at.offset, what.c_str()));
  }
  std::string_view sized(const ChunkNode& at, size_t size) const;
  uint32_t u32(const ChunkNode& at) const { return u32At(sized(at, 4), 0); }
  std::vector<uint32_t> indexes(const ChunkNode& at) const;
  SceneObjectRecord object(int index, uint32_t position);
  SceneSlotRecord slot(int index);
  SceneAttribRecord attrib(int index);
  void checkReferences(const SceneRecord& record) const;

  const ChunkFile& file_;
  std::vector<int> objectNodes_;
};

std::string_view RecordReader::sized(const ChunkNode& at, size_t size) const {
  if (at.bodySize() != size) fail(at, qk_format("a body of %zu bytes, %zu expected", at.bodySize(), size));
  return file_.body(at);
}

std::vector<uint32_t> RecordReader::indexes(const ChunkNode& at) const {
  if (at.bodySize() % 4 != 0) fail(at, qk_format("a list of indexes %zu bytes long", at.bodySize()));
  std::vector<uint32_t> list;
  const std::string_view body = file_.body(at);
  for (size_t i = 0; i < body.size(); i += 4) list.push_back(u32At(body, i));
  return list;
}

SceneRecord RecordReader::read() {
  const int root = file_.first();
  if (root < 0) throw SceneError("an empty file, not a scene");
  const ChunkNode& scene = node(root);
  if (scene.id != SCENE_CHUNK || !scene.container)
    throw SceneError(qk_format("not a scene file: it begins with chunk 0x%04X", scene.id));
  if (scene.nextSibling >= 0) fail(node(scene.nextSibling), "a chunk after the scene");
  SceneRecord record;
  bool haveFormat = false;
  for (int child = scene.firstChild; child >= 0; child = node(child).nextSibling) {
    const ChunkNode& at = node(child);
    if (at.id == SCENE_FORMAT_CHUNK) {
      if (u32(at) != SCENE_FORMAT) fail(at, qk_format("scene format %u, %u expected", u32(at), SCENE_FORMAT));
      haveFormat = true;
    } else if (at.id == OBJECT_CHUNK) {
      objectNodes_.push_back(child);
      record.objects.push_back(object(child, static_cast<uint32_t>(record.objects.size())));
    } else if (at.id == SCENE_MTLS_CHUNK) {
      record.scene = indexes(at);
    }
  }
  if (!haveFormat) fail(scene, "no format chunk");
  checkReferences(record);
  return record;
}

SceneObjectRecord RecordReader::object(int index, uint32_t position) {
  const ChunkNode& at = node(index);
  SceneObjectRecord object;
  bool haveKind = false, haveName = false, haveSubs = false;
  for (int child = at.firstChild; child >= 0; child = node(child).nextSibling) {
    const ChunkNode& c = node(child);
    switch (c.id) {
      case OBJECT_KIND_CHUNK: {
        const uint32_t type = u32(c);
        if (type > static_cast<uint32_t>(SceneObjectType::Map)) fail(c, qk_format("object kind %u", type));
        object.type = static_cast<SceneObjectType>(type);
        haveKind = true;
        break;
      }
      case OBJECT_NAME_CHUNK:
        object.name = file_.string(c);
        haveName = true;
        break;
      case OBJECT_SUBS_CHUNK:
        object.subs = indexes(c);
        haveSubs = true;
        break;
      case MAP_SLOT_CHUNK: object.slots.push_back(slot(child)); break;
      case ATTRIB_CHUNK: object.attribs.push_back(attrib(child)); break;
      default: break;
    }
  }
  if (!haveKind || !haveName)
    fail(at, qk_format("object %u without its %s", position, haveKind ? "name" : "kind"));
  const bool standard = object.type == SceneObjectType::StandardMaterial;
  if (standard && haveSubs) fail(at, qk_format("object %u: a standard material with sub-objects", position));
  if (!standard && !object.slots.empty())
    fail(at, qk_format("object %u: map slots on a %s", position, sceneObjectTypeName(object.type)));
  return object;
}

SceneSlotRecord RecordReader::slot(int index) {
  SceneSlotRecord slot;
  bool haveName = false;
  for (int child = node(index).firstChild; child >= 0; child = node(child).nextSibling) {
    const ChunkNode& c = node(child);
    if (c.id == SLOT_NAME_CHUNK)
      slot.name = file_.string(c), haveName = true;
    else if (c.id == SLOT_ON_CHUNK)
      slot.on = sized(c, 1)[0] != 0;
    else if (c.id == SLOT_MAP_CHUNK)
      slot.map = u32(c);
  }
  if (!haveName) fail(node(index), "a map slot without its name");
  return slot;
}

SceneAttribRecord RecordReader::attrib(int index) {
  SceneAttribRecord attrib;
  bool haveClass = false;
  for (int child = node(index).firstChild; child >= 0; child = node(child).nextSibling) {
    const ChunkNode& c = node(child);
    if (c.id == ATTRIB_CLASS_CHUNK) {
      const std::string_view body = sized(c, 12);
      attrib.classId = Class_ID(u32At(body, 0), u32At(body, 4));
      attrib.superClass = u32At(body, 8);
      haveClass = true;
    } else if (c.id == ATTRIB_DATA_CHUNK) {
      attrib.data = child;
    }
  }
  if (!haveClass || attrib.data < 0)
    fail(node(index), haveClass ? "an attribute without its data" : "an attribute without its class");
  return attrib;
}

// References point backwards, to an object of the right type; the scene's list may name any.
void RecordReader::checkReferences(const SceneRecord& record) const {
  auto isMaterial = [](SceneObjectType t) { return t != SceneObjectType::Map; };
  for (uint32_t i = 0; i < record.objects.size(); ++i) {
    const SceneObjectRecord& object = record.objects[i];
    const ChunkNode& at = node(objectNodes_[i]);
    auto check = [&](uint32_t ref, bool wantMaterial, const char* what) {
      if (ref == NO_OBJECT) return;
      if (ref >= i) fail(at, qk_format("object %u: %s %u isn't an object before it", i, what, ref));
      if (isMaterial(record.objects[ref].type) != wantMaterial)
        fail(at, qk_format("object %u: %s %u is a %s", i, what, ref,
                           sceneObjectTypeName(record.objects[ref].type)));
    };
    for (uint32_t sub : object.subs)
      check(sub, object.type == SceneObjectType::MultiMaterial,
            object.type == SceneObjectType::MultiMaterial ? "sub-material" : "sub-map");
    for (const SceneSlotRecord& slot : object.slots) check(slot.map, false, "slot map");
  }
  for (uint32_t entry : record.scene)
    if (entry != NO_OBJECT && entry >= record.objects.size())
      throw SceneError(qk_format("the scene's list names object %u of %zu", entry, record.objects.size()));
}

// ---- loading -----------------------------------------------------------------------------------

std::unique_ptr<MtlBase> makeObject(const SceneObjectRecord& record,
                                    const std::vector<std::unique_ptr<MtlBase>>& made) {
  auto at = [&](uint32_t index) { return index == NO_OBJECT ? nullptr : made[index].get(); };
  switch (record.type) {
    case SceneObjectType::MultiMaterial: {
      std::vector<Mtl*> subs;
      for (uint32_t sub : record.subs) subs.push_back(static_cast<Mtl*>(at(sub)));
      return std::make_unique<MultiMaterial>(record.name, std::move(subs));
    }
    case SceneObjectType::Map: {
      std::vector<Texmap*> subs;
      for (uint32_t sub : record.subs) subs.push_back(static_cast<Texmap*>(at(sub)));
      return std::make_unique<MapTexture>(record.name, std::move(subs));
    }
    case SceneObjectType::StandardMaterial:
    default: {
      std::vector<MapSlot> slots;
      for (const SceneSlotRecord& slot : record.slots)
        slots.push_back({slot.name, slot.on, static_cast<Texmap*>(at(slot.map))});
      return std::make_unique<StandardMaterial>(record.name, std::move(slots));
    }
  }
}

void loadAttrib(const ChunkFile& file, const SceneAttribRecord& record, const ClassDirectory& classes,
                MtlBase& owner, const std::string& objectName) {
  const Class_ID id = record.classId;
  ClassDesc* desc = classes.find(record.superClass, id);
  const std::string which =
      qk_format("%s: attribute of class (0x%08X, 0x%08X)", objectName.c_str(), id.PartA(), id.PartB());
  if (!desc || record.superClass != CUST_ATTRIB_CLASS_ID)
    throw SceneError(which + " that no loaded library offers");
  std::unique_ptr<CustAttrib> attrib(static_cast<CustAttrib*>(desc->Create(TRUE)));
  if (!attrib) throw SceneError(which + " couldn't be made");
  ChunkReader reader(file, record.data);
  const IOResult result = attrib->Load(&reader);
  if (reader.failed()) throw SceneError(which + ": " + reader.failure());
  if (result != IO_OK) throw SceneError(which + ": its Load failed");
  owner.AllocCustAttribContainer();
  owner.GetCustAttribContainer()->AppendCustAttrib(attrib.release());
}

}  // namespace

const char* sceneObjectTypeName(SceneObjectType type) {
  switch (type) {
    case SceneObjectType::StandardMaterial: return "material";
    case SceneObjectType::MultiMaterial: return "multi-material";
    case SceneObjectType::Map: return "map";
  }
  return "object";
}

std::string writeScene(const std::vector<MtlBase*>& scene) {
  SceneWriter writer;
  for (MtlBase* object : scene) writer.add(object);
  ChunkWriter& out = writer.out();
  out.BeginChunk(SCENE_CHUNK);
  std::string format;
  putU32(format, SCENE_FORMAT);
  out.BeginChunk(SCENE_FORMAT_CHUNK);
  ULONG written = 0;
  out.Write(format.data(), 4, &written);
  out.EndChunk();
  writer.writeObjects();
  std::string list;
  for (MtlBase* object : scene) putU32(list, writer.indexOf(object));
  out.BeginChunk(SCENE_MTLS_CHUNK);
  out.Write(list.data(), static_cast<ULONG>(list.size()), &written);
  out.EndChunk();
  out.EndChunk();
  if (!out.complete()) throw SceneError("the scene can't be written: " + out.failure());
  return out.bytes();
}

SceneRecord readSceneRecord(const ChunkFile& file) { return RecordReader(file).read(); }

LoadedScene loadScene(const ChunkFile& file, const SceneRecord& record, const ClassDirectory& classes) {
  LoadedScene loaded;
  for (const SceneObjectRecord& object : record.objects)
    loaded.objects.push_back(makeObject(object, loaded.objects));
  for (size_t i = 0; i < record.objects.size(); ++i) {
    const std::string name =
        qk_format("object %zu (\"%s\")", i, qk_to_utf8(record.objects[i].name.c_str()).c_str());
    for (const SceneAttribRecord& attrib : record.objects[i].attribs)
      loadAttrib(file, attrib, classes, *loaded.objects[i], name);
  }
  for (uint32_t entry : record.scene)
    loaded.scene.push_back(entry == NO_OBJECT ? nullptr : loaded.objects[entry].get());
  return loaded;
}
