// The interleaved row order, and the way between a natural spectrum and its rows.
#pragma once

#include "ulmar/convrt/convrt.h"

namespace ulmar {

/// The natural group of four elements that `row` holds. rowsPerChunk is a power of two.
inline int naturalGroup(const ConvRTState& state, int row) noexcept {
  const int inChunk = row & (state.rowsPerChunk - 1);
  return inChunk * state.numChunks + (row >> state.rowsPerChunkLog2);
}

/// The four elements of `row`, rounded to single precision.
inline VecComplex rowOf(const ConvRTState& state, cmplxFFT const* spectrum,
                        int row) noexcept {
  cmplxFFT const* group = spectrum + kLanes * naturalGroup(state, row);
  VecComplex lanes;
  for (int lane = 0; lane < kLanes; ++lane) {
    lanes.re[lane] = static_cast<float>(group[lane].re);
    lanes.im[lane] = static_cast<float>(group[lane].im);
  }
  return lanes;
}

/// The reverse: writes the lanes of `row` to their natural elements.
inline void putRow(const ConvRTState& state, const VecComplex& lanes, int row,
                   cmplxFFT* spectrum) noexcept {
  cmplxFFT* group = spectrum + kLanes * naturalGroup(state, row);
  for (int lane = 0; lane < kLanes; ++lane) {
    group[lane] = {lanes.re[lane], lanes.im[lane]};
  }
}

}  // namespace ulmar
