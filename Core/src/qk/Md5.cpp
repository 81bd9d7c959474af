#include "qk/Md5.h"

#include <openssl/evp.h>

#include "qk_memory.h"

namespace qk {

namespace {

EVP_MD_CTX* evp(void* context) { return static_cast<EVP_MD_CTX*>(context); }

}  // namespace

Md5::Md5() : context_(EVP_MD_CTX_new()) {
  if (!context_) qk_out_of_memory("EVP_MD_CTX_new", sizeof(void*));
  EVP_DigestInit_ex(evp(context_), EVP_md5(), nullptr);
}

Md5::~Md5() { EVP_MD_CTX_free(evp(context_)); }

void Md5::update(const void* data, size_t size) {
  if (size) EVP_DigestUpdate(evp(context_), data, size);
}

void Md5::finish(char (&hex)[33]) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned int size = 0;
  EVP_DigestFinal_ex(evp(context_), digest, &size);
  static const char kDigits[] = "0123456789abcdef";
  for (unsigned i = 0; i < 16; ++i) {
    hex[2 * i] = kDigits[digest[i] >> 4];
    hex[2 * i + 1] = kDigits[digest[i] & 15];
  }
  hex[32] = 0;
  EVP_DigestInit_ex(evp(context_), EVP_md5(), nullptr);
}

}  // namespace qk
