// The frequency-domain multiply-accumulate. A row product is the product of two
// VecComplex, four complex multiplications: one row of an input block's spectrum times
// the same row of a partition's.
//
// A sum of row products over pairs (x_i, h_i) keeps four running sums in each of the
// four lanes, in single precision, from zero and in increasing i, every product rounded
// before it is added:
//   RR = sum xr hr,  II = sum xi hi,  RI = sum xr hi,  IR = sum xi hr.
// The lane's result is (RR - II, RI + IR). The packed lane holds two real values, DC
// and Nyquist, so its result is (RR, II). Exchanging x and h exchanges RI and IR and
// changes no bit of a result. All bodies return the same bits; only the payload of a
// NaN may differ.
#pragma once

#include <cstddef>

#include "ulmar/base/isa.h"
#include "ulmar/convrt/vec_complex.h"

namespace ulmar {

/// The running sums of row products a b. A sum may be continued in a further call and
/// gets the same bits, as long as a and b are not exchanged.
struct RowSums {
  VecComplex direct;  // re: sum ar br, im: sum ai bi
  VecComplex cross;   // re: sum ar bi, im: sum ai br
};

/// Most slots of one call of slideSums. A slot is the sum for one of the blocks ahead.
inline constexpr int kMaxSlots = 16;

/// One body of the kernels. All arrays lie on 32-byte boundaries; what is written
/// overlaps nothing else.
struct RowKernels {
  /// The multi-slot multiply-accumulate: for k = 0 ... numSlots - 1
  ///   sums[k] += sum of sliding[i - k] fixed[i],  i = max(0, k - lead) ... len - 1.
  /// All slots use the same `fixed` elements; the `sliding` ones lie one element
  /// further back from slot to slot. `lead` says how many elements in front of
  /// sliding[0] may be read: slot k reaches k back, and leaves out those products for
  /// which that is too far. From lead = numSlots - 1 on, none is left out. numSlots is
  /// 1 to kMaxSlots, lead at least 0.
  void (*slideSums)(RowSums* sums, int numSlots, VecComplex const* fixed,
                    VecComplex const* sliding, int len, int lead) noexcept;

  /// One sum of `len` row products in each of numRows rows, which lie rowPitch elements
  /// apart in hist and parts: out[row] += acc[row] + result, where the result of every
  /// lane is (RR - II, RI + IR), the packed one included.
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
