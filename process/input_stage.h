// What happens to a frame's input: capture into the engine's input blocks and the dry
// rings at the frame's start, conditioning of the engine's input at its end.
#pragma once

#include "process/call_values.h"

namespace ulmar {

/// Gain of centre and surrounds in the fold, exactly this decimal.
inline constexpr double kFoldGain = 0.7071;

/// Channels are written in order, so a block or ring shared by several entries keeps
/// the last of them.
template <int In, int Out>
void captureInput(CallValues<In, Out>& call) noexcept {
  for (int k = 0; k < In; ++k) {
    const float x = *call.in[k].sample;
    call.inBlk[k][call.blockPos] = double{x};
    call.dryBuf[k][call.dryPos] = x;
  }
  for (ChannelCursor& channel : call.in) channel.advance();
}

/// Folds left, centre, right, left surround, right surround onto inputs 0 and 1.
/// Entries may share a block, so every value is read where the formula has it.
template <int In, int Out>
void foldToStereo(CallValues<In, Out>& call) noexcept {
  const auto a = [&](int k) -> double& { return call.inBlk[k][call.blockPos]; };
  a(0) = a(0) + kFoldGain * (a(1) + a(3));
  a(1) = a(2) + kFoldGain * (a(1) + a(4));
  if (call.params.crossfeed > 0.0F) {
    const double crossfeed = double{call.params.crossfeed};
    const double left = a(0);
    const double right = a(1);
    a(0) = left + crossfeed * right;
    a(1) = a(1) + crossfeed * left;
  }
}

/// Feeds each of inputs 0 and 1 with the other's captured sample of this frame.
template <int In, int Out>
void crossfeed(CallValues<In, Out>& call) noexcept {
  const double gain = double{call.params.crossfeed};
  double& left = call.inBlk[0][call.blockPos];
  double& right = call.inBlk[1][call.blockPos];
  left = left + gain * double{call.dryBuf[1][call.dryPos]};
  right = right + gain * double{call.dryBuf[0][call.dryPos]};
}

/// Left and right on inputs 0 and 1 become mid, left and right on inputs 0, 1 and 2.
template <int In, int Out>
void arrangeMidSide(CallValues<In, Out>& call) noexcept {
  const double left = call.inBlk[0][call.blockPos];
  const double right = call.inBlk[1][call.blockPos];
  call.inBlk[0][call.blockPos] = (left + right) * kOverSqrt2;
  call.inBlk[1][call.blockPos] = left;
  call.inBlk[2][call.blockPos] = right;
}

/// Conditions the frame's engine input in place and steps the dry rings.
template <int In, int Out>
void conditionInput(CallValues<In, Out>& call) noexcept {
  if (call.params.foldToStereo != 0) {
    foldToStereo(call);
  } else if (call.params.crossfeed > 0.0F) {
    crossfeed(call);
  }
  call.dryPos = (call.dryPos - 1) & (call.params.dryRingLen - 1);
  if (call.midSide) arrangeMidSide(call);
}

}  // namespace ulmar
