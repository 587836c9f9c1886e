// The passes of the engine's transforms: radix 2, decimation in frequency
// (Gentleman & Sande 1966). A pass of span h works on groups of 2h values; its
// butterfly i, between elements i and i + h of a group, is
//   a' = a + b,   b' = (a - b) w_i
// with w_i = twiddles[i stride] forward and its conjugate inverse, and
//   d w = (wr dr - wi di, wi dr + wr di),   d conj(w) = (wr dr + wi di, wr di - wi dr),
// in double precision and without contraction. Two or three passes are fused into one
// walk over memory; a body may take butterflies in any order, but what happens in one,
// and so every bit, is the same. Only the payload of a NaN may differ.
#pragma once

#include "ulmar/base/host_long.h"
#include "ulmar/base/isa.h"
#include "ulmar/fft/fft.h"

namespace ulmar {

/// One body. Spectra and tables have the alignment of a double. `in` and `out` are one
/// array or do not overlap.
struct FftKernels {
  /// Passes of span 2q with `stride` and of span q with 2 stride, over `groups` groups
  /// of 4q.
  void (*forwardPair)(cmplxFFT const* in, cmplxFFT* out, cmplxFFT const* twiddles,
                      int groups, int q, int stride) noexcept;

  /// The last numPasses (2 or 3) forward passes, spans (4,) 2 and 1, the first of them
  /// with `stride`. That of span 1 has no twiddle.
  void (*forwardLast)(cmplxFFT const* in, cmplxFFT* out, cmplxFFT const* twiddles,
                      int numPoints, int numPasses, int stride) noexcept;

  /// Splits the half-size transform z of a real signal, z[j] = x[2j] + i x[2j + 1],
  /// into the packed half spectrum of x: out[k] = scale X[k]. z stands in bit-reversed
  /// order; bitRev is the table of the full size n = 2 half.
  void (*splitReal)(double scale, cmplxFFT const* z, cmplxFFT* out,
                    cmplxFFT const* twiddles, HostLong const* bitRev,
                    int half) noexcept;

  /// The first two inverse passes, spans n/2 and n/4, of the full spectrum behind a
  /// packed one of n/2 values, to `out`. n = numPoints >= 16.
  void (*inverseFirst)(cmplxFFT const* packed, cmplxFFT* out, cmplxFFT const* twiddles,
                       int numPoints) noexcept;

  /// forwardPair with conjugate twiddles, in place.
  void (*inversePair)(cmplxFFT* data, cmplxFFT const* twiddles, int groups, int q,
                      int stride) noexcept;

  /// The last numPasses (2 or 3) inverse passes and the way back to natural order: real
  /// parts only, out[bitRev[k]] = factor Re data[k]. May leave anything in data.
  void (*inverseLast)(cmplxFFT* data, double* out, cmplxFFT const* twiddles,
                      HostLong const* bitRev, double factor, int numPoints,
                      int numPasses) noexcept;
};

extern const FftKernels kFftScalar;
extern const FftKernels kFftSse2;
extern const FftKernels kFftAvx;
extern const FftKernels kFftAvx512;

/// Writes the numPoints values of the full, conjugate symmetric spectrum.
void unpackSpectrum(cmplxFFT const* packed, cmplxFFT* full, int numPoints) noexcept;

/// Fewest points of a complex transform that the vector bodies take.
inline constexpr int kMinVectorPoints = 32;

const FftKernels& fftKernelsFor(Isa isa) noexcept;

/// The body for this processor and a complex transform of numPoints. Ask once per
/// transform.
inline const FftKernels& fftKernels(int numPoints) noexcept {
  return fftKernelsFor(numPoints < kMinVectorPoints ? Isa::scalar : bestIsa());
}

}  // namespace ulmar
