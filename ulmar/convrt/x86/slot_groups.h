// How a vector body of slideSums divides its slots into groups whose sums fit into
// registers. Internal linkage, since each body compiles it for its own instruction set:
// a copy that uses AVX must never be the one that the linker keeps for all.
#pragma once

#include "ulmar/convrt/row_kernels.h"

namespace ulmar {
namespace {

// The size of the group that starts at slot k, at most `atOnce`, or 0 when no slot from
// k on takes an element. The slots that are left are shared out evenly. A group's slots
// either all take every element (k < lead), or each starts one element later than the
// slot before (k >= lead); a group ends where the one case passes into the other.
int groupSize(int k, int numSlots, int len, int lead, int atOnce) noexcept {
  const int numActive = numSlots < lead + len ? numSlots : lead + len;
  const int left = numActive - k;
  if (left <= 0) return 0;
  const int numGroups = (left + atOnce - 1) / atOnce;
  const int even = (left + numGroups - 1) / numGroups;
  return k < lead && k + even > lead + 1 ? lead + 1 - k : even;
}

// Hands a size of 1 to Most to `run` as a template argument.
template <int Most, typename Run>
void withSize(int size, Run run) noexcept {
  if constexpr (Most > 1) {
    if (size < Most) {
      withSize<Most - 1>(size, run);
      return;
    }
  }
  run.template operator()<Most>();
}

// Calls add.operator()<Slots>(k, late, staggered) for every group of at most AtOnce
// slots: `Slots` of them from slot k on, the first of which starts at element `late`.
// With `staggered` each starts one element after the slot before, else all together.
template <int AtOnce, typename Add>
void forEachGroup(int numSlots, int len, int lead, Add add) noexcept {
  int size = 0;
  for (int k = 0; (size = groupSize(k, numSlots, len, lead, AtOnce)) > 0; k += size) {
    withSize<AtOnce>(size, [&]<int Slots>() {
      add.template operator()<Slots>(k, k > lead ? k - lead : 0, k >= lead);
    });
  }
}

}  // namespace
}  // namespace ulmar
