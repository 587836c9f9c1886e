// From running sums to results, for the schedule above the kernels.
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

/// Lane 0 of `result` becomes the packed product sum.
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
