// 512-bit passes: four complex values to a register.
#include <immintrin.h>

#include "ulmar/fft/fft_kernels.h"
#include "ulmar/fft/x86/fft_passes.h"

namespace ulmar {
namespace {

__m512d join(__m256d low, __m256d high) noexcept {
  return _mm512_insertf64x4(_mm512_castpd256_pd512(low), high, 1);
}

__m256d loadTwo(cmplxFFT const* values) noexcept {
  return _mm256_loadu_pd(&values->re);
}

// Values that are not neighbours, in one register.
__m256d joinTwo(cmplxFFT const* low, cmplxFFT const* high) noexcept {
  return _mm256_insertf128_pd(_mm256_castpd128_pd256(_mm_loadu_pd(&low->re)),
                              _mm_loadu_pd(&high->re), 1);
}

__m512d reversed(__m512d a) noexcept { return _mm512_shuffle_f64x2(a, a, 0x1B); }

// -0 in the parts that are to change their sign.
__m512d signs(double re, double im) noexcept {
  return _mm512_broadcast_f64x2(_mm_setr_pd(re, im));
}

struct FourValues {
  using Register = __m512d;
  static constexpr int kValues = 4;
  static constexpr int kLastValues = 8;

  static __m512d load(cmplxFFT const* values) noexcept {
    return _mm512_loadu_pd(values);
  }

  static void store(cmplxFFT* values, __m512d four) noexcept {
    _mm512_storeu_pd(values, four);
  }

  static __m512d loadReversed(cmplxFFT const* values) noexcept {
    return reversed(load(values));
  }

  static void storeReversed(cmplxFFT* values, __m512d four) noexcept {
    store(values, reversed(four));
  }

  static __m512d loadMirrored(cmplxFFT const* values) noexcept {
    return _mm512_xor_pd(loadReversed(values), signs(0.0, -0.0));
  }

  static __m512d startWith(const cmplxFFT& first, __m512d r) noexcept {
    const __m512d next =
        _mm512_permutexvar_pd(_mm512_setr_epi64(0, 0, 0, 1, 2, 3, 4, 5), r);
    return _mm512_mask_broadcast_f64x2(next, 0x03, _mm_set_pd(first.im, first.re));
  }

  static __m512d loadBins(cmplxFFT const* z, int half) noexcept {
    const int quarter = half / 4;
    return join(joinTwo(z, z + 2 * quarter), joinTwo(z + quarter, z + 3 * quarter));
  }

  static __m512d loadBinsBelow(cmplxFFT const* z, cmplxFFT const* next,
                               int half) noexcept {
    return join(joinTwo(z, next), joinTwo(next - half / 2, next - half / 4));
  }

  static __m512d splitBins(__m512d a, __m512d b, __m512d w, double halfScale) noexcept {
    constexpr __mmask8 kImag = 0xAA;
    const __m512d sum = _mm512_add_pd(a, b);
    const __m512d difference = _mm512_sub_pd(a, b);
    const __m512d base = _mm512_mask_blend_pd(kImag, sum, difference);
    const __m512d turned = _mm512_mask_blend_pd(kImag, difference, sum);
    const __m512d c = _mm512_xor_pd(_mm512_movedup_pd(w), signs(0.0, -0.0));
    const __m512d s = _mm512_permute_pd(w, 0xFF);
    // base + s turned, then + c in the real and - c in the imaginary part.
    const __m512d partial = _mm512_add_pd(base, _mm512_mul_pd(s, turned));
    const __m512d rest = _mm512_mul_pd(c, _mm512_permute_pd(turned, 0x55));
    return _mm512_mul_pd(_mm512_add_pd(partial, rest), _mm512_set1_pd(halfScale));
  }

  // Four twiddles, each part twice. Of the imaginary part one copy changes its sign,
  // which makes the product with the twiddle or its conjugate a sum.
  template <Direction direction>
  struct Twiddles {
    Twiddles() = default;
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

  // Values 0, 1, 4, 5 and 2, 3, 6, 7 of eight.
  static void loadForLastTwo(cmplxFFT const* in, __m512d* r) noexcept {
    r[0] = join(loadTwo(in), loadTwo(in + 4));
    r[1] = join(loadTwo(in + 2), loadTwo(in + 6));
  }

  static void orderForLastTwo(__m512d* r) noexcept {
    const __m512d low = r[0];
    r[0] = _mm512_shuffle_f64x2(low, r[1], 0x44);
    r[1] = _mm512_shuffle_f64x2(low, r[1], 0xEE);
  }

  template <Direction direction>
  class LastTwo {
   public:
    LastTwo(cmplxFFT const* twiddles, int stride) noexcept
        : w_(_mm512_broadcast_f64x4(joinTwo(twiddles, twiddles + stride))) {}

