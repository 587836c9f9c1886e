// The values that one call of the driver works with: channel positions, gains and the
// addresses of blocks and rings, derived from parameters and state when it starts.
#pragma once

#include <algorithm>
#include <cstddef>
#include <iterator>

#include "ulmar/base/align.h"
#include "ulmar/base/constants.h"
#include "ulmar/decoder/five_speaker.h"
#include "ulmar/process/buffer_layout.h"
#include "ulmar/process/host_records.h"

namespace ulmar {

/// Most frames of one run, which is processed channel by channel; the scratch memory of
/// a channel has this many samples.
inline constexpr int kMaxRun = kMaxDecodeRun;

/// Divides an area into numCarved parts of `pitch` elements and enters their addresses
/// in the table. The entries behind them repeat the last address, so that channels
/// without a part of their own share the last one's memory.
template <typename T>
void carve(T* (&table)[kMaxChannels], const ExternStruct::Area& area, int numCarved,
           int pitch) noexcept {
  T* const base = alignedArea<T>(area.address);
  for (int k = 0; k < kMaxChannels; ++k) {
    table[k] = base + std::ptrdiff_t{std::min(k, numCarved - 1)} * pitch;
  }
}

template <int In, int Out>
struct CallValues {
  CallValues(OstinSoundBuf const* inBufs, OstinSoundBuf const* outBufs,
             const ParamStruct& params, StateStruct& state, const ExternStruct& ext,
             HostLong numFrames) noexcept;

  /// How many of `framesLeft` frames the next run takes. It ends at the block's end,
  /// where a ring position wraps, or before a ring's place would be overwritten that is
  /// still to be read. At least 1.
  int runLength(HostLong framesLeft) const noexcept;

  /// Positions in the rings that are read in the current frame.
  int dryReadPos() const noexcept {
    return (dryPos + params.dryDelay) & (params.dryRingLen - 1);
  }
  int rearReadPos() const noexcept {
    return (rearPos + params.rearDelay) & (2 * params.dryRingLen - 1);
  }

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
  double wetGain[Out];

  double* inBlk[kMaxChannels];   // engine input blocks
  float* dryBuf[kMaxChannels];   // dry rings
  double* outBlk[kMaxChannels];  // engine output blocks
  float* rearBuf[2]{};           // of outputs 3 and 4, five outputs only

  ChannelCursor in[In];
  ChannelCursor out[Out];

  bool frameByFrame;  // inputs and outputs overlap so that runs of one frame are needed

  int blockPos;
  int dryPos;
  int rearPos;
};

template <int In, int Out>
CallValues<In, Out>::CallValues(OstinSoundBuf const* inBufs,
                                OstinSoundBuf const* outBufs,
                                const ParamStruct& params_, StateStruct& state_,
                                const ExternStruct& ext_, HostLong numFrames) noexcept
    : params(params_),
      ext(ext_),
      state(state_),
      engineInputs(params.foldToStereo != 0 ? In : params.numInputs),
      midSide(Out == 5 && params.perOutputIR != 0 && params.passThrough == 0),
      yGain(midSide ? -1.0F : 1.0F),
      centreGain(params.numOutputs > 4 ? static_cast<float>(kOverSqrt2) : 0.0F),
      blockPos(state.blockPos),
      dryPos(state.dryPos),
      rearPos(state.rearPos) {
  carve(inBlk, ext.inBlocks, engineInputs, params.blockLen);
  carve(dryBuf, ext.dryRings, engineInputs, params.dryRingLen);
  carve(outBlk, ext.outBlocks, params.numOutputs, params.blockLen);
  if (midSide) {
    // Output 2 takes its dry signal from ring 2, and the right channel is captured in
    // ring 1: both entries are one ring. The entries behind the carved ones repeat the
    // last ring as this leaves it.
    dryBuf[2] = dryBuf[1];
    std::fill(dryBuf + engineInputs, std::end(dryBuf), dryBuf[engineInputs - 1]);
  }
  if constexpr (Out == 5) {
    float* const rear = alignedArea<float>(ext.rearRings.address);
    rearBuf[0] = rear;
    rearBuf[1] = rear + std::ptrdiff_t{2} * params.dryRingLen;
  }
  for (int k = 0; k < In; ++k) in[k] = {inBufs[k].data, inBufs[k].step};
  for (int j = 0; j < Out; ++j) {
    out[j] = {outBufs[j].data, outBufs[j].step};
    wetGain[j] = params.irLen >= 1 ? double{params.wetGain[j]} : 0.0;
  }
  frameByFrame = !runsKeepFrameOrder(in, out, numFrames);
}

template <int In, int Out>
int CallValues<In, Out>::runLength(HostLong framesLeft) const noexcept {
  if (frameByFrame) return 1;
  int run = static_cast<int>(std::min<HostLong>(framesLeft, kMaxRun));
  run = std::min(run, params.blockLen - blockPos);
  run = std::min(
      {run, params.dryRingLen - params.dryDelay, dryPos + 1, dryReadPos() + 1});
  if constexpr (Out == 5) {
    run = std::min({run, 2 * params.dryRingLen - params.rearDelay, rearPos + 1,
                    rearReadPos() + 1});
  }
  return std::max(run, 1);
}

}  // namespace ulmar
