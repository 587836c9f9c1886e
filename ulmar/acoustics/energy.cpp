#include "ulmar/acoustics/energy.h"

#include <cmath>

#include "ulmar/acoustics/octave_filter.h"

namespace ulmar::acoustics {
namespace {

// So often that a state passes the subnormal numbers in a few frames at most.
constexpr std::size_t kFlushMask = 0x3FF;

std::size_t ringingFrames(const OctaveFilter& filter, double sampleRate) {
  return static_cast<std::size_t>(std::ceil(filter.ringing() * sampleRate));
}

}  // namespace

EnergyProfile profileOf(Samples samples, double sampleRate, std::size_t stepFrames) {
  EnergyProfile profile;
  profile.step = static_cast<double>(stepFrames) / sampleRate;
  profile.energy.reserve((samples.size() + stepFrames - 1) / stepFrames);
  for (std::size_t from = 0; from < samples.size(); from += stepFrames) {
    profile.energy.push_back(energyOf(part(samples, from, from + stepFrames)));
  }
  return profile;
}

EnergyProfile bandProfileOf(Samples samples, double sampleRate, std::size_t stepFrames,
                            const Band& band) {
  OctaveFilter filter(band, sampleRate);
  const std::size_t earlySteps = ringingFrames(filter, sampleRate) / stepFrames + 1;
  const std::size_t earlyFrames = earlySteps * stepFrames;
  EnergyProfile profile;
  profile.step = static_cast<double>(stepFrames) / sampleRate;
  profile.start = -static_cast<double>(earlySteps) * profile.step;
  profile.energy.resize(earlySteps + (samples.size() + stepFrames - 1) / stepFrames);
  for (std::size_t frame = earlyFrames + samples.size(); frame-- > 0;) {
    const double x = frame < earlyFrames ? 0.0 : double{samples[frame - earlyFrames]};
    const double y = filter(x);
    profile.energy[frame / stepFrames] += y * y;
    if ((frame & kFlushMask) == 0) filter.flushTinyStates();
  }
  return profile;
}

double bandDelayOf(double sampleRate, const Band& band) {
  OctaveFilter filter(band, sampleRate);
  double energy = 0.0;
  double moment = 0.0;
  for (std::size_t n = 0; n < ringingFrames(filter, sampleRate); ++n) {
    const double y = filter(n == 0 ? 1.0 : 0.0);
    energy += y * y;
    moment += y * y * static_cast<double>(n);
  }
  return moment / energy / sampleRate;
}

double energyOf(Samples samples) {
  double energy = 0.0;
  for (const float sample : samples) energy += double{sample} * double{sample};
  return energy;
}

double bandEnergyOf(Samples samples, double sampleRate, const Band& band) {
  OctaveFilter filter(band, sampleRate);
  const std::size_t numFrames = samples.size() + ringingFrames(filter, sampleRate);
  double energy = 0.0;
  for (std::size_t frame = 0; frame < numFrames; ++frame) {
    const double y = filter(frame < samples.size() ? double{samples[frame]} : 0.0);
    energy += y * y;
    if ((frame & kFlushMask) == 0) filter.flushTinyStates();
  }
  return energy;
}

}  // namespace ulmar::acoustics
