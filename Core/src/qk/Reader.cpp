#include "qk/Reader.h"

namespace qk {

Reader::~Reader() = default;

void Reader::release() { delete this; }

const char* Reader::name() { return ""; }

}  // namespace qk
