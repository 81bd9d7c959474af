// Event: a manual-reset event, for one thread waiting on one answer of another.
//
// Once set it stays set, and every wait returns at once, until it is reset. An Event is made (with
// its initial state), waited on, set, reset and closed; a default-constructed or closed Event is
// none, the state that a handle of all ones stands for; so is one the system couldn't make. It is
// the system's event (platform/qk_sync.h): an event object on Windows, a mutex, a condition
// variable and a flag on POSIX. Set, reset and wait may be called from any thread; make and close
// belong to the owner, while nobody waits. Closed by the destructor.
#pragma once

#include <utility>

#include "platform/qk_sync.h"

namespace qk {

class Event {
 public:
  Event() noexcept = default;
  explicit Event(bool initial) { make(initial); }
  ~Event() { close(); }
  Event(Event&& other) noexcept : event_(std::exchange(other.event_, nullptr)) {}
  Event& operator=(Event&& other) noexcept {
    if (this != &other) {
      close();
      event_ = std::exchange(other.event_, nullptr);
    }
    return *this;
  }

  // Makes the event, set or not; a made event is closed first.
  void make(bool initial);
  void close() noexcept;
  bool valid() const noexcept { return event_ != nullptr; }

  void set();
  void reset();
  // Waits, with no time-out, until the event is set.
  void wait();
  bool isSet() const;

 private:
  qk_platform_event event_ = nullptr;
};

}  // namespace qk
