// Linear regression: the straight line that errs least in the sum of squares.
#pragma once

#include <span>

namespace ulmar::acoustics {

struct PointXY {
  double x = 0.0;
  double y = 0.0;
};

/// y = intercept + slope x.
struct LineFit {
  double intercept = 0.0;
  double slope = 0.0;
  /// Pearson's coefficient of x and y, from -1 to 1; 0 if all y are the same.
  double correlation = 0.0;

  double at(double x) const { return intercept + slope * x; }
};

/// points: at least one. If all x are the same, the slope is 0.
LineFit fitLine(std::span<const PointXY> points);

}  // namespace ulmar::acoustics
