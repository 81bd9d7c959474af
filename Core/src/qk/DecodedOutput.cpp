#include "qk/DecodedOutput.h"

#include <cstdlib>

#include "qk_memory.h"

namespace qk {

DecodedOutput::~DecodedOutput() { std::free(area_); }

DecodedOutput::Area* DecodedOutput::area() {
  if (!area_) {
    area_ = static_cast<Area*>(qk_malloc(sizeof(Area) + chunkSize_));
    area_->cursor = 0;
    area_->end = 0;
  }
  return area_;
}

}  // namespace qk
