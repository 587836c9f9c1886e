// Results of mathematics functions that hardly ever depend on the library that computes
// them.
#pragma once

#include <cmath>

namespace ulmar {

/// The value rounded to 40 bits of precision. Mathematics libraries differ in the last
/// of 53 bits. Two neighbours of 53 bits give the same value unless a rounding boundary
/// lies between them, as it does for one pair in 2^13.
inline double withPortablePrecision(double value) {
  constexpr int kBits = 40;
  int exponent = 0;
  const double mantissa = std::frexp(value, &exponent);
  return std::ldexp(std::nearbyint(std::ldexp(mantissa, kBits)), exponent - kBits);
}

}  // namespace ulmar
