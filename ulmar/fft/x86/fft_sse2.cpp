// 128-bit passes: one complex value to a register.
#include <emmintrin.h>

#include "ulmar/fft/fft_kernels.h"
#include "ulmar/fft/x86/fft_passes.h"

namespace ulmar {
namespace {

__m128d exchanged(__m128d z) noexcept { return _mm_shuffle_pd(z, z, 1); }

// Changes the sign of the real or of the imaginary part, exactly.
__m128d minusReal(__m128d z) noexcept { return _mm_xor_pd(z, _mm_set_pd(0.0, -0.0)); }
__m128d minusImag(__m128d z) noexcept { return _mm_xor_pd(z, _mm_set_pd(-0.0, 0.0)); }

struct OneValue {
  using Register = __m128d;
  static constexpr int kValues = 1;
  static constexpr int kLastValues = 4;

  static __m128d load(cmplxFFT const* value) noexcept {
    return _mm_loadu_pd(&value->re);
  }

  static void store(cmplxFFT* value, __m128d z) noexcept {
    _mm_storeu_pd(&value->re, z);
  }

  static __m128d loadReversed(cmplxFFT const* value) noexcept { return load(value); }

  static void storeReversed(cmplxFFT* value, __m128d z) noexcept { store(value, z); }

  static __m128d loadMirrored(cmplxFFT const* value) noexcept {
    return minusImag(load(value));
  }

  static __m128d startWith(const cmplxFFT& first, __m128d /*r*/) noexcept {
    return _mm_set_pd(first.im, first.re);
  }

  static __m128d loadBins(cmplxFFT const* z, int /*half*/) noexcept { return load(z); }

  static __m128d loadBinsBelow(cmplxFFT const* z, cmplxFFT const* /*next*/,
                               int /*half*/) noexcept {
    return load(z);
  }

  static __m128d splitBins(__m128d a, __m128d b, __m128d w, double halfScale) noexcept {
    const __m128d sum = _mm_add_pd(a, b);
    const __m128d difference = _mm_sub_pd(a, b);
    const __m128d base = _mm_shuffle_pd(sum, difference, 2);
    const __m128d turned = _mm_shuffle_pd(difference, sum, 2);
    const __m128d c = _mm_unpacklo_pd(w, w);
    const __m128d s = _mm_unpackhi_pd(w, w);
    // base + s turned, then + c in the real and - c in the imaginary part.
    const __m128d partial = _mm_add_pd(base, _mm_mul_pd(s, turned));
    const __m128d rest = minusImag(_mm_mul_pd(c, exchanged(turned)));
    return _mm_mul_pd(_mm_add_pd(partial, rest), _mm_set1_pd(halfScale));
  }

  // One twiddle, each part twice.
  template <Direction direction>
  struct Twiddles {
    Twiddles() = default;
    explicit Twiddles(cmplxFFT const* w, int /*step*/ = 0) noexcept
        : re(_mm_load1_pd(&w->re)), im(_mm_load1_pd(&w->im)) {}

    __m128d times(__m128d d) const noexcept {
      const __m128d crossed = _mm_mul_pd(exchanged(d), im);
      return _mm_add_pd(_mm_mul_pd(d, re), direction == Direction::forward
                                               ? minusReal(crossed)
                                               : minusImag(crossed));
    }

    __m128d re;
    __m128d im;
  };

  // Values 0, 2, 1, 3 of a group of four in natural order.
  struct FourReals {
    __m128d even;
    __m128d odd;
  };
  static void loadForLastTwo(cmplxFFT const* in, __m128d* r) noexcept {
    for (int j = 0; j < kLastValues / kValues; ++j) r[j] = load(in + j * kValues);
  }

  static void orderForLastTwo(__m128d* /*r*/) noexcept {}

  template <Direction direction>
  class LastTwo {
   public:
    LastTwo(cmplxFFT const* twiddles, int stride) noexcept
        : w0_(twiddles), w1_(twiddles + stride) {}

    void store(__m128d const* r, cmplxFFT* out) const noexcept {
      const __m128d s0 = _mm_add_pd(r[0], r[2]);
      const __m128d s1 = _mm_add_pd(r[1], r[3]);
      const __m128d d0 = w0_.times(_mm_sub_pd(r[0], r[2]));
      const __m128d d1 = w1_.times(_mm_sub_pd(r[1], r[3]));
      OneValue::store(out, _mm_add_pd(s0, s1));
      OneValue::store(out + 1, _mm_sub_pd(s0, s1));
      OneValue::store(out + 2, _mm_add_pd(d0, d1));
      OneValue::store(out + 3, _mm_sub_pd(d0, d1));
    }

    // The real parts of four values, times factor.
    FourReals fourReals(__m128d const* r, __m128d factor) const noexcept {
      const __m128d a =
          _mm_unpacklo_pd(_mm_add_pd(r[0], r[2]), w0_.times(_mm_sub_pd(r[0], r[2])));
      const __m128d b =
          _mm_unpacklo_pd(_mm_add_pd(r[1], r[3]), w1_.times(_mm_sub_pd(r[1], r[3])));
      return {_mm_mul_pd(_mm_add_pd(a, b), factor),
              _mm_mul_pd(_mm_sub_pd(a, b), factor)};
    }

   private:
    Twiddles<direction> w0_;
    Twiddles<direction> w1_;
  };

  template <typename Passes>
  static void writeReals(const Passes& passes, cmplxFFT const* data, double* out,
                         HostLong const* bitRev, double factor,
                         int numPoints) noexcept {
    const __m128d f = _mm_set1_pd(factor);
    for (int k = 0; k < numPoints; k += Passes::kGroupLen) {
      typename Passes::Group r;
      passes.load(data + k, r);
      double* const to = out + bitRev[k];
      scatter(passes.lastTwo.fourReals(r, f), to, numPoints);
      if constexpr (Passes::kGroupLen == 8) {
        scatter(passes.lastTwo.fourReals(r + 4, f), to + numPoints / 8, numPoints);
      }
    }
  }

 private:
  static void scatter(const FourReals& p, double* out, int numPoints) noexcept {
    _mm_storel_pd(out, p.even);
    _mm_storeh_pd(out + numPoints / 4, p.even);
    _mm_storel_pd(out + numPoints / 2, p.odd);
    _mm_storeh_pd(out + numPoints / 2 + numPoints / 4, p.odd);
  }
};

}  // namespace

constinit const FftKernels kFftSse2 = {forwardPair<OneValue>, forwardLast<OneValue>,
                                       splitReal<OneValue>,   inverseFirst<OneValue>,
                                       inversePair<OneValue>, inverseLast<OneValue>};

}  // namespace ulmar
