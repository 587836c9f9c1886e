// 512-bit body: one register holds all sums of a slot, RR|II RI|IR. The product of a
// sliding element, re|im twice, with a fixed one, re|im im|re, adds to all four, so a
// row product is one multiplication and one addition.
#include <immintrin.h>

#include "ulmar/convrt/row_kernels.h"

namespace ulmar {
namespace {

constexpr bool kManyRegisters = sizeof(void*) == 8;

// An element twice, as the products take it: what eight registers leave no room for
// waits in memory.
struct Expanded {
  __m512 value;
};

// With thirty-two registers a pass takes the sliding elements as they are and keeps a
// window of them beside eight slots; with eight, it takes six slots and has the
// elements expanded, 5 KiB of stack, which all slots use from the first-level cache.
template <typename Sliding>
constexpr int kSlotsAtOnce = 6;
template <>
constexpr int kSlotsAtOnce<VecComplex> = 8;
constexpr int kTile = 64;

__m256 load(const VecComplex& element) noexcept { return _mm256_load_ps(element.re); }

__m512 twice(const VecComplex& element) noexcept {
  return _mm512_castpd_ps(_mm512_broadcast_f64x4(_mm256_castps_pd(load(element))));
}

__m512 twice(const Expanded& element) noexcept { return element.value; }

// re|im im|re.
__m512 bothWays(const VecComplex& element) noexcept {
  const __m512 value = twice(element);
  return _mm512_shuffle_f32x4(value, value, 0xB4);
}

// Two neighbours at once and each in the two forms, without the cost of a broadcast.
__m512 loadTwo(VecComplex const* elements) noexcept {
  return _mm512_loadu_ps(elements);
}

__m512 firstTwice(__m512 two) noexcept { return _mm512_shuffle_f32x4(two, two, 0x44); }

__m512 secondTwice(__m512 two) noexcept { return _mm512_shuffle_f32x4(two, two, 0xEE); }

__m512 firstBothWays(__m512 two) noexcept {
  return _mm512_shuffle_f32x4(two, two, 0x14);
}

__m512 secondBothWays(__m512 two) noexcept {
  return _mm512_shuffle_f32x4(two, two, 0xBE);
}

__m512 addProduct(__m512 sums, __m512 a, __m512 b) noexcept {
  return _mm512_add_ps(sums, _mm512_mul_ps(a, b));
}

// Takes whole windows of elements from i on; returns the first that is left.
template <int Slots>
[[gnu::always_inline]] inline int addWindows(__m512 (&sums)[Slots],
                                             VecComplex const* fixed,
                                             VecComplex const* sliding, int i,
                                             int len) noexcept {
  if (Slots % 2 != 0 || len - i < Slots) return i;
  // sliding[j] stands in window[(j - i) mod Slots].
  __m512 window[Slots];
  const auto add = [&](int t, __m512 h, __m512 x) __attribute__((always_inline)) {
    window[t] = h;
#pragma GCC unroll 8
    for (int k = 0; k < Slots; ++k) {
      sums[k] = addProduct(sums[k], window[(t - k + Slots) % Slots], x);
    }
  };
#pragma GCC unroll 8
  for (int k = 1; k < Slots; ++k) window[Slots - k] = twice(sliding[i - k]);
  for (; i + Slots <= len; i += Slots) {
#pragma GCC unroll 4
    for (int t = 0; t < Slots; t += 2) {
      const __m512 h = loadTwo(sliding + i + t);
      const __m512 x = loadTwo(fixed + i + t);
      add(t, firstTwice(h), firstBothWays(x));
      add(t + 1, secondTwice(h), secondBothWays(x));
    }
  }
  return i;
}

template <int Slots>
int addWindows(__m512 (&)[Slots], VecComplex const*, Expanded const*, int i,
               int) noexcept {
  return i;
}

// Slot k takes sliding[i - k] with fixed[i]; with `staggered`, its first element at
// i = k.
template <int Slots, typename Sliding>
void addSlots(RowSums* slots, VecComplex const* fixed, Sliding const* sliding, int len,
              bool staggered) noexcept {
  __m512 sums[Slots];
#pragma GCC unroll 8
  for (int k = 0; k < Slots; ++k) sums[k] = _mm512_loadu_ps(slots + k);
  const auto step = [&](int i, int numActive) __attribute__((always_inline)) {
    const __m512 x = bothWays(fixed[i]);
#pragma GCC unroll 8
    for (int k = 0; k < numActive; ++k) {
      sums[k] = addProduct(sums[k], twice(sliding[i - k]), x);
    }
  };
  int i = 0;
  if (staggered) {
#pragma GCC unroll 8
    for (; i < Slots - 1; ++i) step(i, i + 1);
  }
  i = addWindows(sums, fixed, sliding, i, len);
  for (; i < len; ++i) step(i, Slots);
#pragma GCC unroll 8
  for (int k = 0; k < Slots; ++k) _mm512_storeu_ps(slots + k, sums[k]);
}

template <typename Sliding, int Slots = kSlotsAtOnce<Sliding>>
void addGroup(int numSlots, RowSums* slots, VecComplex const* fixed,
              Sliding const* sliding, int len, bool staggered) noexcept {
  if (numSlots < Slots) {
    if constexpr (Slots > 1) {
      addGroup<Sliding, Slots - 1>(numSlots, slots, fixed, sliding, len, staggered);
    }
  } else {
    addSlots<Slots>(slots, fixed, sliding, len, staggered);
  }
}

template <typename Sliding>
void addGroups(RowSums* sums, int numSlots, VecComplex const* fixed,
               Sliding const* sliding, int len, int lead) noexcept {
  int group = 0;
  for (int k = 0;
       (group = slotGroup(k, numSlots, len, lead, kSlotsAtOnce<Sliding>)) > 0;
       k += group) {
    const int late = k > lead ? k - lead : 0;
    addGroup(group, sums + k, fixed + late, sliding + late - k, len - late, k >= lead);
  }
}

void slideInMemory(RowSums* sums, int numSlots, VecComplex const* fixed,
                   VecComplex const* sliding, int len, int lead) noexcept {
  Expanded tile[kMaxSlots - 1 + kTile];
  Expanded* const newest = tile + kMaxSlots - 1;
  for (int start = 0; start < len; start += kTile, lead += kTile) {
    const int tileLen = len - start < kTile ? len - start : kTile;
    const int before = lead < numSlots - 1 ? lead : numSlots - 1;
    for (int i = -before; i < tileLen; ++i) newest[i].value = twice(sliding[start + i]);
    addGroups(sums, numSlots, fixed + start, newest, tileLen, lead);
  }
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

constinit const RowKernels kRowAvx512 = {
    kManyRegisters ? addGroups<VecComplex> : slideInMemory, addRows};

}  // namespace ulmar
