#include <algorithm>
#include <cmath>

#include "apps/common/text.h"
#include "apps/draw/time_scale.h"
#include "apps/inspect/drawing_data.h"
#include "apps/inspect/panels.h"

namespace ulmar::inspect {
namespace {

using draw::Axis;
using draw::Box;
using draw::Plot;

constexpr draw::Color kTrimmed = {0.45, 0.45, 0.48, 0.16};

/// Zero and the roundest numbers that keep their distance from the strips above and
/// below.
std::vector<Axis::Tick> amplitudeTicks(double range) {
  const double limit = 0.92 * range;
  const double decade = std::pow(10.0, std::floor(std::log10(limit)));
  const double digit = limit >= 5.0 * decade ? 5.0 : limit >= 2.0 * decade ? 2.0 : 1.0;
  const double value = digit * decade;
  const std::string text = apps::significant(value, 6);
  return {{-value, "-" + text}, {0.0, "0"}, {value, text}};
}

/// Whether the suggested trim leaves out enough at one end to be seen, a few pixels.
bool showsTrim(const Inspection& inspection) {
  if (inspection.results.silent()) return false;
  const Suggestions& suggestions = *inspection.results.suggestions;
  return 400 * std::uint64_t{std::max(suggestions.start.frame, suggestions.leftOut)} >=
         inspection.numFrames();
}

void shadeTrimmed(Plot& plot, const Inspection& inspection,
                  const draw::TimeScale& time) {
  if (!showsTrim(inspection)) return;
  const Suggestions& suggestions = *inspection.results.suggestions;
  const double start = suggestions.start.seconds;
  const double end = start + suggestions.length.seconds;
  plot.shade(0.0, time.inUnit(start), kTrimmed);
  plot.shade(time.inUnit(end), time.inUnit(inspection.results.seconds), kTrimmed);
}

std::string stripName(const ChannelResult& channel) {
  if (!channel.sound) return channel.name + ", silent";
  return channel.name + ", onset at " + apps::fixed(channel.sound->onset.seconds, 4) +
         " s";
}

/// The colours beside a spectrogram and what they mean.
void drawScale(draw::Picture& picture, const Box& box, double floorLevel) {
  draw::Image scale = {.width = 1, .height = 128};
  for (int row = 0; row < scale.height; ++row) {
    scale.pixels.push_back(heatColor(1.0 - (row + 0.5) / scale.height));
  }
  const Axis across = {.label = "", .ticks = {{0.0, ""}}, .labelled = false};
  Plot plot(picture, box, "", across,
            {.label = "Level (dB)", .low = floorLevel, .high = 0.0});
  plot.image(scale);
  plot.frame();
}

}  // namespace

void drawWaveforms(draw::Picture& picture, const Inspection& inspection,
                   const Box& box) {
  constexpr double kGap = 8.0;
  const std::size_t numStrips = numCurves(inspection);
  const double pitch = (box.height + kGap) / static_cast<double>(numStrips);
  double peak = 0.0;
  for (const ChannelResult& channel : inspection.results.channels) {
    peak = std::max(peak, channel.peak);
  }
  const double range = peak > 0.0 ? 1.1 * peak : 1.1;
  const draw::TimeScale time(inspection.results.seconds);
  const char* const title = showsTrim(inspection)
                                ? "Waveform (shaded: left out by the suggested trim)"
                                : "Waveform";
  for (std::size_t i = 0; i < numStrips; ++i) {
    const bool first = i == 0;
    const bool last = i + 1 == numStrips;
    const Box strip = {box.left, box.top + static_cast<double>(i) * pitch, box.width,
                       pitch - kGap};
    Axis x = time.axis();
    x.labelled = last;
    const Axis y = {.label = first ? "Amplitude" : "",
                    .low = -range,
                    .high = range,
                    .ticks = amplitudeTicks(range)};
    Plot plot(picture, strip, first ? title : "", x, y);
    const auto extents =
        waveformExtents(inspection.file.samples[i], inspection.sampleRate(),
                        static_cast<std::size_t>(box.width));
    plot.waveform(time.inUnit(extents), colorOf(i));
    shadeTrimmed(plot, inspection, time);
    plot.legend(std::vector<draw::LegendEntry>{
        {stripName(inspection.results.channels[i]), {colorOf(i), 2.0}}});
    plot.frame();
  }
}

void drawSpectrogram(draw::Picture& picture, const Inspection& inspection,
                     const Box& box) {
  constexpr double kFloor = -90.0;  // dB
  constexpr double kScaleWidth = 16.0;
  constexpr double kScaleGap = 84.0;
  const Box scale = {box.right() - kScaleWidth, box.top, kScaleWidth, box.height};
  const Box frame = {box.left, box.top, scale.left - kScaleGap - box.left, box.height};
  const acoustics::Spectrogram spectrogram = acoustics::spectrogramOf(
      inspection.file.samples, inspection.sampleRate(), inspection.numFrames(),
      std::min(static_cast<std::size_t>(frame.width), inspection.numFrames()),
      static_cast<std::size_t>(frame.height));
  Plot plot(picture, frame,
            inspection.channels.size() == 1
                ? "Spectrogram"
                : "Spectrogram (power of all channels together)",
            draw::TimeScale(inspection.results.seconds).axis(),
            {.label = "Frequency (Hz)",
             .low = spectrogram.lowest,
             .high = spectrogram.highest,
             .logarithmic = true});
  plot.image(spectrogramImage(spectrogram, kFloor));
  plot.frame();
  drawScale(picture, scale, kFloor);
}

}  // namespace ulmar::inspect
