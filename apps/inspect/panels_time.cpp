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

// The start of the response, from a little before the first onset on.
constexpr double kZoom = 0.1;      // s
constexpr double kLead = 0.005;    // s
constexpr double kLowest = -60.0;  // dB below the loudest sample

std::size_t firstShown(const Inspection& inspection) {
  std::size_t first = inspection.numFrames();
  for (const Channel& channel : inspection.channels) {
    first = std::min(first, channel.measures.onset.value_or(first));
  }
  if (first == inspection.numFrames()) return 0;
  return first - std::min(first, static_cast<std::size_t>(
                                     std::lround(kLead * inspection.sampleRate())));
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

void drawStarts(draw::Picture& picture, const Inspection& inspection, const Box& box) {
  constexpr double kGap = 8.0;
  const std::size_t numStrips = numCurves(inspection);
  const double pitch = (box.height + kGap) / static_cast<double>(numStrips);
  double peak = 0.0;
  for (const ChannelResult& channel : inspection.results.channels) {
    peak = std::max(peak, channel.peak);
  }
  const double rate = inspection.sampleRate();
  const std::size_t first = firstShown(inspection);
  const std::size_t end =
      std::min(first + static_cast<std::size_t>(std::lround(kZoom * rate)),
               inspection.numFrames());
  const double start = static_cast<double>(first) / rate;
  for (std::size_t i = 0; i < numStrips; ++i) {
    const Box strip = {box.left, box.top + static_cast<double>(i) * pitch, box.width,
                       pitch - kGap};
    constexpr double kMilli = 1e-3;
    const Axis x = {.label = "Time in the file (ms)",
                    .low = start / kMilli,
                    .high = (start + kZoom) / kMilli,
                    .labelled = i + 1 == numStrips};
    // Of names above the levels.
    const Axis y = {
        .label = i == 0 ? "Level (dB)" : "",
        .low = kLowest,
        .high = draw::withRoomForLegend(kLowest, 0.0, 1, strip),
        .ticks = {{-60.0, "-60"}, {-40.0, "-40"}, {-20.0, "-20"}, {0.0, "0"}}};
    Plot plot(picture, strip,
              i == 0 ? "Level of the first 100 ms, below the loudest sample" : "", x,
              y);
    if (peak > 0.0) {
      plot.band(levelExtents(acoustics::part(inspection.file.samples[i], first, end),
                             peak, start / kMilli, 1.0 / (kMilli * rate), kLowest,
                             static_cast<std::size_t>(0.5 * box.width)),
                colorOf(i));
    }
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
      std::min(static_cast<std::size_t>(0.5 * frame.width), inspection.numFrames()),
      static_cast<std::size_t>(0.5 * frame.height));
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
