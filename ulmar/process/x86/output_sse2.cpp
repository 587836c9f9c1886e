// Four samples at a time. Of the maximum and the minimum of two values the instructions
// return the second where one is not a number, hence the order of their operands.
#include <emmintrin.h>

#include "ulmar/process/output_kernels.h"

namespace ulmar {
namespace {

__m128 raised(__m128 peak, __m128 v) noexcept {
  const __m128 magnitude = _mm_andnot_ps(_mm_set1_ps(-0.0F), v);
  return _mm_max_ps(magnitude, peak);
}

__m128 clamped(__m128 v) noexcept {
  return _mm_min_ps(_mm_max_ps(v, _mm_set1_ps(kMinSample)), _mm_set1_ps(kMaxSample));
}

__m128 lane(__m128 v, int k) noexcept {
  switch (k) {
    case 1:
      return _mm_shuffle_ps(v, v, 0x55);
    case 2:
      return _mm_movehl_ps(v, v);
    case 3:
      return _mm_shuffle_ps(v, v, 0xFF);
    default:
      return v;
  }
}

}  // namespace

float storeRun(float const* mix, int run, float* sample, std::ptrdiff_t step,
               float peak) noexcept {
  __m128 peaks = _mm_set1_ps(peak);
  int i = 0;
  for (; i + 4 <= run; i += 4) {
    const __m128 v = _mm_load_ps(mix + i);
    peaks = raised(peaks, v);
    const __m128 stored = clamped(v);
    for (int k = 0; k < 4; ++k) {
      _mm_store_ss(sample, lane(stored, k));
      sample += step;
    }
  }
  for (; i < run; ++i) {
    const __m128 v = _mm_set1_ps(mix[i]);
    peaks = raised(peaks, v);
    _mm_store_ss(sample, clamped(v));
    sample += step;
  }
  // A maximum does not depend on the order.
  peaks = _mm_max_ps(peaks, _mm_movehl_ps(peaks, peaks));
  peaks = _mm_max_ps(peaks, lane(peaks, 1));
  return _mm_cvtss_f32(peaks);
}

}  // namespace ulmar
