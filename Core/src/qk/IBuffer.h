// IBuffer: an immutable run of bytes with shared owners, held by RefPtr<IBuffer>.
//
// The bytes never change while anyone holds the buffer, so a buffer may be read from any thread.
// The kinds differ in where the bytes live and in what destroy() does at the last release.
#pragma once

#include <cstddef>

#include "qk/RefCounted.h"
#include "qk/RefPtr.h"

namespace qk {

class IBuffer : public RefCounted {
 public:
  virtual const void* data() const = 0;
  virtual size_t size() const = 0;
  virtual ~IBuffer() = default;

 protected:
  // Called by the last release; ends the object's life in the way of its kind.
  virtual void destroy() = 0;
};

}  // namespace qk
