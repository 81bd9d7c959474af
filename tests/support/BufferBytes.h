// The bytes of a shared buffer as a string, for comparisons in tests.
#pragma once

#include <string>

#include "qk/IBuffer.h"

inline std::string bytes_of(const qk::RefPtr<qk::IBuffer>& buffer) {
  return std::string(static_cast<const char*>(buffer->data()), buffer->size());
}
