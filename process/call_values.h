// What one call of the driver works with, derived once at its start.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>

#include "base/align.h"
#include "base/constants.h"
#include "process/host_records.h"

namespace ulmar {

/// One channel's place in the host's buffer.
struct ChannelCursor {
  float* sample;
  std::ptrdiff_t step;

  void advance() noexcept { sample += step; }
};

/// Five addresses, of which the first `numCarved` lie `pitch` elements apart from the
/// area's start; the others repeat the last of them and so share its memory.
template <typename T>
std::array<T*, kMaxChannels> carve(const ExternStruct::Area& area, int numCarved,
                                   int pitch) noexcept {
  std::array<T*, kMaxChannels> table;
  T* const base = alignedArea<T>(area.address);
  for (int k = 0; k < kMaxChannels; ++k) {
    table[k] = base + std::ptrdiff_t{std::min(k, numCarved - 1)} * pitch;
  }
  return table;
}

template <int In, int Out>
struct CallValues {
  CallValues(OstinSoundBuf const* inBufs, OstinSoundBuf const* outBufs,
             const ParamStruct& params, StateStruct& state,
             const ExternStruct& ext) noexcept;

  /// Stores the positions for the next call.
  void storePositions() noexcept {
    state.blockPos = blockPos;
    state.dryPos = dryPos;
    state.rearPos = rearPos;
  }

  const ParamStruct& params;
  const ExternStruct& ext;
  StateStruct& state;

  int engineInputs;  // engine input blocks and dry rings carved
  bool midSide;      // stereo as mid, left, right on engine inputs 0, 1, 2
  float yGain;
  float centreGain;
  std::array<double, Out> wetGain;

  std::array<double*, kMaxChannels> inBlk;   // engine input blocks
  std::array<float*, kMaxChannels> dryBuf;   // dry rings
  std::array<double*, kMaxChannels> outBlk;  // engine output blocks
  std::array<float*, 2> rearBuf{};           // of outputs 3 and 4, five outputs only

  std::array<ChannelCursor, In> in;
  std::array<ChannelCursor, Out> out;

  int blockPos;
  int dryPos;
  int rearPos;
};

template <int In, int Out>
CallValues<In, Out>::CallValues(OstinSoundBuf const* inBufs,
                                OstinSoundBuf const* outBufs,
                                const ParamStruct& params_, StateStruct& state_,
                                const ExternStruct& ext_) noexcept
    : params(params_),
      ext(ext_),
      state(state_),
      engineInputs(params.foldToStereo != 0 ? In : params.numInputs),
      midSide(Out == 5 && params.perOutputIR != 0 && params.passThrough == 0),
      yGain(midSide ? -1.0F : 1.0F),
      centreGain(params.numOutputs > 4 ? static_cast<float>(kOverSqrt2) : 0.0F),
      inBlk(carve<double>(ext.inBlocks, engineInputs, params.blockLen)),
      dryBuf(carve<float>(ext.dryRings, engineInputs, params.dryRingLen)),
      outBlk(carve<double>(ext.outBlocks, params.numOutputs, params.blockLen)),
      blockPos(state.blockPos),
      dryPos(state.dryPos),
      rearPos(state.rearPos) {
  if (midSide) {
    // The right channel's dry signal, which feeds output 2, stays in ring 1; entries
    // that repeat the last ring repeat it as it stands now.
    dryBuf[2] = dryBuf[1];
    std::fill(dryBuf.begin() + engineInputs, dryBuf.end(), dryBuf[engineInputs - 1]);
  }
  if constexpr (Out == 5) {
    float* const rear = alignedArea<float>(ext.rearRings.address);
    rearBuf = {rear, rear + std::ptrdiff_t{2} * params.dryRingLen};
  }
  for (int k = 0; k < In; ++k) in[k] = {inBufs[k].data, inBufs[k].step};
  for (int j = 0; j < Out; ++j) {
    out[j] = {outBufs[j].data, outBufs[j].step};
    wetGain[j] = params.irLen >= 1 ? double{params.wetGain[j]} : 0.0;
  }
}

}  // namespace ulmar
