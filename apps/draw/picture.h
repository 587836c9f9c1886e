// A picture on its way into an SVG, PNG or PDF file, drawn by cairo. Coordinates are
// pixels of the picture, y downwards; in a PDF, whose page is as wide as A4, they are
// about half a point each. Colours are opaque on a light ground that the picture brings
// along, so that it looks alike in print and in a dark viewer.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace ulmar::draw {

struct Color {
  double red;
  double green;
  double blue;
  double alpha = 1.0;
};

inline constexpr Color kGround = {1.0, 1.0, 1.0};
inline constexpr Color kInk = {0.13, 0.13, 0.15};
inline constexpr Color kSoftInk = {0.40, 0.40, 0.43};
inline constexpr Color kGridInk = {0.87, 0.87, 0.88};

/// Curves side by side, told apart by most colour-blind readers too (Okabe and Ito,
/// "Color universal design", 2008).
inline constexpr Color kCurveColors[] = {{0.000, 0.447, 0.698},
                                         {0.835, 0.369, 0.000},
                                         {0.000, 0.620, 0.451},
                                         {0.800, 0.475, 0.655}};

inline Color withAlpha(Color color, double alpha) {
  color.alpha = alpha;
  return color;
}

struct Point2 {
  double x;
  double y;
};

struct Box {
  double left;
  double top;
  double width;
  double height;

  double right() const { return left + width; }
  double bottom() const { return top + height; }
};

enum class Align { left, center, right };

/// Lines are solid, or dashed.
struct Stroke {
  Color color = kInk;
  double width = 1.0;
  bool dashed = false;
};

/// Pixels row by row from the top, each 0xRRGGBB.
struct Image {
  int width = 0;
  int height = 0;
  std::vector<std::uint32_t> pixels = {};
};

/// Throws Error where Picture would, as far as that can be told without touching
/// anything: an extension other than .svg, .png and .pdf, a name that cannot be
/// written.
void checkPictureOutput(const std::string& path);

class Picture {
 public:
  /// The extension chooses the format. The file takes its name with commit(); see
  /// TempFile. Throws Error as checkPictureOutput() does, or if no file can be created.
  Picture(const std::string& path, int width, int height);
  /// Without commit() nothing is left behind and an older file stays as it was.
  ~Picture();
  Picture(const Picture&) = delete;
  Picture& operator=(const Picture&) = delete;

  void fill(const Box& box, Color color);
  void fill(std::span<const Point2> outline, Color color);
  void line(std::span<const Point2> points, const Stroke& stroke);
  void line(Point2 from, Point2 to, const Stroke& stroke);
  void disc(Point2 centre, double radius, Color color);
  /// Scaled to the box, each pixel a sharp rectangle.
  void image(const Box& box, const Image& image);

  struct Font {
    double size = 14.0;
    Color color = kInk;
    bool bold = false;
  };
  /// at: on the baseline, where `align` says. What is no UTF-8 shows as '?'.
  void text(Point2 at, const std::string& words, Align align, const Font& font);
  /// Turned to read from the bottom to the top; centred.
  void textUpwards(Point2 at, const std::string& words, const Font& font);
  double textWidth(const std::string& words, const Font& font);
  /// The text, or its two ends with an ellipsis between, to fit the width.
  std::string shortened(const std::string& words, double width, const Font& font);

  /// While it lives, only what is in the box is drawn.
  class Clip {
   public:
    Clip(Picture& picture, const Box& box);
    ~Clip();
    Clip(const Clip&) = delete;
    Clip& operator=(const Clip&) = delete;

   private:
    [[maybe_unused]] Picture& picture_;  // not without cairo
  };

  /// Completes the file and gives it its name. Throws Error if that fails.
  void commit();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace ulmar::draw
