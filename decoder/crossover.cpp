#include "decoder/crossover.h"

#include "decoder/all_pass.h"

void APSplit(double x, double* low, double* high, cApXOverCfs<float>* cfs,
             sApXOverSts<float>* sts) {
  ulmar::BandSplitter splitter(*cfs, *sts);
  const auto bands = splitter.split(x);
  *sts = splitter.state();
  *low = bands.low;
  *high = bands.high;
}
