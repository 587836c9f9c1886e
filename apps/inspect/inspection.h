// All that is found out about a response.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "apps/inspect/suggestions.h"
#include "ulmar/acoustics/cepstrum.h"
#include "ulmar/acoustics/channel.h"
#include "ulmar/acoustics/correlation.h"
#include "ulmar/acoustics/spectrum.h"
#include "ulmar/audio/audio_file.h"

namespace ulmar::inspect {

/// Two channels that are heard as left and right.
struct ChannelPair {
  std::size_t first = 0;
  std::size_t second = 0;
  // From the earlier onset on, see correlate(); nothing if one channel is silent there.
  std::optional<acoustics::Correlation> whole;
  std::optional<acoustics::Correlation> early;
  std::optional<acoustics::Correlation> late;
};

/// The spectral side of a channel that is not silent, of the part that is suggested.
struct ChannelSpectrum {
  acoustics::EnergySpectrum energy;
  std::optional<double> tilt;  // dB per octave
  acoustics::CepstrumAnalysis cepstrum;
};

struct Inspection {
  audio::AudioFile file;
  std::vector<acoustics::Channel> channels;
  std::vector<std::optional<ChannelSpectrum>> spectra;  // of each channel
  std::vector<ChannelPair> pairs;
  std::optional<Suggestions> suggestions;  // nothing if all is silent

  std::size_t numFrames() const { return file.samples[0].size(); }
  int sampleRate() const { return file.info.sampleRate; }
  bool silent() const { return !suggestions; }
};

/// Reads and measures a response. Throws Error naming the file, the value and the limit
/// for what cannot be read, and for more than 16 channels.
Inspection inspect(const std::string& path);

}  // namespace ulmar::inspect
