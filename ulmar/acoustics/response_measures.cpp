#include "ulmar/acoustics/response_measures.h"

#include <algorithm>
#include <cmath>
#include <span>

#include "ulmar/acoustics/octave_centres.h"
#include "ulmar/acoustics/octave_filter.h"
#include "ulmar/host/decibels.h"
#include "ulmar/host/error.h"

namespace ulmar::acoustics {
namespace {

constexpr std::size_t kMaxSteps = 1 << 18;  // of a frame each up to 5 s at 48 kHz
constexpr double kOnsetRatio = 0.1;         // of the peak, 20 dB below it

void checkResponse(Samples samples, double sampleRate) {
  if (samples.empty()) fail("the response has no samples, and must have one or more");
  if (!(sampleRate > 0.0)) {
    fail("the sample rate is ", sampleRate, " Hz, and must be above 0");
  }
  const auto bad = std::find_if(samples.begin(), samples.end(),
                                [](float sample) { return !std::isfinite(sample); });
  if (bad == samples.end()) return;
  fail("sample ", bad - samples.begin(), " of the response is ", *bad,
       ", and must be finite");
}

void measureLevels(ResponseMeasures& measures, Samples samples) {
  double sum = 0.0;
  for (std::size_t frame = 0; frame < samples.size(); ++frame) {
    const double magnitude = std::abs(double{samples[frame]});
    sum += double{samples[frame]};
    if (magnitude > measures.peak) {
      measures.peak = magnitude;
      measures.peakFrame = frame;
    }
  }
  measures.energy = energyOf(samples);
  measures.dcOffset = sum / static_cast<double>(samples.size());
  if (measures.peak == 0.0) return;
  const auto onset = std::find_if(samples.begin(), samples.end(), [&](float sample) {
    return std::abs(double{sample}) >= kOnsetRatio * measures.peak;
  });
  measures.onset = static_cast<std::size_t>(onset - samples.begin());
}

Samples withoutSilentEnd(Samples samples) {
  while (!samples.empty() && samples.back() == 0.0F)
    samples = samples.first(samples.size() - 1);
  return samples;
}

/// What a band lets through; null for all frequencies.
double energyIn(const Band* filter, Samples samples, double sampleRate) {
  return filter != nullptr ? bandEnergyOf(samples, sampleRate, *filter)
                           : energyOf(samples);
}

/// Early to late energy in dB with the limit between them at `limit` s. As in the
/// decay, the late part ends where the noise begins, and the energy that the decay has
/// behind that is added.
std::optional<double> clarityAt(double limit, const Decay& decay, const Band* filter,
                                Samples samples, double sampleRate) {
  if (decay.range < kRangeForEdt) return std::nullopt;
  const auto split = static_cast<std::size_t>(std::llround(limit * sampleRate));
  const double end = std::max(decay.end, 0.0);
  const auto endFrame = static_cast<std::size_t>(std::llround(end * sampleRate));
  const double early = energyIn(filter, part(samples, 0, split), sampleRate);
  double late = decay.tailEnergy;
  if (endFrame > split) {
    late += energyIn(filter, part(samples, split, endFrame), sampleRate) -
            decay.noisePower * (end - limit);
  }
  if (!(early > 0.0) || !(late > 0.0)) return std::nullopt;
  return decibelsOfPower(early / late);
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

/// centre: as the band is named. filter: null for all frequencies.
BandMeasures measureBand(double centre, const Band* filter,
                         const EnergyProfile& profile, Samples samples,
                         double sampleRate) {
  constexpr double kSpeechLimit = 0.05;  // s
  constexpr double kMusicLimit = 0.08;   // s
  BandMeasures band;
  band.centre = centre;
  band.decay = measureDecay(profile);
  const auto clarity = [&](double limit) {
    return clarityAt(limit, band.decay, filter, samples, sampleRate);
  };
  band.clarity = {clarity(kSpeechLimit), clarity(kMusicLimit)};
  if (band.clarity.c50) {
    const double ratio = powerOfDecibels(*band.clarity.c50);
    band.d50 = ratio / (1.0 + ratio);
  }
  band.centreTime = centreTimeOf(profile, band.decay);
  if (band.centreTime && filter != nullptr) {
    *band.centreTime += bandDelayOf(sampleRate, *filter);
  }
  return band;
}

/// Those of the bands that fit.
std::vector<BandMeasures> measureBands(std::span<const double> names,
                                       int bandsPerOctave, Samples response,
                                       double sampleRate, std::size_t stepFrames) {
  std::vector<BandMeasures> bands;
  for (std::size_t k = 0; k < names.size(); ++k) {
    // Third octaves are a third of an octave apart; octaves are named by their centres.
    constexpr double kThirdAt1000 = 13.0;
    const double centre =
        bandsPerOctave == 1
            ? names[k]
            : 1000.0 * std::exp2((static_cast<double>(k) - kThirdAt1000) / 3.0);
    const Band filter = {centre, bandsPerOctave};
    if (!OctaveFilter::fits(filter, sampleRate)) continue;
    const EnergyProfile profile =
        bandProfileOf(response, sampleRate, stepFrames, filter);
    bands.push_back(measureBand(names[k], &filter, profile, response, sampleRate));
    bands.back().decay.curve = {};
  }
  return bands;
}

}  // namespace

std::optional<double> BandMeasures::reverberationTime() const {
  if (!decay.late()) return std::nullopt;
  return decay.late()->decayTime();
}

std::optional<double> ResponseMeasures::midReverberationTime() const {
  double sum = 0.0;
  int count = 0;
  for (const BandMeasures& band : octaves) {
    if (band.centre != 500.0 && band.centre != 1000.0) continue;
    if (const auto time = band.reverberationTime()) {
      sum += *time;
      ++count;
    }
  }
  if (count < 2) return std::nullopt;
  return sum / count;
}

ResponseMeasures measureResponse(Samples samples, double sampleRate, bool withThirds) {
  checkResponse(samples, sampleRate);
  ResponseMeasures measures;
  measureLevels(measures, samples);
  if (!measures.onset) return measures;
  const Samples response =
      withoutSilentEnd(part(samples, *measures.onset, samples.size()));
  const std::size_t stepFrames = (response.size() - 1) / kMaxSteps + 1;
  measures.profile = profileOf(response, sampleRate, stepFrames);
  measures.broadband =
      measureBand(0.0, nullptr, measures.profile, response, sampleRate);
  measures.octaves =
      measureBands(kMeasuredOctaves, 1, response, sampleRate, stepFrames);
  if (withThirds) {
    measures.thirds = measureBands(kThirdOctaves, 3, response, sampleRate, stepFrames);
  }
  return measures;
}

}  // namespace ulmar::acoustics
