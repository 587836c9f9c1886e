// Scalar passes: the reference for every other body. And the choice among them.
#include "ulmar/fft/fft_kernels.h"

namespace ulmar {
namespace {

cmplxFFT sum(cmplxFFT a, cmplxFFT b) noexcept { return {a.re + b.re, a.im + b.im}; }

cmplxFFT difference(cmplxFFT a, cmplxFFT b) noexcept {
  return {a.re - b.re, a.im - b.im};
}

cmplxFFT times(cmplxFFT d, cmplxFFT w) noexcept {
  return {w.re * d.re - w.im * d.im, w.im * d.re + w.re * d.im};
}

cmplxFFT timesConjugate(cmplxFFT d, cmplxFFT w) noexcept {
  return {w.re * d.re + w.im * d.im, w.re * d.im - w.im * d.re};
}

template <typename Product>
void butterflyPass(cmplxFFT const* in, cmplxFFT* out, cmplxFFT const* twiddles,
                   int groups, int span, int stride, Product product) noexcept {
  for (int group = 0; group < groups; ++group) {
    const int base = 2 * span * group;
    for (int i = 0; i < span; ++i) {
      const cmplxFFT a = in[base + i];
      const cmplxFFT b = in[base + i + span];
      out[base + i] = sum(a, b);
      out[base + i + span] = product(difference(a, b), twiddles[i * stride]);
    }
  }
}

void forwardPair(cmplxFFT const* in, cmplxFFT* out, cmplxFFT const* twiddles,
                 int groups, int q, int stride) noexcept {
  butterflyPass(in, out, twiddles, groups, 2 * q, stride, times);
  butterflyPass(out, out, twiddles, 2 * groups, q, 2 * stride, times);
}

void forwardLast(cmplxFFT const* in, cmplxFFT* out, cmplxFFT const* twiddles,
                 int numPoints, int numPasses, int stride) noexcept {
  for (int span = 1 << (numPasses - 1); span > 1; span /= 2) {
    butterflyPass(in, out, twiddles, numPoints / (2 * span), span, stride, times);
    in = out;
    stride *= 2;
  }
  for (int k = 0; k < numPoints; k += 2) {
    const cmplxFFT a = out[k];
    const cmplxFFT b = out[k + 1];
    out[k] = sum(a, b);
    out[k + 1] = difference(a, b);
  }
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

void inverseFirst(cmplxFFT const* packed, cmplxFFT* out, cmplxFFT const* twiddles,
                  int numPoints) noexcept {
  unpackSpectrum(packed, out, numPoints);
  butterflyPass(out, out, twiddles, 1, numPoints / 2, 1, timesConjugate);
  butterflyPass(out, out, twiddles, 2, numPoints / 4, 2, timesConjugate);
}

void inversePair(cmplxFFT* data, cmplxFFT const* twiddles, int groups, int q,
                 int stride) noexcept {
  butterflyPass(data, data, twiddles, groups, 2 * q, stride, timesConjugate);
  butterflyPass(data, data, twiddles, 2 * groups, q, 2 * stride, timesConjugate);
}

void inverseLast(cmplxFFT* data, double* out, cmplxFFT const* twiddles,
                 HostLong const* bitRev, double factor, int numPoints,
                 int numPasses) noexcept {
  int stride = numPoints >> numPasses;
  for (int span = 1 << (numPasses - 1); span > 1; span /= 2) {
    butterflyPass(data, data, twiddles, numPoints / (2 * span), span, stride,
                  timesConjugate);
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
