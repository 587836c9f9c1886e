// The page that the programs draw their diagrams on: its measures in pixels, and its
// heading.
#pragma once

#include <string>

#include "apps/draw/picture.h"

namespace ulmar::draw {

inline constexpr int kPageWidth = 1200;
inline constexpr double kPageMargin = 30.0;

// The frame of a diagram as wide as the page, which has the texts of its axis on the
// left.
inline constexpr double kFrameLeft = 82.0;
inline constexpr double kFrameWidth = kPageWidth - kPageMargin - kFrameLeft;

// Above a frame stands its title, below it the labels of its axis.
inline constexpr double kTitleHeight = 44.0;
inline constexpr double kLabelsHeight = 46.0;
inline constexpr double kBetweenFrames = kLabelsHeight + kTitleHeight;

/// bottom: of the last frame.
inline int pageHeight(double bottom) {
  return static_cast<int>(bottom + kLabelsHeight + 0.5 * kPageMargin);
}

/// One line at the top, down to y = 50.
void drawHeading(Picture& picture, const std::string& words);

/// A smaller line below the heading, down to y = 78.
void drawSubheading(Picture& picture, const std::string& words);

}  // namespace ulmar::draw
