// 128-bit passes: one complex value to a register.
#include <emmintrin.h>

#include "ulmar/fft/fft_kernels.h"

namespace ulmar {
namespace {

__m128d load(cmplxFFT const* value) noexcept { return _mm_loadu_pd(&value->re); }

void store(cmplxFFT* value, __m128d z) noexcept { _mm_storeu_pd(&value->re, z); }

__m128d exchanged(__m128d z) noexcept { return _mm_shuffle_pd(z, z, 1); }

// Changes the sign of the real or of the imaginary part, exactly.
__m128d minusReal(__m128d z) noexcept { return _mm_xor_pd(z, _mm_set_pd(0.0, -0.0)); }
__m128d minusImag(__m128d z) noexcept { return _mm_xor_pd(z, _mm_set_pd(-0.0, 0.0)); }

enum class Direction { forward, inverse };

// One twiddle, each part twice.
template <Direction direction>
struct Twiddle {
  explicit Twiddle(cmplxFFT const* w) noexcept
      : re(_mm_load1_pd(&w->re)), im(_mm_load1_pd(&w->im)) {}

  // The product with the twiddle, or inverse with its conjugate.
  __m128d times(__m128d d) const noexcept {
    const __m128d crossed = _mm_mul_pd(exchanged(d), im);
    return _mm_add_pd(_mm_mul_pd(d, re), direction == Direction::forward
                                             ? minusReal(crossed)
                                             : minusImag(crossed));
  }

  __m128d re;
  __m128d im;
};

// One column of two fused passes over groups of 4q values.
template <Direction direction>
class PairColumn {
 public:
  PairColumn(cmplxFFT const* twiddles, int i, int q, int stride) noexcept
      : w0_(twiddles + i * stride),
        w1_(twiddles + (i + q) * stride),
        w2_(twiddles + 2 * i * stride) {}

  void apply(__m128d a0, __m128d a1, __m128d a2, __m128d a3, cmplxFFT* out,
             int q) const noexcept {
    const __m128d b0 = _mm_add_pd(a0, a2);
    const __m128d b1 = _mm_add_pd(a1, a3);
    const __m128d b2 = w0_.times(_mm_sub_pd(a0, a2));
    const __m128d b3 = w1_.times(_mm_sub_pd(a1, a3));
    store(out, _mm_add_pd(b0, b1));
    store(out + q, w2_.times(_mm_sub_pd(b0, b1)));
    store(out + 2 * q, _mm_add_pd(b2, b3));
    store(out + 3 * q, w2_.times(_mm_sub_pd(b2, b3)));
  }

 private:
  Twiddle<direction> w0_;
  Twiddle<direction> w1_;
  Twiddle<direction> w2_;
};

// Column by column, so that the twiddles of a column serve all groups.
template <Direction direction>
void passPair(cmplxFFT const* in, cmplxFFT* out, cmplxFFT const* twiddles, int groups,
              int q, int stride) noexcept {
  for (int i = 0; i < q; ++i) {
    const PairColumn<direction> column(twiddles, i, q, stride);
    cmplxFFT const* from = in + i;
    cmplxFFT* to = out + i;
    for (int group = 0; group < groups; ++group, from += 4 * q, to += 4 * q) {
      column.apply(load(from), load(from + q), load(from + 2 * q), load(from + 3 * q),
                   to, q);
    }
  }
}

void forwardPair(cmplxFFT const* in, cmplxFFT* out, cmplxFFT const* twiddles,
                 int groups, int q, int stride) noexcept {
  passPair<Direction::forward>(in, out, twiddles, groups, q, stride);
}

void inverseFirst(cmplxFFT const* packed, cmplxFFT* out, cmplxFFT const* twiddles,
                  int numPoints) noexcept {
  const int half = numPoints / 2;
  const int q = numPoints / 4;
  // DC and Nyquist share element 0.
  PairColumn<Direction::inverse>(twiddles, 0, q, 1)
      .apply(_mm_set_pd(0.0, packed[0].re), load(packed + q),
             _mm_set_pd(0.0, packed[0].im), minusImag(load(packed + q)), out, q);
  for (int i = 1; i < q; ++i) {
    PairColumn<Direction::inverse>(twiddles, i, q, 1)
        .apply(load(packed + i), load(packed + i + q),
               minusImag(load(packed + half - i)), minusImag(load(packed + q - i)),
               out + i, q);
  }
}

void inversePair(cmplxFFT* data, cmplxFFT const* twiddles, int groups, int q,
                 int stride) noexcept {
  passPair<Direction::inverse>(data, data, twiddles, groups, q, stride);
}

// The twiddles of the pass of span 4 over eight values.
template <Direction direction>
struct SpanFour {
  SpanFour(cmplxFFT const* twiddles, int stride) noexcept
      : w{Twiddle<direction>(twiddles), Twiddle<direction>(twiddles + stride),
          Twiddle<direction>(twiddles + 2 * stride),
          Twiddle<direction>(twiddles + 3 * stride)} {}

