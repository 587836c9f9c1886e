// Stands in for picture.cpp in builds without cairo: every picture is refused before
// anything is rendered or written.
#include "apps/draw/picture.h"
#include "apps/draw/picture_format.h"
#include "ulmar/audio/temp_file.h"
#include "ulmar/host/error.h"

namespace ulmar::draw {

struct Picture::Impl {};

void checkPictureOutput(const std::string& path) {
  pictureFormatOf(path);
  audio::checkReplaceable(path);
  fail("cannot draw ", path,
       ": this program was built without cairo, and draws no pictures");
}

Picture::Picture(const std::string& path, int, int) { checkPictureOutput(path); }

// No object comes into being, so nothing below is ever called.
Picture::~Picture() = default;
void Picture::fill(const Box&, Color) {}
void Picture::fill(std::span<const Point2>, Color) {}
void Picture::line(std::span<const Point2>, const Stroke&) {}
void Picture::line(Point2, Point2, const Stroke&) {}
void Picture::disc(Point2, double, Color) {}
void Picture::image(const Box&, const Image&) {}
void Picture::text(Point2, const std::string&, Align, const Font&) {}
void Picture::textUpwards(Point2, const std::string&, const Font&) {}
double Picture::textWidth(const std::string&, const Font&) { return 0.0; }
std::string Picture::shortened(const std::string& words, double, const Font&) {
  return words;
}
Picture::Clip::Clip(Picture& picture, const Box&) : picture_(picture) {}
Picture::Clip::~Clip() = default;
void Picture::commit() {}

}  // namespace ulmar::draw
