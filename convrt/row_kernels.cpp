// Scalar body: the reference for every other.
#include "convrt/row_kernels.h"

namespace ulmar {
namespace {

void addProducts(RowSums& sums, const VecComplex& x, const VecComplex& h) noexcept {
  for (int lane = 0; lane < kLanes; ++lane) {
    sums.direct.re[lane] += x.re[lane] * h.re[lane];
    sums.direct.im[lane] += x.im[lane] * h.im[lane];
    sums.cross.re[lane] += x.re[lane] * h.im[lane];
    sums.cross.im[lane] += x.im[lane] * h.re[lane];
  }
}

}  // namespace

void slideSums(RowSums* sums, int numSlots, VecComplex const* sliding,
               VecComplex const* fixed, int len, int shrink) noexcept {
  for (int k = 0; k < numSlots; ++k) {
    RowSums slot = sums[k];
    for (int i = 0; i < len - shrink * k; ++i) {
      addProducts(slot, sliding[k + i], fixed[i]);
    }
    sums[k] = slot;
  }
}

}  // namespace ulmar
