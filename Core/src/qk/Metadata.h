// Per-file metadata: tagged values under text keys, as the drivers give them to their files.
//
// A MetadataMap belongs to its driver and lives as long as the driver; files hold a pointer to
// theirs (or null) and only read it. The getters answer false for a null map, a missing key or a
// value of another tag, and then leave `out` alone; a string comes back as a pointer into the map.
// Reading is safe from any thread while nobody changes the map.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>

namespace qk {

struct MetadataValue {
  enum Tag : uint32_t { INTEGER = 0, FLOAT = 1, STRING = 2 };

  uint32_t tag = INTEGER;
  uint64_t number = 0;  // the integer, or the bits of the 64-bit float
  std::string text;     // for STRING
};

using MetadataMap = std::unordered_map<std::string, MetadataValue>;

bool metadataGetInt(const MetadataMap* map, const char* key, int64_t& out);
bool metadataGetFloat(const MetadataMap* map, const char* key, double& out);
bool metadataGetString(const MetadataMap* map, const char* key, const char*& out);

// Each replaces whatever the key held, tag included.
void metadataSetInt(MetadataMap& map, std::string_view key, int64_t value);
void metadataSetFloat(MetadataMap& map, std::string_view key, double value);
void metadataSetString(MetadataMap& map, std::string_view key, std::string_view value);

}  // namespace qk
