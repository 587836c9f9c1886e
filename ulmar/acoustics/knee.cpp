#include "ulmar/acoustics/knee.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace ulmar::acoustics {
namespace {

// Lundeby's choices; times in seconds, levels in dB.
constexpr double kFirstInterval = 0.03;
constexpr double kTailPart = 0.1;    // of the response, taken for noise at first
constexpr double kAboveNoise = 8.0;  // where the decay is no longer believed
constexpr double kLateRange = 20.0;  // of the decay above that
constexpr double kIntervalsPer10dB = 5.0;
constexpr int kMaxIterations = 10;
constexpr std::size_t kMinPoints = 5;

double decibels(double power) { return 10.0 * std::log10(power); }

/// Mean power in intervals of numSteps steps, as levels at their middles.
std::vector<LevelPoint> smoothed(const EnergyProfile& profile, std::size_t numSteps) {
  std::vector<LevelPoint> points;
  const auto length = static_cast<double>(numSteps) * profile.step;
  for (std::size_t i = 0; i + numSteps <= profile.energy.size(); i += numSteps) {
    const auto from = profile.energy.begin() + static_cast<std::ptrdiff_t>(i);
    const double energy =
        std::accumulate(from, from + static_cast<std::ptrdiff_t>(numSteps), 0.0);
    // What is silent has a level far below any other.
    points.push_back({profile.timeOf(i) + 0.5 * length,
                      decibels(std::max(energy / length, 1e-200))});
  }
  return points;
}

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
std::span<const LevelPoint> fallingPart(std::span<const LevelPoint> points, double high,
                                        double low) {
  const auto peak = std::max_element(
      points.begin(), points.end(),
      [](const LevelPoint& a, const LevelPoint& b) { return a.level < b.level; });
  const auto lastAbove = [&](double level) {
    auto last = points.end();
    while (last != peak && (last - 1)->level < level) --last;
    return last;
  };
  auto first = lastAbove(high);
  if (first != peak) --first;
  const auto end = lastAbove(low);
  if (end <= first) return {};
  return {first, end};
}

class KneeSearch {
 public:
  explicit KneeSearch(const EnergyProfile& profile) : profile_(profile) {
    duration_ = profile.end() - profile.start;
    tailStart_ = profile.end() - kTailPart * duration_;
    knee_.noisePower = meanPower(profile, tailStart_);
  }

  std::optional<Knee> run() {
    if (!(knee_.noisePower > 0.0) || !findFirst()) return std::nullopt;
    for (int i = 0; i < kMaxIterations; ++i) {
      const double before = knee_.time;
      if (!refine() || std::abs(knee_.time - before) < 0.001 * duration_) break;
    }
    return knee_;
  }

 private:
  std::size_t stepsIn(double seconds) const {
    return std::max<std::size_t>(1, static_cast<std::size_t>(seconds / profile_.step));
  }

  // Takes a line for the late decay if it falls far enough to be one.
  bool take(std::span<const LevelPoint> points) {
    if (points.size() < kMinPoints) return false;
    const LevelLine line = fitLine(points);
    const double fall = -line.slope * (points.back().time - points.front().time);
    if (!(fall > 0.5 * kAboveNoise)) return false;
    knee_.late = line;
    setTime();
    return true;
  }

  void setTime() {
    const double noise = decibels(knee_.noisePower);
    knee_.time = std::clamp((noise - knee_.late.levelAtZero) / knee_.late.slope,
                            profile_.start, profile_.end());
  }

  // Intervals are shortened until a short decay shows.
  bool findFirst() {
    std::size_t numSteps = stepsIn(std::min(kFirstInterval, duration_ / 50.0));
    for (;;) {
      const auto points = smoothed(profile_, numSteps);
      const double low = decibels(knee_.noisePower) + kAboveNoise;
      if (!points.empty() && take(fallingPart(points, 1e9, low))) return true;
      if (numSteps == 1) return false;
      numSteps = (numSteps + 1) / 2;
    }
  }

  bool refine() {
    const double interval = 10.0 / -knee_.late.slope / kIntervalsPer10dB;
    const auto points =
        smoothed(profile_, stepsIn(std::min(interval, duration_ / 20.0)));
    const double safety = kAboveNoise / -knee_.late.slope;
    knee_.noisePower = meanPower(profile_, std::min(knee_.time + safety, tailStart_));
    if (!(knee_.noisePower > 0.0)) return false;
    const double low = decibels(knee_.noisePower) + kAboveNoise;
    if (!take(fallingPart(points, low + kLateRange, low))) setTime();
    return true;
  }

  const EnergyProfile& profile_;
  double duration_;
  double tailStart_;
  Knee knee_;
};

}  // namespace

LevelLine fitLine(std::span<const LevelPoint> points) {
  const auto count = static_cast<double>(points.size());
  double meanTime = 0.0;
  double meanLevel = 0.0;
  for (const LevelPoint& point : points) {
    meanTime += point.time / count;
    meanLevel += point.level / count;
  }
  double timeTime = 0.0;
  double timeLevel = 0.0;
  double levelLevel = 0.0;
  for (const LevelPoint& point : points) {
    const double time = point.time - meanTime;
    const double level = point.level - meanLevel;
    timeTime += time * time;
    timeLevel += time * level;
    levelLevel += level * level;
  }
  LevelLine line;
  if (timeTime > 0.0) line.slope = timeLevel / timeTime;
  if (levelLevel > 0.0) line.correlation = timeLevel / std::sqrt(timeTime * levelLevel);
  line.levelAtZero = meanLevel - line.slope * meanTime;
  return line;
}

std::optional<Knee> findKnee(const EnergyProfile& profile) {
  if (profile.energy.size() < kMinPoints) return std::nullopt;
  return KneeSearch(profile).run();
}

}  // namespace ulmar::acoustics
