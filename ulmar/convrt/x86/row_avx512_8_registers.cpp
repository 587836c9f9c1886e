// 512-bit body for 32-bit x86, whose eight registers hold the sums of six slots, one
// fixed element and a product. The sliding elements, which all slots use, are expanded
// to re|im twice beforehand, and stay in the first-level cache.
#include <immintrin.h>

#include "ulmar/convrt/row_kernels.h"
#include "ulmar/convrt/x86/row_avx512.h"
#include "ulmar/convrt/x86/slot_groups.h"

namespace ulmar {
namespace {

constexpr int kSlotsAtOnce = 6;

// Elements that are expanded at a time: with those before them, 5 KiB of stack.
constexpr int kTile = 64;

// re|im twice.
struct Expanded {
  __m512 value;
};

// Slot k takes sliding[i - k] with fixed[i]; with `staggered`, its first element at
// i = k.
template <int Slots>
void addSlots(RowSums* slots, VecComplex const* fixed, Expanded const* sliding, int len,
              bool staggered) noexcept {
  __m512 sums[Slots];
#pragma GCC unroll 8
  for (int k = 0; k < Slots; ++k) sums[k] = _mm512_loadu_ps(slots + k);
  const auto step = [&](int i, int numActive) __attribute__((always_inline)) {
    const __m512 x = bothWays(fixed[i]);
#pragma GCC unroll 8
    for (int k = 0; k < numActive; ++k) {
      sums[k] = addProduct(sums[k], sliding[i - k].value, x);
    }
  };
  int i = 0;
  if (staggered) {
#pragma GCC unroll 8
    for (; i < Slots - 1; ++i) step(i, i + 1);
  }
  for (; i < len; ++i) step(i, Slots);
#pragma GCC unroll 8
  for (int k = 0; k < Slots; ++k) _mm512_storeu_ps(slots + k, sums[k]);
}

void slideSums(RowSums* sums, int numSlots, VecComplex const* fixed,
               VecComplex const* sliding, int len, int lead) noexcept {
  Expanded tile[kMaxSlots - 1 + kTile];
  Expanded* const newest = tile + kMaxSlots - 1;
  for (int start = 0; start < len; start += kTile, lead += kTile) {
    const int tileLen = len - start < kTile ? len - start : kTile;
    const int before = lead < numSlots - 1 ? lead : numSlots - 1;
    for (int i = -before; i < tileLen; ++i) newest[i].value = twice(sliding[start + i]);
    forEachGroup<kSlotsAtOnce>(
        numSlots, tileLen, lead, [=]<int Slots>(int k, int late, bool staggered) {
          addSlots<Slots>(sums + k, fixed + start + late, newest + late - k,
                          tileLen - late, staggered);
        });
  }
}

}  // namespace

constinit const RowKernels kRowAvx512 = {slideSums, addRows};

}  // namespace ulmar
