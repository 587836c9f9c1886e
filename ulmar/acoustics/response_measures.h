// The measures of ISO 3382-1 on one channel of an impulse response, over all
// frequencies and in octave bands.
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "ulmar/acoustics/decay.h"
#include "ulmar/acoustics/energy.h"
#include "ulmar/acoustics/samples.h"

namespace ulmar::acoustics {

/// Early to late energy in dB (ISO 3382-1, annex A). The late part is treated as in the
/// decay: it ends where the noise begins, less the noise, plus the energy that the
/// decay would have behind that. Nothing where the range is below kRangeForEdt.
struct Clarity {
  std::optional<double> c50;  // before and after 50 ms, for speech
  std::optional<double> c80;  // before and after 80 ms, for music
};

struct BandMeasures {
  double centre = 0.0;  // Hz, as the band is named, 0 for all frequencies
  Decay decay;          // of a band without its curve
  Clarity clarity;
  /// Definition D50: the energy of the first 50 ms over all, from 0 to 1. Follows from
  /// C50, and is missing with it.
  std::optional<double> d50;
  /// Centre of gravity of the energy up to decay.end in s, with the noise subtracted.
  std::optional<double> centreTime;

  /// s, by the late decay.
  std::optional<double> reverberationTime() const;
};

/// Frames count from the first sample of the response, times from the onset.
struct ResponseMeasures {
  double peak = 0.0;          // largest magnitude
  std::size_t peakFrame = 0;  // of the first sample that has it
  double energy = 0.0;        // sum of squares
  double dcOffset = 0.0;      // mean of the samples
  /// The frame at which the direct sound arrives: the first sample within 20 dB of the
  /// peak (ISO 3382-1). Nothing in silence, where what follows is empty.
  std::optional<std::size_t> onset;

  /// From the onset to the last sample that is not 0, in at most 2^18 steps.
  EnergyProfile profile;
  BandMeasures broadband;
  /// Of kMeasuredOctaves those that the sample rate leaves room for, see
  /// OctaveFilter::fits(); and of kThirdOctaves, if they were asked for.
  std::vector<BandMeasures> octaves;
  std::vector<BandMeasures> thirds;
  /// ISO 3382-1's single number: the mean of the reverberation times at 500 Hz and
  /// 1 kHz, in s. Nothing unless both are known.
  std::optional<double> midReverberationTime() const;
};

/// sampleRate: in Hz. withThirds: third octaves as well. Throws Error if there are no
/// samples, if one of them is not finite, and if the rate is not above 0.
ResponseMeasures measureResponse(Samples samples, double sampleRate,
                                 bool withThirds = false);

}  // namespace ulmar::acoustics
