// 512-bit body: one register holds a VecComplex for each of two neighbouring slots,
// re|im re|im. Such a pair takes two neighbouring elements of the sliding run, one
// load, and the same fixed one, so a multiplication and an addition serve both slots.
#include <immintrin.h>

#include "convrt/row_kernels.h"

namespace ulmar {
namespace {

// With thirty-two registers a pass keeps both sums of four pairs and a window of the
// sliding elements; with eight, both sums of three, and takes the sliding elements from
// memory.
constexpr bool kManyRegisters = sizeof(void*) == 8;
constexpr int kPairsAtOnce = kManyRegisters ? 4 : 3;

__m256 load(const VecComplex& element) noexcept { return _mm256_load_ps(element.re); }

void store(VecComplex& element, __m256 value) noexcept {
  _mm256_store_ps(element.re, value);
}

// Elements e and e + 1.
__m512 loadTwo(VecComplex const* e) noexcept { return _mm512_loadu_ps(e); }

__m256 lowHalf(__m512 value) noexcept { return _mm512_castps512_ps256(value); }

__m256 highHalf(__m512 value) noexcept {
  return _mm256_castpd_ps(_mm512_extractf64x4_pd(_mm512_castps_pd(value), 1));
}

// One element in both halves.
__m512 twice(const VecComplex& element) noexcept {
  return _mm512_castpd_ps(_mm512_broadcast_f64x4(_mm256_castps_pd(load(element))));
}

// re|im re|im to im|re im|re.
__m512 exchanged(__m512 value) noexcept {
  return _mm512_shuffle_f32x4(value, value, 0xB1);
}

// One sum of slots k and k + 1, the later slot first: it takes the older of two
// elements.
__m512 loadSums(RowSums const* slots, VecComplex RowSums::*part) noexcept {
  const __m512d both = _mm512_castps_pd(twice(slots[0].*part));
  return _mm512_castpd_ps(
      _mm512_insertf64x4(both, _mm256_castps_pd(load(slots[1].*part)), 0));
}

void storeSums(RowSums* slots, VecComplex RowSums::*part, __m512 sums) noexcept {
  store(slots[0].*part, highHalf(sums));
  store(slots[1].*part, lowHalf(sums));
}

// The lanes of a pair that take an element, one bit a float, when the first of its
// slots has taken d elements before: of[d + kMaxSlots].
struct StartMasks {
  __mmask16 of[2 * kMaxSlots];
};
constexpr StartMasks kStartMasks = [] {
  StartMasks masks{};
  for (int d = 0; d < kMaxSlots; ++d)
    masks.of[d + kMaxSlots] = d == 0 ? 0xFF00 : 0xFFFF;
  return masks;
}();

// Both sums of `Pairs` pairs of slots. `newest` is the younger element that the first
// pair takes; each further pair takes elements two places older.
template <int Pairs>
struct PairSums {
  [[gnu::always_inline]] explicit PairSums(RowSums const* slots) noexcept {
#pragma GCC unroll 8
    for (int p = 0; p < Pairs; ++p) {
      direct[p] = loadSums(slots + 2 * p, &RowSums::direct);
      cross[p] = loadSums(slots + 2 * p, &RowSums::cross);
    }
  }

  [[gnu::always_inline]] void storeTo(RowSums* slots) const noexcept {
#pragma GCC unroll 8
    for (int p = 0; p < Pairs; ++p) {
      storeSums(slots + 2 * p, &RowSums::direct, direct[p]);
      storeSums(slots + 2 * p, &RowSums::cross, cross[p]);
    }
  }

  // While slots still start, of which the first has taken `done` elements.
  [[gnu::always_inline]] void addStarting(VecComplex const* newest,
                                          const VecComplex& fixed, int done) noexcept {
    const __m512 x = twice(fixed);
    const __m512 xCrossed = exchanged(x);
#pragma GCC unroll 8
    for (int p = 0; p < Pairs; ++p) {
      const __mmask16 mask = kStartMasks.of[kMaxSlots + done - 2 * p];
      const __m512 h = _mm512_maskz_loadu_ps(mask, newest - 2 * p - 1);
      direct[p] = _mm512_mask_add_ps(direct[p], mask, direct[p], _mm512_mul_ps(h, x));
      cross[p] =
          _mm512_mask_add_ps(cross[p], mask, cross[p], _mm512_mul_ps(h, xCrossed));
    }
  }

  [[gnu::always_inline]] void add(VecComplex const* newest,
                                  const VecComplex& fixed) noexcept {
    __m512 x = twice(fixed);
#pragma GCC unroll 8
    for (int p = 0; p < Pairs; ++p) {
      const __m512 h = loadTwo(newest - 2 * p - 1);
      direct[p] = _mm512_add_ps(direct[p], _mm512_mul_ps(h, x));
    }
    x = exchanged(x);
    // Hides that the elements are the same: with eight registers they cannot stay.
    if constexpr (!kManyRegisters) asm("" : "+r"(newest));
#pragma GCC unroll 8
    for (int p = 0; p < Pairs; ++p) {
      const __m512 h = loadTwo(newest - 2 * p - 1);
      cross[p] = _mm512_add_ps(cross[p], _mm512_mul_ps(h, x));
    }
  }

