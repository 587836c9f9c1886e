// 256-bit passes: two complex values to a register.
#include <immintrin.h>

#include "ulmar/fft/fft_kernels.h"

namespace ulmar {
namespace {

__m256d load(cmplxFFT const* values) noexcept { return _mm256_loadu_pd(&values->re); }

void store(cmplxFFT* values, __m256d pair) noexcept {
  _mm256_storeu_pd(&values->re, pair);
}

// Values that are not neighbours, in one register.
__m256d join(cmplxFFT const* low, cmplxFFT const* high) noexcept {
  return _mm256_insertf128_pd(_mm256_castpd128_pd256(_mm_loadu_pd(&low->re)),
                              _mm_loadu_pd(&high->re), 1);
}

__m256d lowHalves(__m256d a, __m256d b) noexcept {
  return _mm256_permute2f128_pd(a, b, 0x20);
}

__m256d highHalves(__m256d a, __m256d b) noexcept {
  return _mm256_permute2f128_pd(a, b, 0x31);
}

enum class Direction { forward, inverse };

// Two twiddles, each part twice. Inverse, the imaginary parts change their sign, which
// turns the product into that with the conjugate, bit for bit.
template <Direction direction>
struct Twiddles {
  Twiddles(cmplxFFT const* first, cmplxFFT const* second) noexcept {
    const __m256d both = join(first, second);
    re = _mm256_movedup_pd(both);
    im = _mm256_permute_pd(both, 0xF);
    if constexpr (direction == Direction::inverse) {
      im = _mm256_xor_pd(im, _mm256_set1_pd(-0.0));
    }
  }

  __m256d times(__m256d d) const noexcept {
    const __m256d exchanged = _mm256_permute_pd(d, 0x5);
    return _mm256_addsub_pd(_mm256_mul_pd(d, re), _mm256_mul_pd(exchanged, im));
  }

  __m256d re;
  __m256d im;
};

// Two columns of two fused passes over groups of 4q values.
template <Direction direction>
class PairColumns {
 public:
  PairColumns(cmplxFFT const* twiddles, int i, int q, int stride) noexcept
      : w0_(twiddles + i * stride, twiddles + (i + 1) * stride),
        w1_(twiddles + (i + q) * stride, twiddles + (i + q + 1) * stride),
        w2_(twiddles + 2 * i * stride, twiddles + 2 * (i + 1) * stride) {}

  void apply(__m256d a0, __m256d a1, __m256d a2, __m256d a3, cmplxFFT* out,
             int q) const noexcept {
    const __m256d b0 = _mm256_add_pd(a0, a2);
    const __m256d b1 = _mm256_add_pd(a1, a3);
    const __m256d b2 = w0_.times(_mm256_sub_pd(a0, a2));
    const __m256d b3 = w1_.times(_mm256_sub_pd(a1, a3));
    store(out, _mm256_add_pd(b0, b1));
    store(out + q, w2_.times(_mm256_sub_pd(b0, b1)));
    store(out + 2 * q, _mm256_add_pd(b2, b3));
    store(out + 3 * q, w2_.times(_mm256_sub_pd(b2, b3)));
  }

