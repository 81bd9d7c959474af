// Per-file metadata: tagged values under text keys, as the drivers give them to their files, and
// the walk of a `.metadata.json` document that fills a driver's table of them.
//
// A MetadataMap belongs to its driver and lives as long as the driver; files hold a pointer to
// theirs (or null) and only read it. The getters answer false for a null map, a missing key or a
// value of another tag, and then leave `out` alone; a string comes back as a pointer into the map.
// Reading is safe from any thread while nobody changes the map; a driver fills its table once,
// on one thread, before anyone reads it.
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

// The hash of a metadata key: 64-bit FNV-1a of its bytes (offset basis 0xcbf29ce484222325, prime
// 0x100000001b3), the same on every platform, so that a map's buckets don't depend on the C++
// library.
struct MetadataKeyHash {
  size_t operator()(std::string_view key) const noexcept {
    uint64_t hash = 0xcbf29ce484222325ull;
    for (const char c : key) hash = (hash ^ uint64_t(static_cast<unsigned char>(c))) * 0x100000001b3ull;
    return size_t(hash);
  }
};

// Key to value. Keys compare exactly: no case folding. An archive's maps start with 8 buckets and
// keep the standard maximum load factor of 1.0.
using MetadataMap = std::unordered_map<std::string, MetadataValue, MetadataKeyHash>;
// A driver's table: file path (or name inside an archive) to the file's map.
using MetadataTable = std::unordered_map<std::string, MetadataMap>;

bool metadataGetInt(const MetadataMap* map, const char* key, int64_t& out);
bool metadataGetFloat(const MetadataMap* map, const char* key, double& out);
bool metadataGetString(const MetadataMap* map, const char* key, const char*& out);

// Each replaces whatever the key held, tag included.
void metadataSetInt(MetadataMap& map, std::string_view key, int64_t value);
void metadataSetFloat(MetadataMap& map, std::string_view key, double value);
void metadataSetString(MetadataMap& map, std::string_view key, std::string_view value);

// Reads a metadata document into `table`. The text is terminated: YAJL's tree parser reads up to
// its first zero byte, and the drivers hold a terminated copy of the file. The document is one object with a member per file,
// whose value is an object with a member per key, whose value is an object with "type" ("int",
// "float" or "string") and "value":
//
//   { "textures/rock.dds": { "lod": { "type": "int", "value": 2 } } }
//
// Bad input policy: an empty text is no document and no error; a root or file value that isn't an
// object has no members; an unknown type text is passed over in silence; "float" takes an integer
// too. Everything else wrong ends the whole walk with a JsonError: "JSON error: " and YAJL's
// message for text that isn't JSON, "JsonNode::find() makes no sense for non-objects" for an entry
// that isn't an object, "Can't get json type" or "Can't get json value" for a missing (or null)
// member, and "json type error" for a "type" that isn't a string or a "value" that doesn't fit its
// type. What was stored before the error stays; the file's map is made before the value's type is
// tested, so it may stand empty. A later entry with the same file and key replaces the earlier.
// The walk doesn't log: the driver reports the error in its own terms.
void parseMetadataJson(const char* text, MetadataTable& table);

}  // namespace qk
