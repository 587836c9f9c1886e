#include "ulmar/acoustics/decay.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>

#include "ulmar/acoustics/cross_point.h"
#include "ulmar/host/decibels.h"

namespace ulmar::acoustics {
namespace {

constexpr std::size_t kMinPoints = 4;
constexpr double kWorstCorrelation = -0.9;

double powerAt(const LineFit& levels, double time) {
  return powerOfDecibels(levels.at(time));
}

/// Mean power of the last hundredth of the response.
double powerAtEnd(const EnergyProfile& profile) {
  const std::size_t count = profile.energy.size() / 100 + 1;
  const double energy =
      std::accumulate(profile.energy.end() - static_cast<std::ptrdiff_t>(count),
                      profile.energy.end(), 0.0);
  return energy / (static_cast<double>(count) * profile.step);
}

/// The integral of an exponential decay from the time of a power on. levels: in dB
/// over s.
double energyAfter(double power, const LineFit& levels) {
  return power / (-levels.slope * std::numbers::ln10 / 10.0);
}

void setEnd(Decay& decay, const EnergyProfile& profile) {
  decay.end = profile.end();
  const std::optional<CrossPoint> cross = findCrossPoint(profile);
  if (!cross) return;
  decay.reachesNoise = cross->staysLevel;
  double power = powerAt(cross->late, profile.end());
  if (decay.reachesNoise) {
    decay.end = cross->time;
    decay.noisePower = cross->noisePower;
    power = cross->noisePower;
  } else {
    // The end of a response that was faded out lies below the line of its decay.
    power = std::min(power, powerAtEnd(profile));
  }
  decay.tailEnergy = energyAfter(power, cross->late);
}

void integrate(Decay& decay, const EnergyProfile& profile) {
  const double steps = std::ceil((decay.end - profile.start) / profile.step - 1e-9);
  const std::size_t numSteps = std::clamp<std::size_t>(
      static_cast<std::size_t>(std::max(steps, 0.0)), 1, profile.energy.size());
  const double noise = decay.noisePower * profile.step;
  double sum = decay.tailEnergy;
  decay.curve.resize(numSteps);
  for (std::size_t i = numSteps; i-- > 0;) {
    // Before time 0 there is the ringing of a band's filter alone, without noise.
    sum += profile.timeOf(i) < 0.0 ? profile.energy[i] : profile.energy[i] - noise;
    decay.curve[i] = sum;
  }
  const double whole = *std::max_element(decay.curve.begin(), decay.curve.end());
  for (double& value : decay.curve) {
    value = decibelsOfPower(std::max(value / whole, 1e-30));
  }
  if (decay.tailEnergy > 0.0) {
    decay.range = std::max(0.0, -decibelsOfPower(decay.tailEnergy / whole));
  }
}

/// The fit to the curve between two levels, in dB against its start.
std::optional<DecayFit> fitBetween(const Decay& decay, const EnergyProfile& profile,
                                   double high, double low, double neededRange) {
  if (decay.range < neededRange) return std::nullopt;
  std::vector<PointXY> points;
  for (std::size_t i = 0; i < decay.curve.size(); ++i) {
    if (decay.curve[i] < low) break;
    if (decay.curve[i] <= high) points.push_back({profile.timeOf(i), decay.curve[i]});
  }
  if (points.size() < kMinPoints) return std::nullopt;
  const DecayFit line = {fitLine(points)};
  // No decay is a curve that hardly follows the line, nor a line so flat that it would
  // not fall through the range within the response, as on the plateau between two
  // clicks.
  const double duration = profile.end() - profile.start;
  if (line.correlation > kWorstCorrelation || -line.slope * duration < high - low) {
    return std::nullopt;
  }
  return line;
}

}  // namespace

Decay measureDecay(const EnergyProfile& profile) {
  // EDT is the fit over the first 10 dB. Up to the arrival of the sound, which in a
  // band the ringing of the filter precedes, the curve stays at 0 dB, and none of that
  // counts.
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
