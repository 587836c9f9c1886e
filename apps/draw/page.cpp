#include "apps/draw/page.h"

namespace ulmar::draw {
namespace {

void drawLine(Picture& picture, double y, const std::string& words,
              const Picture::Font& font) {
  constexpr double kWidth = kPageWidth - 2.0 * kPageMargin;
  picture.text({kPageMargin, y}, picture.shortened(words, kWidth, font), Align::left,
               font);
}

}  // namespace

void drawHeading(Picture& picture, const std::string& words) {
  drawLine(picture, 38.0, words, {.size = 21.0, .color = kInk, .bold = true});
}

void drawSubheading(Picture& picture, const std::string& words) {
  drawLine(picture, 62.0, words, {.size = 13.0, .color = kSoftInk});
}

}  // namespace ulmar::draw
