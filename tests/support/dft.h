// The definition of the discrete Fourier transform, in the 64 bits of the x87's
// precision, and how far a transform is from it.
#pragma once

#include <cmath>
#include <complex>
#include <cstdint>
#include <numbers>
#include <vector>

#include "tests/support/at.h"

namespace ulmar::test {

using Complex = std::complex<long double>;
using Spectrum = std::vector<Complex>;

/// e^(sign 2 pi i k / n), sign 1 or -1.
inline Complex unit(std::int64_t k, int n, int sign) {
  const long double angle =
      2 * std::numbers::pi_v<long double> * static_cast<long double>(k % n) / n;
  return {std::cos(angle), static_cast<long double>(sign) * std::sin(angle)};
}

inline Spectrum directDft(const Spectrum& x, int sign = -1) {
  const int n = static_cast<int>(x.size());
  Spectrum units;
  for (int k = 0; k < n; ++k) units.push_back(unit(k, n, sign));
  Spectrum result(x.size());
  for (int k = 0; k < n; ++k) {
    for (int j = 0; j < n; ++j) {
      at(result, k) += at(x, j) * at(units, static_cast<int>(std::int64_t{j} * k % n));
    }
  }
  return result;
}

/// The 2-norm of a - b, relative to that of b.
inline long double distance(const Spectrum& a, const Spectrum& b) {
  long double error = 0;
  long double norm = 0;
  for (std::size_t k = 0; k < b.size(); ++k) {
    error += std::norm(a[k] - b[k]);
    norm += std::norm(b[k]);
  }
  return std::sqrt(error / norm);
}

}  // namespace ulmar::test
