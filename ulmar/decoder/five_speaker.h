// From the engine's outputs to five speaker feeds: left front, centre, right front,
// left surround, right surround.
//
// Decoding takes horizontal first-order B-format, W at -3 dB, X positive to the front
// and Y to the left, and applies one matrix below and one above the crossover: below,
// for the velocity vector of the sound field; above, for its energy vector (Gerzon,
// "General Metatheory of Auditory Localisation", 92nd AES Convention, 1992). The
// loudspeakers stand at 0, +-45 and +-130 degrees.
#pragma once

#include "ulmar/base/host_long.h"
#include "ulmar/decoder/band_kernels.h"
#include "ulmar/decoder/crossover.h"

namespace ulmar {

/// Writes `count` frames of each of feeds[0 ... 4] from the five engine channels at
/// `pos` and on, which are only read. count is 1 to kMaxDecodeRun; the feeds overlap
/// nothing. With passThrough the channels are left front, right front, left surround,
/// right surround and centre, the last under centreGain, and xoverSts stays as it is.
/// Without, channels 0, 1 and 2 are W, X and yGain Y; unless plainXY, X and Y are the
/// sum and the difference of channels 1 and 2 over sqrt 2. The three states in
/// xoverSts, of W, X and Y, advance by count samples.
void decodeFiveSpeakers(double const* const* chanBufs, HostLong pos, int count,
                        double* const* feeds, float centreGain,
                        const cApXOverCfs<float>& xoverCfs,
                        sApXOverSts<float>* xoverSts, bool plainXY, bool passThrough,
                        float yGain) noexcept;

}  // namespace ulmar
