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

/// How the engine's five channels become speaker feeds.
struct SpeakerDecoding {
  const cApXOverCfs<float>& xoverCfs;
  sApXOverSts<float>* xoverSts;  // three states, of W, X and Y
  float centreGain;              // of channel 4 with passThrough, linear
  float yGain;                   // of channel 2 without, linear
  bool plainXY;  // channels 1 and 2 are X and Y, not (X + Y) and (X - Y) over sqrt 2
  bool passThrough;  // the channels are speaker feeds already, see below
};

/// Writes `count` frames of each of feeds[0 ... 4] from the channels
/// channels[0 ... 4][pos] and on, which are only read. count is 1 to kMaxDecodeRun; the
/// feeds overlap nothing.
///
/// With passThrough the channels are left front, right front, left surround, right
/// surround and centre, the last under centreGain; the crossovers' states stay as they
/// are. Without, channel 0 is W, channels 1 and 2 give X and Y, and the states advance
/// by `count` samples.
void decodeFiveSpeakers(const SpeakerDecoding& decoding, double const* const* channels,
                        HostLong pos, int count, double* const* feeds) noexcept;

}  // namespace ulmar
