// The half period of a cosine by which responses fade and pulses are windowed.
#pragma once

#include <cmath>
#include <numbers>

namespace ulmar {

/// 1 at 0, 1/2 at +-1/2, 0 at +-1, where it is flat as at 0.
inline double raisedCosine(double x) {
  return 0.5 + 0.5 * std::cos(std::numbers::pi * x);
}

}  // namespace ulmar
