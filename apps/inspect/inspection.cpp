#include "apps/inspect/inspection.h"

#include <algorithm>
#include <cmath>

#include "ulmar/audio/response_layout.h"
#include "ulmar/host/error.h"

namespace ulmar::inspect {
namespace {

constexpr int kMaxChannels = 16;

/// Channels one after the other make pairs: left and right, or those of each source of
/// true stereo.
std::vector<PairResult> correlatePairs(const Inspection& inspection,
                                       const std::vector<std::string>& names) {
  const auto& channels = inspection.channels;
  std::vector<PairResult> pairs;
  const auto layout = audio::layoutOfResponse(inspection.file.info);
  if (layout != audio::ResponseLayout::stereo &&
      layout != audio::ResponseLayout::trueStereo) {
    return pairs;
  }
  for (std::size_t first = 0; first < channels.size(); first += 2) {
    PairResult& pair = pairs.emplace_back();
    pair.first = names[first];
    pair.second = names[first + 1];
    const auto& a = channels[first].measures.onset;
    const auto& b = channels[first + 1].measures.onset;
    if (!a || !b) continue;
    const auto between = [&](double from, double to) {
      return acoustics::correlate(inspection.file.samples[first],
                                  inspection.file.samples[first + 1], std::min(*a, *b),
                                  from, to, inspection.sampleRate());
    };
    pair.whole = between(0.0, 1.0);
    pair.early = between(0.0, 0.08);
    pair.late = between(0.08, 1.0);
    const double lag = pair.whole ? pair.whole->lag.value_or(0.0) : 0.0;
    if (lag == 0.0) continue;
    pair.lateChannel = lag > 0.0 ? pair.second : pair.first;
    pair.lateBy = std::abs(lag);
  }
  return pairs;
}

ChannelSpectrum measureSpectrum(const Inspection& inspection, std::size_t index) {
  const acoustics::Samples samples = inspection.file.samples[index];
  const Channel& channel = inspection.channels[index];
  const Suggestions& suggestions = *inspection.results.suggestions;
  const std::size_t end = suggestions.start.frame + suggestions.length.frame;
  const double rate = inspection.sampleRate();
  ChannelSpectrum spectrum;
  spectrum.energy = acoustics::spectrumOf(
      acoustics::part(samples, suggestions.start.frame, end), rate);
  spectrum.thirdOctaves = acoustics::thirdOctaveLevels(spectrum.energy);
  spectrum.tilt = acoustics::spectralTilt(spectrum.energy);
  spectrum.cepstrum =
      acoustics::analyseCepstrum(acoustics::part(samples, *channel.measures.onset, end),
                                 channel.measures.peak, rate);
  return spectrum;
}

}  // namespace

Inspection inspect(const std::string& path, const Options& options) {
  Inspection inspection;
  inspection.file = audio::readAudioFile(path);
  const audio::AudioInfo& info = inspection.file.info;
  if (info.channels > kMaxChannels) {
    fail("cannot inspect ", path, ": it has ", info.channels,
         " channels, and the limits are 1 and ", kMaxChannels);
  }
  const auto& samples = inspection.file.samples;
  if (options.bFormat &&
      !audio::canHave(audio::ResponseLayout::bFormat, info.channels, options.bFormat)) {
    fail("cannot inspect ", path, " as B-format: it has ", info.channels,
         info.channels == 1 ? " channel" : " channels", ", and ",
         options.bFormat == host::BFormat::fuma ? "3, 4, 6 or 8" : "4 or 8",
         " can be that");
  }
  const std::vector<std::string> names =
      audio::responseChannelNames(info.channels, options.bFormat);
  for (const auto& channel : samples) {
    inspection.channels.push_back(
        {acoustics::measureResponse(channel, info.sampleRate, options.thirds),
         std::nullopt});
  }
  const auto sounds = [](const Channel& channel) {
    return channel.measures.onset.has_value();
  };
  Results& results = inspection.results;
  results.file = info;
  results.seconds = static_cast<double>(info.frames) / info.sampleRate;
  if (std::ranges::any_of(inspection.channels, sounds)) {
    results.suggestions = suggest(inspection.channels, info, options.bFormat);
    if (!options.bFormat) results.pairs = correlatePairs(inspection, names);
  }
  for (std::size_t i = 0; i < samples.size(); ++i) {
    Channel& channel = inspection.channels[i];
    if (sounds(channel)) channel.spectrum = measureSpectrum(inspection, i);
    results.channels.push_back(resultOf(names[i], channel, info.sampleRate));
  }
  results.mean = meanOf(results.channels);
  return inspection;
}

}  // namespace ulmar::inspect
