// The passes of the engine's transforms: radix 2, decimation in frequency
// (Gentleman & Sande 1966). A pass of span h works on groups of 2h values; its
// butterfly i, between elements i and i + h of a group, is
//   a' = a + b,   b' = (a - b) w_i
// with w_i = twiddles[i stride] forward and its conjugate inverse, and
//   d w = (wr dr - wi di, wi dr + wr di),   d conj(w) = (wr dr + wi di, wr di - wi dr),
// in double precision, without fused multiply-add. A kernel runs two or three passes in
// one walk over memory. A body may take the butterflies of a pass in any order; as the
// operations within a butterfly are fixed, all bodies return the same bits. Only the
// payload of a NaN may differ.
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

  /// The real-FFT post-pass: turns the half-size transform z of a real signal, that of
  /// x[2j] + i x[2j + 1], into the packed half spectrum of x: out[k] = scale X[k]. z
  /// stands in bit-reversed order; bitRev is the table of the full size n = 2 half.
  void (*splitReal)(double scale, cmplxFFT const* z, cmplxFFT* out,
                    cmplxFFT const* twiddles, HostLong const* bitRev,
                    int half) noexcept;

  /// Reads a packed spectrum of n/2 values, extends it to the full spectrum of n by
  /// conjugate symmetry, and writes it to `out` after its first two inverse passes,
  /// spans n/2 and n/4. n = numPoints >= 16.
  void (*inverseFirst)(cmplxFFT const* packed, cmplxFFT* out, cmplxFFT const* twiddles,
                       int numPoints) noexcept;

  /// forwardPair with conjugate twiddles, in place.
  void (*inversePair)(cmplxFFT* data, cmplxFFT const* twiddles, int groups, int q,
                      int stride) noexcept;

  /// The last numPasses (2 or 3) inverse passes, of which only the real parts are kept
  /// and brought to natural order: out[bitRev[k]] = factor Re data[k]. Destroys data.
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
