// The exceptions of the readers. A consumer that wants an error value catches ReadError.
//
//   ReadError        a text
//   ReadFormatError  the source ended before the data did: "Not enough input data"
//   ZlibError        inflate failed: zlib's code, and its message or zError's text for the code
//   ZstdError        zstd failed: zstd's code and ZSTD_getErrorName's text for it
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

namespace qk {

class ReadError : public std::runtime_error {
 public:
  explicit ReadError(const std::string& text) : std::runtime_error(text) {}
  explicit ReadError(const char* text) : std::runtime_error(text) {}
};

class ReadFormatError : public ReadError {
 public:
  ReadFormatError();
};

class ZlibError : public ReadError {
 public:
  // `text` is the stream's message; null takes zlib's text for `code`.
  explicit ZlibError(int32_t code, const char* text = nullptr);
  int32_t code() const { return code_; }

 private:
  int32_t code_;
};

class ZstdError : public ReadError {
 public:
  explicit ZstdError(size_t code);
  size_t code() const { return code_; }

 private:
  size_t code_;
};

}  // namespace qk
