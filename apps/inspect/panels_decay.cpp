#include <algorithm>
#include <cmath>

#include "apps/common/text.h"
#include "apps/draw/time_scale.h"
#include "apps/inspect/drawing_data.h"
#include "apps/inspect/panels.h"

namespace ulmar::inspect {
namespace {

using apps::fixed;
using draw::Axis;
using draw::Box;
using draw::Plot;
using Fit = std::optional<acoustics::DecayFit>;

/// What of the time after the onset is worth showing, in s.
double shownDuration(const Inspection& inspection) {
  double end = 0.0;
  double whole = 0.0;
  for (std::size_t i = 0; i < numCurves(inspection); ++i) {
    const Channel& channel = inspection.channels[i];
    end = std::max(end, channel.measures.broadband.decay.end);
    whole = std::max(whole, channel.measures.profile.end());
  }
  return std::max(std::min(1.25 * end, whole), 1.0 / inspection.sampleRate());
}

double lowestLevel(const Inspection& inspection) {
  double range = 0.0;
  for (std::size_t i = 0; i < numCurves(inspection); ++i) {
    range = std::max(range, inspection.channels[i].measures.broadband.decay.range);
  }
  return -std::clamp(10.0 * std::ceil((range + 15.0) / 10.0), 60.0, 100.0);
}

/// Curves that fall to the right leave the legend its corner; others do not.
bool anyDecay(const Inspection& inspection) {
  return std::any_of(inspection.channels.begin(), inspection.channels.end(),
                     [](const Channel& channel) {
                       return channel.measures.broadband.decay.range > 0.0;
                     });
}

bool anyFit(const Inspection& inspection) {
  return std::any_of(
      inspection.channels.begin(),
      inspection.channels.begin() + static_cast<std::ptrdiff_t>(numCurves(inspection)),
      [](const Channel& channel) {
        const acoustics::Decay& decay = channel.measures.broadband.decay;
        return decay.late() || decay.edt;
      });
}

std::string fitText(const ChannelResult& channel) {
  const BandResult& band = channel.sound->broadband;
  std::string text = channel.name;
  if (band.reverberationTime) {
    text += band.t30 ? ", T30 " : ", T20 ";
    text += fixed(*band.reverberationTime, 2) + " s";
  }
  if (band.edt) text += ", EDT " + fixed(band.edt->seconds, 2) + " s";
  if (band.range == 0.0) text += ", no decay found";
  return text;
}

/// The late fit down to the lowest level, the early one to somewhat below its range. To
/// be drawn before the curves, which they shall not hide.
void drawFits(Plot& plot, const acoustics::Decay& decay, double lowest,
              const draw::TimeScale& time, draw::Color color) {
  const auto draw = [&](const Fit& fit, double low, double width) {
    if (!fit) return;
    const double end = (low - fit->intercept) / fit->slope;
    plot.curve(time.inUnit<draw::Point2>({{0.0, fit->at(0.0)}, {end, low}}),
               {.color = color, .width = width, .dashed = true});
  };
  draw(decay.late(), lowest, 1.5);
  draw(decay.edt, -20.0, 1.0);
}

/// Of the octave bands of the first channel that has any.
std::vector<Axis::Tick> octaveTicks(const Inspection& inspection) {
  std::vector<Axis::Tick> ticks;
  for (const ChannelResult& channel : inspection.results.channels) {
    if (!ticks.empty()) break;
    if (!channel.sound) continue;
    for (const BandResult& band : channel.sound->octaves) {
      ticks.push_back({band.centre, draw::roundText(band.centre)});
    }
  }
  return ticks;
}

using BandTime = std::optional<double> (*)(const BandResult&);

std::optional<double> lateTime(const BandResult& band) {
  return band.reverberationTime;
}

std::optional<double> earlyTime(const BandResult& band) {
  return band.edt ? std::optional(band.edt->seconds) : std::nullopt;
}

/// The decay times of the bands that have one, as a broken line with a mark in each.
void drawBandTimes(Plot& plot, const SoundResult& sound, BandTime timeOf,
                   const draw::Stroke& stroke) {
  std::vector<draw::Point2> points;
  for (const BandResult& band : sound.octaves) {
    const std::optional<double> time = timeOf(band);
    points.push_back({band.centre, time.value_or(std::nan(""))});
    if (time) plot.disc(points.back(), stroke.dashed ? 3.0 : 4.5, stroke.color);
  }
  plot.curve(points, stroke);
}

double longestTime(const Inspection& inspection) {
  double longest = 0.0;
  for (std::size_t i = 0; i < numCurves(inspection); ++i) {
    const auto& sound = inspection.results.channels[i].sound;
    if (!sound) continue;
    for (const BandResult& band : sound->octaves) {
      for (const auto& time : {lateTime(band), earlyTime(band)}) {
        longest = std::max(longest, time.value_or(0.0));
      }
    }
  }
  return longest;
}

}  // namespace

void drawDecays(draw::Picture& picture, const Inspection& inspection, const Box& box) {
  const double duration = shownDuration(inspection);
  const double lowest = lowestLevel(inspection);
  const draw::TimeScale time(duration);
  Plot plot(
      picture, box,
      anyFit(inspection) ? "Decay (Schroeder curve, dashed fits; pale: level)"
                         : "Decay (Schroeder curve; pale: level)",
      time.axis("Time after the onset"),
      {.label = "Level (dB)",
       .low = lowest,
       .high = anyDecay(inspection)
                   ? 5.0
                   : draw::withRoomForLegend(lowest, 3.0, numCurves(inspection), box)});
  const auto width = static_cast<std::size_t>(box.width);
  for (std::size_t i = 0; i < numCurves(inspection); ++i) {
    const Channel& channel = inspection.channels[i];
    if (!channel.measures.onset) continue;
    plot.curve(time.inUnit(levelCurve(channel, duration, width / 3)),
               {.color = withAlpha(colorOf(i), 0.35)});
    drawFits(plot, channel.measures.broadband.decay, lowest, time, colorOf(i));
  }
  std::vector<draw::LegendEntry> legend;
  for (std::size_t i = 0; i < numCurves(inspection); ++i) {
    const Channel& channel = inspection.channels[i];
    if (!channel.measures.onset) continue;
    plot.curve(time.inUnit(decayCurve(channel, width / 2)),
               {.color = colorOf(i), .width = 2.0});
    legend.push_back(
        {fitText(inspection.results.channels[i]), {.color = colorOf(i), .width = 2.0}});
  }
  const acoustics::Decay& first = inspection.channels[0].measures.broadband.decay;
  if (first.reachesNoise) {
    plot.horizontalLine(-first.range, {.color = draw::kSoftInk, .dashed = true},
                        "noise floor");
  }
  plot.legend(legend);
  plot.frame();
}

void drawDecayTimes(draw::Picture& picture, const Inspection& inspection,
                    const Box& box) {
  const double longest = longestTime(inspection);
  const std::size_t numEntries = numCurves(inspection) + 1;
  Plot plot(picture, box, "Decay times in octave bands",
            {.label = "Frequency (Hz)",
             .low = 44.0,
             .high = 22600.0,
             .logarithmic = true,
             .ticks = octaveTicks(inspection)},
            {.label = "Time for 60 dB (s)",
             .high = longest > 0.0
                         ? draw::withRoomForLegend(0.0, 1.05 * longest, numEntries, box)
                         : 1.0});
  if (longest == 0.0) return plot.remark("No octave band has enough decay range.");
  std::vector<draw::LegendEntry> legend;
  for (std::size_t i = 0; i < numCurves(inspection); ++i) {
    const ChannelResult& channel = inspection.results.channels[i];
    const draw::Stroke late = {.color = colorOf(i), .width = 2.0};
    if (channel.sound) {
      drawBandTimes(plot, *channel.sound, lateTime, late);
      drawBandTimes(plot, *channel.sound, earlyTime,
                    {.color = colorOf(i), .width = 1.2, .dashed = true});
    }
    legend.push_back({channel.name + ", T30 (T20 if short of range)", late});
  }
  legend.push_back({"EDT", {.color = draw::kInk, .width = 1.2, .dashed = true}});
  plot.legend(legend);
}

}  // namespace ulmar::inspect
