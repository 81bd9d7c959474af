#include "ScenePrint.h"

#include <algorithm>

#include "ChunkReader.h"
#include "JsonWriter.h"
#include "MaterialAttrib.h"
#include "MaterialAttribChunks.h"
#include "TextEscape.h"
#include "qk_format.h"

namespace {

class Recorder : public IMaterialAttribChunkSink {
 public:
  explicit Recorder(SavedMaterialAttrib& saved) : saved_(saved) {}
  void version(int32_t value) override { saved_.version = value; }
  void name(const std::string& text) override { saved_.name = text; }
  void userUniforms(const std::string& text) override { saved_.userUniforms = text; }
  void opacity(uint8_t value) override { saved_.opacity = value; }
  void depthBias(bool value) override { saved_.depthBias = value; }
  void shadow(bool caster, bool onlyCaster) override {
    saved_.shadowCaster = caster;
    saved_.onlyShadowCaster = onlyCaster;
  }
  void decal(uint8_t value) override { saved_.decal = value; }

 private:
  SavedMaterialAttrib& saved_;
};

bool isMaterialAttrib(const SceneAttribRecord& attrib) {
  return attrib.classId == MATERIAL_ATTRIB_CLASS_ID && attrib.superClass == CUST_ATTRIB_CLASS_ID;
}

std::string utf8(const MSTR& text) { return qk_to_utf8(text.c_str()); }

std::string reference(uint32_t index) { return index == NO_OBJECT ? "none" : qk_format("object %u", index); }

std::string references(const std::vector<uint32_t>& list) {
  std::string out;
  for (uint32_t index : list) out += (out.empty() ? "" : ", ") + reference(index);
  return out.empty() ? "none" : out;
}

const char* yesNo(bool value) { return value ? "yes" : "no"; }

void savedText(const SavedMaterialAttrib& saved, std::string& out) {
  if (saved.version) out += qk_format("    version             %d\n", *saved.version);
  if (saved.name) out += "    name                " + quotedText(*saved.name) + "\n";
  if (saved.userUniforms) out += "    user uniforms       " + quotedText(*saved.userUniforms) + "\n";
  if (saved.opacity) out += qk_format("    opacity             %u\n", *saved.opacity);
  if (saved.depthBias) out += qk_format("    depth bias          %s\n", yesNo(*saved.depthBias));
  if (saved.shadowCaster) out += qk_format("    shadow caster       %s\n", yesNo(*saved.shadowCaster));
  if (saved.onlyShadowCaster)
    out += qk_format("    shadow caster only  %s\n", yesNo(*saved.onlyShadowCaster));
  if (saved.decal) out += qk_format("    decal               %u\n", *saved.decal);
}

// ---- JSON --------------------------------------------------------------------------------------

// The scene's object indexes: null for "no object".
JsonWriter& objectIndex(JsonWriter& json, uint32_t value) {
  return value == NO_OBJECT ? json.null() : json.integer(value);
}

JsonWriter& objectIndexes(JsonWriter& json, const std::vector<uint32_t>& list) {
  json.beginArray();
  for (uint32_t value : list) objectIndex(json, value);
  return json.endArray();
}

void savedJson(JsonWriter& json, const SavedMaterialAttrib& saved) {
  json.beginMap();
  if (saved.version) json.key("version").integer(*saved.version);
  if (saved.name) json.key("name").string(*saved.name);
  if (saved.userUniforms) json.key("user_uniforms").string(*saved.userUniforms);
  if (saved.opacity) json.key("opacity").integer(*saved.opacity);
  if (saved.depthBias) json.key("depth_bias").boolean(*saved.depthBias);
  if (saved.shadowCaster) json.key("shadow_caster").boolean(*saved.shadowCaster);
  if (saved.onlyShadowCaster) json.key("only_shadow_caster").boolean(*saved.onlyShadowCaster);
  if (saved.decal) json.key("decal").integer(*saved.decal);
  json.endMap();
}

void attribJson(JsonWriter& json, const ChunkFile& file, const SceneAttribRecord& attrib) {
  json.beginMap();
  json.key("class_id").beginArray();
  json.integer(attrib.classId.PartA()).integer(attrib.classId.PartB());
  json.endArray();
  json.key("super_class").integer(attrib.superClass);
  if (isMaterialAttrib(attrib)) {
    json.key("material");
    savedJson(json, readSavedMaterialAttrib(file, attrib.data));
  } else {
    json.key("data_size")
        .integer(static_cast<long long>(file.nodes()[static_cast<size_t>(attrib.data)].bodySize()));
  }
  json.endMap();
}

void objectJson(JsonWriter& json, const ChunkFile& file, const SceneObjectRecord& object, size_t index) {
  json.beginMap();
  json.key("index").integer(static_cast<long long>(index));
  json.key("kind").string(sceneObjectTypeName(object.type));
  json.key("name").string(utf8(object.name));
  if (object.type == SceneObjectType::MultiMaterial) objectIndexes(json.key("sub_materials"), object.subs);
  if (object.type == SceneObjectType::Map) objectIndexes(json.key("sub_maps"), object.subs);
  if (object.type == SceneObjectType::StandardMaterial) {
    json.key("map_slots").beginArray();
    for (const SceneSlotRecord& slot : object.slots) {
      json.beginMap();
      objectIndex(json.key("name").string(utf8(slot.name)).key("on").boolean(slot.on).key("map"), slot.map);
      json.endMap();
    }
    json.endArray();
  }
  json.key("attributes").beginArray();
  for (const SceneAttribRecord& attrib : object.attribs) attribJson(json, file, attrib);
  json.endArray();
  json.endMap();
}

std::string hexLines(std::string_view body, const std::string& indent) {
  std::string out;
  for (size_t i = 0; i < body.size(); i += 16) {
    out += indent;
    for (size_t j = i; j < body.size() && j < i + 16; ++j)
      out += qk_format(j == i ? "%02X" : " %02X", static_cast<unsigned char>(body[j]));
    out += "\n";
  }
  return out;
}

}  // namespace

