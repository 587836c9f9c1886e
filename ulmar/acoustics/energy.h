// The energy of a response, over time and by octave bands.
#pragma once

#include <vector>

#include "ulmar/acoustics/samples.h"

namespace ulmar::acoustics {

/// energy[i] is the sum of squares from start + i step on, for a step. Times in seconds
/// from the first sample that was given.
struct EnergyProfile {
  double start = 0.0;  // not above 0
  double step = 0.0;
  std::vector<double> energy;

  double timeOf(std::size_t index) const {
    return start + static_cast<double>(index) * step;
  }
  double end() const { return timeOf(energy.size()); }
};

/// Of all frequencies. stepFrames: frames per step.
EnergyProfile profileOf(Samples samples, double sampleRate, std::size_t stepFrames);

/// Of one octave band. The filter runs backwards in time, so that its own ringing lies
/// before the sound that caused it, where the profile begins early for its sake, and
/// does not lengthen a decay (Jacobsen and Rindel, J. Sound Vib. 117(1), 1987).
EnergyProfile bandProfileOf(Samples samples, double sampleRate, std::size_t stepFrames,
                            double centre);

double energyOf(Samples samples);

/// Of one octave band, with the filter's ringing. Parts of a response are cut first and
/// filtered afterwards, so that the filter's delay moves nothing from one into the
/// other (ISO 3382-1, annex A).
double bandEnergyOf(Samples samples, double sampleRate, double centre);

}  // namespace ulmar::acoustics
