#include "qk/Event.h"

namespace qk {

void Event::make(bool initial) { state_.reset(new State{{}, {}, initial}); }

// Notified under the lock: a waiter may close the event as soon as it returns, so set must not
// touch it after the lock is left.
void Event::set() {
  std::lock_guard<std::mutex> hold(state_->lock);
  state_->set = true;
  state_->changed.notify_all();
}

void Event::reset() {
  std::lock_guard<std::mutex> hold(state_->lock);
  state_->set = false;
}

void Event::wait() {
  std::unique_lock<std::mutex> hold(state_->lock);
  state_->changed.wait(hold, [this] { return state_->set; });
}

bool Event::isSet() const {
  std::lock_guard<std::mutex> hold(state_->lock);
  return state_->set;
}

}  // namespace qk
