// Scalar passes: the reference for every other body.
#include "fft/fft_kernels.h"

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

}  // namespace

void forwardPass(cmplxFFT const* in, cmplxFFT* out, cmplxFFT const* twiddles,
                 int groups, int span, int stride) noexcept {
  for (int group = 0; group < groups; ++group) {
    const int base = 2 * span * group;
    for (int i = 0; i < span; ++i) {
      const cmplxFFT a = in[base + i];
      const cmplxFFT b = in[base + i + span];
      out[base + i] = sum(a, b);
      out[base + i + span] = times(difference(a, b), twiddles[i * stride]);
    }
  }
}

void inversePass(cmplxFFT* data, cmplxFFT const* twiddles, int groups, int span,
                 int stride) noexcept {
  for (int group = 0; group < groups; ++group) {
    const int base = 2 * span * group;
    for (int i = 0; i < span; ++i) {
      const cmplxFFT a = data[base + i];
      const cmplxFFT b = data[base + i + span];
      data[base + i] = sum(a, b);
      data[base + i + span] = timesConjugate(difference(a, b), twiddles[i * stride]);
    }
  }
}

void lastForwardPass(cmplxFFT* data, int numPoints) noexcept {
  for (int k = 0; k < numPoints; k += 2) {
    const cmplxFFT a = data[k];
    const cmplxFFT b = data[k + 1];
    data[k] = sum(a, b);
    data[k + 1] = difference(a, b);
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

void lastInversePass(cmplxFFT* data, double* out, HostLong const* bitRev, double factor,
                     int numPoints) noexcept {
  for (int k = 0; k < numPoints; k += 2) {
    const double a = data[k].re;
    const double b = data[k + 1].re;
    data[k].re = a + b;
    data[k + 1].re = a - b;
  }
  for (int k = 0; k < numPoints; ++k) out[bitRev[k]] = data[k].re * factor;
}

}  // namespace ulmar
