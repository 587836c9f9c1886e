// The crossover's two sections with their state in locals, for APSplit and for runs.
#pragma once

#include "decoder/crossover.h"

namespace ulmar {

class BandSplitter {
 public:
  BandSplitter(const cApXOverCfs<float>& cfs, const sApXOverSts<float>& sts) noexcept
      : cfs_(cfs), sts_(sts) {}

  struct Bands {
    double low;
    double high;
  };

  /// Products of a coefficient with a stored value, and the sum of the two recursive
  /// products of B, are single precision, as the float members make them; all else is
  /// double, and the bands are formed before the state is rounded.
  Bands split(double x) noexcept {
    const auto [c1, c2, d2] = cfs_;
    const float c1y1 = c1 * sts_.y1;
    const float d2x1 = d2 * sts_.x1;
    const float d2z1 = d2 * sts_.z1;
    const float c2z2 = c2 * sts_.z2;
    const float recursive = d2z1 + c2z2;

    const double a = double{c1} * x + double{sts_.x1} - double{c1y1};
    const double b =
        double{c2} * x + double{d2x1} + double{sts_.x2} - double{recursive};

    sts_.x2 = sts_.x1;
    sts_.x1 = static_cast<float>(x);
    sts_.y1 = static_cast<float>(a);
    sts_.z2 = sts_.z1;
    sts_.z1 = static_cast<float>(b);
    return {(a + b) * 0.5, (b - a) * 0.5};
  }

  const sApXOverSts<float>& state() const noexcept { return sts_; }

 private:
  cApXOverCfs<float> cfs_;
  sApXOverSts<float> sts_;
};

}  // namespace ulmar
