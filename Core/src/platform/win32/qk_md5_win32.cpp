// qk::Md5 on Windows: the system's hashing API (bcrypt) computes the digest, so the Windows build
// needs no OpenSSL. The algorithm provider is opened once for the process and kept; each object
// holds a hash, made again after each digest.
#include <windows.h>
// bcrypt.h needs the types of windows.h.
#include <bcrypt.h>

#include "qk/Md5.h"
#include "qk_memory.h"

namespace qk {

namespace {

BCRYPT_ALG_HANDLE md5_provider() {
  static const BCRYPT_ALG_HANDLE provider = [] {
    BCRYPT_ALG_HANDLE handle = nullptr;
    if (BCryptOpenAlgorithmProvider(&handle, BCRYPT_MD5_ALGORITHM, nullptr, 0) < 0)
      return BCRYPT_ALG_HANDLE(nullptr);
    return handle;
  }();
  return provider;
}

void* new_hash() {
  BCRYPT_HASH_HANDLE hash = nullptr;
  const BCRYPT_ALG_HANDLE provider = md5_provider();
  if (!provider || BCryptCreateHash(provider, &hash, nullptr, 0, nullptr, 0, 0) < 0)
    qk_out_of_memory("BCryptCreateHash", sizeof(void*));
  return hash;
}

}  // namespace

Md5::Md5() : context_(new_hash()) {}

Md5::~Md5() { BCryptDestroyHash(static_cast<BCRYPT_HASH_HANDLE>(context_)); }

void Md5::update(const void* data, size_t size) {
  auto* bytes = static_cast<unsigned char*>(const_cast<void*>(data));
  while (size > 0) {  // the call takes at most 4 GiB at a time
    const ULONG chunk = size > 0x40000000 ? 0x40000000 : ULONG(size);
    BCryptHashData(static_cast<BCRYPT_HASH_HANDLE>(context_), bytes, chunk, 0);
    bytes += chunk;
    size -= chunk;
  }
}

void Md5::finish(char (&hex)[33]) {
  unsigned char digest[16] = {};
  BCryptFinishHash(static_cast<BCRYPT_HASH_HANDLE>(context_), digest, sizeof digest, 0);
  static const char kDigits[] = "0123456789abcdef";
  for (unsigned i = 0; i < 16; ++i) {
    hex[2 * i] = kDigits[digest[i] >> 4];
    hex[2 * i + 1] = kDigits[digest[i] & 15];
  }
  hex[32] = 0;
  BCryptDestroyHash(static_cast<BCRYPT_HASH_HANDLE>(context_));
  context_ = new_hash();
}

}  // namespace qk
