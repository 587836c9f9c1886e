#include "ulmar/acoustics/spectrum.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <numbers>

#include "ulmar/acoustics/line_fit.h"
#include "ulmar/acoustics/spectral_analyzer.h"
#include "ulmar/host/decibels.h"

namespace ulmar::acoustics {
namespace {

constexpr double kLowestFrequency = 20.0;  // Hz

/// Cumulative sums of a spectrum, for means over any range of frequencies.
class RunningPower {
 public:
  explicit RunningPower(const EnergySpectrum& spectrum) : binWidth_(spectrum.binWidth) {
    sums_.reserve(spectrum.power.size() + 1);
    sums_.push_back(0.0);
    for (const double power : spectrum.power) sums_.push_back(sums_.back() + power);
  }

  /// Mean power between two frequencies in Hz. A bin reaches half its width to both
  /// sides of its own frequency. A range narrower than a bin is widened to one, which
  /// interpolates between two bins linearly.
  double mean(double low, double high) const {
    const double middle = 0.5 * (low + high) / binWidth_;
    const double half = std::max(0.5 * (high - low) / binWidth_, 0.5);
    const double from = place(middle - half);
    const double to = place(middle + half);
    return (sumBelow(to) - sumBelow(from)) / (to - from);
  }

 private:
  double place(double bin) const {
    return std::clamp(bin + 0.5, 0.0, static_cast<double>(sums_.size() - 1));
  }
  double sumBelow(double at) const {
    const auto whole = std::min(static_cast<std::size_t>(at), sums_.size() - 2);
    const double part = at - static_cast<double>(whole);
    return sums_[whole] + part * (sums_[whole + 1] - sums_[whole]);
  }

  double binWidth_;
  std::vector<double> sums_;
};

/// The mean power spectrum of each column of a spectrogram.
class ColumnPower {
 public:
  ColumnPower(int windowLen, std::size_t numFrames, std::size_t numColumns)
      : analyzer_(windowLen),
        window_(acoustics::hannWindow(windowLen)),
        block_(window_.size()),
        numFrames_(numFrames),
        numColumns_(numColumns) {}

  /// Adds the column's mean power to `power`. Windows stand side by side in the column;
  /// one that is shorter than a window has a single window around its middle.
  void add(Samples samples, std::size_t column, std::vector<double>& power) {
    const std::size_t first = column * numFrames_ / numColumns_;
    const std::size_t end =
        std::max(first + 1, (column + 1) * numFrames_ / numColumns_);
    const std::size_t hop = window_.size();
    const std::size_t numWindows = (end - first - 1) / hop + 1;
    const double weight = 1.0 / static_cast<double>(numWindows);
    for (std::size_t centre = first + std::min(hop, end - first) / 2; centre < end;
         centre += hop) {
      const std::span<const float> bins = powerAround(samples, centre);
      for (std::size_t k = 0; k < power.size(); ++k)
        power[k] += weight * double{bins[k]};
    }
  }

 private:
  std::span<const float> powerAround(Samples samples, std::size_t centre) {
    const std::size_t half = window_.size() / 2;
    for (std::size_t i = 0; i < window_.size(); ++i) {
      const std::size_t frame = centre + i;  // plus half a window, to stay above 0
      const bool inside = frame >= half && frame - half < samples.size();
      block_[i] = inside ? samples[frame - half] * window_[i] : 0.0F;
    }
    return analyzer_.power(block_);
  }

