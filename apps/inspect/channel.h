// What is found out about one channel of a response.
#pragma once

#include <optional>
#include <string>

#include "ulmar/acoustics/cepstrum.h"
#include "ulmar/acoustics/response_measures.h"
#include "ulmar/acoustics/spectrum.h"

namespace ulmar::inspect {

/// The spectrum and cepstrum of a channel that is not silent, of the part that is
/// suggested for rendering.
struct ChannelSpectrum {
  acoustics::EnergySpectrum energy;
  std::optional<double> tilt;  // dB per octave
  acoustics::CepstrumAnalysis cepstrum;
};

struct Channel {
  std::string name;  // "left", "LR", "channel 7"
  acoustics::ResponseMeasures measures;
  std::optional<ChannelSpectrum> spectrum;  // nothing of a silent channel
};

}  // namespace ulmar::inspect
