// Event: a manual-reset event, for one thread waiting on one answer of another.
//
// Once set it stays set, and every wait returns at once, until it is reset. An Event is made (with
// its initial state), waited on, set, reset and closed; a default-constructed or closed Event is
// none, the state that a handle of all ones stands for. On POSIX it is a mutex, a condition
// variable and a flag. Set, reset and wait may be called from any thread; make and close belong to
// the owner, while nobody waits. Closed by the destructor.
#pragma once

#include <condition_variable>
#include <memory>
#include <mutex>

namespace qk {

class Event {
 public:
  Event() noexcept = default;
  explicit Event(bool initial) { make(initial); }
  ~Event() = default;
  Event(Event&&) noexcept = default;
  Event& operator=(Event&&) noexcept = default;

  // Makes the event, set or not; a made event is closed first.
  void make(bool initial);
  void close() noexcept { state_.reset(); }
  bool valid() const noexcept { return state_ != nullptr; }

  void set();
  void reset();
  // Waits, with no time-out, until the event is set.
  void wait();
  bool isSet() const;

 private:
  struct State {
    mutable std::mutex lock;
    std::condition_variable changed;
    bool set;
  };
  std::unique_ptr<State> state_;
};

}  // namespace qk
