#include "ulmar/acoustics/response_measures.h"

#include <algorithm>
#include <cmath>

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

/// Sum of squares in the octave band at a centre in Hz, 0 for all frequencies.
double energyIn(double centre, Samples samples, double sampleRate) {
  return centre > 0.0 ? bandEnergyOf(samples, sampleRate, centre) : energyOf(samples);
}

/// Early to late energy in dB with the limit between them at `limit` s. As in the
/// decay, the late part ends where the noise begins, and the energy that the decay has
/// behind that is added.
std::optional<double> clarityAt(double limit, const BandMeasures& band, Samples samples,
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
  return decibelsOfPower(early / late);
}

BandMeasures measureBand(double centre, const EnergyProfile& profile, Samples samples,
                         double sampleRate) {
  constexpr double kSpeechLimit = 0.05;  // s
  constexpr double kMusicLimit = 0.08;   // s
  BandMeasures band;
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

ResponseMeasures measureResponse(Samples samples, double sampleRate) {
  checkResponse(samples, sampleRate);
  ResponseMeasures measures;
  measureLevels(measures, samples);
  if (!measures.onset) return measures;
  const Samples response =
      withoutSilentEnd(part(samples, *measures.onset, samples.size()));
  const std::size_t stepFrames = (response.size() - 1) / kMaxSteps + 1;
  measures.profile = profileOf(response, sampleRate, stepFrames);
  measures.broadband = measureBand(0.0, measures.profile, response, sampleRate);
  measures.centreTime = centreTimeOf(measures.profile, measures.broadband.decay);
  if (measures.broadband.clarity.c50) {
    const double ratio = powerOfDecibels(*measures.broadband.clarity.c50);
    measures.d50 = ratio / (1.0 + ratio);
  }
  for (const double centre : kOctaveCentres) {
    if (!OctaveFilter::fits(centre, sampleRate)) continue;
    measures.octaves.push_back(
        measureBand(centre, bandProfileOf(response, sampleRate, stepFrames, centre),
                    response, sampleRate));
    measures.octaves.back().decay.curve = {};
  }
  return measures;
}

}  // namespace ulmar::acoustics