SavedMaterialAttrib readSavedMaterialAttrib(const ChunkFile& file, int data) {
  SavedMaterialAttrib saved;
  Recorder recorder(saved);
  ChunkReader reader(file, data);
  loadMaterialAttribChunks(&reader, recorder);
  if (reader.failed()) throw SceneError(reader.failure());
  return saved;
}

std::string sceneText(const std::string& name, const ChunkFile& file, const SceneRecord& record) {
  std::string out = qk_format("%s: %zu objects, %zu in the scene's list\n", name.c_str(),
                              record.objects.size(), record.scene.size());
  for (size_t i = 0; i < record.objects.size(); ++i) {
    const SceneObjectRecord& object = record.objects[i];
    out += qk_format("object %zu  %s ", i, sceneObjectTypeName(object.type)) + quotedText(utf8(object.name)) +
           "\n";
    if (object.type == SceneObjectType::MultiMaterial)
      out += "  sub-materials: " + references(object.subs) + "\n";
    if (object.type == SceneObjectType::Map) out += "  sub-maps: " + references(object.subs) + "\n";
    for (const SceneSlotRecord& slot : object.slots)
      out += "  slot " + quotedText(utf8(slot.name)) + (slot.on ? " on: " : " off: ") + reference(slot.map) +
             "\n";
    for (const SceneAttribRecord& attrib : object.attribs) {
      if (!isMaterialAttrib(attrib)) {
        out += qk_format("  attribute of class (0x%08X, 0x%08X), super class 0x%X: %zu bytes\n",
                         attrib.classId.PartA(), attrib.classId.PartB(), attrib.superClass,
                         file.nodes()[static_cast<size_t>(attrib.data)].bodySize());
        continue;
      }
      out += "  attribute MaterialAttrib\n";
      try {
        savedText(readSavedMaterialAttrib(file, attrib.data), out);
      } catch (const SceneError& error) {
        throw SceneError(qk_format("object %zu (%s): ", i, quotedText(utf8(object.name)).c_str()) +
                         error.what());
      }
    }
  }
  return out + "scene: " + references(record.scene) + "\n";
}

