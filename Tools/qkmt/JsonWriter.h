// JsonWriter: one JSON document built with YAJL's generator, compact. The document is always
// valid JSON, also for texts that aren't UTF-8 (a catalogue saved as Latin-1, say), and no byte is
// lost:
//   - text(key, value) writes `key` with the value as it stands when it is well-formed UTF-8;
//     otherwise `key` holds the text with U+FFFD for each bad byte, and a member `key_bytes`
//     follows with the exact bytes in hexadecimal (two lower-case digits per byte);
//   - texts(key, list) writes an array the same way, with `key_bytes` beside it when any element
//     isn't UTF-8: per element its bytes in hexadecimal, or null for one that is.
// string() itself repairs a text that isn't UTF-8 the same way, without the bytes.
#pragma once

#include <yajl/yajl_gen.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "Utf8Form.h"

class JsonWriter {
 public:
  JsonWriter() : gen_(yajl_gen_alloc(nullptr), yajl_gen_free) {
    // Texts are made well-formed before they reach the generator (see above).
    yajl_gen_config(gen_.get(), yajl_gen_validate_utf8, 0);
  }

  JsonWriter& key(std::string_view text) { return string(text); }
  JsonWriter& string(std::string_view text) {
    if (!inspectUtf8(text).wellFormed) return raw(wellFormedUtf8(text));
    return raw(text);
  }
  // The member `key` with the text `value`, and `key_bytes` when it isn't UTF-8.
  JsonWriter& text(std::string_view name, std::string_view value) {
    key(name);
    if (inspectUtf8(value).wellFormed) return raw(value);
    raw(wellFormedUtf8(value));
    key(std::string(name) + "_bytes");
    return raw(hexBytes(value));
  }
  // The member `key` with an array of texts, and `key_bytes` when any isn't UTF-8.
  template <class Texts>
  JsonWriter& texts(std::string_view name, const Texts& values) {
    bool wellFormed = true;
    key(name).beginArray();
    for (const auto& value : values) {
      string(value);
      wellFormed = wellFormed && inspectUtf8(value).wellFormed;
    }
    endArray();
    if (wellFormed) return *this;
    key(std::string(name) + "_bytes").beginArray();
    for (const auto& value : values) inspectUtf8(value).wellFormed ? null() : raw(hexBytes(value));
    return endArray();
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
  std::string document() const {
    const unsigned char* buffer = nullptr;
    size_t size = 0;
    yajl_gen_get_buf(gen_.get(), &buffer, &size);
    return std::string(reinterpret_cast<const char*>(buffer), size);
  }

 private:
  JsonWriter& raw(std::string_view text) {
    yajl_gen_string(gen_.get(), reinterpret_cast<const unsigned char*>(text.data()), text.size());
    return *this;
  }

  std::unique_ptr<struct yajl_gen_t, void (*)(yajl_gen)> gen_;
};
