// Locks and events on Windows: critical sections and manual-reset event objects.
#include <windows.h>

#include <new>

#include "platform/qk_sync.h"

namespace {

CRITICAL_SECTION& section_of(qk_platform_lock& lock) {
  static_assert(sizeof(CRITICAL_SECTION) <= sizeof(lock.storage), "a critical section fits the lock's storage");
  static_assert(alignof(CRITICAL_SECTION) <= alignof(qk_platform_lock), "and its alignment");
  return *reinterpret_cast<CRITICAL_SECTION*>(lock.storage);
}

HANDLE handle_of(qk_platform_event event) { return reinterpret_cast<HANDLE>(event); }

}  // namespace

void qk_platform_lock_init(qk_platform_lock& lock) {
  InitializeCriticalSection(new (lock.storage) CRITICAL_SECTION);
}

void qk_platform_lock_destroy(qk_platform_lock& lock) { DeleteCriticalSection(&section_of(lock)); }
void qk_platform_lock_enter(qk_platform_lock& lock) { EnterCriticalSection(&section_of(lock)); }
bool qk_platform_lock_try_enter(qk_platform_lock& lock) { return TryEnterCriticalSection(&section_of(lock)) != 0; }
void qk_platform_lock_leave(qk_platform_lock& lock) { LeaveCriticalSection(&section_of(lock)); }

qk_platform_event qk_platform_event_make(bool initial) {
  const HANDLE event = CreateEventA(nullptr, TRUE, initial ? TRUE : FALSE, nullptr);
  return event ? reinterpret_cast<qk_platform_event>(event) : nullptr;
}

void qk_platform_event_close(qk_platform_event event) {
  if (event) CloseHandle(handle_of(event));
}

void qk_platform_event_set(qk_platform_event event) { SetEvent(handle_of(event)); }
void qk_platform_event_reset(qk_platform_event event) { ResetEvent(handle_of(event)); }
void qk_platform_event_wait(qk_platform_event event) { WaitForSingleObject(handle_of(event), INFINITE); }

bool qk_platform_event_is_set(qk_platform_event event) {
  return WaitForSingleObject(handle_of(event), 0) == WAIT_OBJECT_0;
}
