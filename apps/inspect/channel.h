// What is measured of one channel of a response.
#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "ulmar/acoustics/cepstrum.h"
#include "ulmar/acoustics/response_measures.h"
#include "ulmar/acoustics/spectrum.h"

namespace ulmar::inspect {

/// A frame of the file, or a number of frames, and the time that it stands for.
struct Moment {
  std::size_t frame = 0;
  double seconds = 0.0;
};

inline Moment momentOf(std::size_t frame, int sampleRate) {
  return {frame, static_cast<double>(frame) / sampleRate};
}

/// The spectrum and cepstrum of a channel that is not silent, of the part that is
/// suggested for rendering.
struct ChannelSpectrum {
  acoustics::EnergySpectrum energy;
  std::vector<acoustics::SpectrumPoint> thirdOctaves;
  std::optional<double> tilt;  // dB per octave
  acoustics::CepstrumAnalysis cepstrum;
};

struct Channel {
  acoustics::ResponseMeasures measures;
  std::optional<ChannelSpectrum> spectrum;  // nothing of a silent channel
};

}  // namespace ulmar::inspect
