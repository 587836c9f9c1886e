// The raised cosine: half of it fades a response out, the whole windows a pulse.
#pragma once

#include <cmath>
#include <numbers>

namespace ulmar {

/// (1 + cos(pi x)) / 2, for |x| <= 1: 1 at 0, 0 at both ends.
inline double raisedCosine(double x) {
  return 0.5 + 0.5 * std::cos(std::numbers::pi * x);
}

}  // namespace ulmar
