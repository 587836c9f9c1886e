// The energy of a response over time, of all frequencies or of a band. Energies
// are sums of squared samples.
#pragma once

#include <vector>

#include "ulmar/acoustics/octave_filter.h"
#include "ulmar/acoustics/samples.h"

namespace ulmar::acoustics {

/// Times are in s and count from the first sample that was given.
struct EnergyProfile {
  double start = 0.0;  // s; negative for a band, whose filter rings before the sound
  double step = 0.0;   // s
  std::vector<double> energy;  // [i] from timeOf(i) to timeOf(i + 1)

  double timeOf(std::size_t index) const {
    return start + static_cast<double>(index) * step;
  }
  double end() const { return timeOf(energy.size()); }
};

/// Of all frequencies. sampleRate: in Hz; stepFrames: frames per step, at least 1.
EnergyProfile profileOf(Samples samples, double sampleRate, std::size_t stepFrames);

/// Of a band. The filter runs backwards in time, so that its
/// own ringing precedes the sound and does not lengthen a decay (Jacobsen and Rindel,
/// J. Sound Vib. 117(1), 1987). The profile starts early enough to hold that ringing.
EnergyProfile bandProfileOf(Samples samples, double sampleRate, std::size_t stepFrames,
                            const Band& band);

/// Of all frequencies.
double energyOf(Samples samples);

/// Centre of gravity of the energy of a band filter's impulse response, in s: by so
/// much bandProfileOf() puts energy too early.
double bandDelayOf(double sampleRate, const Band& band);

/// Of a band, with the filter's ringing after the last sample.
/// To compare parts of a response, cut it first: filtered whole, the filter's delay
/// would move energy from one part into the next (ISO 3382-1, annex A).
double bandEnergyOf(Samples samples, double sampleRate, const Band& band);

}  // namespace ulmar::acoustics
