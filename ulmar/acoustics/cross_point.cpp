#include "ulmar/acoustics/cross_point.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <span>
#include <vector>

#include "ulmar/host/decibels.h"

namespace ulmar::acoustics {
namespace {

// Lundeby leaves ranges for these; the values lie within them.
constexpr double kFirstInterval = 0.03;    // s, of the first smoothing
constexpr double kTailPart = 0.1;          // of the profile, taken for noise at first
constexpr double kAboveNoise = 8.0;        // dB from the noise to the end of the fit
constexpr double kLateRange = 20.0;        // dB, of the fit to the late decay
constexpr double kIntervalsPer10dB = 5.0;  // of the later smoothing
constexpr int kMaxIterations = 10;
constexpr std::size_t kMinPoints = 5;

// Of our own, for telling noise from more decay.
constexpr double kClearOfDecay = 6.0;    // dB
constexpr double kLevelPoints = 16.0;    // of a line through levels
constexpr double kLeastFall = 2.0;       // dB
constexpr double kStandardErrors = 4.0;  // of the line's slope
constexpr double kEndPart = 0.3;         // of the profile, for the slope of its end

/// Levels of the mean power in intervals of numSteps steps, at the intervals' middles.
std::vector<PointXY> smoothed(const EnergyProfile& profile, std::size_t numSteps) {
  std::vector<PointXY> points;
  const auto length = static_cast<double>(numSteps) * profile.step;
  for (std::size_t i = 0; i + numSteps <= profile.energy.size(); i += numSteps) {
    const auto from = profile.energy.begin() + static_cast<std::ptrdiff_t>(i);
    const double energy =
        std::accumulate(from, from + static_cast<std::ptrdiff_t>(numSteps), 0.0);
    // An interval of digital silence has a finite level, far below any other.
    points.push_back({profile.timeOf(i) + 0.5 * length,
                      decibelsOfPower(std::max(energy / length, 1e-200))});
  }
  return points;
}

/// Energy per second from a time to the end of the profile, at least of its last step.
double meanPower(const EnergyProfile& profile, double fromTime) {
  const double offset = std::max(0.0, (fromTime - profile.start) / profile.step);
  const std::size_t from =
      std::min(static_cast<std::size_t>(offset), profile.energy.size() - 1);
  const auto begin = profile.energy.begin() + static_cast<std::ptrdiff_t>(from);
  const double energy = std::accumulate(begin, profile.energy.end(), 0.0);
  return energy / (static_cast<double>(profile.energy.size() - from) * profile.step);
}

/// The part from the last point at or above `high`, or the peak, to the last one at or
/// above `low`.
std::span<const PointXY> fallingPart(std::span<const PointXY> points, double high,
                                     double low) {
  const auto peak =
      std::max_element(points.begin(), points.end(),
                       [](const PointXY& a, const PointXY& b) { return a.y < b.y; });
  const auto lastAbove = [&](double level) {
    auto last = points.end();
    while (last != peak && (last - 1)->y < level) --last;
    return last;
  };
  auto first = lastAbove(high);
  if (first != peak) --first;
  const auto end = lastAbove(low);
  if (end <= first) return {};
  return {first, end};
}

class CrossPointSearch {
 public:
  explicit CrossPointSearch(const EnergyProfile& profile) : profile_(profile) {
    duration_ = profile.end() - profile.start;
    noiseStart_ = profile.end() - kTailPart * duration_;
    found_.noisePower = meanPower(profile, noiseStart_);
  }

  std::optional<CrossPoint> run() {
    if (!(found_.noisePower > 0.0) || !estimate()) return std::nullopt;
    for (int i = 0; i < kMaxIterations; ++i) {
      const double before = found_.time;
      if (!refine() || std::abs(found_.time - before) < 0.001 * duration_) break;
    }
    tellNoiseFromDecay();
    return found_;
  }

 private:
  std::size_t stepsIn(double seconds) const {
    return std::max<std::size_t>(1, static_cast<std::size_t>(seconds / profile_.step));
  }

  // Fits the late decay to the points, and keeps it unless it falls too little to be
  // told from the fluctuation of noise.
  bool fitLate(std::span<const PointXY> points) {
    if (points.size() < kMinPoints) return false;
    const LineFit line = fitLine(points);
    const double fall = -line.slope * (points.back().x - points.front().x);
    if (!(fall > 0.5 * kAboveNoise)) return false;
    found_.late = line;
    intersect();
    return true;
  }

  void intersect() {
    const double noise = decibelsOfPower(found_.noisePower);
    found_.time = std::clamp((noise - found_.late.intercept) / found_.late.slope,
                             profile_.start, profile_.end());
  }

  // The first estimate. A decay that is short against the smoothing interval leaves too
  // few points, so the interval is halved until there are enough.
  bool estimate() {
    std::size_t numSteps = stepsIn(std::min(kFirstInterval, duration_ / 50.0));
    for (;;) {
      const auto points = smoothed(profile_, numSteps);
      const double low = decibelsOfPower(found_.noisePower) + kAboveNoise;
      if (!points.empty() && fitLate(fallingPart(points, 1e9, low))) return true;
      if (numSteps == 1) return false;
      numSteps = (numSteps + 1) / 2;
    }
  }

  bool refine() {
    const double interval = 10.0 / -found_.late.slope / kIntervalsPer10dB;
    const auto points =
        smoothed(profile_, stepsIn(std::min(interval, duration_ / 20.0)));
    const double safety = kAboveNoise / -found_.late.slope;
    found_.noisePower =
        meanPower(profile_, std::min(found_.time + safety, noiseStart_));
    if (!(found_.noisePower > 0.0)) return false;
    const double low = decibelsOfPower(found_.noisePower) + kAboveNoise;
    if (!fitLate(fallingPart(points, low + kLateRange, low))) intersect();
    return true;
  }

  // The line through the levels from a time on, if there are enough.
  std::optional<LineFit> lineFrom(double time, std::size_t& numPoints) const {
    const double rest = profile_.end() - time;
    std::vector<PointXY> points = smoothed(profile_, stepsIn(rest / kLevelPoints));
    std::erase_if(points, [&](const PointXY& point) { return point.x < time; });
    numPoints = points.size();
    if (numPoints < kMinPoints) return std::nullopt;
    return fitLine(points);
  }

  // Noise begins where the late decay lies well below it, and lasts. Its levels
  // fluctuate, so a fall must exceed the line's uncertainty, which the correlation
  // tells.
  void tellNoiseFromDecay() {
    const double from = found_.time + kClearOfDecay / -found_.late.slope;
    std::size_t numPoints = 0;
    if (from <= noiseStart_) {
      const auto line = lineFrom(from, numPoints);
      if (!line) return;
      const double fall = -line->slope * (profile_.end() - from);
      const double r2 = std::max(line->correlation * line->correlation, 1e-12);
      const double error =
          std::sqrt((1.0 / r2 - 1.0) / static_cast<double>(numPoints - 2));
      found_.staysLevel = fall < kLeastFall || kStandardErrors * error > 1.0;
    }
    if (found_.staysLevel) return;
    const auto end = lineFrom(profile_.end() - kEndPart * duration_, numPoints);
    if (end && end->slope < 0.0) found_.late = *end;
  }

  const EnergyProfile& profile_;
  double duration_;
  double noiseStart_;
  CrossPoint found_;
};

}  // namespace

std::optional<CrossPoint> findCrossPoint(const EnergyProfile& profile) {
  if (profile.energy.size() < kMinPoints) return std::nullopt;
  return CrossPointSearch(profile).run();
}

}  // namespace ulmar::acoustics
