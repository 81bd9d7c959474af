// EmptyBuffer: the one buffer with no bytes, for empty files and empty results.
//
// A single instance, made on first use (thread-safe) and never ended: its count goes up and down
// like any other, and reaching 0 changes nothing, so it may be held and released from any thread,
// also while the process exits.
#pragma once

#include "qk/IBuffer.h"

namespace qk {

class EmptyBuffer final : public RefCountedImpl<IBuffer> {
 public:
  static RefPtr<IBuffer> instance();

  const void* data() const override { return nullptr; }
  size_t size() const override { return 0; }

 protected:
  void destroy() override {}

 private:
  EmptyBuffer() = default;
  ~EmptyBuffer() override = default;
};

}  // namespace qk
