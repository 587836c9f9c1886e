// 128-bit body: two passes over a run, one with the real parts of h, which gives RR and
// IR, one with the imaginary parts, which gives RI and II.
#include <emmintrin.h>

#include "ulmar/convrt/row_kernels.h"
#include "ulmar/convrt/x86/slot_groups.h"

namespace ulmar {
namespace {

// Each slot keeps two running sums in registers; the fixed element and a product take
// two.
constexpr int kSlotsAtOnce = sizeof(void*) == 8 ? 6 : 3;

// Which part of the fixed element a pass takes, and which sums it keeps.
struct Pass {
  float (VecComplex::*part)[4];
  VecComplex RowSums::*sumOfReals;  // with the other's real parts, in re
  VecComplex RowSums::*sumOfImags;  // with the other's imaginary parts, in im
};
constexpr Pass kRealPass = {&VecComplex::re, &RowSums::direct, &RowSums::cross};
constexpr Pass kImagPass = {&VecComplex::im, &RowSums::cross, &RowSums::direct};

// One pass over a group of slots. With `staggered`, slot k takes its first element at i
// = k.
template <int Slots, Pass pass>
void addRun(RowSums* sums, VecComplex const* fixed, VecComplex const* sliding, int len,
            bool staggered) noexcept {
  __m128 ofReals[Slots];
  __m128 ofImags[Slots];
  for (int k = 0; k < Slots; ++k) {
    ofReals[k] = _mm_load_ps((sums[k].*pass.sumOfReals).re);
    ofImags[k] = _mm_load_ps((sums[k].*pass.sumOfImags).im);
  }
  int i = 0;
  if (staggered) {
#pragma GCC unroll 8
    for (; i < Slots - 1; ++i) {
      const __m128 x = _mm_load_ps(fixed[i].*pass.part);
#pragma GCC unroll 8
      for (int k = 0; k <= i; ++k) {
        const VecComplex& h = sliding[i - k];
        ofReals[k] = _mm_add_ps(ofReals[k], _mm_mul_ps(_mm_load_ps(h.re), x));
        ofImags[k] = _mm_add_ps(ofImags[k], _mm_mul_ps(_mm_load_ps(h.im), x));
      }
    }
  }
  for (; i < len; ++i) {
    const __m128 x = _mm_load_ps(fixed[i].*pass.part);
#pragma GCC unroll 8
    for (int k = 0; k < Slots; ++k) {
      const VecComplex& h = sliding[i - k];
      ofReals[k] = _mm_add_ps(ofReals[k], _mm_mul_ps(_mm_load_ps(h.re), x));
      ofImags[k] = _mm_add_ps(ofImags[k], _mm_mul_ps(_mm_load_ps(h.im), x));
    }
  }
  for (int k = 0; k < Slots; ++k) {
    _mm_store_ps((sums[k].*pass.sumOfReals).re, ofReals[k]);
    _mm_store_ps((sums[k].*pass.sumOfImags).im, ofImags[k]);
  }
}

void slideSums(RowSums* sums, int numSlots, VecComplex const* fixed,
               VecComplex const* sliding, int len, int lead) noexcept {
  forEachGroup<kSlotsAtOnce>(
      numSlots, len, lead, [=]<int Slots>(int k, int late, bool staggered) {
        VecComplex const* const x = fixed + late;
        VecComplex const* const h = sliding + late - k;
        addRun<Slots, kRealPass>(sums + k, x, h, len - late, staggered);
        addRun<Slots, kImagPass>(sums + k, x, h, len - late, staggered);
      });
}

void addRows(VecComplex* out, VecComplex const* acc, VecComplex const* hist,
             VecComplex const* parts, std::ptrdiff_t rowPitch, int numRows,
             int len) noexcept {
  for (int row = 0; row < numRows; ++row) {
    __m128 rr = _mm_setzero_ps();
    __m128 ii = _mm_setzero_ps();
    __m128 ri = _mm_setzero_ps();
    __m128 ir = _mm_setzero_ps();
    for (int i = 0; i < len; ++i) {
      const __m128 xr = _mm_load_ps(hist[i].re);
      const __m128 xi = _mm_load_ps(hist[i].im);
      const __m128 hr = _mm_load_ps(parts[i].re);
      const __m128 hi = _mm_load_ps(parts[i].im);
      rr = _mm_add_ps(rr, _mm_mul_ps(xr, hr));
      ii = _mm_add_ps(ii, _mm_mul_ps(xi, hi));
      ri = _mm_add_ps(ri, _mm_mul_ps(xr, hi));
      ir = _mm_add_ps(ir, _mm_mul_ps(xi, hr));
    }
    const __m128 re = _mm_add_ps(_mm_load_ps(acc[row].re), _mm_sub_ps(rr, ii));
    const __m128 im = _mm_add_ps(_mm_load_ps(acc[row].im), _mm_add_ps(ri, ir));
    _mm_store_ps(out[row].re, _mm_add_ps(_mm_load_ps(out[row].re), re));
    _mm_store_ps(out[row].im, _mm_add_ps(_mm_load_ps(out[row].im), im));
    hist += rowPitch;
    parts += rowPitch;
  }
}

}  // namespace

constinit const RowKernels kRowSse2 = {slideSums, addRows};

}  // namespace ulmar
