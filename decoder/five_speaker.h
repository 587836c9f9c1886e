// From the engine's outputs to five speaker feeds: left front, centre, right front,
// left surround, right surround.
#pragma once

#include "base/host_long.h"
#include "decoder/crossover.h"

namespace ulmar {

/// Writes outFrame[0 ... 4] from the five engine channels at `pos`.
void decodeFiveSpeakers(double const* const* chanBufs, HostLong pos, double* outFrame,
                        float centreGain, cApXOverCfs<float>* xoverCfs,
                        sApXOverSts<float>* xoverSts, bool plainXY, bool passThrough,
                        float yGain) noexcept;

}  // namespace ulmar