  void apply(cmplxFFT const* in, __m128d (&r)[8]) const noexcept {
    for (int j = 0; j < 4; ++j) {
      const __m128d a = load(in + j);
      const __m128d b = load(in + j + 4);
      r[j] = _mm_add_pd(a, b);
      r[j + 4] = w[j].times(_mm_sub_pd(a, b));
    }
  }

  Twiddle<direction> w[4];
};

// Spans 2 and 1 over four values, forward, to memory. w: of elements 0 and 1.
void lastTwo(cmplxFFT* out, __m128d r0, __m128d r1, __m128d r2, __m128d r3,
             const Twiddle<Direction::forward> (&w)[2]) noexcept {
  const __m128d s0 = _mm_add_pd(r0, r2);
  const __m128d s1 = _mm_add_pd(r1, r3);
  const __m128d d0 = w[0].times(_mm_sub_pd(r0, r2));
  const __m128d d1 = w[1].times(_mm_sub_pd(r1, r3));
  store(out, _mm_add_pd(s0, s1));
  store(out + 1, _mm_sub_pd(s0, s1));
  store(out + 2, _mm_add_pd(d0, d1));
  store(out + 3, _mm_sub_pd(d0, d1));
}

void forwardLast(cmplxFFT const* in, cmplxFFT* out, cmplxFFT const* twiddles,
                 int numPoints, int numPasses, int stride) noexcept {
  using Forward = Twiddle<Direction::forward>;
  if (numPasses == 2) {
    const Forward w[2] = {Forward(twiddles), Forward(twiddles + stride)};
    for (int k = 0; k < numPoints; k += 4) {
      lastTwo(out + k, load(in + k), load(in + k + 1), load(in + k + 2),
              load(in + k + 3), w);
    }
    return;
  }
  const SpanFour<Direction::forward> spanFour(twiddles, stride);
  const Forward w[2] = {Forward(twiddles), Forward(twiddles + 2 * stride)};
  for (int k = 0; k < numPoints; k += 8) {
    __m128d r[8];
    spanFour.apply(in + k, r);
    lastTwo(out + k, r[0], r[1], r[2], r[3], w);
    lastTwo(out + k + 4, r[4], r[5], r[6], r[7], w);
  }
}

// The bin whose half-size values are a = z[k] and b = z[half - k].
__m128d splitBin(__m128d a, __m128d b, cmplxFFT const* w, __m128d halfScale) noexcept {
  const __m128d sum = _mm_add_pd(a, b);
  const __m128d difference = _mm_sub_pd(a, b);
  const __m128d base = _mm_shuffle_pd(sum, difference, 2);
  const __m128d turned = _mm_shuffle_pd(difference, sum, 2);
  const __m128d partial = _mm_add_pd(base, _mm_mul_pd(_mm_load1_pd(&w->im), turned));
  const __m128d rest = _mm_mul_pd(_mm_load1_pd(&w->re), exchanged(turned));
  return _mm_mul_pd(_mm_add_pd(partial, minusImag(rest)), halfScale);
}

void splitReal(double scale, cmplxFFT const* z, cmplxFFT* out, cmplxFFT const* twiddles,
               HostLong const* bitRev, int half) noexcept {
  out[0] = {(z[0].re + z[0].im) * scale, (z[0].re - z[0].im) * scale};
  const __m128d halfScale = _mm_set1_pd(scale * 0.5);
  for (int k = 1; k <= half / 2; ++k) {
    const int mirror = half - k;
    const __m128d a = load(z + (bitRev[k] >> 1));
    const __m128d b = load(z + (bitRev[mirror] >> 1));
    store(out + k, splitBin(a, b, twiddles + k, halfScale));
    store(out + mirror, splitBin(b, a, twiddles + mirror, halfScale));
  }
}

// Real parts of four values after the passes of span 2 and 1: elements 0 and 2, 1
// and 3.
struct RealParts {
  __m128d even;
  __m128d odd;
};

RealParts lastTwoReal(__m128d r0, __m128d r1, __m128d r2, __m128d r3,
                      const Twiddle<Direction::inverse> (&w)[2],
                      __m128d factor) noexcept {
  const __m128d a = _mm_unpacklo_pd(_mm_add_pd(r0, r2), w[0].times(_mm_sub_pd(r0, r2)));
  const __m128d b = _mm_unpacklo_pd(_mm_add_pd(r1, r3), w[1].times(_mm_sub_pd(r1, r3)));
  return {_mm_mul_pd(_mm_add_pd(a, b), factor), _mm_mul_pd(_mm_sub_pd(a, b), factor)};
}

// Writes the parts of a group to their places: elements 0, 1, 2, 3 lie 0, n/2, n/4,
// 3n/4 behind the group's.
void scatter(double* out, const RealParts& p, int numPoints) noexcept {
  _mm_storel_pd(out, p.even);
  _mm_storeh_pd(out + numPoints / 4, p.even);
  _mm_storel_pd(out + numPoints / 2, p.odd);
  _mm_storeh_pd(out + numPoints / 2 + numPoints / 4, p.odd);
}

void inverseLast(cmplxFFT* data, double* out, cmplxFFT const* twiddles,
                 HostLong const* bitRev, double factor, int numPoints,
                 int numPasses) noexcept {
  const int stride = numPoints >> numPasses;
  using Inverse = Twiddle<Direction::inverse>;
  const __m128d f = _mm_set1_pd(factor);
  if (numPasses == 2) {
    const Inverse w[2] = {Inverse(twiddles), Inverse(twiddles + stride)};
    for (int k = 0; k < numPoints; k += 4) {
      cmplxFFT const* const from = data + k;
      scatter(
          out + bitRev[k],
          lastTwoReal(load(from), load(from + 1), load(from + 2), load(from + 3), w, f),
          numPoints);
    }
    return;
  }
  const SpanFour<Direction::inverse> spanFour(twiddles, stride);
  const Inverse w[2] = {Inverse(twiddles), Inverse(twiddles + 2 * stride)};
  for (int k = 0; k < numPoints; k += 8) {
    __m128d r[8];
    spanFour.apply(data + k, r);
    double* const to = out + bitRev[k];
    scatter(to, lastTwoReal(r[0], r[1], r[2], r[3], w, f), numPoints);
    scatter(to + numPoints / 8, lastTwoReal(r[4], r[5], r[6], r[7], w, f), numPoints);
  }
}

}  // namespace

constinit const FftKernels kFftSse2 = {forwardPair,  forwardLast, splitReal,
                                       inverseFirst, inversePair, inverseLast};

}  // namespace ulmar
