// 256-bit passes: two complex values to a register.
#include <immintrin.h>

#include "ulmar/fft/fft_kernels.h"
#include "ulmar/fft/x86/fft_passes.h"

namespace ulmar {
namespace {

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

struct TwoValues {
  using Register = __m256d;
  static constexpr int kValues = 2;
  static constexpr int kLastValues = 4;

  static __m256d load(cmplxFFT const* values) noexcept {
    return _mm256_loadu_pd(&values->re);
  }

  static void store(cmplxFFT* values, __m256d pair) noexcept {
    _mm256_storeu_pd(&values->re, pair);
  }

  static __m256d loadReversed(cmplxFFT const* values) noexcept {
    return join(values + 1, values);
  }

  static void storeReversed(cmplxFFT* values, __m256d pair) noexcept {
    _mm_storeu_pd(&values[1].re, _mm256_castpd256_pd128(pair));
    _mm_storeu_pd(&values[0].re, _mm256_extractf128_pd(pair, 1));
  }

  static __m256d loadMirrored(cmplxFFT const* values) noexcept {
    const __m256d imagSigns = _mm256_setr_pd(0.0, -0.0, 0.0, -0.0);
    return _mm256_xor_pd(loadReversed(values), imagSigns);
  }

  static __m256d startWith(const cmplxFFT& first, __m256d r) noexcept {
    return _mm256_permute2f128_pd(
        _mm256_castpd128_pd256(_mm_set_pd(first.im, first.re)), r, 0x20);
  }

  static __m256d loadBins(cmplxFFT const* z, int half) noexcept {
    return join(z, z + half / 2);
  }

  static __m256d loadBinsBelow(cmplxFFT const* z, cmplxFFT const* next,
                               int /*half*/) noexcept {
    return join(z, next);
  }

  static __m256d splitBins(__m256d a, __m256d b, __m256d w, double halfScale) noexcept {
    const __m256d sum = _mm256_add_pd(a, b);
    const __m256d difference = _mm256_sub_pd(a, b);
    const __m256d base = _mm256_blend_pd(sum, difference, 0xA);
    const __m256d turned = _mm256_blend_pd(difference, sum, 0xA);
    const __m256d minusC = _mm256_xor_pd(_mm256_movedup_pd(w), _mm256_set1_pd(-0.0));
    const __m256d s = _mm256_permute_pd(w, 0xF);
    // base + s turned, then + c in the real and - c in the imaginary part.
    const __m256d partial = _mm256_add_pd(base, _mm256_mul_pd(s, turned));
    const __m256d rest = _mm256_mul_pd(minusC, _mm256_permute_pd(turned, 0x5));
    return _mm256_mul_pd(_mm256_addsub_pd(partial, rest), _mm256_set1_pd(halfScale));
  }

  // Two twiddles, each part twice. Inverse, the imaginary parts change their sign,
  // which turns the product into that with the conjugate, bit for bit.
  template <Direction direction>
  struct Twiddles {
    Twiddles() = default;
    Twiddles(cmplxFFT const* first, int step) noexcept {
      const __m256d both = join(first, first + step);
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

  // Values 0, 2, 1, 3 of a group of four in natural order.
  struct FourReals {
    __m128d even;
    __m128d odd;
  };
  static void loadForLastTwo(cmplxFFT const* in, __m256d* r) noexcept {
    for (int j = 0; j < kLastValues / kValues; ++j) r[j] = load(in + j * kValues);
  }

  static void orderForLastTwo(__m256d* /*r*/) noexcept {}

  template <Direction direction>
  class LastTwo {
   public:
    LastTwo(cmplxFFT const* twiddles, int stride) noexcept : w_(twiddles, stride) {}

    void store(__m256d const* r, cmplxFFT* out) const noexcept {
      const __m256d s = _mm256_add_pd(r[0], r[1]);
      const __m256d d = w_.times(_mm256_sub_pd(r[0], r[1]));
      const __m256d a = lowHalves(s, d);
      const __m256d b = highHalves(s, d);
      const __m256d sums = _mm256_add_pd(a, b);
      const __m256d differences = _mm256_sub_pd(a, b);
      TwoValues::store(out, lowHalves(sums, differences));
      TwoValues::store(out + 2, highHalves(sums, differences));
    }

    // The real parts of four values, times factor.
    FourReals fourReals(__m256d const* r, __m128d factor) const noexcept {
      const __m256d s = _mm256_add_pd(r[0], r[1]);
      const __m256d d = w_.times(_mm256_sub_pd(r[0], r[1]));
      const __m256d reals = _mm256_unpacklo_pd(s, d);
      const __m128d a = _mm256_castpd256_pd128(reals);
      const __m128d b = _mm256_extractf128_pd(reals, 1);
      return {_mm_mul_pd(_mm_add_pd(a, b), factor),
              _mm_mul_pd(_mm_sub_pd(a, b), factor)};
    }

   private:
    Twiddles<direction> w_;
  };

  template <typename Passes>
  static void writeReals(const Passes& passes, cmplxFFT const* data, double* out,
                         HostLong const* bitRev, double factor,
                         int numPoints) noexcept {
    const __m128d f = _mm_set1_pd(factor);
    cmplxFFT const* const partner = data + numPoints / 2;
    for (int k = 0; k < numPoints / 2; k += Passes::kGroupLen) {
      typename Passes::Group r;
      typename Passes::Group t;
      passes.load(data + k, r);
      passes.load(partner + k, t);
      double* const to = out + bitRev[k];
      scatter(passes.lastTwo.fourReals(r, f), passes.lastTwo.fourReals(t, f), to,
              numPoints);
      if constexpr (Passes::kGroupLen == 8) {
        scatter(passes.lastTwo.fourReals(r + 2, f), passes.lastTwo.fourReals(t + 2, f),
                to + numPoints / 8, numPoints);
      }
    }
  }

 private:
  static void scatter(const FourReals& p, const FourReals& q, double* out,
                      int numPoints) noexcept {
    _mm_storeu_pd(out, _mm_unpacklo_pd(p.even, q.even));
    _mm_storeu_pd(out + numPoints / 4, _mm_unpackhi_pd(p.even, q.even));
    _mm_storeu_pd(out + numPoints / 2, _mm_unpacklo_pd(p.odd, q.odd));
    _mm_storeu_pd(out + numPoints / 2 + numPoints / 4, _mm_unpackhi_pd(p.odd, q.odd));
  }
};

}  // namespace

constinit const FftKernels kFftAvx = {forwardPair<TwoValues>, forwardLast<TwoValues>,
                                      splitReal<TwoValues>,   inverseFirst<TwoValues>,
                                      inversePair<TwoValues>, inverseLast<TwoValues>};

}  // namespace ulmar
