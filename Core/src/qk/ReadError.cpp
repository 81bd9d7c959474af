#include "qk/ReadError.h"

#include <zlib.h>
#include <zstd.h>

namespace qk {

ReadFormatError::ReadFormatError() : ReadError("Not enough input data") {}

ZlibError::ZlibError(int32_t code, const char* text) : ReadError(text ? text : zError(code)), code_(code) {}

ZstdError::ZstdError(size_t code) : ReadError(ZSTD_getErrorName(code)), code_(code) {}

}  // namespace qk