    void store(__m512d const* r, cmplxFFT* out) const noexcept {
      const Halves h = spanTwo(r);
      const __m512d a = _mm512_shuffle_f64x2(h.sum, h.difference, 0x88);  // 0, 4, 2, 6
      const __m512d b = _mm512_shuffle_f64x2(h.sum, h.difference, 0xDD);  // 1, 5, 3, 7
      const __m512d sums = _mm512_add_pd(a, b);
      const __m512d differences = _mm512_sub_pd(a, b);
      const __m512i lowOrder = _mm512_setr_epi64(0, 1, 8, 9, 4, 5, 12, 13);
      const __m512i highOrder = _mm512_setr_epi64(2, 3, 10, 11, 6, 7, 14, 15);
      FourValues::store(out, _mm512_permutex2var_pd(sums, lowOrder, differences));
      FourValues::store(out + 4, _mm512_permutex2var_pd(sums, highOrder, differences));
    }

    // The real parts of values 0, 2, 4, 6, 1, 3, 5, 7, times factor.
    __m512d eightReals(__m512d const* r, __m512d factor) const noexcept {
      const Halves h = spanTwo(r);
      // 0, 2, 1, 3, 4, 6, 5, 7
      const __m512d reals = _mm512_unpacklo_pd(h.sum, h.difference);
      const __m512d a = _mm512_shuffle_f64x2(reals, reals, 0x88);
      const __m512d b = _mm512_shuffle_f64x2(reals, reals, 0xDD);
      const __m512d upperSigns =
          _mm512_setr_pd(0.0, 0.0, 0.0, 0.0, -0.0, -0.0, -0.0, -0.0);
      return _mm512_mul_pd(_mm512_add_pd(a, _mm512_xor_pd(b, upperSigns)), factor);
    }

   private:
    // Values 0, 1, 4, 5 and 2, 3, 6, 7 after the pass of span 2.
    struct Halves {
      __m512d sum;
      __m512d difference;
    };

    Halves spanTwo(__m512d const* r) const noexcept {
      return {_mm512_add_pd(r[0], r[1]), w_.times(_mm512_sub_pd(r[0], r[1]))};
    }

    Twiddles<direction> w_;
  };

  template <typename Passes>
  static void writeReals(const Passes& passes, cmplxFFT const* data, double* out,
                         HostLong const* bitRev, double factor,
                         int numPoints) noexcept {
    const __m512d f = _mm512_set1_pd(factor);
    const int quarter = numPoints / 4;
    const int eighth = numPoints / 8;
    const auto reals = [&](cmplxFFT const* from) {
      __m512d r[2];
      passes.load(from, r);
      return passes.lastTwo.eightReals(r, f);
    };
    for (int k = 0; k < quarter; k += 8) {
      const __m512d v0 = reals(data + k);
      const __m512d v1 = reals(data + k + 2 * quarter);
      const __m512d low01 = _mm512_unpacklo_pd(v0, v1);
      const __m512d high01 = _mm512_unpackhi_pd(v0, v1);
      const __m512d v2 = reals(data + k + quarter);
      const __m512d v3 = reals(data + k + 3 * quarter);
      double* const to = out + bitRev[k];
      scatter(low01, _mm512_unpacklo_pd(v2, v3), to, eighth);
      scatter(high01, _mm512_unpackhi_pd(v2, v3), to + quarter, eighth);
    }
  }

 private:
  // Four values of all groups: low holds those of groups 0 and 1, side by side, high
  // those of groups 2 and 3.
  static void scatter(__m512d low, __m512d high, double* out, int eighth) noexcept {
    const __m512i lowOrder = _mm512_setr_epi64(0, 1, 8, 9, 2, 3, 10, 11);
    const __m512i highOrder = _mm512_setr_epi64(4, 5, 12, 13, 6, 7, 14, 15);
    const __m512d first = _mm512_permutex2var_pd(low, lowOrder, high);
    const __m512d second = _mm512_permutex2var_pd(low, highOrder, high);
    _mm256_storeu_pd(out, _mm512_castpd512_pd256(first));
    _mm256_storeu_pd(out + eighth, _mm512_extractf64x4_pd(first, 1));
    _mm256_storeu_pd(out + 4 * eighth, _mm512_castpd512_pd256(second));
    _mm256_storeu_pd(out + 5 * eighth, _mm512_extractf64x4_pd(second, 1));
  }
};

}  // namespace

constinit const FftKernels kFftAvx512 = {
    forwardPair<FourValues>,  forwardLast<FourValues>, splitReal<FourValues>,
    inverseFirst<FourValues>, inversePair<FourValues>, inverseLast<FourValues>};

}  // namespace ulmar
