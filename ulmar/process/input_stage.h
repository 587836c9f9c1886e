// The input of a run of frames. At the start of the run it is captured into the
// engine's input blocks and the dry rings; at its end the engine's input is
// conditioned: down-mix, crossfeed, mid and side. Frames do not depend on one another
// here. Channels may, where entries of the tables share a block or ring.
#pragma once

#include "ulmar/process/call_values.h"

namespace ulmar {

/// Gain of centre and surrounds in the down-mix to stereo: this decimal, not sqrt(1/2).
inline constexpr double kFoldGain = 0.7071;

/// Channels are written in order, so a block or ring shared by several entries keeps
/// the last of them. The dry rings run downwards.
template <int In, int Out>
void captureInput(CallValues<In, Out>& call, int run) noexcept {
  for (int k = 0; k < In; ++k) {
    const auto [sample, step] = call.in[k];
    double* const block = call.inBlk[k] + call.blockPos;
    float* const dry = call.dryBuf[k] + call.dryPos;
    for (int i = 0; i < run; ++i) {
      const float x = sample[i * step];
      block[i] = double{x};
      dry[-i] = x;
    }
  }
  for (ChannelCursor& channel : call.in) channel.advance(run);
}

/// Down-mixes left, centre, right, left surround, right surround to inputs 0 and 1.
/// Entries of the table may share a block, so that a write can change a later operand:
/// each value is read at the place where the formula has it.
template <int In, int Out>
void foldToStereo(CallValues<In, Out>& call, int run) noexcept {
  const double crossfeed = double{call.params.crossfeed};
  for (int i = call.blockPos; i < call.blockPos + run; ++i) {
    const auto a = [&](int k) -> double& { return call.inBlk[k][i]; };
    a(0) = a(0) + kFoldGain * (a(1) + a(3));
    a(1) = a(2) + kFoldGain * (a(1) + a(4));
    if (crossfeed > 0.0) {
      const double left = a(0);
      const double right = a(1);
      a(0) = left + crossfeed * right;
      a(1) = a(1) + crossfeed * left;
    }
  }
}

/// Feeds each of inputs 0 and 1 with the other's captured samples.
template <int In, int Out>
void crossfeed(CallValues<In, Out>& call, int run) noexcept {
  const double gain = double{call.params.crossfeed};
  double* const left = call.inBlk[0] + call.blockPos;
  double* const right = call.inBlk[1] + call.blockPos;
  float const* const dryLeft = call.dryBuf[0] + call.dryPos;
  float const* const dryRight = call.dryBuf[1] + call.dryPos;
  for (int i = 0; i < run; ++i) {
    left[i] = left[i] + gain * double{dryRight[-i]};
    right[i] = right[i] + gain * double{dryLeft[-i]};
  }
}

/// Left and right on inputs 0 and 1 become mid, left and right on inputs 0, 1 and 2.
template <int In, int Out>
void arrangeMidSide(CallValues<In, Out>& call, int run) noexcept {
  for (int i = call.blockPos; i < call.blockPos + run; ++i) {
    const double left = call.inBlk[0][i];
    const double right = call.inBlk[1][i];
    call.inBlk[0][i] = (left + right) * kOverSqrt2;
    call.inBlk[1][i] = left;
    call.inBlk[2][i] = right;
  }
}

/// Conditions the run's engine input in place and steps the dry rings.
template <int In, int Out>
void conditionInput(CallValues<In, Out>& call, int run) noexcept {
  if (call.params.foldToStereo != 0) {
    foldToStereo(call, run);
  } else if (call.params.crossfeed > 0.0F) {
    crossfeed(call, run);
  }
  call.dryPos = (call.dryPos - run) & (call.params.dryRingLen - 1);
  if (call.midSide) arrangeMidSide(call, run);
}

}  // namespace ulmar
