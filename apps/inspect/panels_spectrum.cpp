#include <algorithm>
#include <cmath>

#include "apps/inspect/drawing_data.h"
#include "apps/inspect/panels.h"
#include "apps/inspect/report.h"

namespace ulmar::inspect {
namespace {

using draw::Box;
using draw::Plot;

constexpr double kLowestFrequency = 20.0;   // Hz
constexpr double kFirstQuefrency = 0.0005;  // s
constexpr double kLastQuefrency = 0.05;

double loudestLevel(const Inspection& inspection) {
  double loudest = acoustics::kSilentLevel;
  for (const Channel& channel : inspection.channels) {
    if (!channel.spectrum) continue;
    for (const acoustics::SpectrumPoint& point : channel.spectrum->thirdOctaves) {
      loudest = std::max(loudest, point.level);
    }
  }
  return loudest;
}

double largestCepstrum(const Inspection& inspection) {
  double largest = 0.01;
  for (const Channel& channel : inspection.channels) {
    const auto& spectrum = channel.spectrum;
    if (!spectrum) continue;
    for (const draw::Extent& extent :
         cepstrumExtents(spectrum->cepstrum, kFirstQuefrency, kLastQuefrency, 1000)) {
      largest = std::max({largest, extent.high, -extent.low});
    }
  }
  return largest;
}

}  // namespace

void drawSpectra(draw::Picture& picture, const Inspection& inspection, const Box& box) {
  constexpr double kRange = 60.0;  // dB
  const double highest = 0.5 * inspection.sampleRate();
  const double loudest = loudestLevel(inspection);
  const double low = 5.0 * std::floor((loudest - kRange) / 5.0);
  const double high =
      draw::withRoomForLegend(low, loudest + 6.0, numCurves(inspection), box);
  Plot plot(picture, box, "Magnitude (line: third-octave mean; pale: all bins)",
            {.label = "Frequency (Hz)",
             .low = kLowestFrequency,
             .high = highest,
             .logarithmic = true},
            {.label = "Gain (dB)", .low = low, .high = high});
  for (std::size_t i = 0; i < numCurves(inspection); ++i) {
    if (!inspection.channels[i].spectrum) continue;
    plot.band(spectrumExtents(inspection.channels[i].spectrum->energy, kLowestFrequency,
                              highest, static_cast<std::size_t>(0.5 * box.width)),
              withAlpha(colorOf(i), 0.25));
  }
  std::vector<draw::LegendEntry> legend;
  for (std::size_t i = 0; i < numCurves(inspection); ++i) {
    if (!inspection.channels[i].spectrum) continue;
    std::vector<draw::Point2> points;
    for (const acoustics::SpectrumPoint& point :
         inspection.channels[i].spectrum->thirdOctaves) {
      points.push_back({point.frequency, point.level});
    }
    const draw::Stroke stroke = {.color = colorOf(i), .width = 2.0};
    plot.curve(points, stroke);
    const ChannelResult& channel = inspection.results.channels[i];
    std::string text = channel.name;
    if (channel.sound->tilt) text += ", " + tiltText(*channel.sound->tilt);
    legend.push_back({text, stroke});
  }
  plot.legend(legend);
  plot.frame();
}

void drawCepstra(draw::Picture& picture, const Inspection& inspection, const Box& box) {
  const double largest = 1.1 * largestCepstrum(inspection);
  Plot plot(
      picture, box, "Real cepstrum (an echo makes a line at its delay)",
      {.label = "Quefrency (ms)", .high = 1000.0 * kLastQuefrency},
      {.label = "Cepstrum (Np)",
       .low = -largest,
       .high = draw::withRoomForLegend(-largest, largest, numCurves(inspection), box)});
  std::vector<draw::LegendEntry> legend;
  for (std::size_t i = 0; i < numCurves(inspection); ++i) {
    if (!inspection.channels[i].spectrum) continue;
    const acoustics::CepstrumAnalysis& cepstrum =
        inspection.channels[i].spectrum->cepstrum;
    plot.band(cepstrumExtents(cepstrum, kFirstQuefrency, kLastQuefrency,
                              static_cast<std::size_t>(0.5 * box.width)),
              withAlpha(colorOf(i), 0.8));
    const ChannelResult& channel = inspection.results.channels[i];
    std::string text = channel.name;
    if (const auto& echo = channel.sound->echo) {
      plot.disc({1000.0 * echo->delay, echo->cepstrum}, 4.5, colorOf(i));
      text += ", " + echoText(*echo);
    } else {
      text += ", no echo stands out";
    }
    legend.push_back({text, {.color = colorOf(i), .width = 2.0}});
  }
  plot.legend(legend);
  plot.frame();
}

}  // namespace ulmar::inspect