  acoustics::SpectralAnalyzer analyzer_;
  std::vector<float> window_;
  std::vector<float> block_;
  std::size_t numFrames_;
  std::size_t numColumns_;
};

int roundedToPowerOfTwo(double value) {
  return 1 << std::clamp(static_cast<int>(std::lround(std::log2(value))), 3, 20);
}

}  // namespace

double levelOf(double power) {
  constexpr double kSilentPower = 1e-30;
  return decibelsOfPower(std::max(power, kSilentPower));
}

EnergySpectrum spectrumOf(Samples samples, double sampleRate) {
  constexpr std::size_t kMaxLength = 1 << 18;
  constexpr std::size_t kMinLength = 1 << 12;
  const std::size_t length =
      std::bit_ceil(std::clamp(samples.size(), kMinLength, kMaxLength));
  acoustics::SpectralAnalyzer analyzer(static_cast<int>(length));
  EnergySpectrum spectrum;
  spectrum.binWidth = sampleRate / static_cast<double>(length);
  spectrum.power.resize(length / 2 + 1);
  for (std::size_t from = 0; from < samples.size(); from += length) {
    const std::span<const float> bins =
        analyzer.power(part(samples, from, from + length));
    for (std::size_t k = 0; k < bins.size(); ++k) spectrum.power[k] += double{bins[k]};
  }
  return spectrum;
}

std::vector<SpectrumPoint> thirdOctaveLevels(const EnergySpectrum& spectrum) {
  constexpr int kPointsPerOctave = 24;
  const double halfBand = std::pow(2.0, 1.0 / 6.0);
  const double highest =
      spectrum.binWidth * static_cast<double>(spectrum.power.size() - 1);
  const RunningPower running(spectrum);
  std::vector<SpectrumPoint> points;
  for (int i = 0;; ++i) {
    const double frequency =
        kLowestFrequency * std::pow(2.0, static_cast<double>(i) / kPointsPerOctave);
    if (frequency > highest) return points;
    points.push_back(
        {frequency, levelOf(running.mean(frequency / halfBand, frequency * halfBand))});
  }
}

std::optional<double> spectralTilt(const EnergySpectrum& spectrum) {
  constexpr double kLowest = 125.0 / std::numbers::sqrt2;
  constexpr double kHighest = 8000.0 * std::numbers::sqrt2;
  // Just below half the sample rate the filters of converters take the level down.
  constexpr double kUsablePart = 0.9;
  const double nyquist =
      spectrum.binWidth * static_cast<double>(spectrum.power.size() - 1);
  std::vector<PointXY> points;  // dB over octaves
  for (const SpectrumPoint& point : thirdOctaveLevels(spectrum)) {
    if (point.frequency < kLowest || point.frequency > kHighest ||
        point.frequency > kUsablePart * nyquist) {
      continue;
    }
    points.push_back({std::log2(point.frequency), point.level});
  }
  if (points.size() < 2 || points.back().x - points.front().x < 1.0) {
    return std::nullopt;
  }
  return fitLine(points).slope;
}

Spectrogram spectrogramOf(const Planar& channels, double sampleRate,
                          std::size_t numFrames, std::size_t numColumns,
                          std::size_t numBands) {
  constexpr double kWindowSeconds = 0.03;
  Spectrogram spectrogram;
  spectrogram.duration = static_cast<double>(numFrames) / sampleRate;
  spectrogram.highest = 0.5 * sampleRate;
  spectrogram.lowest = std::min(50.0, 0.1 * spectrogram.highest);
  const int windowLen = roundedToPowerOfTwo(kWindowSeconds * sampleRate);
  const double bandRatio = std::pow(spectrogram.highest / spectrogram.lowest,
                                    1.0 / static_cast<double>(numBands));
  ColumnPower columnPower(windowLen, numFrames, numColumns);
  EnergySpectrum spectrum;
  spectrum.binWidth = sampleRate / windowLen;
  auto loudest = static_cast<float>(kSilentLevel);
  for (std::size_t column = 0; column < numColumns; ++column) {
    spectrum.power.assign(static_cast<std::size_t>(windowLen / 2) + 1, 0.0);
    for (const auto& channel : channels) {
      columnPower.add(channel, column, spectrum.power);
    }
    const RunningPower running(spectrum);
    std::vector<float>& levels = spectrogram.columns.emplace_back();
    double low = spectrogram.lowest;
    for (std::size_t band = 0; band < numBands; ++band) {
      const double high = low * bandRatio;
      levels.push_back(static_cast<float>(levelOf(running.mean(low, high))));
      loudest = std::max(loudest, levels.back());
      low = high;
    }
  }
  for (auto& column : spectrogram.columns) {
    for (float& level : column) level -= loudest;
  }
  return spectrogram;
}

}  // namespace ulmar::acoustics
