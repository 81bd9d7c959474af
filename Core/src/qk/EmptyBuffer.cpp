#include "qk/EmptyBuffer.h"

#include <new>

namespace qk {

RefPtr<IBuffer> EmptyBuffer::instance() {
  // In static storage that is never destroyed, so that a holder released during exit finds it.
  alignas(EmptyBuffer) static unsigned char storage[sizeof(EmptyBuffer)];
  static EmptyBuffer* const one = new (storage) EmptyBuffer;
  return RefPtr<IBuffer>(one);
}

}  // namespace qk