 private:
  Twiddles<direction> w0_;
  Twiddles<direction> w1_;
  Twiddles<direction> w2_;
};

// Column by column, so that the twiddles of a column serve all groups.
template <Direction direction>
void passPair(cmplxFFT const* in, cmplxFFT* out, cmplxFFT const* twiddles, int groups,
              int q, int stride) noexcept {
  for (int i = 0; i < q; i += 2) {
    const PairColumns<direction> columns(twiddles, i, q, stride);
    cmplxFFT const* from = in + i;
    cmplxFFT* to = out + i;
    for (int group = 0; group < groups; ++group, from += 4 * q, to += 4 * q) {
      columns.apply(load(from), load(from + q), load(from + 2 * q), load(from + 3 * q),
                    to, q);
    }
  }
}

void forwardPair(cmplxFFT const* in, cmplxFFT* out, cmplxFFT const* twiddles,
                 int groups, int q, int stride) noexcept {
  passPair<Direction::forward>(in, out, twiddles, groups, q, stride);
}

// Values i and i + 1 of the spectrum's upper half: the conjugates of two packed ones,
// of which `mirror` is the first.
__m256d loadMirrored(cmplxFFT const* mirror) noexcept {
  const __m256d pair = load(mirror);
  const __m256d imagSigns = _mm256_setr_pd(0.0, -0.0, 0.0, -0.0);
  return _mm256_xor_pd(_mm256_permute2f128_pd(pair, pair, 1), imagSigns);
}

void inverseFirst(cmplxFFT const* packed, cmplxFFT* out, cmplxFFT const* twiddles,
                  int numPoints) noexcept {
  const int half = numPoints / 2;
  const int q = numPoints / 4;
  // DC and Nyquist share element 0, hence the first columns differ.
  const cmplxFFT dc = {packed[0].re, 0.0};
  const cmplxFFT nyquist = {packed[0].im, 0.0};
  const cmplxFFT beyond[3] = {{packed[half - 1].re, -packed[half - 1].im},
                              {packed[q].re, -packed[q].im},
                              {packed[q - 1].re, -packed[q - 1].im}};
  PairColumns<Direction::inverse>(twiddles, 0, q, 1)
      .apply(join(&dc, packed + 1), load(packed + q), join(&nyquist, beyond),
             load(beyond + 1), out, q);
  for (int i = 2; i < q; i += 2) {
    PairColumns<Direction::inverse>(twiddles, i, q, 1)
        .apply(load(packed + i), load(packed + i + q),
               loadMirrored(packed + half - i - 1), loadMirrored(packed + q - i - 1),
               out + i, q);
  }
}

void inversePair(cmplxFFT* data, cmplxFFT const* twiddles, int groups, int q,
                 int stride) noexcept {
  passPair<Direction::inverse>(data, data, twiddles, groups, q, stride);
}

// The pass of span 4 over eight values in four registers.
template <Direction direction>
struct SpanFour {
  SpanFour(cmplxFFT const* twiddles, int stride) noexcept
      : low(twiddles, twiddles + stride),
        high(twiddles + 2 * stride, twiddles + 3 * stride) {}

  void apply(__m256d (&r)[4]) const noexcept {
    const __m256d difference0 = _mm256_sub_pd(r[0], r[2]);
    const __m256d difference1 = _mm256_sub_pd(r[1], r[3]);
    r[0] = _mm256_add_pd(r[0], r[2]);
    r[1] = _mm256_add_pd(r[1], r[3]);
    r[2] = low.times(difference0);
    r[3] = high.times(difference1);
  }

