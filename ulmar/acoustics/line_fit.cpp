#include "ulmar/acoustics/line_fit.h"

#include <cmath>

namespace ulmar::acoustics {

LineFit fitLine(std::span<const PointXY> points) {
  const auto count = static_cast<double>(points.size());
  double meanX = 0.0;
  double meanY = 0.0;
  for (const PointXY& point : points) {
    meanX += point.x / count;
    meanY += point.y / count;
  }
  double sumXX = 0.0;
  double sumXY = 0.0;
  double sumYY = 0.0;
  for (const PointXY& point : points) {
    const double x = point.x - meanX;
    const double y = point.y - meanY;
    sumXX += x * x;
    sumXY += x * y;
    sumYY += y * y;
  }
  LineFit line;
  if (sumXX > 0.0) line.slope = sumXY / sumXX;
  if (sumXX > 0.0 && sumYY > 0.0) line.correlation = sumXY / std::sqrt(sumXX * sumYY);
  line.intercept = meanY - line.slope * meanX;
  return line;
}

}  // namespace ulmar::acoustics
