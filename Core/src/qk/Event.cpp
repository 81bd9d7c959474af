#include "qk/Event.h"

namespace qk {

void Event::make(bool initial) {
  close();
  event_ = qk_platform_event_make(initial);
}

void Event::close() noexcept {
  qk_platform_event_close(event_);
  event_ = nullptr;
}

void Event::set() { qk_platform_event_set(event_); }
void Event::reset() { qk_platform_event_reset(event_); }
void Event::wait() { qk_platform_event_wait(event_); }
bool Event::isSet() const { return qk_platform_event_is_set(event_); }

}  // namespace qk
