// Locks and events on POSIX systems: pthread mutexes and condition variables.
#include <pthread.h>

#include <cstdlib>
#include <new>

#include "platform/qk_sync.h"

namespace {

pthread_mutex_t& mutex_of(qk_platform_lock& lock) {
  static_assert(sizeof(pthread_mutex_t) <= sizeof(lock.storage), "a mutex fits the lock's storage");
  static_assert(alignof(pthread_mutex_t) <= alignof(qk_platform_lock), "and its alignment");
  return *reinterpret_cast<pthread_mutex_t*>(lock.storage);
}

}  // namespace

void qk_platform_lock_init(qk_platform_lock& lock) {
  pthread_mutexattr_t recursive;
  pthread_mutexattr_init(&recursive);
  pthread_mutexattr_settype(&recursive, PTHREAD_MUTEX_RECURSIVE);
  // A recursive mutex with default attributes otherwise needs nothing the system can run out of.
  if (pthread_mutex_init(new (lock.storage) pthread_mutex_t, &recursive) != 0) std::abort();
  pthread_mutexattr_destroy(&recursive);
}

void qk_platform_lock_destroy(qk_platform_lock& lock) { pthread_mutex_destroy(&mutex_of(lock)); }
void qk_platform_lock_enter(qk_platform_lock& lock) { pthread_mutex_lock(&mutex_of(lock)); }
bool qk_platform_lock_try_enter(qk_platform_lock& lock) { return pthread_mutex_trylock(&mutex_of(lock)) == 0; }
void qk_platform_lock_leave(qk_platform_lock& lock) { pthread_mutex_unlock(&mutex_of(lock)); }

struct qk_platform_event_object {
  pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
  pthread_cond_t changed = PTHREAD_COND_INITIALIZER;
  bool set = false;
};

qk_platform_event qk_platform_event_make(bool initial) {
  auto* event = new (std::nothrow) qk_platform_event_object;
  if (event) event->set = initial;
  return event;
}

void qk_platform_event_close(qk_platform_event event) {
  if (!event) return;
  pthread_cond_destroy(&event->changed);
  pthread_mutex_destroy(&event->lock);
  delete event;
}

// Signalled under the lock: a waiter may close the event as soon as it returns, so set must not
// touch it after the lock is left.
void qk_platform_event_set(qk_platform_event event) {
  pthread_mutex_lock(&event->lock);
  event->set = true;
  pthread_cond_broadcast(&event->changed);
  pthread_mutex_unlock(&event->lock);
}

void qk_platform_event_reset(qk_platform_event event) {
  pthread_mutex_lock(&event->lock);
  event->set = false;
  pthread_mutex_unlock(&event->lock);
}

void qk_platform_event_wait(qk_platform_event event) {
  pthread_mutex_lock(&event->lock);
  while (!event->set) pthread_cond_wait(&event->changed, &event->lock);
  pthread_mutex_unlock(&event->lock);
}

bool qk_platform_event_is_set(qk_platform_event event) {
  pthread_mutex_lock(&event->lock);
  const bool set = event->set;
  pthread_mutex_unlock(&event->lock);
  return set;
}
