// JsonNode: a view of one value of a parsed JSON tree, and JsonDocument, the tree's owner.
//
// The core reads JSON in one place, the drivers' metadata files. A document is parsed whole with
// YAJL's tree parser (comments allowed, as that parser has it); JsonNode then walks it and turns
// every wrong shape into a JsonError with a short text, so that a walk is plain code with no
// checks of its own. A JsonNode owns nothing, has no virtual operations and is as cheap as a
// pointer; it is valid while its JsonDocument lives. YAJL's kinds count like this: an object has
// keys; a string gives asString; a number gives asInt when YAJL marked it a valid integer and
// asDouble when it marked it valid either way; anything else (and the null node) is a type error.
//
// Threads: a document and its nodes belong to the thread that parsed it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

struct yajl_val_s;

namespace qk {

class JsonError : public std::runtime_error {
 public:
  explicit JsonError(const char* what) : std::runtime_error(what) {}
  explicit JsonError(const std::string& what) : std::runtime_error(what) {}
};

class JsonNode {
 public:
  JsonNode() = default;
  explicit JsonNode(yajl_val_s* value) : value_(value) {}

  // The value under `key`, found by a linear search with an exact comparison of length and bytes.
  // Throws "JsonNode::find() makes no sense for non-objects" on a null node or a non-object, and
  // "Can't get json <key>" when the key is missing or its value is null.
  JsonNode find(std::string_view key) const;
  // Throw "json type error" when the value isn't of the kind asked for (see the header's top).
  // asDouble converts an integer that has no double form.
  std::string asString() const;
  int64_t asInt() const;
  double asDouble() const;

  // The number of keys of an object; 0 for anything else and for the null node.
  size_t size() const;
  // The key and the value of member `index` (below size()) of an object.
  std::string_view key(size_t index) const;
  JsonNode value(size_t index) const;

  bool isNull() const { return value_ == nullptr; }

 private:
  yajl_val_s* value_ = nullptr;
};

// A parsed tree, freed with the object (also when an exception leaves the walk).
class JsonDocument {
 public:
  // Parses a terminated text. Throws JsonError "JSON error: " followed by YAJL's message (verbose,
  // with the position; at most 1024 bytes).
  explicit JsonDocument(const char* text);
  ~JsonDocument();
  JsonDocument(const JsonDocument&) = delete;
  JsonDocument& operator=(const JsonDocument&) = delete;

  JsonNode root() const { return JsonNode(root_); }

 private:
  yajl_val_s* root_ = nullptr;
};

}  // namespace qk
