#include "qk/JsonNode.h"

#include <yajl/yajl_tree.h>

#include <cstring>

#include "FixedString.h"

namespace qk {

namespace {

const char kTypeError[] = "json type error";

bool is_object(yajl_val value) { return value && value->type == yajl_t_object; }

}  // namespace

JsonNode JsonNode::find(std::string_view key) const {
  if (!is_object(value_)) throw JsonError("JsonNode::find() makes no sense for non-objects");
  const auto& object = value_->u.object;
  for (size_t i = 0; i < object.len; ++i) {
    const char* name = object.keys[i];
    if (std::strlen(name) == key.size() && std::memcmp(name, key.data(), key.size()) == 0 &&
        object.values[i] && object.values[i]->type != yajl_t_null)
      return JsonNode(object.values[i]);
  }
  FixedString<1024> text;
  text.format("Can't get json %.*s", int(key.size()), key.data());
  throw JsonError(text.c_str());
}

std::string JsonNode::asString() const {
  if (!value_ || value_->type != yajl_t_string) throw JsonError(kTypeError);
  return value_->u.string;
}

int64_t JsonNode::asInt() const {
  if (!value_ || value_->type != yajl_t_number || !(value_->u.number.flags & YAJL_NUMBER_INT_VALID))
    throw JsonError(kTypeError);
  return value_->u.number.i;
}

double JsonNode::asDouble() const {
  if (value_ && value_->type == yajl_t_number) {
    if (value_->u.number.flags & YAJL_NUMBER_DOUBLE_VALID) return value_->u.number.d;
    if (value_->u.number.flags & YAJL_NUMBER_INT_VALID) return double(value_->u.number.i);
  }
  throw JsonError(kTypeError);
}

size_t JsonNode::size() const { return is_object(value_) ? value_->u.object.len : 0; }

std::string_view JsonNode::key(size_t index) const { return value_->u.object.keys[index]; }

JsonNode JsonNode::value(size_t index) const { return JsonNode(value_->u.object.values[index]); }

JsonDocument::JsonDocument(const char* text) {
  char error[1024] = {};
  root_ = yajl_tree_parse(text, error, sizeof error);
  if (!root_) throw JsonError(std::string("JSON error: ") + error);
}

JsonDocument::~JsonDocument() { yajl_tree_free(root_); }

}  // namespace qk
