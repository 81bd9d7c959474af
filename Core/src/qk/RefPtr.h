// RefPtr<T>: the holder of one reference to a RefCounted object.
//
// Clearing and reassigning take the old pointer out with an atomic exchange before releasing it,
// so that one holder cleared from two threads at once releases the object only once. Copying adds a
// reference; moving hands it over.
#pragma once

#include <atomic>
#include <cstddef>
#include <utility>

namespace qk {

template <class T>
class RefPtr {
 public:
  RefPtr() noexcept = default;
  RefPtr(std::nullptr_t) noexcept {}
  explicit RefPtr(T* object) noexcept : ptr_(object) {
    if (object) object->addRef();
  }
  RefPtr(const RefPtr& other) noexcept : RefPtr(other.get()) {}
  RefPtr(RefPtr&& other) noexcept : ptr_(other.ptr_.exchange(nullptr)) {}
  template <class U>
  RefPtr(const RefPtr<U>& other) noexcept : RefPtr(static_cast<T*>(other.get())) {}
  template <class U>
  RefPtr(RefPtr<U>&& other) noexcept : ptr_(static_cast<T*>(other.detach())) {}

  ~RefPtr() { reset(); }

  RefPtr& operator=(const RefPtr& other) noexcept {
    T* object = other.get();
    if (object) object->addRef();
    replace(object);
    return *this;
  }
  RefPtr& operator=(RefPtr&& other) noexcept {
    if (this != &other) replace(other.ptr_.exchange(nullptr));
    return *this;
  }
  RefPtr& operator=(std::nullptr_t) noexcept {
    reset();
    return *this;
  }

  void reset() noexcept { replace(nullptr); }

  // Gives up the reference without releasing it; the caller now owns it.
  T* detach() noexcept { return ptr_.exchange(nullptr); }

  T* get() const noexcept { return ptr_.load(std::memory_order_acquire); }
  T* operator->() const noexcept { return get(); }
  T& operator*() const noexcept { return *get(); }
  explicit operator bool() const noexcept { return get() != nullptr; }

 private:
  void replace(T* object) noexcept {
    T* old = ptr_.exchange(object);
    if (old) old->release();
  }

  std::atomic<T*> ptr_{nullptr};
};

template <class T, class U>
bool operator==(const RefPtr<T>& a, const RefPtr<U>& b) { return a.get() == b.get(); }
template <class T>
bool operator==(const RefPtr<T>& a, std::nullptr_t) { return !a; }
template <class T>
bool operator!=(const RefPtr<T>& a, std::nullptr_t) { return bool(a); }

}  // namespace qk
