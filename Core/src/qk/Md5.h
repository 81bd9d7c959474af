// Md5: the MD5 digest of RFC 1321 over bytes given piece by piece: from OpenSSL's EVP interface on
// POSIX (qk/Md5.cpp, the one file that includes OpenSSL), from the system's hashing API (bcrypt) on
// Windows (platform/win32/qk_md5_win32.cpp); CMake picks one.
//
// Owned by its user (RAII: the digest context goes with the object); one thread at a time. Out
// of memory for the context ends in qk_out_of_memory; the digest itself can't fail.
#pragma once

#include <cstddef>

namespace qk {

class Md5 {
 public:
  Md5();
  ~Md5();
  Md5(const Md5&) = delete;
  Md5& operator=(const Md5&) = delete;

  void update(const void* data, size_t size);
  // The digest as 32 lower-case hexadecimal digits and a terminator, into `hex`. Ends the
  // digest: the object starts over for new bytes.
  void finish(char (&hex)[33]);

 private:
  void* context_;  // the implementation's digest state
};

}  // namespace qk
