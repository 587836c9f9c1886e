// What the 512-bit bodies share: one register holds all sums of a slot, RR|II RI|IR.
// The product of a sliding element, re|im twice, with a fixed one, re|im im|re, adds to
// all four, so a row product is one multiplication and one addition.
#pragma once

#include <immintrin.h>

#include "ulmar/convrt/row_kernels.h"

namespace ulmar {
namespace {

__m256 load(const VecComplex& element) noexcept { return _mm256_load_ps(element.re); }

__m512 twice(const VecComplex& element) noexcept {
  return _mm512_castpd_ps(_mm512_broadcast_f64x4(_mm256_castps_pd(load(element))));
}

// re|im im|re.
__m512 bothWays(const VecComplex& element) noexcept {
  const __m512 value = twice(element);
  return _mm512_shuffle_f32x4(value, value, 0xB4);
}

__m512 addProduct(__m512 sums, __m512 a, __m512 b) noexcept {
  return _mm512_add_ps(sums, _mm512_mul_ps(a, b));
}

void addRows(VecComplex* out, VecComplex const* acc, VecComplex const* hist,
             VecComplex const* parts, std::ptrdiff_t rowPitch, int numRows,
             int len) noexcept {
  for (int row = 0; row < numRows; ++row) {
    __m512 sums = _mm512_setzero_ps();
    for (int i = 0; i < len; ++i) {
      sums = addProduct(sums, twice(hist[i]), bothWays(parts[i]));
    }
    const __m256 direct = _mm512_castps512_ps256(sums);
    const __m256 cross =
        _mm256_castpd_ps(_mm512_extractf64x4_pd(_mm512_castps_pd(sums), 1));
    // RR|RI and II|IR, then RR - II and RI + IR.
    const __m256 first = _mm256_permute2f128_ps(direct, cross, 0x20);
    const __m256 second = _mm256_permute2f128_ps(direct, cross, 0x31);
    const __m256 result = _mm256_blend_ps(_mm256_sub_ps(first, second),
                                          _mm256_add_ps(first, second), 0xF0);
    _mm256_store_ps(out[row].re, _mm256_add_ps(load(out[row]),
                                               _mm256_add_ps(load(acc[row]), result)));
    hist += rowPitch;
    parts += rowPitch;
  }
}

}  // namespace
}  // namespace ulmar
