// The last step of an output: metering, clamp, store.
#pragma once

#include <cstddef>

#include "ulmar/process/host_records.h"

namespace ulmar {

/// Stores mix[i], clamped to kMinSample ... kMaxSample, at sample[i * step] for
/// i = 0 ... run - 1 in this order; a NaN becomes kMinSample. Returns the larger of
/// `peak` and every |mix[i]|, NaNs ignored. mix lies on a 16-byte boundary and does not
/// overlap the samples. The SSE2 body, which every processor can run and none would
/// gain on with wider registers.
float storeRun(float const* mix, int run, float* sample, std::ptrdiff_t step,
               float peak) noexcept;

/// The same bits from the scalar reference, which asks for no alignment.
float storeRunScalar(float const* mix, int run, float* sample, std::ptrdiff_t step,
                     float peak) noexcept;

}  // namespace ulmar
