#include "qkvfs/ArchiveHash.h"

namespace qkvfs {

ArchiveHash::ArchiveHash() { blake2b_init(&state_, sizeof(ArchiveDigest)); }

void ArchiveHash::update(const void* data, size_t size) {
  if (size) blake2b_update(&state_, static_cast<const uint8_t*>(data), size);
}

ArchiveDigest ArchiveHash::digest() {
  ArchiveDigest out{};
  blake2b_final(&state_, out.data(), out.size());
  return out;
}

ArchiveDigest ArchiveHash::of(const void* data, size_t size) {
  ArchiveHash hash;
  hash.update(data, size);
  return hash.digest();
}

}  // namespace qkvfs
