// Diagrams in a picture: a frame with two axes, ticks and units, and what is drawn
// between them.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "apps/draw/picture.h"

namespace ulmar::draw {

/// A range of values, which `low` may exceed to turn it around.
struct Axis {
  std::string label;  // with the unit in parentheses
  double low = 0.0;
  double high = 1.0;
  bool logarithmic = false;  // both ends above 0

  /// Where ticks stand and what they say; chosen to suit the size if empty.
  struct Tick {
    double value;
    std::string text;
  };
  std::vector<Tick> ticks = {};
  /// False leaves tick marks, texts and label away, as of one of two diagrams that
  /// stand one above the other.
  bool labelled = true;
};

/// The least and the most of a curve at one place.
struct Extent {
  double x;
  double low;
  double high;
};

/// "0.02", "500" or "2k", as a logarithmic axis has it. value: above 0, of one digit,
/// or whole below and whole thousands above 1000.
std::string roundText(double value);

/// Up to so many values are marked with discs, as few make no line to see.
inline constexpr std::size_t kFewToMark = 64;

struct LegendEntry {
  std::string text;
  Stroke stroke;
};

/// The upper end of an axis that leaves room for a legend above values up to `high`.
double withRoomForLegend(double low, double high, std::size_t numEntries,
                         const Box& box);

class Plot {
 public:
  /// Draws title, grid, ticks and labels. box: of the frame; texts need about 70 pixels
  /// on its left, 46 below and 26 above.
  Plot(Picture& picture, const Box& box, const std::string& title, Axis x, Axis y);

  /// Values in the units of the axes; what lies outside the frame is cut off there, and
  /// a point that is not finite interrupts the curve.
  void curve(std::span<const Point2> points, const Stroke& stroke);
  /// A filled band from low to high.
  void band(std::span<const Extent> extents, Color color);
  /// A band, in which a few values are marked.
  void waveform(std::span<const Extent> extents, Color color);
  void disc(Point2 at, double radius, Color color);
  /// Across the whole frame. The text stands beside the line, at the top or above it.
  void verticalLine(double x, const Stroke& stroke, const std::string& text = "");
  void horizontalLine(double y, const Stroke& stroke, const std::string& text = "");
  /// Shades the frame between two values of x.
  void shade(double fromX, double toX, Color color);
  /// Fills the frame.
  void image(const Image& image);
  /// In the frame's upper right corner, on a ground of its own, most recent entry last.
  void legend(std::span<const LegendEntry> entries);
  /// A sentence in the middle of the frame, in place of a curve that cannot be drawn.
  void remark(const std::string& words);
  /// Draws the frame once more, over curves that touch it.
  void frame();

  const Box& box() const { return box_; }
  double pixelX(double value) const;
  double pixelY(double value) const;

 private:
  Point2 pixel(Point2 value) const { return {pixelX(value.x), pixelY(value.y)}; }
  void drawAxisX();
  void drawAxisY();

  Picture& picture_;
  Box box_;
  Axis x_;
  Axis y_;
};

}  // namespace ulmar::draw
