// The system's locks and events, behind the core's qk::CriticalSection and qk::Event. CMake picks
// one implementation: platform/posix/ (pthreads) or platform/win32/.
//
// A lock is a critical section: one thread holds it at a time, and the holder may enter it again
// (each enter is matched by a leave). Windows: CRITICAL_SECTION. POSIX: a recursive pthread
// mutex. Its storage is the caller's, so that a lock costs no allocation and can live in a
// static object.
//
// An event is manual-reset: once set, every wait returns at once until it is reset. Windows:
// CreateEventA(nullptr, TRUE, initial, nullptr), SetEvent, ResetEvent, WaitForSingleObject with no
// time-out, CloseHandle. POSIX: a mutex, a condition variable and a flag.
//
// All functions may be called from any thread; making and freeing belong to the owner, while no
// other thread uses the object.
#pragma once

#include <cstddef>

// Room for the system's lock: CRITICAL_SECTION is 40 bytes on 64-bit Windows, pthread_mutex_t 40
// on x86-64 Linux, each aligned to 8 bytes; each implementation checks that its type fits. No
// stricter alignment: objects that hold a lock come from pools that align to 8.
struct qk_platform_lock {
  alignas(8) unsigned char storage[48];
};

void qk_platform_lock_init(qk_platform_lock& lock);
void qk_platform_lock_destroy(qk_platform_lock& lock);
void qk_platform_lock_enter(qk_platform_lock& lock);
bool qk_platform_lock_try_enter(qk_platform_lock& lock);
void qk_platform_lock_leave(qk_platform_lock& lock);

struct qk_platform_event_object;
using qk_platform_event = qk_platform_event_object*;

// A new event, set or not; null when the system can't make one.
qk_platform_event qk_platform_event_make(bool initial);
void qk_platform_event_close(qk_platform_event event);
void qk_platform_event_set(qk_platform_event event);
void qk_platform_event_reset(qk_platform_event event);
// Waits, with no time-out, until the event is set.
void qk_platform_event_wait(qk_platform_event event);
bool qk_platform_event_is_set(qk_platform_event event);
