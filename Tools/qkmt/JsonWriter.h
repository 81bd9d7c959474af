// JsonWriter: one JSON document built with YAJL's generator, compact, texts byte for byte.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include <yajl/yajl_gen.h>

class JsonWriter {
 public:
  JsonWriter() : gen_(yajl_gen_alloc(nullptr), yajl_gen_free) {
    // Texts go out byte for byte: a catalogue or a scene may hold bytes that aren't UTF-8.
    yajl_gen_config(gen_.get(), yajl_gen_validate_utf8, 0);
  }

  JsonWriter& key(std::string_view text) { return string(text); }
  JsonWriter& string(std::string_view text) {
    yajl_gen_string(gen_.get(), reinterpret_cast<const unsigned char*>(text.data()), text.size());
    return *this;
  }
  JsonWriter& integer(long long value) {
    yajl_gen_integer(gen_.get(), value);
    return *this;
  }
  JsonWriter& real(double value) {
    yajl_gen_double(gen_.get(), value);
    return *this;
  }
  JsonWriter& boolean(bool value) {
    yajl_gen_bool(gen_.get(), value);
    return *this;
  }
  JsonWriter& null() {
    yajl_gen_null(gen_.get());
    return *this;
  }
  JsonWriter& beginMap() {
    yajl_gen_map_open(gen_.get());
    return *this;
  }
  JsonWriter& endMap() {
    yajl_gen_map_close(gen_.get());
    return *this;
  }
  JsonWriter& beginArray() {
    yajl_gen_array_open(gen_.get());
    return *this;
  }
  JsonWriter& endArray() {
    yajl_gen_array_close(gen_.get());
    return *this;
  }

  // The document so far.
  std::string text() const {
    const unsigned char* buffer = nullptr;
    size_t size = 0;
    yajl_gen_get_buf(gen_.get(), &buffer, &size);
    return std::string(reinterpret_cast<const char*>(buffer), size);
  }

 private:
  std::unique_ptr<struct yajl_gen_t, void (*)(yajl_gen)> gen_;
};
