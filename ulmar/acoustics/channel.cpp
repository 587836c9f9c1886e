#include "ulmar/acoustics/channel.h"

#include <algorithm>
#include <cmath>

#include "ulmar/acoustics/octave_centres.h"
#include "ulmar/acoustics/octave_filter.h"

namespace ulmar::acoustics {
namespace {

// A decay is looked at in so many steps at most: single frames up to 5 s at 48 kHz.
constexpr std::size_t kMaxSteps = 1 << 18;

// The direct sound has arrived where a response rises to 20 dB below its maximum (ISO
// 3382-1, on the start of the impulse response).
constexpr double kOnsetRatio = 0.1;

void measureLevels(Channel& channel, Samples samples) {
  double sum = 0.0;
  for (std::size_t frame = 0; frame < samples.size(); ++frame) {
    const double magnitude = std::abs(double{samples[frame]});
    sum += double{samples[frame]};
    if (magnitude > channel.peak) {
      channel.peak = magnitude;
      channel.peakFrame = frame;
    }
  }
  channel.energy = energyOf(samples);
  channel.mean = sum / static_cast<double>(samples.size());
  if (channel.peak == 0.0) return;
  const auto onset = std::find_if(samples.begin(), samples.end(), [&](float sample) {
    return std::abs(double{sample}) >= kOnsetRatio * channel.peak;
  });
  channel.onset = static_cast<std::size_t>(onset - samples.begin());
}

Samples withoutSilentEnd(Samples samples) {
  while (!samples.empty() && samples.back() == 0.0F)
    samples = samples.first(samples.size() - 1);
  return samples;
}

/// The energy of a part of a response, in one band or in all.
double energyIn(double centre, Samples samples, double sampleRate) {
  return centre > 0.0 ? bandEnergyOf(samples, sampleRate, centre) : energyOf(samples);
}

/// Early to late energy at `limit` seconds, noise left out and the tail behind the
/// noise put in as in the decay.
std::optional<double> clarityAt(double limit, const Band& band, Samples samples,
                                double sampleRate) {
  if (band.decay.range < kRangeForEdt) return std::nullopt;
  const auto split = static_cast<std::size_t>(std::llround(limit * sampleRate));
  const double end = std::max(band.decay.end, 0.0);
  const auto endFrame = static_cast<std::size_t>(std::llround(end * sampleRate));
  const double early = energyIn(band.centre, part(samples, 0, split), sampleRate);
  double late = band.decay.tailEnergy;
  if (endFrame > split) {
    late += energyIn(band.centre, part(samples, split, endFrame), sampleRate) -
            band.decay.noisePower * (end - limit);
  }
  if (!(early > 0.0) || !(late > 0.0)) return std::nullopt;
  return 10.0 * std::log10(early / late);
}

Band measureBand(double centre, const EnergyProfile& profile, Samples samples,
                 double sampleRate) {
  constexpr double kSpeechLimit = 0.05;  // s
  constexpr double kMusicLimit = 0.08;   // s
  Band band;
  band.centre = centre;
  band.decay = measureDecay(profile);
  band.clarity.c50 = clarityAt(kSpeechLimit, band, samples, sampleRate);
  band.clarity.c80 = clarityAt(kMusicLimit, band, samples, sampleRate);
  return band;
}

std::optional<double> centreTimeOf(const EnergyProfile& profile, const Decay& decay) {
  if (decay.range < kRangeForEdt) return std::nullopt;
  double energy = 0.0;
  double moment = 0.0;
  for (std::size_t i = 0; i < decay.curve.size(); ++i) {
    const double value = profile.energy[i] - decay.noisePower * profile.step;
    energy += value;
    moment += value * (profile.timeOf(i) + 0.5 * profile.step);
  }
  if (!(energy > 0.0)) return std::nullopt;
  return moment / energy;
}

std::optional<double> reverberationTimeOf(const Decay& decay) {
  if (decay.t30) return decay.t30->decayTime();
  if (decay.t20) return decay.t20->decayTime();
  return std::nullopt;
}

}  // namespace

std::optional<double> Channel::reverberationTime() const {
  return reverberationTimeOf(broadband.decay);
}

std::optional<double> midReverberationTime(const Channel& channel) {
  double sum = 0.0;
  int count = 0;
  for (const Band& band : channel.octaves) {
    if (band.centre != 500.0 && band.centre != 1000.0) continue;
    if (const auto time = reverberationTimeOf(band.decay)) {
      sum += *time;
      ++count;
    }
  }
  if (count < 2) return std::nullopt;
  return sum / count;
}

Channel measureChannel(const std::string& name, Samples samples, double sampleRate) {
  Channel channel;
  channel.name = name;
  measureLevels(channel, samples);
  if (!channel.onset) return channel;
  const Samples response =
      withoutSilentEnd(part(samples, *channel.onset, samples.size()));
  const std::size_t stepFrames = (response.size() - 1) / kMaxSteps + 1;
  channel.profile = profileOf(response, sampleRate, stepFrames);
  channel.broadband = measureBand(0.0, channel.profile, response, sampleRate);
  channel.centreTime = centreTimeOf(channel.profile, channel.broadband.decay);
  if (channel.broadband.clarity.c50) {
    const double ratio = std::pow(10.0, *channel.broadband.clarity.c50 / 10.0);
    channel.d50 = ratio / (1.0 + ratio);
  }
  for (const double centre : kOctaveCentres) {
    if (!OctaveFilter::fits(centre, sampleRate)) continue;
    channel.octaves.push_back(
        measureBand(centre, bandProfileOf(response, sampleRate, stepFrames, centre),
                    response, sampleRate));
    channel.octaves.back().decay.curve = {};
  }
  return channel;
}

}  // namespace ulmar::acoustics
