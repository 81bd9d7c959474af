// IBufFuture: a deferred read of a whole file.
//
// The Manager chooses the file under its lock and hands out a future; the caller does the read
// later, outside the lock, with get(). Ownership: the caller ends it with release(), which returns
// it to its driver's pool. get() may be called on any thread, once.
#pragma once

#include "qk/IBuffer.h"
#include "qk/MemBuffer.h"

namespace qkvfs {

class IBufFuture {
 public:
  // The operations in the order of their slots.
  virtual ~IBufFuture() = default;
  // The file's bytes as a shared buffer, or null. With `fill` holding a buffer, that buffer is
  // reused (MemBuffer::reuse) and `fill` is left empty.
  virtual qk::RefPtr<qk::IBuffer> get(qk::RefPtr<qk::MemBuffer>* fill) = 0;
  virtual void release() = 0;

 protected:
  IBufFuture() = default;
  IBufFuture(const IBufFuture&) = delete;
  IBufFuture& operator=(const IBufFuture&) = delete;
};

}  // namespace qkvfs
