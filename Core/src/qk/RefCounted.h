// Reference counting for objects with several owners.
//
// A new object has a count of 0; its first holder (a RefPtr) raises it to 1. The holder that takes
// the count from 1 to 0 calls destroy(), which each kind defines: back to a pool, recycled, or
// freed. Counting is atomic; the object itself says what else is safe across threads.
#pragma once

#include <atomic>
#include <cstdint>

namespace qk {

class RefCounted {
 public:
  virtual void addRef() = 0;
  virtual void release() = 0;
  virtual uint64_t refCount() const = 0;

 protected:
  RefCounted() = default;
  ~RefCounted() = default;
  RefCounted(const RefCounted&) = delete;
  RefCounted& operator=(const RefCounted&) = delete;

  std::atomic<uint64_t> refs{0};
};

// The counting of RefCounted for an interface `Base` derived from it. `Base` declares a virtual
// destructor and a virtual destroy(); the default destroy() runs the destructor and frees the
// object with delete.
template <class Base>
class RefCountedImpl : public Base {
 public:
  void addRef() override { this->refs.fetch_add(1, std::memory_order_relaxed); }

  void release() override {
    if (this->refs.fetch_sub(1, std::memory_order_acq_rel) == 1) this->destroy();
  }

  uint64_t refCount() const override { return this->refs.load(std::memory_order_relaxed); }

 protected:
  void destroy() override { delete this; }
};

}  // namespace qk
