#include <algorithm>

#include "ulmar/convrt/convrt.h"
#include "ulmar/convrt/row_order.h"

ConvRTimpResp::ConvRTimpResp(ConvRTState& state, FFT& fft, cmplxFFT* scratch,
                             float const* samples, VecComplex* set, int irLen_)
    : irLen(irLen_) {
  for (int partition = 0; partition < state.ringLen; ++partition) {
    const int start = std::min(partition * state.blockLen, irLen);
    const int count = std::clamp(irLen - start, 0, state.blockLen);
    fft.rcfftZX(samples + start, scratch, count);

    // Only the first hfKeepBlocks partitions reach the upper band; Nyquist, which lies
    // in row 0 beside DC, is cut from the others here.
    if (state.hfSkipBlocks > 0 && partition >= state.hfKeepBlocks) scratch[0].im = 0.0;

    VecComplex* column = set + (state.ringLen - 1 - partition);
    for (int row = 0; row < state.numRows; ++row) {
      column[row * state.rowPitch] = ulmar::rowOf(state, scratch, row);
    }
  }
}

ConvRTimpResp::~ConvRTimpResp() = default;
