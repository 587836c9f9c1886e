#include "ulmar/host/crossover_design.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "ulmar/host/error.h"
#include "ulmar/host/portable_precision.h"

namespace ulmar::host {

cApXOverCfs<float> designCrossover(double frequency, double sampleRate) {
  const double least = sampleRate / 1000.0;
  if (!(frequency >= least && frequency <= 0.5 * sampleRate - least)) {
    fail("the crossover is at ", frequency, " Hz, and at a sample rate of ", sampleRate,
         " Hz the limits are ", least, " and ", 0.5 * sampleRate - least, " Hz");
  }
  const double k =
      withPortablePrecision(std::tan(std::numbers::pi * frequency / sampleRate));
  const double scale = 1.0 / (1.0 + k + k * k);
  return {static_cast<float>((k - 1.0) / (k + 1.0)),
          static_cast<float>((1.0 - k + k * k) * scale),
          static_cast<float>(2.0 * (k * k - 1.0) * scale)};
}

void checkCrossover(const cApXOverCfs<float>& cfs) {
  const auto [c1, c2, d2] = cfs;
  // In double precision, so that the sum is exact.
  const bool stable = std::fabs(c1) < 1.0F && std::fabs(c2) < 1.0F &&
                      std::fabs(double{d2}) < 1.0 + double{c2};
  if (stable) return;
  fail("the crossover's coefficients c1, c2 and d2 are ", c1, ", ", c2, " and ", d2,
       ", and are stable only with |c1| < 1, |c2| < 1 and |d2| < 1 + c2");
}

int crossoverTail(const cApXOverCfs<float>& cfs) {
  // The poles: -c1 and the roots of z^2 + d2 z + c2.
  const double half = 0.5 * double{cfs.d2};
  const double discriminant = half * half - double{cfs.c2};
  const double pair = discriminant < 0.0 ? std::sqrt(double{cfs.c2})
                                         : std::fabs(half) + std::sqrt(discriminant);
  const double radius = std::max(std::fabs(double{cfs.c1}), pair);
  constexpr double kDecay = -24.0 * std::numbers::ln2;
  // Without a pole the sections are delays of up to two frames.
  return radius == 0.0 ? 2 : 2 + static_cast<int>(std::ceil(kDecay / std::log(radius)));
}

}  // namespace ulmar::host
