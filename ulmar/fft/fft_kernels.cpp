// The scalar passes, which are the reference for every other body, and the choice of a
// body.
#include "ulmar/fft/fft_kernels.h"

#include "ulmar/base/butterfly.h"

namespace ulmar {
namespace {

void forwardPair(cmplxFFT const* in, cmplxFFT* out, cmplxFFT const* twiddles,
                 int groups, int q, int stride) noexcept {
  const int numPoints = 4 * q * groups;
  butterflyPass(in, out, twiddles, numPoints, 2 * q, stride, times<cmplxFFT>);
  butterflyPass(out, out, twiddles, numPoints, q, 2 * stride, times<cmplxFFT>);
}

void forwardLast(cmplxFFT const* in, cmplxFFT* out, cmplxFFT const* twiddles,
                 int numPoints, int numPasses, int stride) noexcept {
  for (int span = 1 << (numPasses - 1); span > 1; span /= 2) {
    butterflyPass(in, out, twiddles, numPoints, span, stride, times<cmplxFFT>);
    in = out;
    stride *= 2;
  }
  lastPass(out, numPoints);
}

void splitReal(double scale, cmplxFFT const* z, cmplxFFT* out, cmplxFFT const* twiddles,
               HostLong const* bitRev, int half) noexcept {
  out[0] = {(z[0].re + z[0].im) * scale, (z[0].re - z[0].im) * scale};
  const double halfScale = scale * 0.5;
  for (int k = 1; k < half; ++k) {
    // The reversal over log2 n bits is even for k < n/2, and half of it is the reversal
    // over the log2 n - 1 bits of the half-size transform.
    const cmplxFFT a = z[bitRev[k] >> 1];
    const cmplxFFT b = z[bitRev[half - k] >> 1];
    const auto [c, s] = twiddles[k];
    out[k].re = ((a.re + b.re) + s * (a.re - b.re) + c * (a.im + b.im)) * halfScale;
    out[k].im = ((a.im - b.im) + s * (a.im + b.im) - c * (a.re - b.re)) * halfScale;
  }
}

void inversePair(cmplxFFT* data, cmplxFFT const* twiddles, int groups, int q,
                 int stride) noexcept {
  const int numPoints = 4 * q * groups;
  const auto product = timesConjugate<cmplxFFT>;
  butterflyPass(data, data, twiddles, numPoints, 2 * q, stride, product);
  butterflyPass(data, data, twiddles, numPoints, q, 2 * stride, product);
}

void inverseFirst(cmplxFFT const* packed, cmplxFFT* out, cmplxFFT const* twiddles,
                  int numPoints) noexcept {
  unpackSpectrum(packed, out, numPoints);
  const auto product = timesConjugate<cmplxFFT>;
  butterflyPass(out, out, twiddles, numPoints, numPoints / 2, 1, product);
  butterflyPass(out, out, twiddles, numPoints, numPoints / 4, 2, product);
}

void inverseLast(cmplxFFT* data, double* out, cmplxFFT const* twiddles,
                 HostLong const* bitRev, double factor, int numPoints,
                 int numPasses) noexcept {
  int stride = numPoints >> numPasses;
  for (int span = 1 << (numPasses - 1); span > 1; span /= 2) {
    butterflyPass(data, data, twiddles, numPoints, span, stride,
                  timesConjugate<cmplxFFT>);
    stride *= 2;
  }
  for (int k = 0; k < numPoints; k += 2) {
    const double a = data[k].re;
    const double b = data[k + 1].re;
    out[bitRev[k]] = (a + b) * factor;
    out[bitRev[k + 1]] = (a - b) * factor;
  }
}

}  // namespace

constinit const FftKernels kFftScalar = {forwardPair,  forwardLast, splitReal,
                                         inverseFirst, inversePair, inverseLast};

void unpackSpectrum(cmplxFFT const* packed, cmplxFFT* full, int numPoints) noexcept {
  const int half = numPoints / 2;
  full[0] = {packed[0].re, 0.0};
  full[half] = {packed[0].im, 0.0};
  for (int k = 1; k < half; ++k) {
    full[k] = packed[k];
    full[numPoints - k] = {packed[k].re, -packed[k].im};
  }
}

const FftKernels& fftKernelsFor(Isa isa) noexcept {
  switch (isa) {
    case Isa::avx512:
      return kFftAvx512;
    case Isa::avx:
      return kFftAvx;
    case Isa::sse2:
      return kFftSse2;
    case Isa::scalar:
      break;
  }
  return kFftScalar;
}

}  // namespace ulmar
