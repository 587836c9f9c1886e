// Row product sums, the arithmetic of every frequency-domain multiply-accumulate.
//
// For a run of pairs (x_i, h_i) each of the four lanes keeps four single-precision
// running sums, started at zero and taken in increasing i, every product rounded before
// it is added:
//   RR = sum xr hr,  II = sum xi hi,  RI = sum xr hi,  IR = sum xi hr;
// the lane's result is (RR - II, RI + IR). The packed lane, DC and Nyquist, multiplies
// part by part, and its result is (RR, II) of the same sums. Exchanging x and h
// exchanges RI and IR, hence changes no bit of a result.
#pragma once

#include "convrt/vec_complex.h"

namespace ulmar {

/// Running sums of one row product; they carry over exactly from run to run.
struct RowSums {
  VecComplex direct;  // re: RR, im: II
  VecComplex cross;   // re: RI, im: IR
};

inline VecComplex rowResult(const RowSums& sums) noexcept {
  VecComplex result;
  for (int lane = 0; lane < kLanes; ++lane) {
    result.re[lane] = sums.direct.re[lane] - sums.direct.im[lane];
    result.im[lane] = sums.cross.re[lane] + sums.cross.im[lane];
  }
  return result;
}

/// Lane 0 of `result` becomes the packed product sum.
inline void packedResult(const RowSums& sums, VecComplex& result) noexcept {
  result.re[0] = sums.direct.re[0];
  result.im[0] = sums.direct.im[0];
}

inline void addTo(VecComplex& target, const VecComplex& addend) noexcept {
  for (int lane = 0; lane < kLanes; ++lane) {
    target.re[lane] += addend.re[lane];
    target.im[lane] += addend.im[lane];
  }
}

/// A run of row products for numSlots neighbouring slots: `fixed` is the same for all,
/// `sliding` moves on by one element from slot to slot. For k < numSlots, sums[k] takes
///   sliding[k + i] with fixed[i],  i = 0 ... len - 1 - shrink k.
/// shrink is 0 or 1; numSlots >= 1; a slot of no pairs keeps its sums. sums, sliding
/// and fixed do not overlap; all lie on 32-byte boundaries.
void slideSums(RowSums* sums, int numSlots, VecComplex const* sliding,
               VecComplex const* fixed, int len, int shrink) noexcept;

}  // namespace ulmar
