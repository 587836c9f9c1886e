// The magnitude spectrum of a response, its slope, and its spectrogram.
#pragma once

#include <optional>
#include <vector>

#include "ulmar/acoustics/samples.h"
#include "ulmar/host/planar.h"

namespace ulmar::acoustics {

/// Energy spectrum: power[k] is |X|^2 at k binWidth Hz, up to half the sample rate. Of
/// a response beyond 2^18 frames, the sum over parts of that length, which smooths it.
struct EnergySpectrum {
  double binWidth = 0.0;  // Hz
  std::vector<double> power;
};

EnergySpectrum spectrumOf(Samples samples, double sampleRate);

struct SpectrumPoint {
  double frequency;  // Hz
  double level;      // dB of |X|^2, 0 dB for a unit impulse
};

/// The mean |X|^2 over a third of an octave around each of the frequencies, 24 per
/// octave from 20 Hz on.
std::vector<SpectrumPoint> thirdOctaveLevels(const EnergySpectrum& spectrum);

/// The slope of those levels over the octave bands from 125 Hz to 8 kHz, as far as the
/// sample rate allows, in dB per octave. White is 0, pink -3. Nothing below an octave.
std::optional<double> spectralTilt(const EnergySpectrum& spectrum);

/// Mean power over all channels: [column][band], dB against the loudest place. Columns
/// divide the time, bands the frequencies from lowest to highest evenly on a
/// logarithmic scale.
struct Spectrogram {
  double duration = 0.0;  // s
  double lowest = 0.0;    // Hz
  double highest = 0.0;   // Hz
  std::vector<std::vector<float>> columns;
};

Spectrogram spectrogramOf(const Planar& channels, double sampleRate,
                          std::size_t numFrames, std::size_t numColumns,
                          std::size_t numBands);

}  // namespace ulmar::acoustics
