// 512-bit passes: four complex values to a register.
#include <immintrin.h>

#include "ulmar/fft/fft_kernels.h"

namespace ulmar {
namespace {

__m512d load(cmplxFFT const* values) noexcept { return _mm512_loadu_pd(values); }

__m256d loadTwo(cmplxFFT const* values) noexcept {
  return _mm256_loadu_pd(&values->re);
}

void store(cmplxFFT* values, __m512d four) noexcept { _mm512_storeu_pd(values, four); }

__m512d join(__m256d low, __m256d high) noexcept {
  return _mm512_insertf64x4(_mm512_castpd256_pd512(low), high, 1);
}

// Values that are not neighbours, in one register.
__m256d joinTwo(cmplxFFT const* low, cmplxFFT const* high) noexcept {
  return _mm256_insertf128_pd(_mm256_castpd128_pd256(_mm_loadu_pd(&low->re)),
                              _mm_loadu_pd(&high->re), 1);
}

// Values 0 and 1 of a, then of b; values 2 and 3 of both.
__m512d lowHalves(__m512d a, __m512d b) noexcept {
  return _mm512_shuffle_f64x2(a, b, 0x44);
}

__m512d highHalves(__m512d a, __m512d b) noexcept {
  return _mm512_shuffle_f64x2(a, b, 0xEE);
}

__m512d reversed(__m512d a) noexcept { return _mm512_shuffle_f64x2(a, a, 0x1B); }

// -0 in the parts that are to change their sign.
__m512d signs(double re, double im) noexcept {
  return _mm512_broadcast_f64x2(_mm_setr_pd(re, im));
}

enum class Direction { forward, inverse };

// Four twiddles, each part twice, `step` apart. Of the imaginary part one copy changes
// its sign, which makes the product with the twiddle or its conjugate a sum.
template <Direction direction>
struct Twiddles {
  explicit Twiddles(__m512d w) noexcept
      : re(_mm512_movedup_pd(w)),
        im(_mm512_xor_pd(_mm512_permute_pd(w, 0xFF), direction == Direction::forward
                                                         ? signs(-0.0, 0.0)
                                                         : signs(0.0, -0.0))) {}

  Twiddles(cmplxFFT const* first, int step) noexcept
      : Twiddles(step == 1 ? load(first)
                           : join(joinTwo(first, first + step),
                                  joinTwo(first + 2 * step, first + 3 * step))) {}

  __m512d times(__m512d d) const noexcept {
    return _mm512_add_pd(_mm512_mul_pd(d, re),
                         _mm512_mul_pd(_mm512_permute_pd(d, 0x55), im));
  }

  __m512d re;
  __m512d im;
};

// Four columns of two fused passes over groups of 4q values.
template <Direction direction>
class PairColumns {
 public:
  PairColumns(cmplxFFT const* twiddles, int i, int q, int stride) noexcept
      : w0_(twiddles + i * stride, stride),
        w1_(twiddles + (i + q) * stride, stride),
        w2_(twiddles + 2 * i * stride, 2 * stride) {}

