// ArchiveHash: the 32-byte digest a .qkpk archive keeps for each file's content: BLAKE2b with a
// 32-byte output and no key (the "BLAKE2b-256" of libb2 and of Python's hashlib.blake2b with
// digest_size=32), over the file's bytes after decompression.
//
// The reader of the format carries digests and never looks at them; the writer fills them and
// `qkmt verify` checks them. Feed the bytes in any pieces, then take the digest once.
// Ownership: a plain value. Threads: one at a time per object.
#pragma once

#include <blake2.h>

#include <cstddef>

#include "qkvfs/ArchiveIndex.h"

namespace qkvfs {

class ArchiveHash {
 public:
  ArchiveHash();
  void update(const void* data, size_t size);
  ArchiveDigest digest();

  // The digest of one run of bytes.
  static ArchiveDigest of(const void* data, size_t size);

 private:
  blake2b_state state_;
};

}  // namespace qkvfs
