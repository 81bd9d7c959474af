#include "qk/DecodedOutput.h"

#include <cstdlib>

#include "qk_memory.h"

namespace qk {

DecodedOutput::~DecodedOutput() { std::free(area_); }

DecodedOutput::Area* DecodedOutput::area() {
  if (!area_) {
    area_ = static_cast<Area*>(qk_malloc(sizeof(Area) + chunkSize_));
    if (area_) *area_ = Area{0, 0};  // else the out-of-memory report has returned
  }
  return area_;
}

}  // namespace qk
