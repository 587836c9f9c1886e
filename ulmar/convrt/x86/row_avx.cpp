// 256-bit body: one register holds a VecComplex, re|im. The product with h is RR|II,
// that with h's halves exchanged RI|IR, so a row product is two multiplications and
// additions.
#include <immintrin.h>

#include "ulmar/convrt/row_kernels.h"
#include "ulmar/convrt/x86/slot_groups.h"

namespace ulmar {
namespace {

// With sixteen registers a pass keeps both sums of four slots and a window of the
// sliding elements; with eight, one sum of six slots, and takes the sliding elements
// from memory.
constexpr bool kSixteenRegisters = sizeof(void*) == 8;
constexpr int kSlotsAtOnce = kSixteenRegisters ? 4 : 6;

// Elements of `fixed` that are held with their halves exchanged: 4 KiB of stack, which
// with as much of `fixed` and `sliding` stays in the first-level cache.
constexpr int kTile = 128;

__m256 load(const VecComplex& element) noexcept { return _mm256_load_ps(element.re); }

void store(VecComplex& element, __m256 value) noexcept {
  _mm256_store_ps(element.re, value);
}

__m256 exchanged(__m256 value) noexcept {
  return _mm256_permute2f128_ps(value, value, 1);
}

// A run of one pass over a group of slots: fixed, sliding and the staggered start are
// as in addGroup. Sums are picked by `part`, each with the form of the fixed elements
// it takes.
template <int Slots>
void addOneSum(RowSums* sums, VecComplex RowSums::*part, VecComplex const* fixed,
               VecComplex const* sliding, int len, bool staggered) noexcept {
  __m256 sum[Slots];
  for (int k = 0; k < Slots; ++k) sum[k] = load(sums[k].*part);
  const auto step = [&](int i, int numActive) __attribute__((always_inline)) {
    const __m256 x = load(fixed[i]);
#pragma GCC unroll 8
    for (int k = 0; k < numActive; ++k) {
      sum[k] = _mm256_add_ps(sum[k], _mm256_mul_ps(load(sliding[i - k]), x));
    }
  };
  int i = 0;
  if (staggered) {
#pragma GCC unroll 8
    for (; i < Slots - 1; ++i) step(i, i + 1);
  }
  for (; i < len; ++i) step(i, Slots);
  for (int k = 0; k < Slots; ++k) store(sums[k].*part, sum[k]);
}

// The same with both sums in one pass.
template <int Slots>
void addBothSums(RowSums* sums, VecComplex const* fixed, VecComplex const* crossed,
                 VecComplex const* sliding, int len, bool staggered) noexcept {
  __m256 direct[Slots];
  __m256 cross[Slots];
  for (int k = 0; k < Slots; ++k) direct[k] = load(sums[k].direct);
  for (int k = 0; k < Slots; ++k) cross[k] = load(sums[k].cross);
  const auto add = [&](int k, __m256 h, __m256 x, __m256 xCrossed)
      __attribute__((always_inline)) {
    direct[k] = _mm256_add_ps(direct[k], _mm256_mul_ps(h, x));
    cross[k] = _mm256_add_ps(cross[k], _mm256_mul_ps(h, xCrossed));
  };
  const auto step = [&](int i, int numActive) __attribute__((always_inline)) {
    const __m256 x = load(fixed[i]);
    const __m256 xCrossed = load(crossed[i]);
#pragma GCC unroll 8
    for (int k = 0; k < numActive; ++k) add(k, load(sliding[i - k]), x, xCrossed);
  };
  int i = 0;
  if (staggered) {
#pragma GCC unroll 8
    for (; i < Slots - 1; ++i) step(i, i + 1);
  }
  if (len - i >= Slots) {
    // sliding[j] stands in window[(j - i) mod Slots].
    __m256 window[Slots];
#pragma GCC unroll 8
    for (int k = 1; k < Slots; ++k) window[Slots - k] = load(sliding[i - k]);
    for (; i + Slots <= len; i += Slots) {
#pragma GCC unroll 8
      for (int t = 0; t < Slots; ++t) {
        const __m256 x = load(fixed[i + t]);
        const __m256 xCrossed = load(crossed[i + t]);
        window[t] = load(sliding[i + t]);
#pragma GCC unroll 8
        for (int k = 0; k < Slots; ++k) {
          add(k, window[(t - k + Slots) % Slots], x, xCrossed);
        }
      }
    }
  }
  for (; i < len; ++i) step(i, Slots);
  for (int k = 0; k < Slots; ++k) store(sums[k].direct, direct[k]);
  for (int k = 0; k < Slots; ++k) store(sums[k].cross, cross[k]);
}

// crossed: the fixed elements with their halves exchanged. With `staggered`, slot k
// takes its first element at i = k.
template <int Slots>
void addGroup(RowSums* sums, VecComplex const* fixed, VecComplex const* crossed,
              VecComplex const* sliding, int len, bool staggered) noexcept {
  if constexpr (kSixteenRegisters) {
    addBothSums<Slots>(sums, fixed, crossed, sliding, len, staggered);
  } else {
    addOneSum<Slots>(sums, &RowSums::direct, fixed, sliding, len, staggered);
    addOneSum<Slots>(sums, &RowSums::cross, crossed, sliding, len, staggered);
  }
}

void slideSums(RowSums* sums, int numSlots, VecComplex const* fixed,
               VecComplex const* sliding, int len, int lead) noexcept {
  VecComplex crossed[kTile];
  for (int start = 0; start < len; start += kTile, lead += kTile) {
    const int tileLen = len - start < kTile ? len - start : kTile;
    for (int i = 0; i < tileLen; ++i) {
      store(crossed[i], exchanged(load(fixed[start + i])));
    }
    forEachGroup<kSlotsAtOnce>(
        numSlots, tileLen, lead, [&]<int Slots>(int k, int late, bool staggered) {
          addGroup<Slots>(sums + k, fixed + start + late, crossed + late,
                          sliding + start + late - k, tileLen - late, staggered);
        });
  }
}

void addRows(VecComplex* out, VecComplex const* acc, VecComplex const* hist,
             VecComplex const* parts, std::ptrdiff_t rowPitch, int numRows,
             int len) noexcept {
  for (int row = 0; row < numRows; ++row) {
    __m256 direct = _mm256_setzero_ps();
    __m256 cross = _mm256_setzero_ps();
    for (int i = 0; i < len; ++i) {
      const __m256 x = load(hist[i]);
      const __m256 h = load(parts[i]);
      direct = _mm256_add_ps(direct, _mm256_mul_ps(x, h));
      cross = _mm256_add_ps(cross, _mm256_mul_ps(x, exchanged(h)));
    }
    // RR|RI and II|IR, then RR - II and RI + IR.
    const __m256 first = _mm256_permute2f128_ps(direct, cross, 0x20);
    const __m256 second = _mm256_permute2f128_ps(direct, cross, 0x31);
    const __m256 result = _mm256_blend_ps(_mm256_sub_ps(first, second),
                                          _mm256_add_ps(first, second), 0xF0);
    store(out[row],
          _mm256_add_ps(load(out[row]), _mm256_add_ps(load(acc[row]), result)));
    hist += rowPitch;
    parts += rowPitch;
  }
}

}  // namespace

constinit const RowKernels kRowAvx = {slideSums, addRows};

}  // namespace ulmar
