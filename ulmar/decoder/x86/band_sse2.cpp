// W, X and Y in the lanes of one register, or of two in double precision. Each
// crossover needs its own last result, so one alone would leave the processor waiting.
// The fourth lane is zero.
#include <emmintrin.h>

#include "ulmar/decoder/band_kernels.h"

namespace ulmar {
namespace {

struct Doubles {
  __m128d wx;
  __m128d y;
};

Doubles operator+(const Doubles& a, const Doubles& b) noexcept {
  return {_mm_add_pd(a.wx, b.wx), _mm_add_pd(a.y, b.y)};
}

Doubles operator-(const Doubles& a, const Doubles& b) noexcept {
  return {_mm_sub_pd(a.wx, b.wx), _mm_sub_pd(a.y, b.y)};
}

Doubles operator*(__m128d gain, const Doubles& a) noexcept {
  return {_mm_mul_pd(gain, a.wx), _mm_mul_pd(gain, a.y)};
}

Doubles widened(__m128 a) noexcept {
  return {_mm_cvtps_pd(a), _mm_cvtps_pd(_mm_movehl_ps(a, a))};
}

__m128 rounded(const Doubles& a) noexcept {
  return _mm_movelh_ps(_mm_cvtpd_ps(a.wx), _mm_cvtpd_ps(a.y));
}

Doubles load(const SignalRun& run, int i) noexcept {
  return {_mm_loadh_pd(_mm_load_sd(run.w + i), run.x + i), _mm_load_sd(run.y + i)};
}

void store(SignalRun& run, int i, const Doubles& a) noexcept {
  _mm_storel_pd(run.w + i, a.wx);
  _mm_storeh_pd(run.x + i, a.wx);
  _mm_storel_pd(run.y + i, a.y);
}

// One word of the three states.
using Word = float sApXOverSts<float>::*;

__m128 load(sApXOverSts<float> const* states, Word word) noexcept {
  return _mm_setr_ps(states[0].*word, states[1].*word, states[2].*word, 0.0F);
}

void store(sApXOverSts<float>* states, Word word, __m128 a) noexcept {
  alignas(16) float lanes[4];
  _mm_store_ps(lanes, a);
  for (int k = 0; k < 3; ++k) states[k].*word = lanes[k];
}

}  // namespace

void splitBands(SignalRun& signals, SignalRun& high, int count,
                const cApXOverCfs<float>& cfs, sApXOverSts<float>* states) noexcept {
  using Sts = sApXOverSts<float>;
  const __m128 c1 = _mm_set1_ps(cfs.c1);
  const __m128 c2 = _mm_set1_ps(cfs.c2);
  const __m128 d2 = _mm_set1_ps(cfs.d2);
  const __m128d c1Wide = _mm_set1_pd(double{cfs.c1});
  const __m128d c2Wide = _mm_set1_pd(double{cfs.c2});
  const __m128d half = _mm_set1_pd(0.5);
  __m128 x1 = load(states, &Sts::x1);
  __m128 y1 = load(states, &Sts::y1);
  __m128 z1 = load(states, &Sts::z1);
  __m128 z2 = load(states, &Sts::z2);
  __m128 x2 = load(states, &Sts::x2);
  Doubles x1Wide = widened(x1);
  Doubles x2Wide = widened(x2);

  for (int i = 0; i < count; ++i) {
    const Doubles x = load(signals, i);
    const __m128 recursive = _mm_add_ps(_mm_mul_ps(d2, z1), _mm_mul_ps(c2, z2));
    const Doubles a = c1Wide * x + x1Wide - widened(_mm_mul_ps(c1, y1));
    const Doubles b =
        c2Wide * x + widened(_mm_mul_ps(d2, x1)) + x2Wide - widened(recursive);
    x2 = x1;
    x2Wide = x1Wide;
    x1 = rounded(x);
    x1Wide = widened(x1);
    y1 = rounded(a);
    z2 = z1;
    z1 = rounded(b);
    store(signals, i, half * (a + b));
    store(high, i, half * (b - a));
  }

  store(states, &Sts::x1, x1);
  store(states, &Sts::x2, x2);
  store(states, &Sts::y1, y1);
  store(states, &Sts::z1, z1);
  store(states, &Sts::z2, z2);
}

}  // namespace ulmar
