#include "apps/inspect/results.h"

#include <cmath>

#include "ulmar/host/decibels.h"

namespace ulmar::inspect {
namespace {

std::optional<DecayTime> decayTimeOf(const std::optional<acoustics::DecayFit>& fit) {
  if (!fit) return std::nullopt;
  return DecayTime{fit->decayTime(), fit->correlation};
}

BandResult resultOf(const acoustics::BandMeasures& band) {
  return {.centre = band.centre,
          .edt = decayTimeOf(band.decay.edt),
          .t20 = decayTimeOf(band.decay.t20),
          .t30 = decayTimeOf(band.decay.t30),
          .reverberationTime = band.reverberationTime(),
          .c50 = band.clarity.c50,
          .c80 = band.clarity.c80,
          .definition = band.d50,
          .centreTime = band.centreTime,
          .range = band.decay.range};
}

EchoResult resultOf(const acoustics::Echo& echo) {
  return {.delay = echo.delay,
          .cepstrum = echo.value,
          .gain = echo.gain(),
          .level = decibelsOfGain(std::abs(echo.gain())),
          .combSpacing = echo.combSpacing()};
}

SoundResult soundOf(const Channel& channel, int sampleRate) {
  const acoustics::ResponseMeasures& measures = channel.measures;
  const acoustics::Decay& decay = measures.broadband.decay;
  SoundResult sound;
  sound.onset = momentOf(*measures.onset, sampleRate);
  if (decay.reachesNoise && decay.range > 0.0) {
    sound.noiseFloor = {decibelsOfPower(decay.noisePower / sampleRate),
                        sound.onset.seconds + decay.end};
  }
  sound.reverberationTime = measures.midReverberationTime();
  sound.broadband = resultOf(measures.broadband);
  for (const acoustics::BandMeasures& band : measures.octaves) {
    sound.octaves.push_back(resultOf(band));
  }
  for (const acoustics::BandMeasures& band : measures.thirds) {
    sound.thirds.push_back(resultOf(band));
  }
  sound.tilt = channel.spectrum->tilt;
  if (const auto& echo = channel.spectrum->cepstrum.echo) sound.echo = resultOf(*echo);
  return sound;
}

/// Nothing unless every value is there.
std::optional<double> mean(const std::vector<std::optional<double>>& values) {
  double sum = 0.0;
  for (const auto& value : values) {
    if (!value) return std::nullopt;
    sum += *value;
  }
  return sum / static_cast<double>(values.size());
}

BandResult meanOf(const std::vector<const BandResult*>& bands) {
  const auto over = [&](const auto& valueOf) {
    std::vector<std::optional<double>> values;
    values.reserve(bands.size());
    for (const BandResult* const band : bands) values.push_back(valueOf(*band));
    return mean(values);
  };
  const auto field = [&](std::optional<double> BandResult::*which) {
    return over([&](const BandResult& band) { return band.*which; });
  };
  const auto time = [&](std::optional<DecayTime> BandResult::*which) {
    const auto part = [&](double DecayTime::*value) {
      return over([&](const BandResult& band) {
        return band.*which ? std::optional((band.*which).value().*value) : std::nullopt;
      });
    };
    const auto seconds = part(&DecayTime::seconds);
    return seconds ? std::optional(
                         DecayTime{*seconds, part(&DecayTime::correlation).value()})
                   : std::nullopt;
  };
  return {.centre = bands[0]->centre,
          .edt = time(&BandResult::edt),
          .t20 = time(&BandResult::t20),
          .t30 = time(&BandResult::t30),
          .reverberationTime = field(&BandResult::reverberationTime),
          .c50 = field(&BandResult::c50),
          .c80 = field(&BandResult::c80),
          .definition = field(&BandResult::definition),
          .centreTime = field(&BandResult::centreTime),
          .range = over([](const BandResult& band) {
                     return std::optional(band.range);
                   }).value()};
}

std::vector<BandResult> meanOf(const std::vector<const SoundResult*>& sounds,
                               std::vector<BandResult> SoundResult::*which) {
  std::vector<BandResult> means;
  means.reserve((sounds[0]->*which).size());
  for (std::size_t k = 0; k < (sounds[0]->*which).size(); ++k) {
    std::vector<const BandResult*> bands;
    bands.reserve(sounds.size());
    for (const SoundResult* const sound : sounds) {
      bands.push_back(&(sound->*which)[k]);
    }
    means.push_back(meanOf(bands));
  }
  return means;
}

}  // namespace

std::optional<MeanResult> meanOf(const std::vector<ChannelResult>& channels) {
  std::vector<const SoundResult*> sounds;
  std::vector<const BandResult*> broadband;
  std::vector<std::optional<double>> times;
  for (const ChannelResult& channel : channels) {
    if (!channel.sound) continue;
    sounds.push_back(&*channel.sound);
    broadband.push_back(&channel.sound->broadband);
    times.push_back(channel.sound->reverberationTime);
  }
  if (sounds.empty()) return std::nullopt;
  return MeanResult{.reverberationTime = mean(times),
                    .broadband = meanOf(broadband),
                    .octaves = meanOf(sounds, &SoundResult::octaves),
                    .thirds = meanOf(sounds, &SoundResult::thirds)};
}

ChannelResult resultOf(const std::string& name, const Channel& channel,
                       int sampleRate) {
  const acoustics::ResponseMeasures& measures = channel.measures;
  ChannelResult result = {
      .name = name,
      .peak = measures.peak,
      .peakLevel = decibelsOfGain(measures.peak),
      .peakAt = momentOf(measures.peakFrame, sampleRate),
      .energy = measures.energy,
      .energyLevel = decibelsOfPower(measures.energy),
      .dcOffset = measures.dcOffset,
      .dcLevel = decibelsOfGain(std::abs(measures.dcOffset)),
      .sound = std::nullopt,
  };
  if (measures.onset) result.sound = soundOf(channel, sampleRate);
  return result;
}

}  // namespace ulmar::inspect
