#include "apps/render/drawing.h"

#include <algorithm>
#include <cmath>

#include "apps/common/text.h"

namespace ulmar::render {
namespace {

using apps::fixed;

using host::Axis;
using host::Box;
using host::Picture;
using host::Plot;

constexpr int kWidth = 1200;
constexpr int kHeight = 1116;
constexpr double kLeft = 82.0;
constexpr double kInnerWidth = kWidth - 30.0 - kLeft;
constexpr double kBetween = 90.0;

Axis timeAxis(double duration) { return {.label = "Time (s)", .high = duration}; }

void drawWaveform(Picture& picture, const Box& box, const char* title,
                  const Envelope& envelope, double peak, double duration,
                  host::Color color) {
  Plot plot(picture, box, title, timeAxis(duration),
            {.label = "Amplitude", .low = -1.1 * peak, .high = 1.1 * peak});
  plot.band(envelope.extents(), color);
  plot.frame();
}

void drawLevels(Picture& picture, const Box& box, const Trace& trace, double duration) {
  Plot plot(picture, box, "Level over time", timeAxis(duration),
            {.label = "Level (dBFS)", .low = -100.0, .high = 10.0});
  const host::LegendEntry material = {"material",
                                      {.color = host::kCurveColors[0], .width = 1.5}};
  const host::LegendEntry output = {"output",
                                    {.color = host::kCurveColors[1], .width = 1.5}};
  plot.curve(trace.material.levels(), material.stroke);
  plot.curve(trace.output.levels(), output.stroke);
  plot.legend(std::vector{material, output});
  plot.frame();
}

/// The least and the most that a block cost, in microseconds, in parts of the time.
std::vector<host::Extent> costExtents(const std::vector<float>& seconds,
                                      double blockDuration, std::size_t numColumns) {
  std::vector<host::Extent> extents;
  const std::size_t stride = seconds.size() / numColumns + 1;
  for (std::size_t first = 0; first < seconds.size(); first += stride) {
    const std::size_t end = std::min(first + stride, seconds.size());
    const auto begin = seconds.begin();
    const auto [low, high] =
        std::minmax_element(begin + static_cast<std::ptrdiff_t>(first),
                            begin + static_cast<std::ptrdiff_t>(end));
    extents.push_back({0.5 * static_cast<double>(first + end + 1) * blockDuration,
                       1e6 * double{*low}, 1e6 * double{*high}});
  }
  return extents;
}

void drawCosts(Picture& picture, const Box& box, const Trace& trace, const Plan& plan,
               double duration) {
  const double blockDuration =
      static_cast<double>(plan.params.blockLen) / plan.format.sampleRate;
  std::vector<float> sorted = trace.blockSeconds;
  std::sort(sorted.begin(), sorted.end());
  const bool any = !sorted.empty();
  const double least = any ? 1e6 * double{sorted.front()} : 0.0;
  const double median = any ? 1e6 * double{sorted[sorted.size() / 2]} : 1.0;
  const double most = any ? 1e6 * double{sorted.back()} : 0.0;
  // What the system interrupted may take many times as long, and would flatten the
  // rest.
  const double high = std::max(1e-3, 1.6 * std::min(most, 3.0 * median));
  Plot plot(picture, box,
            "Cost of every block (a dot each, or the least and the most side by side)",
            timeAxis(duration), {.label = "Time taken (\u00B5s)", .high = high});
  if (!any) return plot.remark("The stream is shorter than a block.");
  for (const host::Extent& cost : costExtents(trace.blockSeconds, blockDuration,
                                              static_cast<std::size_t>(box.width))) {
    plot.disc({cost.x, std::min(cost.low, high)}, 1.4, host::kCurveColors[2]);
    plot.disc({cost.x, std::min(cost.high, high)}, 1.4, host::kCurveColors[2]);
  }
  plot.horizontalLine(median, {.color = host::kInk, .dashed = true});
  const host::Stroke costs = {.color = host::kCurveColors[2], .width = 2.0};
  plot.legend(std::vector<host::LegendEntry>{
      {"least " + fixed(least, 1) + ", median " + fixed(median, 1) + ", most " +
           fixed(most, 1) + " \u00B5s; a block lasts " + fixed(1e6 * blockDuration, 0) +
           " \u00B5s",
       costs}});
  plot.frame();
}

}  // namespace

void draw(const Plan& plan, const Trace& trace) {
  constexpr Picture::Font kNameFont = {.size = 21.0, .color = host::kInk, .bold = true};
  constexpr double kRowHeight = 150.0;
  constexpr double kTallRowHeight = 200.0;
  const double duration =
      static_cast<double>(plan.streamFrames()) / plan.format.sampleRate;
  const double outDuration =
      static_cast<double>(plan.outFrames()) / plan.format.sampleRate;
  const double largest = std::max(trace.material.peak(), trace.output.peak());
  const double peak = largest > 0.0 ? largest : 1.0;

  Picture picture(plan.options.picture, kWidth, kHeight);
  picture.text({30.0, 38.0},
               picture.shortened(plan.options.output, kWidth - 60.0, kNameFont),
               host::Align::left, kNameFont);
  Box box = {kLeft, 88.0, kInnerWidth, kRowHeight};
  drawWaveform(picture, box, "Material (dry)", trace.material, peak, outDuration,
               host::kCurveColors[0]);
  box.top = box.bottom() + kBetween;
  drawWaveform(picture, box, "Output (wet and dry as mixed)", trace.output, peak,
               outDuration, host::kCurveColors[1]);
  box.top = box.bottom() + kBetween;
  box.height = kTallRowHeight;
  drawLevels(picture, box, trace, outDuration);
  box.top = box.bottom() + kBetween;
  drawCosts(picture, box, trace, plan, duration);
  picture.commit();
}

}  // namespace ulmar::render
