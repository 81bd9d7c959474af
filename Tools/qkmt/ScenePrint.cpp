#include "ScenePrint.h"

#include <yajl/yajl_gen.h>

#include <memory>

#include "ChunkReader.h"
#include "MaterialAttrib.h"
#include "MaterialAttribChunks.h"
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

// A text in double quotes, with quotes, backslashes and control characters escaped.
std::string quoted(const std::string& text) {
  std::string out = "\"";
  for (char c : text) {
    if (c == '"' || c == '\\')
      out += std::string("\\") + c;
    else if (c == '\r')
      out += "\\r";
    else if (c == '\n')
      out += "\\n";
    else if (c == '\t')
      out += "\\t";
    else if (static_cast<unsigned char>(c) < 0x20)
      out += qk_format("\\x%02X", static_cast<unsigned>(c));
    else
      out += c;
  }
  return out + "\"";
}

std::string reference(uint32_t index) { return index == NO_OBJECT ? "none" : qk_format("object %u", index); }

std::string references(const std::vector<uint32_t>& list) {
  std::string out;
  for (uint32_t index : list) out += (out.empty() ? "" : ", ") + reference(index);
  return out.empty() ? "none" : out;
}

const char* yesNo(bool value) { return value ? "yes" : "no"; }

void savedText(const SavedMaterialAttrib& saved, std::string& out) {
  if (saved.version) out += qk_format("    version             %d\n", *saved.version);
  if (saved.name) out += "    name                " + quoted(*saved.name) + "\n";
  if (saved.userUniforms) out += "    user uniforms       " + quoted(*saved.userUniforms) + "\n";
  if (saved.opacity) out += qk_format("    opacity             %u\n", *saved.opacity);
  if (saved.depthBias) out += qk_format("    depth bias          %s\n", yesNo(*saved.depthBias));
  if (saved.shadowCaster) out += qk_format("    shadow caster       %s\n", yesNo(*saved.shadowCaster));
  if (saved.onlyShadowCaster)
    out += qk_format("    shadow caster only  %s\n", yesNo(*saved.onlyShadowCaster));
  if (saved.decal) out += qk_format("    decal               %u\n", *saved.decal);
}

// ---- JSON --------------------------------------------------------------------------------------

class Json {
 public:
  Json() : gen_(yajl_gen_alloc(nullptr), yajl_gen_free) {
    yajl_gen_config(gen_.get(), yajl_gen_validate_utf8, 0);
  }
  Json& key(const char* text) { return string(text); }
  Json& string(const std::string& text) {
    yajl_gen_string(gen_.get(), reinterpret_cast<const unsigned char*>(text.data()), text.size());
    return *this;
  }
  Json& integer(long long value) {
    yajl_gen_integer(gen_.get(), value);
    return *this;
  }
  Json& boolean(bool value) {
    yajl_gen_bool(gen_.get(), value);
    return *this;
  }
  Json& index(uint32_t value) {
    if (value == NO_OBJECT)
      yajl_gen_null(gen_.get());
    else
      yajl_gen_integer(gen_.get(), value);
    return *this;
  }
  Json& indexes(const std::vector<uint32_t>& list) {
    yajl_gen_array_open(gen_.get());
    for (uint32_t value : list) index(value);
    yajl_gen_array_close(gen_.get());
    return *this;
  }
  void beginMap() { yajl_gen_map_open(gen_.get()); }
  void endMap() { yajl_gen_map_close(gen_.get()); }
  void beginArray() { yajl_gen_array_open(gen_.get()); }
  void endArray() { yajl_gen_array_close(gen_.get()); }
  std::string text() const {
    const unsigned char* buffer = nullptr;
    size_t size = 0;
    yajl_gen_get_buf(gen_.get(), &buffer, &size);
    return std::string(reinterpret_cast<const char*>(buffer), size);
  }

 private:
  std::unique_ptr<struct yajl_gen_t, void (*)(yajl_gen)> gen_;
};

void savedJson(Json& json, const SavedMaterialAttrib& saved) {
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

void attribJson(Json& json, const ChunkFile& file, const SceneAttribRecord& attrib) {
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

void objectJson(Json& json, const ChunkFile& file, const SceneObjectRecord& object, size_t index) {
  json.beginMap();
  json.key("index").integer(static_cast<long long>(index));
  json.key("kind").string(sceneObjectTypeName(object.type));
  json.key("name").string(utf8(object.name));
  if (object.type == SceneObjectType::MultiMaterial) json.key("sub_materials").indexes(object.subs);
  if (object.type == SceneObjectType::Map) json.key("sub_maps").indexes(object.subs);
  if (object.type == SceneObjectType::StandardMaterial) {
    json.key("map_slots").beginArray();
    for (const SceneSlotRecord& slot : object.slots) {
      json.beginMap();
      json.key("name").string(utf8(slot.name)).key("on").boolean(slot.on).key("map").index(slot.map);
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
    out +=
        qk_format("object %zu  %s ", i, sceneObjectTypeName(object.type)) + quoted(utf8(object.name)) + "\n";
    if (object.type == SceneObjectType::MultiMaterial)
      out += "  sub-materials: " + references(object.subs) + "\n";
    if (object.type == SceneObjectType::Map) out += "  sub-maps: " + references(object.subs) + "\n";
    for (const SceneSlotRecord& slot : object.slots)
      out +=
          "  slot " + quoted(utf8(slot.name)) + (slot.on ? " on: " : " off: ") + reference(slot.map) + "\n";
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
        throw SceneError(qk_format("object %zu (%s): ", i, quoted(utf8(object.name)).c_str()) + error.what());
      }
    }
  }
  return out + "scene: " + references(record.scene) + "\n";
}

std::string sceneJson(const ChunkFile& file, const SceneRecord& record) {
  Json json;
  json.beginMap();
  json.key("objects").beginArray();
  for (size_t i = 0; i < record.objects.size(); ++i) {
    try {
      objectJson(json, file, record.objects[i], i);
    } catch (const SceneError& error) {
      throw SceneError(qk_format("object %zu (%s): ", i, quoted(utf8(record.objects[i].name)).c_str()) +
                       error.what());
    }
  }
  json.endArray();
  json.key("scene").indexes(record.scene);
  json.endMap();
  return json.text();
}

void chunkTree(const std::string& bytes, std::string& out) {
  walkChunks(bytes, [&](const ChunkNode& node, int) {
    const std::string indent(static_cast<size_t>(node.depth) * 2, ' ');
    if (node.container) {
      out += qk_format("%s0x%04X at %zu, length %u: chunks\n", indent.c_str(), node.id, node.offset,
                       node.length);
    } else {
      out += qk_format("%s0x%04X at %zu, length %u: %zu bytes\n", indent.c_str(), node.id, node.offset,
                       node.length, node.bodySize());
      out += hexLines(std::string_view(bytes).substr(node.body(), node.bodySize()), indent + "    ");
    }
  });
}
