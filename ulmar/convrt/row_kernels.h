// Row product sums, the arithmetic of every frequency-domain multiply-accumulate.
//
// For a run of pairs (x_i, h_i) each of the four lanes keeps four single-precision
// running sums, started at zero and taken in increasing i, every product rounded before
// it is added:
//   RR = sum xr hr,  II = sum xi hi,  RI = sum xr hi,  IR = sum xi hr;
// the lane's result is (RR - II, RI + IR). The packed lane, DC and Nyquist, multiplies
// part by part, and its result is (RR, II) of the same sums. Exchanging x and h
// exchanges RI and IR, hence changes no bit of a result. All bodies return the same
// bits; only the payload of a NaN may differ.
#pragma once

#include <cstddef>

#include "ulmar/base/isa.h"
#include "ulmar/convrt/vec_complex.h"

namespace ulmar {

/// Running sums of one row product, of elements a and b; they carry over exactly from
/// run to run, as long as a and b keep their roles.
struct RowSums {
  VecComplex direct;  // re: sum ar br, im: sum ai bi
  VecComplex cross;   // re: sum ar bi, im: sum ai br
};

inline constexpr int kMaxSlots = 16;

/// One body of the kernels. All arrays lie on 32-byte boundaries; what is written
/// overlaps nothing else.
struct RowKernels {
  /// A run of row products for numSlots neighbouring slots: `fixed` is the same for
  /// all, `sliding` moves back by one element from slot to slot. For k < numSlots,
  /// sums[k] takes
  ///   a = sliding[i - k], b = fixed[i],  i = max(0, k - lead) ... len - 1.
  /// numSlots is 1 to kMaxSlots; lead, at least 0, is how many elements have gone
  /// before: with numSlots - 1 and more every slot takes all.
  void (*slideSums)(RowSums* sums, int numSlots, VecComplex const* fixed,
                    VecComplex const* sliding, int len, int lead) noexcept;

  /// One run of `len` row products in each of numRows rows, rowPitch elements apart in
  /// hist and parts: out[row] += acc[row] + result. Treats all lanes alike.
  void (*addRows)(VecComplex* out, VecComplex const* acc, VecComplex const* hist,
                  VecComplex const* parts, std::ptrdiff_t rowPitch, int numRows,
                  int len) noexcept;
};

extern const RowKernels kRowScalar;
extern const RowKernels kRowSse2;
extern const RowKernels kRowAvx;
extern const RowKernels kRowAvx512;

const RowKernels& rowKernelsFor(Isa isa) noexcept;

/// The body for this processor. Ask once per pass and hand the reference down.
inline const RowKernels& rowKernels() noexcept { return rowKernelsFor(bestIsa()); }

}  // namespace ulmar
