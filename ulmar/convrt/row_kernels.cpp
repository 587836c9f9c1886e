// The scalar body, which is the reference for every other, and the choice of a body.
#include "ulmar/convrt/row_kernels.h"

#include <algorithm>

#include "ulmar/convrt/row_result.h"

namespace ulmar {
namespace {

void addProduct(RowSums& sums, const VecComplex& a, const VecComplex& b) noexcept {
  for (int lane = 0; lane < kLanes; ++lane) {
    sums.direct.re[lane] += a.re[lane] * b.re[lane];
    sums.direct.im[lane] += a.im[lane] * b.im[lane];
    sums.cross.re[lane] += a.re[lane] * b.im[lane];
    sums.cross.im[lane] += a.im[lane] * b.re[lane];
  }
}

void slideSums(RowSums* sums, int numSlots, VecComplex const* fixed,
               VecComplex const* sliding, int len, int lead) noexcept {
  for (int k = 0; k < numSlots; ++k) {
    for (int i = std::max(0, k - lead); i < len; ++i) {
      addProduct(sums[k], sliding[i - k], fixed[i]);
    }
  }
}

void addRows(VecComplex* out, VecComplex const* acc, VecComplex const* hist,
             VecComplex const* parts, std::ptrdiff_t rowPitch, int numRows,
             int len) noexcept {
  for (int row = 0; row < numRows; ++row) {
    RowSums sums{};
    for (int i = 0; i < len; ++i) {
      addProduct(sums, hist[row * rowPitch + i], parts[row * rowPitch + i]);
    }
    VecComplex total = acc[row];
    addTo(total, rowResult(sums));
    addTo(out[row], total);
  }
}

}  // namespace

constinit const RowKernels kRowScalar = {slideSums, addRows};

const RowKernels& rowKernelsFor(Isa isa) noexcept {
  switch (isa) {
    case Isa::avx512:
      return kRowAvx512;
    case Isa::avx:
      return kRowAvx;
    case Isa::sse2:
      return kRowSse2;
    case Isa::scalar:
      break;
  }
  return kRowScalar;
}

}  // namespace ulmar
