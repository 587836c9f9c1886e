#include "ulmar/acoustics/decay.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>

#include "ulmar/acoustics/knee.h"

namespace ulmar::acoustics {
namespace {

// A knee beyond this part of the response is where the noise was looked for, not where
// it begins.
constexpr double kLatestKnee = 0.9;
constexpr std::size_t kMinPoints = 4;
constexpr double kLeastCorrelation = -0.9;

double powerAt(const LevelLine& line, double time) {
  return std::pow(10.0, line.at(time) / 10.0);
}

/// Mean power of the last hundredth of the response.
double powerAtEnd(const EnergyProfile& profile) {
  const std::size_t count = profile.energy.size() / 100 + 1;
  const double energy =
      std::accumulate(profile.energy.end() - static_cast<std::ptrdiff_t>(count),
                      profile.energy.end(), 0.0);
  return energy / (static_cast<double>(count) * profile.step);
}

/// Energy of a decay that goes on for ever, from a power on.
double energyBehind(double power, const LevelLine& line) {
  return power / (-line.slope * std::numbers::ln10 / 10.0);
}

void setEnd(Decay& decay, const EnergyProfile& profile) {
  decay.end = profile.end();
  const std::optional<Knee> knee = findKnee(profile);
  if (!knee) return;
  const double latest = profile.start + kLatestKnee * (profile.end() - profile.start);
  decay.reachesNoise = knee->time < latest;
  double power = powerAt(knee->late, profile.end());
  if (decay.reachesNoise) {
    decay.end = knee->time;
    decay.noisePower = knee->noisePower;
    power = knee->noisePower;
  } else {
    // A response that was faded out has less to come than its decay promised.
    power = std::min(power, powerAtEnd(profile));
  }
  decay.tailEnergy = energyBehind(power, knee->late);
}

void integrate(Decay& decay, const EnergyProfile& profile) {
  const double steps = std::ceil((decay.end - profile.start) / profile.step - 1e-9);
  const std::size_t numSteps = std::clamp<std::size_t>(
      static_cast<std::size_t>(std::max(steps, 0.0)), 1, profile.energy.size());
  const double noise = decay.noisePower * profile.step;
  double sum = decay.tailEnergy;
  decay.curve.resize(numSteps);
  for (std::size_t i = numSteps; i-- > 0;) {
    // Where the ringing of a filter begins there is no noise yet.
    sum += profile.timeOf(i) < 0.0 ? profile.energy[i] : profile.energy[i] - noise;
    decay.curve[i] = sum;
  }
  const double whole = *std::max_element(decay.curve.begin(), decay.curve.end());
  for (double& value : decay.curve) {
    value = 10.0 * std::log10(std::max(value / whole, 1e-30));
  }
  if (decay.tailEnergy > 0.0) {
    decay.range = std::max(0.0, -10.0 * std::log10(decay.tailEnergy / whole));
  }
}

/// The fit to what the curve has between two levels, in dB below its start.
std::optional<LevelLine> fitBetween(const Decay& decay, const EnergyProfile& profile,
                                    double high, double low, double neededRange) {
  if (decay.range < neededRange) return std::nullopt;
  std::vector<LevelPoint> points;
  for (std::size_t i = 0; i < decay.curve.size(); ++i) {
    if (decay.curve[i] < low) break;
    if (decay.curve[i] <= high) points.push_back({profile.timeOf(i), decay.curve[i]});
  }
  if (points.size() < kMinPoints) return std::nullopt;
  const LevelLine line = fitLine(points);
  // What hardly follows a line, or a line that does not fall in the time there is, is
  // no decay, such as the plateau between two clicks.
  const double duration = profile.end() - profile.start;
  if (line.correlation > kLeastCorrelation || -line.slope * duration < high - low) {
    return std::nullopt;
  }
  return line;
}

}  // namespace

Decay measureDecay(const EnergyProfile& profile) {
  // The curve starts to fall when the sound arrives, which in a band is somewhat early.
  constexpr double kArrival = -0.1;  // dB
  Decay decay;
  setEnd(decay, profile);
  integrate(decay, profile);
  decay.edt = fitBetween(decay, profile, kArrival, -10.0, kRangeForEdt);
  decay.t20 = fitBetween(decay, profile, -5.0, -25.0, kRangeForT20);
  decay.t30 = fitBetween(decay, profile, -5.0, -35.0, kRangeForT30);
  return decay;
}

}  // namespace ulmar::acoustics
