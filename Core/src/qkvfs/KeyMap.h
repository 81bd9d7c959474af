// KeyMap<Value>: path keys to values in one open-addressed array, the inner form of the Manager's
// two tables (PathTables.h).
//
// A look-up is one hash of the key (qk_vfs_key_hash) and a linear probe: each slot keeps the key's
// full hash, so a probe reads the key's bytes only when the hashes agree, and the bytes lie back to
// back in one text of the map's own. That keeps a look-up at about two cache lines and free of
// allocation, where a node-based map costs a bucket, a node and the key's own block. The array has
// a power-of-two size and is kept at most 7/8 full (removed slots count until the next growth,
// which also drops the removed keys' bytes). Iteration order is unspecified.
//
// Not synchronised: the Manager's lock guards every call.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qkvfs {

// The hash of a key, as both tables take it: 64-bit FNV-1a of its bytes, multiplied by
// 0xde5fb9d2630458e9 to 128 bits, the two halves added.
uint64_t qk_vfs_key_hash(std::string_view key) noexcept;

template <class Value>
class KeyMap {
 public:
  // Room for `room` keys before the first growth.
  explicit KeyMap(size_t room) { rebuild(capacity_for(room)); }

  Value* find(std::string_view key) { return slot_value(locate(key, qk_vfs_key_hash(key))); }
  const Value* find(std::string_view key) const {
    return const_cast<KeyMap*>(this)->slot_value(
        const_cast<KeyMap*>(this)->locate(key, qk_vfs_key_hash(key)));
  }

  // Adds the key with `value` unless it is present; the value in the map, and whether it was added.
  std::pair<Value*, bool> insert(std::string_view key, Value value) {
    const uint64_t hash = qk_vfs_key_hash(key);
    if (Slot* found = locate(key, hash)) return {&found->value, false};
    if ((live_ + gone_ + 1) * 8 > slots_.size() * 7) rebuild(capacity_for(live_ + 1));
    Slot& slot = free_slot(hash);
    slot.hash = hash;
    slot.offset = uint32_t(keys_.size());
    slot.length = uint32_t(key.size());
    slot.state = kFull;
    slot.value = std::move(value);
    keys_.append(key);
    ++live_;
    return {&slot.value, true};
  }

  bool erase(std::string_view key) {
    Slot* slot = locate(key, qk_vfs_key_hash(key));
    if (!slot) return false;
    slot->state = kGone;
    slot->value = Value();
    --live_;
    ++gone_;
    return true;
  }

  void clear() {
    for (Slot& slot : slots_) slot = Slot();
    keys_.clear();
    live_ = gone_ = 0;
  }

  size_t size() const { return live_; }

  // Calls fn(key, value) for every key.
  template <class Fn>
  void for_each(Fn&& fn) const {
    for (const Slot& slot : slots_)
      if (slot.state == kFull) fn(std::string_view(keys_.data() + slot.offset, slot.length), slot.value);
  }

 private:
  enum State : uint8_t { kEmpty, kFull, kGone };

  struct Slot {
    uint64_t hash = 0;
    uint32_t offset = 0;
    uint32_t length = 0;
    State state = kEmpty;
    Value value{};
  };

  // The smallest power of two that holds `keys` at 7/8 load, at least 16.
  static size_t capacity_for(size_t keys) {
    size_t capacity = 16;
    while (capacity * 7 < keys * 8) capacity *= 2;
    return capacity;
  }

  Slot* locate(std::string_view key, uint64_t hash) {
    const size_t mask = slots_.size() - 1;
    for (size_t i = size_t(hash) & mask;; i = (i + 1) & mask) {
      Slot& slot = slots_[i];
      if (slot.state == kEmpty) return nullptr;
      if (slot.state == kFull && slot.hash == hash && slot.length == key.size() &&
          std::memcmp(keys_.data() + slot.offset, key.data(), key.size()) == 0)
        return &slot;
    }
  }

  Slot& free_slot(uint64_t hash) {
    const size_t mask = slots_.size() - 1;
    size_t i = size_t(hash) & mask;
    while (slots_[i].state == kFull) i = (i + 1) & mask;
    if (slots_[i].state == kGone) --gone_;
    return slots_[i];
  }

  static Value* slot_value(Slot* slot) { return slot ? &slot->value : nullptr; }

  // Moves every live key into an array of `capacity` slots and a compacted text.
  void rebuild(size_t capacity) {
    if (capacity < slots_.size()) capacity = slots_.size();
    std::vector<Slot> old;
    old.swap(slots_);
    std::string old_keys;
    old_keys.swap(keys_);
    slots_.resize(capacity);
    keys_.reserve(old_keys.size());
    live_ = gone_ = 0;
    for (Slot& slot : old) {
      if (slot.state != kFull) continue;
      Slot& moved = free_slot(slot.hash);
      moved = std::move(slot);
      moved.offset = uint32_t(keys_.size());
      keys_.append(old_keys, slot.offset, slot.length);
      ++live_;
    }
  }

  std::vector<Slot> slots_;
  std::string keys_;
  size_t live_ = 0;
  size_t gone_ = 0;
};

}  // namespace qkvfs
