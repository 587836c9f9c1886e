// From the running sums of row products to spectrum values.
#pragma once

#include "ulmar/convrt/row_kernels.h"

namespace ulmar {

inline VecComplex rowResult(const RowSums& sums) noexcept {
  VecComplex result;
  for (int lane = 0; lane < kLanes; ++lane) {
    result.re[lane] = sums.direct.re[lane] - sums.direct.im[lane];
    result.im[lane] = sums.cross.re[lane] + sums.cross.im[lane];
  }
  return result;
}

/// Makes lane 0 of row 0 the sum of the real products of DC and of Nyquist.
inline void setPackedLane(const RowSums& sums, VecComplex& result) noexcept {
  result.re[0] = sums.direct.re[0];
  result.im[0] = sums.direct.im[0];
}

inline void addTo(VecComplex& target, const VecComplex& addend) noexcept {
  for (int lane = 0; lane < kLanes; ++lane) {
    target.re[lane] += addend.re[lane];
    target.im[lane] += addend.im[lane];
  }
}

}  // namespace ulmar
