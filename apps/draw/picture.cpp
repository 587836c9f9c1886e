#include "apps/draw/picture.h"

#include <cairo-pdf.h>
#include <cairo-svg.h>
#include <cairo.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <numbers>
#include <string_view>
#include <system_error>
#include <utility>

#include "apps/draw/picture_format.h"
#include "apps/draw/utf8.h"
#include "ulmar/audio/temp_file.h"
#include "ulmar/host/error.h"

namespace ulmar::draw {
namespace {

constexpr double kA4Width = 595.276;  // points
constexpr const char* kFontFamily = "sans-serif";

struct SurfaceFreer {
  void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
};
struct ContextFreer {
  void operator()(cairo_t* context) const { cairo_destroy(context); }
};
using Surface = std::unique_ptr<cairo_surface_t, SurfaceFreer>;
using Context = std::unique_ptr<cairo_t, ContextFreer>;

void setColor(cairo_t* context, Color color) {
  cairo_set_source_rgba(context, color.red, color.green, color.blue, color.alpha);
}

void tracePath(cairo_t* context, std::span<const Point2> points) {
  // To a quarter of a pixel: finer digits make a drawing of thousands of points twice
  // as large, and nobody sees them.
  const auto rounded = [](double value) { return 0.25 * std::round(4.0 * value); };
  for (const Point2& point : points) {
    cairo_line_to(context, rounded(point.x), rounded(point.y));
  }
}

/// Cuts the numbers of an SVG file, which comes piece by piece, to two decimals: a
/// hundredth of a pixel. More makes files half as large again. Those of a
/// transformation, which scale, stay as they are, and so does all that is no number: a
/// point with decimals stands nowhere else.
class Decimals {
 public:
  std::string shortened(std::string_view piece) {
    std::string result;
    result.reserve(piece.size());
    for (const char letter : piece) {
      const bool digit = letter >= '0' && letter <= '9';
      if (letter == '(') kept_ = last_ == 'x';  // "matrix("
      if (letter == ')') kept_ = false;
      decimals_ = letter == '.' ? 1 : digit && decimals_ > 0 ? decimals_ + 1 : 0;
      last_ = letter;
      constexpr int kPointAndTwo = 3;
      if (decimals_ <= kPointAndTwo || kept_) result += letter;
    }
    return result;
  }

 private:
  bool kept_ = false;
  char last_ = ' ';
  int decimals_ = 0;  // with the point; 0 outside of decimals
};

}  // namespace

struct Picture::Impl {
  Impl(std::string path_, int width, int height)
      : path(std::move(path_)), format(pictureFormatOf(path)), file(path) {
    switch (format) {
      case PictureFormat::svg:
        surface.reset(cairo_svg_surface_create_for_stream(write, this, width, height));
        cairo_svg_surface_set_document_unit(surface.get(), CAIRO_SVG_UNIT_PX);
        break;
      case PictureFormat::pdf: {
        const double scale = kA4Width / width;
        surface.reset(
            cairo_pdf_surface_create_for_stream(write, this, kA4Width, height * scale));
        context.reset(cairo_create(surface.get()));
        cairo_scale(context.get(), scale, scale);
        break;
      }
      default:
        surface.reset(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height));
    }
    if (!context) context.reset(cairo_create(surface.get()));
    refuseFailure(cairo_status(context.get()));
    cairo_set_line_join(context.get(), CAIRO_LINE_JOIN_ROUND);
  }

  // cairo's stream function. Its only failure is "write error", so the reason is kept.
  static cairo_status_t write(void* self, const unsigned char* data,
                              unsigned int length) {
    auto& impl = *static_cast<Impl*>(self);
    if (impl.format != PictureFormat::svg) return impl.writeOut(data, length);
    const std::string text =
        impl.decimals.shortened({reinterpret_cast<const char*>(data), length});
    return impl.writeOut(text.data(), text.size());
  }

  cairo_status_t writeOut(const void* bytes, std::size_t length) {
    const auto* const data = static_cast<const char*>(bytes);
    std::size_t done = 0;
    while (done < length) {
      const ssize_t written = ::write(file.fd(), data + done, length - done);
      if (written < 0 && errno == EINTR) continue;
      if (written < 0) {
        writeError = errno;
        return CAIRO_STATUS_WRITE_ERROR;
      }
      done += static_cast<std::size_t>(written);
    }
    return CAIRO_STATUS_SUCCESS;
  }

  void refuseFailure(cairo_status_t status) const {
    if (writeError != 0) {
      fail("cannot write ", path, ": ", std::generic_category().message(writeError));
    }
    if (status != CAIRO_STATUS_SUCCESS) {
      fail("cannot draw ", path, ": ", cairo_status_to_string(status));
    }
  }

