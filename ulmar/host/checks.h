// Range and finiteness checks. They throw Error.
#pragma once

#include <cmath>
#include <cstdint>

#include "ulmar/host/error.h"

namespace ulmar::host {

inline void checkRange(const char* name, std::int64_t value, std::int64_t low,
                       std::int64_t high) {
  if (value < low || value > high) {
    fail("the ", name, " is ", value, ", and the limits are ", low, " and ", high);
  }
}

inline void checkFinite(const char* name, float value) {
  if (!std::isfinite(value)) fail("the ", name, " is ", value, ", and must be finite");
}

}  // namespace ulmar::host
