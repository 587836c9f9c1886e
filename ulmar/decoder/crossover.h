// Two-band split by the sum and difference of two all-pass sections fed in parallel:
//   A(z) = (c1 + z^-1) / (1 + c1 z^-1),
//   B(z) = (c2 + d2 z^-1 + z^-2) / (1 + d2 z^-1 + c2 z^-2),
//   low = (A + B) / 2,  high = (B - A) / 2.
// low + high = B, an all-pass version of the input. A third-order Butterworth low-pass
// decomposes into exactly this pair (Regalia, Mitra & Vaidyanathan, "The Digital
// All-Pass Filter", Proc. IEEE 76, 1988).
#pragma once

#include <cstddef>

#include "ulmar/base/export.h"

/// Coefficients. Stable for |c1| < 1, |c2| < 1 and |d2| < 1 + c2.
template <typename Sample>
struct cApXOverCfs {
  Sample c1;
  Sample c2;
  Sample d2;
};
static_assert(sizeof(cApXOverCfs<float>) == 12 &&
              offsetof(cApXOverCfs<float>, d2) == 8);

/// State of one signal's split; zero is silence. The unused words keep what they hold.
template <typename Sample>
struct sApXOverSts {
  Sample x1;  // input one sample back, shared by both sections
  Sample y1;  // A's output one sample back
  Sample unused3;
  Sample x2;  // input two samples back
  Sample z2;  // B's output two samples back
  Sample z1;  // B's output one sample back
  Sample unused7;
};
static_assert(sizeof(sApXOverSts<float>) == 28 &&
              offsetof(sApXOverSts<float>, y1) == 4 &&
              offsetof(sApXOverSts<float>, x2) == 12 &&
              offsetof(sApXOverSts<float>, z2) == 16 &&
              offsetof(sApXOverSts<float>, z1) == 20);

/// Splits one sample and advances the state. The products of a coefficient with a
/// stored value, and the sum of the two recursive products of B, are in single
/// precision; all else is in double precision. The bands are computed from A and B
/// before these are rounded to single precision for the state. Real-time safe.
ULMAR_EXPORT void APSplit(double x, double* low, double* high, cApXOverCfs<float>* cfs,
                          sApXOverSts<float>* sts);