  void apply(__m512d a0, __m512d a1, __m512d a2, __m512d a3, cmplxFFT* out,
             int q) const noexcept {
    const __m512d b0 = _mm512_add_pd(a0, a2);
    const __m512d b1 = _mm512_add_pd(a1, a3);
    const __m512d b2 = w0_.times(_mm512_sub_pd(a0, a2));
    const __m512d b3 = w1_.times(_mm512_sub_pd(a1, a3));
    store(out, _mm512_add_pd(b0, b1));
    store(out + q, w2_.times(_mm512_sub_pd(b0, b1)));
    store(out + 2 * q, _mm512_add_pd(b2, b3));
    store(out + 3 * q, w2_.times(_mm512_sub_pd(b2, b3)));
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
  for (int i = 0; i < q; i += 4) {
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

void inversePair(cmplxFFT* data, cmplxFFT const* twiddles, int groups, int q,
                 int stride) noexcept {
  passPair<Direction::inverse>(data, data, twiddles, groups, q, stride);
}

// Values i ... i + 3 of the spectrum's upper half: the conjugates of four packed ones,
// of which `mirror` is the first.
__m512d loadMirrored(cmplxFFT const* mirror) noexcept {
  return _mm512_xor_pd(reversed(load(mirror)), signs(0.0, -0.0));
}

void inverseFirst(cmplxFFT const* packed, cmplxFFT* out, cmplxFFT const* twiddles,
                  int numPoints) noexcept {
  const int half = numPoints / 2;
  const int q = numPoints / 4;
  // DC and Nyquist share element 0, hence the first columns differ.
  const cmplxFFT first[4] = {{packed[0].re, 0.0}, packed[1], packed[2], packed[3]};
  const cmplxFFT beyond[4] = {
      packed[half - 3], packed[half - 2], packed[half - 1], {packed[0].im, -0.0}};
  PairColumns<Direction::inverse>(twiddles, 0, q, 1)
      .apply(load(first), load(packed + q), loadMirrored(beyond),
             loadMirrored(packed + q - 3), out, q);
  for (int i = 4; i < q; i += 4) {
    PairColumns<Direction::inverse>(twiddles, i, q, 1)
        .apply(load(packed + i), load(packed + i + q),
               loadMirrored(packed + half - i - 3), loadMirrored(packed + q - i - 3),
               out + i, q);
  }
}

// The last passes over eight values, in two registers: with three passes that of span 4
// comes first, with two they are two groups of four.
template <Direction direction>
struct LastPasses {
  LastPasses(cmplxFFT const* twiddles, int numPasses, int stride) noexcept
      : hasSpanFour(numPasses == 3),
        spanFour(twiddles, hasSpanFour ? stride : 0),
        spanTwo(_mm512_broadcast_f64x4(
            joinTwo(twiddles, twiddles + (hasSpanFour ? 2 * stride : stride)))) {}

  // Before the pass of span 1: values 0, 1, 4, 5 and 2, 3, 6, 7.
  void toSpanTwo(cmplxFFT const* in, __m512d& sum, __m512d& difference) const noexcept {
    __m512d low = load(in);
    __m512d high = load(in + 4);
    if (hasSpanFour) {
      const __m512d apart = _mm512_sub_pd(low, high);
      low = _mm512_add_pd(low, high);
      high = spanFour.times(apart);
    }
    const __m512d a = lowHalves(low, high);
    const __m512d b = highHalves(low, high);
    sum = _mm512_add_pd(a, b);
    difference = spanTwo.times(_mm512_sub_pd(a, b));
  }

  bool hasSpanFour;
  Twiddles<direction> spanFour;
  Twiddles<direction> spanTwo;
};

void forwardLast(cmplxFFT const* in, cmplxFFT* out, cmplxFFT const* twiddles,
                 int numPoints, int numPasses, int stride) noexcept {
  const LastPasses<Direction::forward> passes(twiddles, numPasses, stride);
  const __m512i lowOrder = _mm512_setr_epi64(0, 1, 8, 9, 4, 5, 12, 13);
  const __m512i highOrder = _mm512_setr_epi64(2, 3, 10, 11, 6, 7, 14, 15);
  for (int k = 0; k < numPoints; k += 8) {
    __m512d low;
    __m512d high;
    passes.toSpanTwo(in + k, low, high);
    const __m512d a = _mm512_shuffle_f64x2(low, high, 0x88);  // 0, 4, 2, 6
    const __m512d b = _mm512_shuffle_f64x2(low, high, 0xDD);  // 1, 5, 3, 7
    const __m512d sums = _mm512_add_pd(a, b);
    const __m512d differences = _mm512_sub_pd(a, b);
    store(out + k, _mm512_permutex2var_pd(sums, lowOrder, differences));
    store(out + k + 4, _mm512_permutex2var_pd(sums, highOrder, differences));
  }
}

// Bins k, k + 1 and their mirrors side by side: they need the same four values of z.
void splitReal(double scale, cmplxFFT const* z, cmplxFFT* out, cmplxFFT const* twiddles,
               HostLong const* bitRev, int half) noexcept {
  out[0] = {(z[0].re + z[0].im) * scale, (z[0].re - z[0].im) * scale};
  const __m512d halfScale = _mm512_set1_pd(scale * 0.5);
  const __m512d imagSigns = signs(0.0, -0.0);
  constexpr __mmask8 kImag = 0xAA;
  for (int k = 1; k < half / 2; k += 2) {
    const int mirror = half - k - 1;
    const __m512d a =
        join(joinTwo(z + (bitRev[k] >> 1), z + (bitRev[k + 1] >> 1)),
             joinTwo(z + (bitRev[mirror] >> 1), z + (bitRev[mirror + 1] >> 1)));
    const __m512d b = reversed(a);
    const __m512d sum = _mm512_add_pd(a, b);
    const __m512d difference = _mm512_sub_pd(a, b);
    const __m512d base = _mm512_mask_blend_pd(kImag, sum, difference);
    const __m512d turned = _mm512_mask_blend_pd(kImag, difference, sum);
    const __m512d w = join(loadTwo(twiddles + k), loadTwo(twiddles + mirror));
    const __m512d c = _mm512_xor_pd(_mm512_movedup_pd(w), imagSigns);
    const __m512d s = _mm512_permute_pd(w, 0xFF);
    // base + s turned, then + c in the real and - c in the imaginary part.
    const __m512d partial = _mm512_add_pd(base, _mm512_mul_pd(s, turned));
    const __m512d rest = _mm512_mul_pd(c, _mm512_permute_pd(turned, 0x55));
    const __m512d bins = _mm512_mul_pd(_mm512_add_pd(partial, rest), halfScale);
    _mm256_storeu_pd(&out[k].re, _mm512_castpd512_pd256(bins));
    _mm256_storeu_pd(&out[mirror].re, _mm512_extractf64x4_pd(bins, 1));
  }
}

// Four groups of eight whose places in natural order are neighbours. Values 0 ... 7 of
// a group lie 0, n/2, n/4, 3n/4, n/8, 5n/8, 3n/8 and 7n/8 behind its place.
void inverseLast(cmplxFFT* data, double* out, cmplxFFT const* twiddles,
                 HostLong const* bitRev, double factor, int numPoints,
                 int numPasses) noexcept {
  const LastPasses<Direction::inverse> passes(twiddles, numPasses,
                                              numPoints >> numPasses);
  const __m512d f = _mm512_set1_pd(factor);
  const __m512d upperSigns = join(_mm256_setzero_pd(), _mm256_set1_pd(-0.0));
  const __m512i lowOrder = _mm512_setr_epi64(0, 1, 8, 9, 2, 3, 10, 11);
  const __m512i highOrder = _mm512_setr_epi64(4, 5, 12, 13, 6, 7, 14, 15);
  // Real parts of values 0, 2, 4, 6, 1, 3, 5, 7.
  const auto group = [&](cmplxFFT const* from) {
    __m512d low;
    __m512d high;
    passes.toSpanTwo(from, low, high);
    const __m512d reals = _mm512_unpacklo_pd(low, high);  // 0, 2, 1, 3, 4, 6, 5, 7
    const __m512d a = _mm512_shuffle_f64x2(reals, reals, 0x88);
    const __m512d b = _mm512_shuffle_f64x2(reals, reals, 0xDD);
    return _mm512_mul_pd(_mm512_add_pd(a, _mm512_xor_pd(b, upperSigns)), f);
  };
  const int quarter = numPoints / 4;
  const int eighth = numPoints / 8;
  const auto put = [&](double* to, __m512d low, __m512d high) {
    const __m512d first = _mm512_permutex2var_pd(low, lowOrder, high);
    const __m512d second = _mm512_permutex2var_pd(low, highOrder, high);
    _mm256_storeu_pd(to, _mm512_castpd512_pd256(first));
    _mm256_storeu_pd(to + eighth, _mm512_extractf64x4_pd(first, 1));
    _mm256_storeu_pd(to + 4 * eighth, _mm512_castpd512_pd256(second));
    _mm256_storeu_pd(to + 5 * eighth, _mm512_extractf64x4_pd(second, 1));
  };
  for (int k = 0; k < quarter; k += 8) {
    const __m512d v0 = group(data + k);
    const __m512d v1 = group(data + k + 2 * quarter);
    const __m512d v2 = group(data + k + quarter);
    const __m512d v3 = group(data + k + 3 * quarter);
    double* const to = out + bitRev[k];
    put(to, _mm512_unpacklo_pd(v0, v1), _mm512_unpacklo_pd(v2, v3));
    put(to + quarter, _mm512_unpackhi_pd(v0, v1), _mm512_unpackhi_pd(v2, v3));
  }
}

}  // namespace

constinit const FftKernels kFftAvx512 = {forwardPair,  forwardLast, splitReal,
                                         inverseFirst, inversePair, inverseLast};

}  // namespace ulmar
