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
  sound.definition = measures.d50;
  sound.centreTime = measures.centreTime;
  sound.broadband = resultOf(measures.broadband);
  for (const acoustics::BandMeasures& band : measures.octaves) {
    sound.octaves.push_back(resultOf(band));
  }
  sound.tilt = channel.spectrum->tilt;
  if (const auto& echo = channel.spectrum->cepstrum.echo) sound.echo = resultOf(*echo);
  return sound;
}

}  // namespace

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
