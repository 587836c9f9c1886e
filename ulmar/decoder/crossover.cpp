#include "ulmar/decoder/crossover.h"

void APSplit(double x, double* low, double* high, cApXOverCfs<float>* cfs,
             sApXOverSts<float>* sts) {
  const auto [c1, c2, d2] = *cfs;
  const float c1y1 = c1 * sts->y1;
  const float d2x1 = d2 * sts->x1;
  const float d2z1 = d2 * sts->z1;
  const float c2z2 = c2 * sts->z2;
  const float recursive = d2z1 + c2z2;

  const double a = double{c1} * x + double{sts->x1} - double{c1y1};
  const double b = double{c2} * x + double{d2x1} + double{sts->x2} - double{recursive};

  sts->x2 = sts->x1;
  sts->x1 = static_cast<float>(x);
  sts->y1 = static_cast<float>(a);
  sts->z2 = sts->z1;
  sts->z1 = static_cast<float>(b);
  *low = (a + b) * 0.5;
  *high = (b - a) * 0.5;
}
