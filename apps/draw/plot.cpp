#include "apps/draw/plot.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "apps/common/text.h"

namespace ulmar::draw {
namespace {

constexpr Picture::Font kTitleFont = {.size = 16.0, .bold = true};
constexpr Picture::Font kLabelFont = {.size = 13.0, .color = kInk};
constexpr Picture::Font kTickFont = {.size = 13.0, .color = kSoftInk};
constexpr double kTickLength = 5.0;
constexpr double kLegendLine = 19.0;
constexpr double kLegendMargin = 8.0;  // in its ground
constexpr double kLegendInset = 6.0;   // from the frame
constexpr double kPixelsPerTickX = 80.0;
constexpr double kPixelsPerTickY = 38.0;

/// How many multiples of a step lie on an axis.
int multiplesWithin(double low, double high, double step) {
  return static_cast<int>(std::floor(high / step) - std::ceil(low / step)) + 1;
}

/// Multiples of 1, 2 or 5 times a power of ten, about maxCount of them, but not fewer
/// than three: a single one would not tell the scale.
std::vector<Axis::Tick> linearTicks(double low, double high, double maxCount) {
  if (low > high) std::swap(low, high);
  const double least = (high - low) / std::max(maxCount, 1.0);
  const double decade = std::pow(10.0, std::floor(std::log10(least)));
  double step = 10.0 * decade;
  for (const double factor : {5.0, 2.0, 1.0}) {
    const bool roomy = factor * decade >= least * (1.0 - 1e-9);
    if (roomy || multiplesWithin(low, high, step) < 3) step = factor * decade;
  }
  const int decimals =
      std::max(0, -static_cast<int>(std::floor(std::log10(step) + 1e-9)));
  std::vector<Axis::Tick> ticks;
  const double slack = 1e-6 * step;
  const auto first = static_cast<std::int64_t>(std::ceil((low - slack) / step));
  const auto last = static_cast<std::int64_t>(std::floor((high + slack) / step));
  for (std::int64_t multiple = first; multiple <= last; ++multiple) {
    const double value = static_cast<double>(multiple) * step;
    ticks.push_back({value, apps::fixed(value, decimals)});
  }
  return ticks;
}

/// Powers of ten, with their double and fivefold as long as that makes no more than
/// about twice maxCount; thousands as "k".
std::vector<Axis::Tick> logarithmicTicks(double low, double high, double maxCount) {
  const bool dense = 3.0 * std::log10(high / low) <= 2.0 * maxCount;
  std::vector<Axis::Tick> ticks;
  const auto first = static_cast<int>(std::floor(std::log10(low)));
  const auto last = static_cast<int>(std::ceil(std::log10(high)));
  for (int exponent = first; exponent <= last; ++exponent) {
    for (const double factor : {1.0, 2.0, 5.0}) {
      if (factor > 1.0 && !dense) continue;
      const double value = factor * std::pow(10.0, exponent);
      if (value < low * (1.0 - 1e-9) || value > high * (1.0 + 1e-9)) continue;
      ticks.push_back({value, roundText(value)});
    }
  }
  return ticks;
}

/// Where a value lies on the axis, 0 at its low end and 1 at its high one.
double placeOn(const Axis& axis, double value) {
  if (axis.logarithmic) {
    return std::log(value / axis.low) / std::log(axis.high / axis.low);
  }
  return (value - axis.low) / (axis.high - axis.low);
}

void chooseTicks(Axis& axis, double maxCount) {
  if (!axis.ticks.empty()) return;
  axis.ticks = axis.logarithmic ? logarithmicTicks(axis.low, axis.high, maxCount)
                                : linearTicks(axis.low, axis.high, maxCount);
}

double legendHeight(std::size_t numEntries) {
  return kLegendLine * static_cast<double>(numEntries) + kLegendMargin;
}

}  // namespace

double withRoomForLegend(double low, double high, std::size_t numEntries,
                         const Box& box) {
  const double part = (legendHeight(numEntries) + 2.0 * kLegendInset) / box.height;
  return low + (high - low) / (1.0 - part);
}

std::string roundText(double value) {
  const bool thousands = value >= 1000.0;
  const double shown = thousands ? value / 1000.0 : value;
  const int decimals =
      shown < 1.0 ? -static_cast<int>(std::floor(std::log10(shown) + 1e-9)) : 0;
  return apps::fixed(shown, decimals) + (thousands ? "k" : "");
}

Plot::Plot(Picture& picture, const Box& box, const std::string& title, Axis x, Axis y)
    : picture_(picture), box_(box), x_(std::move(x)), y_(std::move(y)) {
  chooseTicks(x_, box.width / kPixelsPerTickX);
  chooseTicks(y_, box.height / kPixelsPerTickY);
  if (!title.empty()) {
    picture_.text({box.left, box.top - 10.0},
                  picture_.shortened(title, box.width, kTitleFont), Align::left,
                  kTitleFont);
  }
  drawAxisX();
  drawAxisY();
  frame();
}

double Plot::pixelX(double value) const {
  return box_.left + box_.width * placeOn(x_, value);
}

double Plot::pixelY(double value) const {
  return box_.bottom() - box_.height * placeOn(y_, value);
}

void Plot::drawAxisX() {
  // A text that would touch the one before it is left away; its grid line stays.
  double occupied = box_.left - 40.0;
  for (const Axis::Tick& tick : x_.ticks) {
    const double x = pixelX(tick.value);
    picture_.line({x, box_.top}, {x, box_.bottom()}, {.color = kGridInk});
    if (!x_.labelled) continue;
    picture_.line({x, box_.bottom()}, {x, box_.bottom() + kTickLength},
                  {.color = kSoftInk});
    const double half = 0.5 * picture_.textWidth(tick.text, kTickFont);
    if (x - half < occupied + 8.0) continue;
    picture_.text({x, box_.bottom() + 19.0}, tick.text, Align::center, kTickFont);
    occupied = x + half;
  }
  if (x_.labelled) {
    picture_.text({box_.left + 0.5 * box_.width, box_.bottom() + 38.0}, x_.label,
                  Align::center, kLabelFont);
  }
}

void Plot::drawAxisY() {
  for (const Axis::Tick& tick : y_.ticks) {
    const double y = pixelY(tick.value);
    picture_.line({box_.left, y}, {box_.right(), y}, {.color = kGridInk});
    if (!y_.labelled) continue;
    picture_.line({box_.left - kTickLength, y}, {box_.left, y}, {.color = kSoftInk});
    picture_.text({box_.left - 9.0, y + 4.5}, tick.text, Align::right, kTickFont);
  }
  if (y_.labelled) {
    picture_.textUpwards({box_.left - 57.0, box_.top + 0.5 * box_.height}, y_.label,
                         kLabelFont);
  }
}

void Plot::frame() {
  const Point2 corners[] = {{box_.left, box_.top},
                            {box_.right(), box_.top},
                            {box_.right(), box_.bottom()},
                            {box_.left, box_.bottom()},
                            {box_.left, box_.top}};
  picture_.line(corners, {.color = kSoftInk});
}

void Plot::curve(std::span<const Point2> points, const Stroke& stroke) {
  const Picture::Clip clip(picture_, box_);
  std::vector<Point2> run;
  const auto draw = [&] {
    if (run.size() > 1) picture_.line(run, stroke);
    run.clear();
  };
  for (const Point2& point : points) {
    const Point2 at = pixel(point);
    if (!std::isfinite(at.x) || !std::isfinite(at.y)) {
      draw();
      continue;
    }
    // Far beyond the frame a drawing loses precision.
    run.push_back(
        {std::clamp(at.x, box_.left - box_.width, box_.right() + box_.width),
         std::clamp(at.y, box_.top - box_.height, box_.bottom() + box_.height)});
  }
  draw();
}

void Plot::band(std::span<const Extent> extents, Color color) {
  if (extents.empty()) return;
  // At least a pixel high, so that a narrow band is seen.
  const Picture::Clip clip(picture_, box_);
  std::vector<Point2> outline;
  for (const Extent& extent : extents) {
    outline.push_back({pixelX(extent.x), pixelY(extent.high) - 0.5});
  }
  for (std::size_t i = extents.size(); i-- > 0;) {
    outline.push_back({pixelX(extents[i].x), pixelY(extents[i].low) + 0.5});
  }
  picture_.fill(outline, color);
}

void Plot::waveform(std::span<const Extent> extents, Color color) {
  band(extents, color);
  if (extents.size() > kFewToMark) return;
  for (const Extent& extent : extents) {
    disc({extent.x, extent.high}, 2.5, color);
    if (extent.low < extent.high) disc({extent.x, extent.low}, 2.5, color);
  }
}

void Plot::disc(Point2 at, double radius, Color color) {
  picture_.disc(pixel(at), radius, color);
}

void Plot::verticalLine(double x, const Stroke& stroke, const std::string& text) {
  const double at = pixelX(x);
  picture_.line({at, box_.top}, {at, box_.bottom()}, stroke);
  if (text.empty()) return;
  Picture::Font font = kTickFont;
  font.color = stroke.color;
  const bool fitsRight = at + 6.0 + picture_.textWidth(text, font) < box_.right();
  picture_.text({fitsRight ? at + 6.0 : at - 6.0, box_.top + 17.0}, text,
                fitsRight ? Align::left : Align::right, font);
}

void Plot::horizontalLine(double y, const Stroke& stroke, const std::string& text) {
  const double at = pixelY(y);
  picture_.line({box_.left, at}, {box_.right(), at}, stroke);
  if (text.empty()) return;
  Picture::Font font = kTickFont;
  font.color = stroke.color;
  picture_.text({box_.left + 8.0, at - 5.0}, text, Align::left, font);
}

void Plot::shade(double fromX, double toX, Color color) {
  const Picture::Clip clip(picture_, box_);
  const double left = pixelX(fromX);
  picture_.fill(Box{left, box_.top, pixelX(toX) - left, box_.height}, color);
}

void Plot::image(const Image& image) { picture_.image(box_, image); }

void Plot::legend(std::span<const LegendEntry> entries) {
  if (entries.empty()) return;
  constexpr double kSampleWidth = 26.0;
  double width = 0.0;
  for (const LegendEntry& entry : entries) {
    width = std::max(width, picture_.textWidth(entry.text, kTickFont));
  }
  width += kSampleWidth + 3.0 * kLegendMargin;
  const double height = legendHeight(entries.size());
  const Box ground = {box_.right() - width - kLegendInset, box_.top + kLegendInset,
                      width, height};
  picture_.fill(ground, withAlpha(kGround, 0.88));
  double y = ground.top + 0.5 * kLegendMargin + 0.5 * kLegendLine;
  for (const LegendEntry& entry : entries) {
    const double x = ground.left + kLegendMargin;
    picture_.line({x, y}, {x + kSampleWidth, y}, entry.stroke);
    picture_.text({x + kSampleWidth + kLegendMargin, y + 4.5}, entry.text, Align::left,
                  {.size = kTickFont.size, .color = kInk});
    y += kLegendLine;
  }
}

void Plot::remark(const std::string& words) {
  picture_.text({box_.left + 0.5 * box_.width, box_.top + 0.5 * box_.height + 5.0},
                words, Align::center, {.size = 13.0, .color = kSoftInk});
}

}  // namespace ulmar::draw
