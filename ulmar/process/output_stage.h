// What happens to a frame's output, after the decoder: rear delay, mix of wet and
// delayed dry signal, metering, clamp, store.
#pragma once

#include <algorithm>

#include "ulmar/process/call_values.h"
#include "ulmar/process/output_kernels.h"

namespace ulmar {

inline constexpr int kNoDry = -1;

/// The dry ring that feeds output j.
template <int In, int Out>
constexpr int dryRouting(int j) noexcept {
  if constexpr (In == 1 && Out == 5) {
    return j == 1 ? 1 : kNoDry;
  } else if constexpr (In == 2 && Out == 5) {
    return j == 0 || j == 2 ? j : kNoDry;
  } else {
    return j;
  }
}

/// Delays a run of outputs 3 and 4 in place by rearDelay samples through the rear
/// rings, rounding them to single precision.
template <int In>
void delayRear(CallValues<In, 5>& call, double* const* feeds, int run) noexcept {
  for (int r = 0; r < 2; ++r) {
    float* const write = call.rearBuf[r] + call.rearPos;
    float const* const read = call.rearBuf[r] + call.rearReadPos();
    double* const feed = feeds[3 + r];
    for (int i = 0; i < run; ++i) write[-i] = static_cast<float>(feed[i]);
    for (int i = 0; i < run; ++i) feed[i] = double{read[-i]};
  }
  call.rearPos = (call.rearPos - run) & (2 * call.params.dryRingLen - 1);
}

/// A run of output j before the clamp, to `mix`.
template <int In, int Out>
void mixOutput(const CallValues<In, Out>& call, int j, double const* wet, int run,
               float* mix) noexcept {
  const int ring = dryRouting<In, Out>(j);
  float const* const dry =
      ring == kNoDry ? nullptr : call.dryBuf[ring] + call.dryReadPos();
  const double wetGain = call.wetGain[j];
  const double dryGain = double{call.params.dryGain};
  if (call.params.irLen < 0 || (call.params.bypass != 0 && dry == nullptr)) {
    std::fill_n(mix, run, 0.0F);
  } else if (call.params.bypass != 0) {
    for (int i = 0; i < run; ++i) mix[i] = dry[-i];
  } else if (dry == nullptr) {
    for (int i = 0; i < run; ++i) mix[i] = static_cast<float>(wetGain * wet[i]);
  } else {
    for (int i = 0; i < run; ++i) {
      mix[i] = static_cast<float>(wetGain * wet[i] + double{dry[-i]} * dryGain);
    }
  }
}

/// Mixes, meters, clamps and stores a run of every output. wet: Out runs.
template <int In, int Out>
void emitOutput(CallValues<In, Out>& call, double const* const* wet, int run) noexcept {
  alignas(16) float mix[kMaxRun];
  for (int j = 0; j < Out; ++j) {
    mixOutput(call, j, wet[j], run, mix);
    const auto [sample, step] = call.out[j];
    call.state.peak[j] = storeRun(mix, run, sample, step, call.state.peak[j]);
  }
  for (ChannelCursor& channel : call.out) channel.advance(run);
}

}  // namespace ulmar
