// The decoder of five loudspeakers as its formulas read, in double precision.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "ulmar/decoder/crossover.h"

namespace ulmar::test {

/// Gains of W, X and Y in left front, centre, right front, left surround, right
/// surround.
using DecoderMatrix = std::array<std::array<double, 3>, 5>;
inline constexpr DecoderMatrix kLowMatrix = {{{0.26813, 0.38191, 0.50527},
                                              {0.3419, 0.23322, 0.0},
                                              {0.26813, 0.38191, -0.50527},
                                              {0.56092, -0.49852, 0.45666},
                                              {0.56092, -0.49852, -0.45666}}};
inline constexpr DecoderMatrix kHighMatrix = {{{0.44022, 0.23386, 0.54094},
                                               {0.38324, 0.37228, 0.0},
                                               {0.44022, 0.23386, -0.54094},
                                               {0.78238, -0.55322, 0.42374},
                                               {0.78238, -0.55322, -0.42374}}};

/// y[n] = sum b[k] x[n - k] - sum a[k] y[n - k], a[0] = 1.
class PlainFilter {
 public:
  PlainFilter(std::vector<double> b, std::vector<double> a)
      : b_(std::move(b)), a_(std::move(a)), x_(b_.size()), y_(b_.size()) {}

  double operator()(double x) {
    std::rotate(x_.rbegin(), x_.rbegin() + 1, x_.rend());
    std::rotate(y_.rbegin(), y_.rbegin() + 1, y_.rend());
    x_[0] = x;
    y_[0] = 0.0;
    double y = 0.0;
    for (std::size_t k = 0; k < b_.size(); ++k) y += b_[k] * x_[k] - a_[k] * y_[k];
    return y_[0] = y;
  }

 private:
  std::vector<double> b_, a_, x_, y_;
};

class PlainCrossover {
 public:
  explicit PlainCrossover(const cApXOverCfs<float>& cfs)
      : first_({cfs.c1, 1.0}, {1.0, cfs.c1}),
        second_({cfs.c2, cfs.d2, 1.0}, {1.0, cfs.d2, cfs.c2}) {}

  /// Low and high band.
  std::array<double, 2> operator()(double x) {
    const double a = first_(x);
    const double b = second_(x);
    return {0.5 * (a + b), 0.5 * (b - a)};
  }

 private:
  PlainFilter first_, second_;
};

/// Five feeds from W, X and Y, frame by frame.
class PlainDecoder {
 public:
  explicit PlainDecoder(const cApXOverCfs<float>& cfs)
      : crossovers_(3, PlainCrossover(cfs)) {}

  std::array<double, 5> operator()(const std::array<double, 3>& wxy) {
    std::array<double, 5> feeds{};
    for (std::size_t s = 0; s < 3; ++s) {
      const auto [low, high] = crossovers_[s](wxy[s]);
      for (std::size_t j = 0; j < 5; ++j) {
        feeds[j] += kLowMatrix[j][s] * low + kHighMatrix[j][s] * high;
      }
    }
    return feeds;
  }

 private:
  std::vector<PlainCrossover> crossovers_;
};

}  // namespace ulmar::test
