// 512-bit body for x86-64, where thirty-two registers hold the sums of eight slots, a
// window of the sliding elements and one fixed element.
#include <immintrin.h>

#include "ulmar/convrt/row_kernels.h"
#include "ulmar/convrt/x86/row_avx512.h"
#include "ulmar/convrt/x86/slot_groups.h"

namespace ulmar {
namespace {

constexpr int kSlotsAtOnce = 8;

// Two neighbours in one load, and each of them in either form by a shuffle, which
// costs less than a broadcast from memory for each.
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

// Takes the elements from i on, as many at a time as there are slots, while that many
// are left. Returns the first that is not taken.
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

// Slot k takes sliding[i - k] with fixed[i]; with `staggered`, its first element at
// i = k.
template <int Slots>
void addSlots(RowSums* slots, VecComplex const* fixed, VecComplex const* sliding,
              int len, bool staggered) noexcept {
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

void slideSums(RowSums* sums, int numSlots, VecComplex const* fixed,
               VecComplex const* sliding, int len, int lead) noexcept {
  forEachGroup<kSlotsAtOnce>(
      numSlots, len, lead, [=]<int Slots>(int k, int late, bool staggered) {
        addSlots<Slots>(sums + k, fixed + late, sliding + late - k, len - late,
                        staggered);
      });
}

}  // namespace

constinit const RowKernels kRowAvx512 = {slideSums, addRows};

}  // namespace ulmar
