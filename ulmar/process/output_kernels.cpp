// Scalar body: the reference for the vector one.
#include "ulmar/process/output_kernels.h"

#include <algorithm>
#include <cmath>

namespace ulmar {

float storeRunScalar(float const* mix, int run, float* sample, std::ptrdiff_t step,
                     float peak) noexcept {
  for (int i = 0; i < run; ++i) {
    const float magnitude = std::fabs(mix[i]);
    if (magnitude > peak) peak = magnitude;
    // A comparison with a NaN is false.
    sample[i * step] = mix[i] > kMinSample ? std::min(mix[i], kMaxSample) : kMinSample;
  }
  return peak;
}

}  // namespace ulmar
