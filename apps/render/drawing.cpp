#include "apps/render/drawing.h"

#include <algorithm>
#include <cmath>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "apps/common/text.h"
#include "apps/draw/page.h"
#include "apps/draw/time_scale.h"
#include "ulmar/audio/channel_layout.h"
#include "ulmar/audio/file_name.h"

namespace ulmar::render {
namespace {

using apps::fixed;

using draw::Axis;
using draw::Box;
using draw::Picture;
using draw::Plot;

constexpr double kLeastLane = 46.0;
constexpr double kBetweenLanes = 6.0;

/// Waveforms of a signal's channels one above the other, a lane each.
struct Lanes {
  struct Lane {
    std::string name;
    std::size_t channel;  // of the envelope
  };
  std::string title;
  const Envelope& envelope;
  draw::Color color;
  std::vector<Lane> lanes;  // from the top

  /// height: of a single lane.
  double laneHeight(double height) const {
    const auto count = static_cast<double>(lanes.size());
    return std::max(kLeastLane, (height - (count - 1.0) * kBetweenLanes) / count);
  }
  double allHeight(double height) const {
    const auto count = static_cast<double>(lanes.size());
    return count * (laneHeight(height) + kBetweenLanes) - kBetweenLanes;
  }
};

/// In the order of files. A channel that nothing is rendered to has no lane.
Lanes lanesOf(std::string title, const Envelope& envelope, audio::ChannelLayout layout,
              draw::Color color) {
  Lanes result = {std::move(title), envelope, color, {}};
  const std::vector<std::string> names = audio::channelNames(layout);
  const std::vector<int> order = audio::libraryOrder(audio::channelsOf(layout), {});
  for (std::size_t place = 0; place < names.size(); ++place) {
    for (std::size_t k = 0; k < envelope.numChannels(); ++k) {
      if (std::cmp_equal(order[k], place)) result.lanes.push_back({names[place], k});
    }
  }
  return result;
}

/// On a ground of its own, as a waveform may lie below it.
void drawName(Picture& picture, draw::Point2 at, const std::string& name) {
  if (name.empty()) return;
  constexpr Picture::Font kFont = {.size = 13.0, .color = draw::kInk};
  const double width = picture.textWidth(name, kFont);
  picture.fill(Box{at.x - 3.0, at.y - 13.0, width + 6.0, 17.0},
               draw::withAlpha(draw::kGround, 0.88));
  picture.text(at, name, draw::Align::left, kFont);
}

void drawWaveforms(Picture& picture, const Box& box, const Lanes& waveforms,
                   double peak, const draw::TimeScale& time) {
  const std::size_t count = waveforms.lanes.size();
  Box frame = box;
  frame.height = waveforms.laneHeight(box.height);
  for (std::size_t k = 0; k < count; ++k) {
    Axis axis = time.axis();
    axis.labelled = k + 1 == count;
    Plot plot(picture, frame, k == 0 ? waveforms.title : "", axis,
              {.label = k == count / 2 ? "Amplitude" : "",
               .low = -1.1 * peak,
               .high = 1.1 * peak});
    const auto& [name, channel] = waveforms.lanes[k];
    plot.waveform(time.inUnit(waveforms.envelope.extents(channel)), waveforms.color);
    plot.frame();
    drawName(picture, {frame.left + 8.0, frame.top + 16.0}, name);
    frame.top += frame.height + kBetweenLanes;
  }
}

/// Few levels are marked with discs as well: a single one makes no line.
void drawLevel(Plot& plot, const std::vector<draw::Point2>& levels, double lowest,
               const draw::Stroke& stroke) {
  plot.curve(levels, stroke);
  if (levels.size() > draw::kFewToMark) return;
  for (const draw::Point2& level : levels) {
    if (level.y >= lowest) plot.disc(level, 2.5, stroke.color);
  }
}

void drawLevels(Picture& picture, const Box& box, const Trace& trace,
                const draw::TimeScale& time) {
  constexpr double kLowest = -100.0;
  constexpr double kHighest = 6.0;
  Axis levels = {.label = "Level (dBFS)",
                 .low = kLowest,
                 .high = draw::withRoomForLegend(kLowest, kHighest, 2, box)};
  for (int level = -100; level <= 0; level += 20) {
    levels.ticks.push_back({static_cast<double>(level), std::to_string(level)});
  }
  Plot plot(picture, box, "Level over time", time.axis(), levels);
  const draw::LegendEntry input = {"input",
                                   {.color = draw::kCurveColors[0], .width = 1.5}};
  const draw::LegendEntry output = {"output",
                                    {.color = draw::kCurveColors[1], .width = 1.5}};
  drawLevel(plot, time.inUnit(trace.input.levels()), levels.low, input.stroke);
  drawLevel(plot, time.inUnit(trace.output.levels()), levels.low, output.stroke);
  plot.legend(std::vector{input, output});
  plot.frame();
}

/// The least and the most that a block cost, in microseconds, in parts of the time. A
/// block stands where it ends in the output.
std::vector<draw::Extent> costExtents(const RenderPlan& plan,
                                      std::span<const double> costs,
                                      std::size_t numColumns) {
  std::vector<draw::Extent> extents;
  const std::size_t stride = costs.size() / numColumns + 1;
  for (std::size_t first = 0; first < costs.size(); first += stride) {
    const auto part = costs.subspan(first, std::min(stride, costs.size() - first));
    const auto [low, high] = std::minmax_element(part.begin(), part.end());
    const double blocks =
        static_cast<double>(first) + 0.5 * static_cast<double>(part.size() + 1);
    const double frame =
        blocks * plan.blockLen() - static_cast<double>(plan.skippedFrames);
    extents.push_back({frame / plan.format.sampleRate, *low, *high});
  }
  return extents;
}

/// Logarithmic, as a block that the system interrupts may take many times as long; at
/// least a decade, and room for the legend above.
Axis costAxis(double least, double most) {
  const double low = 0.5 * least;
  const double high = std::max(10.0 * low, most * std::pow(most / low, 0.3));
  return {.label = "Processor time (\u00B5s)",
          .low = low,
          .high = high,
          .logarithmic = true};
}

void drawCosts(Picture& picture, const Box& box, const Trace& trace,
               const RenderPlan& plan, const draw::TimeScale& time) {
  constexpr double kClockTick = 1e-3;  // microseconds
  std::vector<double> costs;
  for (const float seconds : trace.blockSeconds) {
    costs.push_back(std::max(kClockTick, 1e6 * double{seconds}));
  }
  std::vector<double> sorted = costs;
  std::sort(sorted.begin(), sorted.end());
  const bool any = !sorted.empty();
  const auto quantile = [&](double part) {
    return any ? sorted[static_cast<std::size_t>(
                     part * static_cast<double>(sorted.size() - 1))]
               : 1.0;
  };
  const double least = quantile(0.0);
  const double median = quantile(0.5);
  const double most = quantile(1.0);
  Plot plot(picture, box,
            "Processor time of every block (a dot each, or the least and the most side "
            "by side)",
            time.axis(), costAxis(least, most));
  if (!any) return plot.remark("The stream is shorter than a block.");
  plot.horizontalLine(median, {.color = draw::kInk, .dashed = true});
  for (const draw::Extent& cost :
       time.inUnit(costExtents(plan, costs, static_cast<std::size_t>(box.width)))) {
    plot.disc({cost.x, cost.low}, 1.4, draw::kCurveColors[2]);
    if (cost.high > cost.low) {
      plot.disc({cost.x, cost.high}, 1.4, draw::kCurveColors[2]);
    }
  }
  const double blockDuration =
      static_cast<double>(plan.blockLen()) / plan.format.sampleRate;
  plot.legend(std::vector<draw::LegendEntry>{
      {"median " + fixed(median, 1) + ", 99 % within " + fixed(quantile(0.99), 1) +
           " \u00B5s; a block lasts " + fixed(1e6 * blockDuration, 0) +
           " \u00B5s. Single blocks far above are the system\u2019s interruptions",
       {.color = draw::kCurveColors[2], .width = 2.0}}});
  plot.frame();
}

std::string titleOf(const RenderPlan& plan) {
  return audio::withoutFolders(plan.input.path) + " through " +
         (plan.options.room ? "a " : "") + audio::withoutFolders(plan.response.name) +
         ", in blocks of " + std::to_string(plan.blockLen()) + " frames";
}

}  // namespace

void draw(const RenderPlan& plan, const Trace& trace) {
  constexpr double kRowHeight = 150.0;
  constexpr double kTallRowHeight = 200.0;
  const draw::TimeScale time(static_cast<double>(plan.outFrames()) /
                             plan.format.sampleRate);
  const double largest = std::max(trace.input.peak(), trace.output.peak());
  const double peak = largest > 0.0 ? largest : 1.0;

  const Lanes input =
      lanesOf("Input (dry)", trace.input, plan.routing.source, draw::kCurveColors[0]);
  const Lanes output =
      lanesOf("Output " + audio::withoutFolders(plan.options.output) +
                  " (wet and dry as mixed)",
              trace.output, plan.routing.output, draw::kCurveColors[1]);

  constexpr double kFirstTop = 88.0;
  const double bottom = kFirstTop + input.allHeight(kRowHeight) +
                        output.allHeight(kRowHeight) + 2.0 * kTallRowHeight +
                        3.0 * draw::kBetweenFrames;
  Picture picture(plan.options.picture, draw::kPageWidth, draw::pageHeight(bottom));
  draw::drawHeading(picture, titleOf(plan));
  Box box = {draw::kFrameLeft, kFirstTop, draw::kFrameWidth, kRowHeight};
  drawWaveforms(picture, box, input, peak, time);
  box.top += input.allHeight(kRowHeight) + draw::kBetweenFrames;
  drawWaveforms(picture, box, output, peak, time);
  box.top += output.allHeight(kRowHeight) + draw::kBetweenFrames;
  box.height = kTallRowHeight;
  drawLevels(picture, box, trace, time);
  box.top = box.bottom() + draw::kBetweenFrames;
  drawCosts(picture, box, trace, plan, time);
  picture.commit();
}

}  // namespace ulmar::render
