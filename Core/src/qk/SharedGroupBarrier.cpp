#include "qk/CriticalSection.h"
#include "qk/SharedGroupBarrier.h"

#include <new>

namespace qk {

ObjectPool SharedGroupBarrier::pool{"Core/src/qk/SharedGroupBarrier", sizeof(SharedGroupBarrier), 2048};

RefPtr<SharedGroupBarrier> SharedGroupBarrier::create() {
  void* item = pool.acquire();
  return RefPtr<SharedGroupBarrier>(item ? new (item) SharedGroupBarrier() : nullptr);
}

void SharedGroupBarrier::release() {
  if (references.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
  this->~SharedGroupBarrier();
  pool.release(this);
}

SharedGroupBarrier::~SharedGroupBarrier() { wait(); }

void SharedGroupBarrier::add() {
  std::lock_guard<qk::CriticalSection> hold(lock);
  pending += 1;
}

void SharedGroupBarrier::done() {
  std::unique_lock<qk::CriticalSection> hold(lock);
  if (--pending != 0) return;
  hold.unlock();
  // The releasing task still holds a reference, so the barrier outlives this call.
  finished.notify_all();
}

void SharedGroupBarrier::wait() {
  std::unique_lock<qk::CriticalSection> hold(lock);
  finished.wait(hold, [this] { return pending == 0; });
}

uint64_t SharedGroupBarrier::pendingCount() {
  std::lock_guard<qk::CriticalSection> hold(lock);
  return pending;
}

}  // namespace qk