  void select(const Font& font) const {
    cairo_select_font_face(
        context.get(), kFontFamily, CAIRO_FONT_SLANT_NORMAL,
        font.bold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(context.get(), font.size);
    setColor(context.get(), font.color);
  }

  double widthOf(const std::string& words) const {
    cairo_text_extents_t extents;
    cairo_text_extents(context.get(), words.c_str(), &extents);
    return extents.x_advance;
  }

  void stroke(const Stroke& stroke) const {
    static constexpr std::array kDashes = {6.0, 4.0};
    setColor(context.get(), stroke.color);
    cairo_set_line_width(context.get(), stroke.width);
    cairo_set_dash(context.get(), kDashes.data(), stroke.dashed ? 2 : 0, 0.0);
    cairo_stroke(context.get());
  }

  std::string path;
  PictureFormat format;
  audio::TempFile file;
  int writeError = 0;
  Decimals decimals;
  Surface surface;
  Context context;
};

void checkPictureOutput(const std::string& path) {
  pictureFormatOf(path);
  audio::checkReplaceable(path);
}

Picture::Picture(const std::string& path, int width, int height)
    : impl_(std::make_unique<Impl>(path, width, height)) {
  setColor(impl_->context.get(), kGround);
  cairo_paint(impl_->context.get());
}
Picture::~Picture() = default;

void Picture::fill(const Box& box, Color color) {
  cairo_rectangle(impl_->context.get(), box.left, box.top, box.width, box.height);
  setColor(impl_->context.get(), color);
  cairo_fill(impl_->context.get());
}

void Picture::fill(std::span<const Point2> outline, Color color) {
  tracePath(impl_->context.get(), outline);
  cairo_close_path(impl_->context.get());
  setColor(impl_->context.get(), color);
  cairo_fill(impl_->context.get());
}

void Picture::line(std::span<const Point2> points, const Stroke& stroke) {
  tracePath(impl_->context.get(), points);
  impl_->stroke(stroke);
}

void Picture::line(Point2 from, Point2 to, const Stroke& stroke) {
  line(std::array{from, to}, stroke);
}

void Picture::disc(Point2 centre, double radius, Color color) {
  cairo_arc(impl_->context.get(), centre.x, centre.y, radius, 0.0,
            2.0 * std::numbers::pi);
  setColor(impl_->context.get(), color);
  cairo_fill(impl_->context.get());
}

void Picture::image(const Box& box, const Image& image) {
  const Surface pixels(
      cairo_image_surface_create(CAIRO_FORMAT_RGB24, image.width, image.height));
  impl_->refuseFailure(cairo_surface_status(pixels.get()));
  unsigned char* const data = cairo_image_surface_get_data(pixels.get());
  const auto stride =
      static_cast<std::size_t>(cairo_image_surface_get_stride(pixels.get()));
  const auto rowLen = static_cast<std::size_t>(image.width);
  for (std::size_t row = 0; row < static_cast<std::size_t>(image.height); ++row) {
    std::memcpy(data + row * stride, image.pixels.data() + row * rowLen,
                rowLen * sizeof(std::uint32_t));
  }
  cairo_surface_mark_dirty(pixels.get());

  cairo_t* const context = impl_->context.get();
  cairo_save(context);
  cairo_translate(context, box.left, box.top);
  cairo_scale(context, box.width / image.width, box.height / image.height);
  cairo_set_source_surface(context, pixels.get(), 0.0, 0.0);
  cairo_pattern_set_filter(cairo_get_source(context), CAIRO_FILTER_NEAREST);
  cairo_rectangle(context, 0.0, 0.0, image.width, image.height);
  cairo_fill(context);
  cairo_restore(context);
}

void Picture::text(Point2 at, const std::string& words, Align align, const Font& font) {
  const std::string valid = validUtf8(words);
  impl_->select(font);
  if (align == Align::center) at.x -= 0.5 * impl_->widthOf(valid);
  if (align == Align::right) at.x -= impl_->widthOf(valid);
  cairo_move_to(impl_->context.get(), at.x, at.y);
  cairo_show_text(impl_->context.get(), valid.c_str());
  cairo_new_path(impl_->context.get());
}

void Picture::textUpwards(Point2 at, const std::string& words, const Font& font) {
  cairo_save(impl_->context.get());
  cairo_translate(impl_->context.get(), at.x, at.y);
  cairo_rotate(impl_->context.get(), -0.5 * std::numbers::pi);
  text({0.0, 0.0}, words, Align::center, font);
  cairo_restore(impl_->context.get());
}

double Picture::textWidth(const std::string& words, const Font& font) {
  impl_->select(font);
  return impl_->widthOf(validUtf8(words));
}

std::string Picture::shortened(const std::string& words, double width,
                               const Font& font) {
  std::string whole = validUtf8(words);
  for (std::size_t kept = whole.size(); kept > 1; --kept) {
    std::string shorter =
        kept == whole.size() ? whole : withoutMiddle(whole, kept / 2, kept - kept / 2);
    if (textWidth(shorter, font) <= width) return shorter;
  }
  return "";
}

Picture::Clip::Clip(Picture& picture, const Box& box) : picture_(picture) {
  cairo_t* const context = picture.impl_->context.get();
  cairo_save(context);
  cairo_rectangle(context, box.left, box.top, box.width, box.height);
  cairo_clip(context);
}

Picture::Clip::~Clip() { cairo_restore(picture_.impl_->context.get()); }

void Picture::commit() {
  impl_->refuseFailure(cairo_status(impl_->context.get()));
  cairo_status_t status = CAIRO_STATUS_SUCCESS;
  if (impl_->format == PictureFormat::png) {
    status = cairo_surface_write_to_png_stream(impl_->surface.get(), Impl::write,
                                               impl_.get());
  }
  cairo_surface_finish(impl_->surface.get());
  if (status == CAIRO_STATUS_SUCCESS) {
    status = cairo_surface_status(impl_->surface.get());
  }
  impl_->refuseFailure(status);
  impl_->file.commit();
}

}  // namespace ulmar::draw
