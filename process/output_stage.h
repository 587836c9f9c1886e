// What happens to a frame's output, after the decoder: rear delay, mix of wet and
// delayed dry signal, metering, clamp, store.
#pragma once

#include <array>
#include <cmath>

#include "process/call_values.h"

namespace ulmar {

/// The largest sample written, 32767/32768, exact in single precision.
inline constexpr float kMaxSample = 0.999969482421875F;
inline constexpr float kMinSample = -1.0F;

inline constexpr int kNoDry = -1;

/// Which dry ring feeds each output.
template <int In, int Out>
inline constexpr std::array<int, Out> kDryRouting = [] {
  if constexpr (In == 1 && Out == 5) {
    return std::array{kNoDry, 1, kNoDry, kNoDry, kNoDry};
  } else if constexpr (In == 2 && Out == 5) {
    return std::array{0, kNoDry, 2, kNoDry, kNoDry};
  } else {
    std::array<int, Out> straight{};
    for (int j = 0; j < Out; ++j) straight[static_cast<std::size_t>(j)] = j;
    return straight;
  }
}();

/// Delays outputs 3 and 4 by rearDelay samples through the rear rings, rounding them to
/// single precision.
template <int In>
void delayRear(CallValues<In, 5>& call,
               std::array<double, kMaxChannels>& frame) noexcept {
  const int mask = 2 * call.params.dryRingLen - 1;
  const int delayed = (call.rearPos + call.params.rearDelay) & mask;
  for (int r = 0; r < 2; ++r) {
    float* const ring = call.rearBuf[r];
    ring[call.rearPos] = static_cast<float>(frame[3 + r]);
    frame[3 + r] = double{ring[delayed]};
  }
  call.rearPos = (call.rearPos - 1) & mask;
}

/// The value of output j before the clamp; dryRead: position in the dry rings.
template <int In, int Out>
float mixed(const CallValues<In, Out>& call, int j, double wet, int dryRead) noexcept {
  const int ring = kDryRouting<In, Out>[j];
  if (call.params.irLen < 0) return 0.0F;
  if (call.params.bypass != 0)
    return ring == kNoDry ? 0.0F : call.dryBuf[ring][dryRead];
  double sum = call.wetGain[j] * wet;
  if (ring != kNoDry) {
    sum += double{call.dryBuf[ring][dryRead]} * double{call.params.dryGain};
  }
  return static_cast<float>(sum);
}

/// Not a number becomes the least sample.
inline float clamped(float v) noexcept {
  if (v > kMaxSample) return kMaxSample;
  return v > kMinSample ? v : kMinSample;
}

/// frame: the decoder's result, Out values.
template <int In, int Out>
void emitOutput(CallValues<In, Out>& call,
                std::array<double, kMaxChannels>& frame) noexcept {
  if constexpr (Out == 5) delayRear(call, frame);
  const int dryRead =
      (call.dryPos + call.params.dryDelay) & (call.params.dryRingLen - 1);
  for (int j = 0; j < Out; ++j) {
    const float v = mixed(call, j, frame[j], dryRead);
    float& peak = call.state.peak[j];
    if (std::fabs(v) > peak) peak = std::fabs(v);
    *call.out[j].sample = clamped(v);
    call.out[j].advance();
  }
}

}  // namespace ulmar