  Twiddles<direction> low;
  Twiddles<direction> high;
};

// Spans 2 and 1 over four values, forward, to memory.
void lastTwo(cmplxFFT* out, __m256d r0, __m256d r1,
             const Twiddles<Direction::forward>& w) noexcept {
  const __m256d s = _mm256_add_pd(r0, r1);
  const __m256d d = w.times(_mm256_sub_pd(r0, r1));
  const __m256d a = lowHalves(s, d);
  const __m256d b = highHalves(s, d);
  const __m256d sums = _mm256_add_pd(a, b);
  const __m256d differences = _mm256_sub_pd(a, b);
  store(out, lowHalves(sums, differences));
  store(out + 2, highHalves(sums, differences));
}

void forwardLast(cmplxFFT const* in, cmplxFFT* out, cmplxFFT const* twiddles,
                 int numPoints, int numPasses, int stride) noexcept {
  if (numPasses == 2) {
    const Twiddles<Direction::forward> w(twiddles, twiddles + stride);
    for (int k = 0; k < numPoints; k += 4) {
      lastTwo(out + k, load(in + k), load(in + k + 2), w);
    }
    return;
  }
  const SpanFour<Direction::forward> spanFour(twiddles, stride);
  const Twiddles<Direction::forward> w(twiddles, twiddles + 2 * stride);
  for (int k = 0; k < numPoints; k += 8) {
    __m256d r[4] = {load(in + k), load(in + k + 2), load(in + k + 4), load(in + k + 6)};
    spanFour.apply(r);
    lastTwo(out + k, r[0], r[1], w);
    lastTwo(out + k + 4, r[2], r[3], w);
  }
}

// Bins k and half - k side by side: they need the same two values of z.
void splitReal(double scale, cmplxFFT const* z, cmplxFFT* out, cmplxFFT const* twiddles,
               HostLong const* bitRev, int half) noexcept {
  out[0] = {(z[0].re + z[0].im) * scale, (z[0].re - z[0].im) * scale};
  const __m256d halfScale = _mm256_set1_pd(scale * 0.5);
  const __m256d sign = _mm256_set1_pd(-0.0);
  for (int k = 1; k <= half / 2; ++k) {
    const int mirror = half - k;
    const __m256d a = join(z + (bitRev[k] >> 1), z + (bitRev[mirror] >> 1));
    const __m256d b = _mm256_permute2f128_pd(a, a, 1);
    const __m256d sum = _mm256_add_pd(a, b);
    const __m256d difference = _mm256_sub_pd(a, b);
    const __m256d base = _mm256_blend_pd(sum, difference, 0xA);
    const __m256d turned = _mm256_blend_pd(difference, sum, 0xA);
    const __m256d w = join(twiddles + k, twiddles + mirror);
    const __m256d c = _mm256_movedup_pd(w);
    const __m256d s = _mm256_permute_pd(w, 0xF);
    // base + s turned, then + c in the real and - c in the imaginary part.
    const __m256d partial = _mm256_add_pd(base, _mm256_mul_pd(s, turned));
    const __m256d rest =
        _mm256_mul_pd(_mm256_xor_pd(c, sign), _mm256_permute_pd(turned, 0x5));
    const __m256d bins = _mm256_mul_pd(_mm256_addsub_pd(partial, rest), halfScale);
    _mm_storeu_pd(&out[k].re, _mm256_castpd256_pd128(bins));
    _mm_storeu_pd(&out[mirror].re, _mm256_extractf128_pd(bins, 1));
  }
}

// Real parts of four values after the passes of span 2 and 1: elements 0 and 2, 1
// and 3.
struct RealParts {
  __m128d even;
  __m128d odd;
};

RealParts lastTwoReal(__m256d r0, __m256d r1, const Twiddles<Direction::inverse>& w,
                      __m128d factor) noexcept {
  const __m256d s = _mm256_add_pd(r0, r1);
  const __m256d d = w.times(_mm256_sub_pd(r0, r1));
  const __m256d reals = _mm256_unpacklo_pd(s, d);
  const __m128d a = _mm256_castpd256_pd128(reals);
  const __m128d b = _mm256_extractf128_pd(reals, 1);
  return {_mm_mul_pd(_mm_add_pd(a, b), factor), _mm_mul_pd(_mm_sub_pd(a, b), factor)};
}

// Writes the parts of two groups whose places in natural order are neighbours. Elements
// 0, 1, 2, 3 of a group lie 0, n/2, n/4, 3n/4 behind its place.
void scatter(double* out, const RealParts& p, const RealParts& q,
             int numPoints) noexcept {
  _mm_storeu_pd(out, _mm_unpacklo_pd(p.even, q.even));
  _mm_storeu_pd(out + numPoints / 4, _mm_unpackhi_pd(p.even, q.even));
  _mm_storeu_pd(out + numPoints / 2, _mm_unpacklo_pd(p.odd, q.odd));
  _mm_storeu_pd(out + numPoints / 2 + numPoints / 4, _mm_unpackhi_pd(p.odd, q.odd));
}

void inverseLast(cmplxFFT* data, double* out, cmplxFFT const* twiddles,
                 HostLong const* bitRev, double factor, int numPoints,
                 int numPasses) noexcept {
  const int stride = numPoints >> numPasses;
  const __m128d f = _mm_set1_pd(factor);
  // The bit that is reversed to the lowest place: half the size.
  cmplxFFT const* const partner = data + numPoints / 2;
  if (numPasses == 2) {
    const Twiddles<Direction::inverse> w(twiddles, twiddles + stride);
    for (int k = 0; k < numPoints / 2; k += 4) {
      const RealParts p = lastTwoReal(load(data + k), load(data + k + 2), w, f);
      const RealParts q = lastTwoReal(load(partner + k), load(partner + k + 2), w, f);
      scatter(out + bitRev[k], p, q, numPoints);
    }
    return;
  }
  const SpanFour<Direction::inverse> spanFour(twiddles, stride);
  const Twiddles<Direction::inverse> w(twiddles, twiddles + 2 * stride);
  const auto loadEight = [&](__m256d(&r)[4], cmplxFFT const* from) {
    for (int j = 0; j < 4; ++j) r[j] = load(from + 2 * j);
    spanFour.apply(r);
  };
  for (int k = 0; k < numPoints / 2; k += 8) {
    __m256d r[4];
    __m256d t[4];
    loadEight(r, data + k);
    loadEight(t, partner + k);
    double* const to = out + bitRev[k];
    scatter(to, lastTwoReal(r[0], r[1], w, f), lastTwoReal(t[0], t[1], w, f),
            numPoints);
    scatter(to + numPoints / 8, lastTwoReal(r[2], r[3], w, f),
            lastTwoReal(t[2], t[3], w, f), numPoints);
  }
}

}  // namespace

constinit const FftKernels kFftAvx = {forwardPair,  forwardLast, splitReal,
                                      inverseFirst, inversePair, inverseLast};

}  // namespace ulmar
