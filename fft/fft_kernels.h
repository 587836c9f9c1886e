// The passes of the engine's transforms: radix 2, decimation in frequency
// (Gentleman & Sande 1966). Every butterfly is
//   a' = a + b,   b' = (a - b) w
// with w = e^(-2 pi i k / n) forward and its conjugate inverse, in double precision and
// without contraction; a body may reorder butterflies but not what happens in one.
#pragma once

#include "base/host_long.h"
#include "fft/fft.h"

namespace ulmar {

/// One pass over `groups` groups of 2 `span` values each, from `in` to `out` (which may
/// be one array). Butterfly i of a group takes twiddle i * stride.
void forwardPass(cmplxFFT const* in, cmplxFFT* out, cmplxFFT const* twiddles,
                 int groups, int span, int stride) noexcept;

/// The same in place with the conjugate twiddles.
void inversePass(cmplxFFT* data, cmplxFFT const* twiddles, int groups, int span,
                 int stride) noexcept;

/// The last forward pass: span 1, whose twiddle is 1, in place over numPoints values.
void lastForwardPass(cmplxFFT* data, int numPoints) noexcept;

/// Splits the half-size transform z of a real signal, z[j] = x[2j] + i x[2j + 1], into
/// the packed half spectrum of x: out[k] = scale X[k]. z stands in bit-reversed order;
/// bitRev is the table of the full size n = 2 half.
void splitReal(double scale, cmplxFFT const* z, cmplxFFT* out, cmplxFFT const* twiddles,
               HostLong const* bitRev, int half) noexcept;

/// The inverse's last pass and its way back to natural order: real parts only, scaled.
/// Leaves the sums in data's real parts.
void lastInversePass(cmplxFFT* data, double* out, HostLong const* bitRev, double factor,
                     int numPoints) noexcept;

}  // namespace ulmar
