#include "apps/inspect/drawing_data.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>

#include "ulmar/acoustics/spectrum.h"
#include "ulmar/host/decibels.h"

namespace ulmar::inspect {
namespace {

/// The indices [first, second) that fall into a column, at least one of them.
std::pair<std::size_t, std::size_t> columnRange(std::size_t column,
                                                std::size_t numColumns,
                                                std::size_t from, std::size_t to) {
  const auto place = [&](std::size_t c) {
    return from + static_cast<std::size_t>(static_cast<double>(to - from) *
                                           static_cast<double>(c) /
                                           static_cast<double>(numColumns));
  };
  const std::size_t first = std::min(place(column), to - 1);
  return {first, std::max(first + 1, place(column + 1))};
}

/// Least and largest of the samples [from, to) in each of at most numColumns parts,
/// over the index.
std::vector<draw::Extent> extentsOf(acoustics::Samples samples, std::size_t from,
                                    std::size_t to, std::size_t numColumns) {
  std::vector<draw::Extent> extents;
  if (from >= to) return extents;
  numColumns = std::min(numColumns, to - from);
  for (std::size_t column = 0; column < numColumns; ++column) {
    const auto [first, end] = columnRange(column, numColumns, from, to);
    const acoustics::Samples inside = acoustics::part(samples, first, end);
    const auto [low, high] = std::minmax_element(inside.begin(), inside.end());
    extents.push_back(
        {0.5 * static_cast<double>(first + end - 1), double{*low}, double{*high}});
  }
  return extents;
}

/// ln 10^6 over the time of 60 dB: a decay's power over the energy that is still to
/// come. 0 if there is no decay.
double decayRate(const Channel& channel) {
  const acoustics::Decay& decay = channel.measures.broadband.decay;
  if (decay.reachesNoise && decay.tailEnergy > 0.0) {
    return decay.noisePower / decay.tailEnergy;
  }
  const auto time = channel.measures.broadband.reverberationTime();
  if (time) return 6.0 * std::numbers::ln10 / *time;
  if (decay.edt) return 6.0 * std::numbers::ln10 / decay.edt->decayTime();
  return 0.0;
}

}  // namespace

std::vector<draw::Extent> levelExtents(acoustics::Samples samples, double peak,
                                       double start, double step, double lowest,
                                       std::size_t numColumns) {
  auto extents = extentsOf(samples, 0, samples.size(), numColumns);
  for (draw::Extent& extent : extents) {
    const double largest = std::max(-extent.low, extent.high) / peak;
    extent.x = start + extent.x * step;
    extent.low = lowest;
    extent.high = largest > 0.0 ? std::max(lowest, decibelsOfGain(largest)) : lowest;
  }
  return extents;
}

std::vector<draw::Point2> decayCurve(const Channel& channel, std::size_t numPoints) {
  const std::vector<double>& curve = channel.measures.broadband.decay.curve;
  std::vector<draw::Point2> points;
  const std::size_t stride = curve.size() / numPoints + 1;
  for (std::size_t i = 0; i < curve.size(); i += stride) {
    points.push_back({channel.measures.profile.timeOf(i), curve[i]});
  }
  return points;
}

std::vector<draw::Point2> levelCurve(const Channel& channel, double duration,
                                     std::size_t numPoints) {
  const acoustics::EnergyProfile& profile = channel.measures.profile;
  const double whole =
      std::accumulate(profile.energy.begin(), profile.energy.end(), 0.0);
  const double rate = decayRate(channel);
  const std::size_t numSteps = std::min(
      profile.energy.size(), static_cast<std::size_t>(duration / profile.step) + 1);
  numPoints = std::min(numPoints, numSteps);
  std::vector<draw::Point2> points;
  for (std::size_t column = 0; column < numPoints; ++column) {
    const auto [first, end] = columnRange(column, numPoints, 0, numSteps);
    double energy = 0.0;
    for (std::size_t i = first; i < end; ++i) energy += profile.energy[i];
    const double length = static_cast<double>(end - first) * profile.step;
    // Without a decay, what a constant power would have to come over the whole time.
    const double toCome = rate > 0.0 ? 1.0 / rate : profile.end();
    points.push_back({profile.timeOf(first) + 0.5 * length,
                      acoustics::levelOf(energy / length * toCome / whole)});
  }
  return points;
}

std::vector<draw::Extent> spectrumExtents(const acoustics::EnergySpectrum& spectrum,
                                          double lowest, double highest,
                                          std::size_t numColumns) {
  std::vector<draw::Extent> extents;
  std::size_t next = 0;
  for (std::size_t column = 0; column < numColumns; ++column) {
    const auto edge = [&](double c) {
      return lowest * std::pow(highest / lowest, c / static_cast<double>(numColumns));
    };
    const auto bin = [&](double frequency) {
      return std::min(static_cast<std::size_t>(frequency / spectrum.binWidth),
                      spectrum.power.size() - 1);
    };
    // Columns that are narrower than a bin share it.
    const std::size_t first = bin(edge(static_cast<double>(column)));
    const std::size_t end = bin(edge(static_cast<double>(column) + 1.0)) + 1;
    if (end <= next) continue;
    next = end;
    const auto begin = spectrum.power.begin();
    const auto [low, high] =
        std::minmax_element(begin + static_cast<std::ptrdiff_t>(first),
                            begin + static_cast<std::ptrdiff_t>(end));
    extents.push_back({edge(static_cast<double>(column) + 0.5),
                       acoustics::levelOf(*low), acoustics::levelOf(*high)});
  }
  return extents;
}

std::vector<draw::Extent> cepstrumExtents(const acoustics::CepstrumAnalysis& cepstrum,
                                          double from, double to,
                                          std::size_t numColumns) {
  const auto first = static_cast<std::size_t>(from / cepstrum.step);
  const std::size_t last =
      std::min(static_cast<std::size_t>(to / cepstrum.step), cepstrum.values.size());
  auto extents = extentsOf(cepstrum.values, first, last, numColumns);
  for (draw::Extent& extent : extents) {
    extent.x *= 1000.0 * cepstrum.step;
    extent.low = std::min(0.0, extent.low);
    extent.high = std::max(0.0, extent.high);
  }
  return extents;
}

std::uint32_t heatColor(double value) {
  static constexpr std::array<std::array<double, 3>, 9> kScale = {{{68, 1, 84},
                                                                   {71, 45, 123},
                                                                   {59, 82, 139},
                                                                   {44, 114, 142},
                                                                   {33, 145, 140},
                                                                   {40, 174, 128},
                                                                   {94, 201, 98},
                                                                   {173, 220, 48},
                                                                   {253, 231, 37}}};
  // In steps of a few dB, which leave files small.
  constexpr double kSteps = 24.0;
  const double stepped = std::round(kSteps * std::clamp(value, 0.0, 1.0)) / kSteps;
  const double place = stepped * (kScale.size() - 1);
  const auto index = std::min(static_cast<std::size_t>(place), kScale.size() - 2);
  const double mix = place - static_cast<double>(index);
  std::uint32_t color = 0;
  for (std::size_t i = 0; i < 3; ++i) {
    const double part = (1.0 - mix) * kScale[index][i] + mix * kScale[index + 1][i];
    color = color << 8 | static_cast<std::uint32_t>(std::lround(part));
  }
  return color;
}

draw::Image spectrogramImage(const acoustics::Spectrogram& spectrogram,
                             double floorLevel) {
  draw::Image image;
  image.width = static_cast<int>(spectrogram.columns.size());
  image.height = static_cast<int>(spectrogram.columns[0].size());
  for (std::size_t row = spectrogram.columns[0].size(); row-- > 0;) {
    for (const auto& column : spectrogram.columns) {
      image.pixels.push_back(heatColor(1.0 - double{column[row]} / floorLevel));
    }
  }
  return image;
}

}  // namespace ulmar::inspect