  // A run of elements from sliding[i] on, as many as are left in whole windows.
  [[gnu::always_inline]] int addWindows(VecComplex const* sliding,
                                        VecComplex const* fixed, int i,
                                        int len) noexcept {
    constexpr int kWindow = 2 * Pairs;
    if (len - i < kWindow) return i;
    // The elements up to sliding[j] stand in window[(j - i) mod kWindow].
    __m512 window[kWindow];
#pragma GCC unroll 8
    for (int k = 1; k < kWindow; ++k)
      window[kWindow - k] = loadTwo(sliding + i - k - 1);
    for (; i + kWindow <= len; i += kWindow) {
#pragma GCC unroll 8
      for (int t = 0; t < kWindow; ++t) {
        const __m512 x = twice(fixed[i + t]);
        const __m512 xCrossed = exchanged(x);
        window[t] = loadTwo(sliding + i + t - 1);
#pragma GCC unroll 8
        for (int p = 0; p < Pairs; ++p) {
          const __m512 h = window[(t - 2 * p + kWindow) % kWindow];
          direct[p] = _mm512_add_ps(direct[p], _mm512_mul_ps(h, x));
          cross[p] = _mm512_add_ps(cross[p], _mm512_mul_ps(h, xCrossed));
        }
      }
    }
    return i;
  }

  __m512 direct[Pairs];
  __m512 cross[Pairs];
};

// Slot k takes sliding[i - k] with fixed[i] from i = max(0, k + start) on.
template <int Pairs>
void addPairs(RowSums* slots, VecComplex const* fixed, VecComplex const* sliding,
              int len, int start) noexcept {
  PairSums<Pairs> sums(slots);
  int i = start > 0 ? start : 0;
  for (; i < len && i - start < 2 * Pairs - 1; ++i) {
    sums.addStarting(sliding + i, fixed[i], i - start);
  }
  if constexpr (kManyRegisters) i = sums.addWindows(sliding, fixed, i, len);
  for (; i < len; ++i) sums.add(sliding + i, fixed[i]);
  sums.storeTo(slots);
}

template <int Pairs = kPairsAtOnce>
void addGroup(int numPairs, RowSums* sums, VecComplex const* fixed,
              VecComplex const* sliding, int len, int start) noexcept {
  if (numPairs < Pairs) {
    if constexpr (Pairs > 1) {
      addGroup<Pairs - 1>(numPairs, sums, fixed, sliding, len, start);
    }
  } else {
    addPairs<Pairs>(sums, fixed, sliding, len, start);
  }
}

// The four sums of one slot, RR|II RI|IR.
__m512 addRun(__m512 sums, VecComplex const* a, VecComplex const* b, int len) noexcept {
  for (int i = 0; i < len; ++i) {
    const __m512 h = twice(b[i]);
    const __m512 hBoth = _mm512_shuffle_f32x4(h, h, 0xB4);  // re|im im|re
    sums = _mm512_add_ps(sums, _mm512_mul_ps(twice(a[i]), hBoth));
  }
  return sums;
}

void slideSums(RowSums* sums, int numSlots, VecComplex const* fixed,
               VecComplex const* sliding, int len, int lead) noexcept {
  int k = 0;
  while (k + 1 < numSlots) {
    const int left = (numSlots - k) / 2;
    const int numGroups = (left + kPairsAtOnce - 1) / kPairsAtOnce;
    const int numPairs = (left + numGroups - 1) / numGroups;
    addGroup(numPairs, sums + k, fixed, sliding - k, len, k - lead);
    k += 2 * numPairs;
  }
  if (k < numSlots) {
    const int late = k > lead ? k - lead : 0;
    RowSums& last = sums[k];
    _mm512_storeu_ps(&last, addRun(_mm512_loadu_ps(&last), sliding + late - k,
                                   fixed + late, len - late));
  }
}

void addRows(VecComplex* out, VecComplex const* acc, VecComplex const* hist,
             VecComplex const* parts, std::ptrdiff_t rowPitch, int numRows,
             int len) noexcept {
  for (int row = 0; row < numRows; ++row) {
    const __m512 sums = addRun(_mm512_setzero_ps(), hist, parts, len);
    // RR|RI and II|IR, then RR - II and RI + IR.
    const __m256 first = _mm256_permute2f128_ps(lowHalf(sums), highHalf(sums), 0x20);
    const __m256 second = _mm256_permute2f128_ps(lowHalf(sums), highHalf(sums), 0x31);
    const __m256 result = _mm256_blend_ps(_mm256_sub_ps(first, second),
                                          _mm256_add_ps(first, second), 0xF0);
    store(out[row],
          _mm256_add_ps(load(out[row]), _mm256_add_ps(load(acc[row]), result)));
    hist += rowPitch;
    parts += rowPitch;
  }
}

}  // namespace

constinit const RowKernels kRowAvx512 = {slideSums, addRows};

}  // namespace ulmar