std::string sceneJson(const std::string& name, const ChunkFile& file, const SceneRecord& record) {
  JsonWriter json;
  json.beginMap();
  json.text("file", name);
  json.key("objects").beginArray();
  for (size_t i = 0; i < record.objects.size(); ++i) {
    try {
      objectJson(json, file, record.objects[i], i);
    } catch (const SceneError& error) {
      throw SceneError(qk_format("object %zu (%s): ", i, quotedText(utf8(record.objects[i].name)).c_str()) +
                       error.what());
    }
  }
  json.endArray();
  objectIndexes(json.key("scene"), record.scene);
  json.endMap();
  return json.document();
}

std::string sceneErrorJson(const std::string& name, const std::string& error) {
  JsonWriter json;
  json.beginMap();
  json.text("file", name);
  json.text("error", error);
  json.endMap();
  return json.document();
}

std::string chunkTree(std::string_view bytes, std::string& out) {
  struct Level {
    size_t end;
    std::string where;
  };
  std::vector<Level> levels{{bytes.size(), "the file"}};
  std::string firstBreak;
  const auto stop = [&](std::string text) { return firstBreak.empty() ? text : firstBreak; };
  for (size_t at = 0;;) {
    while (levels.size() > 1 && at == levels.back().end) levels.pop_back();
    if (at == levels.back().end) return firstBreak;
    const size_t left = levels.back().end - at;
    const int depth = static_cast<int>(levels.size()) - 1;
    const std::string indent(static_cast<size_t>(depth) * 2, ' ');
    if (left < CHUNK_HEADER_SIZE)
      return stop(qk_format("truncated chunk header at offset %zu: %zu bytes left in %s", at, left,
                            levels.back().where.c_str()));
    const USHORT id = u16At(bytes, at);
    const uint32_t field = u32At(bytes, at + 2);
    const bool container = (field & CHUNK_CONTAINER_BIT) != 0;
    const uint32_t length = field & ~CHUNK_CONTAINER_BIT;
    if (length < CHUNK_HEADER_SIZE)
      return stop(qk_format("chunk 0x%04X at offset %zu: length %u is shorter than its 6-byte header", id, at,
                            length));
    const std::string runsPast =
        qk_format("chunk 0x%04X at offset %zu: length %u runs past the end of %s (%zu bytes left)", id, at,
                  length, levels.back().where.c_str(), left);
    if (length > left && !container) return stop(runsPast);
    if (container && depth + 1 >= MAX_CHUNK_DEPTH)
      return stop(qk_format("chunk 0x%04X at offset %zu: chunks nested deeper than %d levels", id, at,
                            MAX_CHUNK_DEPTH));
    if (!container) {
      out += qk_format("%s0x%04X at %zu, length %u: %u bytes\n", indent.c_str(), id, at, length,
                       length - CHUNK_HEADER_SIZE);
      out += hexLines(bytes.substr(at + CHUNK_HEADER_SIZE, length - CHUNK_HEADER_SIZE), indent + "    ");
      at += length;
      continue;
    }
    if (length > left) {
      if (firstBreak.empty()) firstBreak = runsPast;
      out += qk_format("%s0x%04X at %zu, length %u: chunks, cut to the %zu bytes there\n", indent.c_str(), id,
                       at, length, left);
    } else {
      out += qk_format("%s0x%04X at %zu, length %u: chunks\n", indent.c_str(), id, at, length);
    }
    levels.push_back({at + std::min<size_t>(length, left), qk_format("chunk 0x%04X at offset %zu", id, at)});
    at += CHUNK_HEADER_SIZE;
  }
}
