#include "qkvfs/PathTables.h"

#include <algorithm>

namespace qkvfs {

namespace {

__extension__ using uint128 = unsigned __int128;  // the compilers' 128-bit integer

}  // namespace

uint64_t qk_vfs_key_hash(std::string_view key) noexcept {
  uint64_t hash = 0xcbf29ce484222325ull;
  for (const char c : key) {
    hash ^= static_cast<unsigned char>(c);
    hash *= 0x100000001b3ull;
  }
  const uint128 product = static_cast<uint128>(hash) * 0xde5fb9d2630458e9ull;
  return uint64_t(product >> 64) + uint64_t(product);
}

PathTables::PathTables() : files_(kFileRoom), directories_(kDirectoryRoom) {
  slots_.resize(kFirstSlots);
  for (uint32_t n = 0; n < kFirstSlots; ++n) free_.push_back(n);
}

const PathTables::Holders* PathTables::holders(std::string_view key) const {
  const uint32_t* slot = files_.find(key);
  return slot ? &slots_[*slot] : nullptr;
}

bool PathTables::is_directory(std::string_view key) const { return directories_.find(key) != nullptr; }

const std::string* PathTables::directory(std::string_view key) const { return directories_.find(key); }

uint32_t PathTables::take_slot() {
  if (free_.empty()) {
    const size_t old_size = slots_.size();
    const size_t new_size = size_t(float(old_size) * 2.8f);
    slots_.resize(new_size);
    for (size_t n = old_size; n < new_size; ++n) free_.push_back(uint32_t(n));
  }
  const uint32_t slot = free_.front();
  free_.pop_front();
  return slot;
}

void PathTables::add_holder(std::string_view key, Holder holder, bool append) {
  if (const uint32_t* found = files_.find(key)) {
    Holders& list = slots_[*found];
    list.insert(append ? list.end() : list.begin(), holder);
    return;
  }
  const uint32_t slot = take_slot();
  slots_[slot].assign(1, holder);
  files_.insert(key, slot);
}

void PathTables::remove_holders(std::string_view key, const IDriver* driver) {
  const uint32_t* found = files_.find(key);
  if (!found) return;
  const uint32_t slot = *found;
  Holders& list = slots_[slot];
  list.erase(
      std::remove_if(list.begin(), list.end(), [driver](const Holder& h) { return h.driver == driver; }),
      list.end());
  if (!list.empty()) return;
  Holders().swap(list);  // the storage goes with the last holder
  free_.push_back(slot);
  files_.erase(key);
}

void PathTables::add_directory(std::string_view key, std::string_view text) {
  if (!directories_.find(key)) directories_.insert(key, std::string(text));
}

void PathTables::clear_files() {
  files_.clear();
  for (Holders& list : slots_) Holders().swap(list);
  free_.clear();
  for (uint32_t n = 0; n < slots_.size(); ++n) free_.push_back(n);
}

void PathTables::clear() {
  clear_files();
  directories_.clear();
}

}  // namespace qkvfs
