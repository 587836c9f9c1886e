// What is measured on each channel of a response by itself.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "ulmar/acoustics/decay.h"
#include "ulmar/acoustics/samples.h"

namespace ulmar::acoustics {

/// Early to late energy (ISO 3382-1, annex A), in dB.
struct Clarity {
  std::optional<double> c50;
  std::optional<double> c80;
};

struct Band {
  double centre = 0.0;  // Hz, 0 for all frequencies
  Decay decay;          // of an octave band without its curve
  Clarity clarity;
};

struct Channel {
  std::string name;
  double peak = 0.0;          // largest magnitude
  std::size_t peakFrame = 0;  // of the first such sample
  double energy = 0.0;        // sum of squares
  double mean = 0.0;          // the DC offset
  /// The arrival of the direct sound; nothing in silence.
  std::optional<std::size_t> onset;

  /// From the onset to the last sample that is not 0.
  EnergyProfile profile;
  Band broadband;
  std::vector<Band> octaves;
  std::optional<double> d50;         // definition: early part of the energy, 0 to 1
  std::optional<double> centreTime;  // s

  /// T30, or T20 where the range does not suffice for that.
  std::optional<double> reverberationTime() const;
};

/// The mean of the reverberation times at 500 Hz and 1 kHz, by T30 or else by T20; the
/// single number of ISO 3382-1.
std::optional<double> midReverberationTime(const Channel& channel);

Channel measureChannel(const std::string& name, Samples samples, double sampleRate);

}  // namespace ulmar::acoustics
