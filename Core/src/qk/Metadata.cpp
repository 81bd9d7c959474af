#include "qk/Metadata.h"

#include <cstring>

#include "qk/JsonNode.h"

namespace qk {

namespace {

const MetadataValue* find(const MetadataMap* map, const char* key, uint32_t tag) {
  if (!map || !key) return nullptr;
  const auto found = map->find(key);
  return found != map->end() && found->second.tag == tag ? &found->second : nullptr;
}

}  // namespace

bool metadataGetInt(const MetadataMap* map, const char* key, int64_t& out) {
  const MetadataValue* value = find(map, key, MetadataValue::INTEGER);
  if (value) out = int64_t(value->number);
  return value != nullptr;
}

bool metadataGetFloat(const MetadataMap* map, const char* key, double& out) {
  const MetadataValue* value = find(map, key, MetadataValue::FLOAT);
  if (value) std::memcpy(&out, &value->number, sizeof out);
  return value != nullptr;
}

bool metadataGetString(const MetadataMap* map, const char* key, const char*& out) {
  const MetadataValue* value = find(map, key, MetadataValue::STRING);
  if (value) out = value->text.c_str();
  return value != nullptr;
}

void metadataSetInt(MetadataMap& map, std::string_view key, int64_t value) {
  MetadataValue& entry = map[std::string(key)];
  entry.tag = MetadataValue::INTEGER;
  entry.number = uint64_t(value);
  entry.text.clear();
}

void metadataSetFloat(MetadataMap& map, std::string_view key, double value) {
  MetadataValue& entry = map[std::string(key)];
  entry.tag = MetadataValue::FLOAT;
  std::memcpy(&entry.number, &value, sizeof value);
  entry.text.clear();
}

void metadataSetString(MetadataMap& map, std::string_view key, std::string_view value) {
  MetadataValue& entry = map[std::string(key)];
  entry.tag = MetadataValue::STRING;
  entry.number = 0;
  entry.text.assign(value);
}

// ---- The metadata document -------------------------------------------------------------------

void parseMetadataJson(const char* text, MetadataTable& table) {
  if (!text || !*text) return;
  const JsonDocument document(text);
  const JsonNode root = document.root();
  for (size_t f = 0; f < root.size(); ++f) {
    const std::string path(root.key(f));
    const JsonNode file = root.value(f);
    for (size_t k = 0; k < file.size(); ++k) {
      const std::string key(file.key(k));
      const JsonNode entry = file.value(k);
      const std::string type = entry.find("type").asString();
      const JsonNode value = entry.find("value");
      if (type == "int") {
        MetadataMap& map = table[path];
        metadataSetInt(map, key, value.asInt());
      } else if (type == "float") {
        MetadataMap& map = table[path];
        metadataSetFloat(map, key, value.asDouble());
      } else if (type == "string") {
        MetadataMap& map = table[path];
        metadataSetString(map, key, value.asString());
      }
    }
  }
}

}  // namespace qk
