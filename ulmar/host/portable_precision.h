// Results of mathematics functions that are the same whatever library computes them.
#pragma once

#include <cmath>

namespace ulmar {

/// The value with 40 bits of precision. Mathematics libraries differ in the last of 53
/// bits; what is computed from the rounded value does not depend on the library.
inline double withPortablePrecision(double value) {
  constexpr int kBits = 40;
  int exponent = 0;
  const double mantissa = std::frexp(value, &exponent);
  return std::ldexp(std::nearbyint(std::ldexp(mantissa, kBits)), exponent - kBits);
}

}  // namespace ulmar
