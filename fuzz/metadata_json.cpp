// parseMetadataJson over any bytes (as the terminated text a driver hands it): either a table or a
// JsonError, nothing else; and every stored value carries one of the three tags with its field.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "qk/JsonNode.h"
#include "qk/Metadata.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  qk::MetadataTable table;
  try {
    qk::parseMetadataJson(text.c_str(), table);
  } catch (const qk::JsonError&) {
  }
  for (const auto& [path, map] : table) {
    for (const auto& [key, value] : map) {
      if (value.tag > qk::MetadataValue::STRING) std::abort();
      if (value.tag != qk::MetadataValue::STRING && !value.text.empty()) std::abort();
    }
  }
  return 0;
}
