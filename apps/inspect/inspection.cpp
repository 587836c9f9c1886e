#include "apps/inspect/inspection.h"

#include <algorithm>

#include "ulmar/audio/response_layout.h"
#include "ulmar/host/error.h"

namespace ulmar::inspect {
namespace {

constexpr int kMaxChannels = 16;

/// Channels one after the other make pairs: left and right, or those of each source of
/// true stereo.
std::vector<ChannelPair> correlatePairs(const Inspection& inspection) {
  const auto& channels = inspection.channels;
  std::vector<ChannelPair> pairs;
  if (channels.size() != 2 && channels.size() != 4) return pairs;
  for (std::size_t first = 0; first < channels.size(); first += 2) {
    ChannelPair& pair = pairs.emplace_back();
    pair.first = first;
    pair.second = first + 1;
    const auto& a = channels[pair.first].measures.onset;
    const auto& b = channels[pair.second].measures.onset;
    if (!a || !b) continue;
    const auto between = [&](double from, double to) {
      return acoustics::correlate(inspection.file.samples[pair.first],
                                  inspection.file.samples[pair.second],
                                  std::min(*a, *b), from, to, inspection.sampleRate());
    };
    pair.whole = between(0.0, 1.0);
    pair.early = between(0.0, 0.08);
    pair.late = between(0.08, 1.0);
  }
  return pairs;
}

ChannelSpectrum measureSpectrum(const Inspection& inspection, std::size_t index) {
  const acoustics::Samples samples = inspection.file.samples[index];
  const Channel& channel = inspection.channels[index];
  const Suggestions& suggestions = *inspection.suggestions;
  const std::size_t end = suggestions.start + suggestions.length;
  const double rate = inspection.sampleRate();
  ChannelSpectrum spectrum;
  spectrum.energy =
      acoustics::spectrumOf(acoustics::part(samples, suggestions.start, end), rate);
  spectrum.tilt = acoustics::spectralTilt(spectrum.energy);
  spectrum.cepstrum =
      acoustics::analyseCepstrum(acoustics::part(samples, *channel.measures.onset, end),
                                 channel.measures.peak, rate);
  return spectrum;
}

}  // namespace

Inspection inspect(const std::string& path) {
  Inspection inspection;
  inspection.file = audio::readAudioFile(path);
  const audio::AudioInfo& info = inspection.file.info;
  if (info.channels > kMaxChannels) {
    fail("cannot inspect ", path, ": it has ", info.channels,
         " channels, and the limits are 1 and ", kMaxChannels);
  }
  const auto& samples = inspection.file.samples;
  const std::vector<std::string> names = audio::responseChannelNames(info.channels);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    Channel& channel = inspection.channels.emplace_back();
    channel.name = names[i];
    channel.measures = acoustics::measureResponse(samples[i], info.sampleRate);
  }
  const auto sounds = [](const Channel& channel) {
    return channel.measures.onset.has_value();
  };
  if (std::none_of(inspection.channels.begin(), inspection.channels.end(), sounds)) {
    return inspection;
  }
  inspection.suggestions = suggest(inspection.channels, info);
  for (std::size_t i = 0; i < samples.size(); ++i) {
    if (sounds(inspection.channels[i])) {
      inspection.channels[i].spectrum = measureSpectrum(inspection, i);
    }
  }
  inspection.pairs = correlatePairs(inspection);
  return inspection;
}

}  // namespace ulmar::inspect
