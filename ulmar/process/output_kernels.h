// The last step of an output: metering, clamp, store. One body serves all processors,
// since it uses nothing that the least of them lacks.
#pragma once

#include <cstddef>

namespace ulmar {

/// The largest sample written, 32767/32768, exact in single precision.
inline constexpr float kMaxSample = 0.999969482421875F;
inline constexpr float kMinSample = -1.0F;

/// Stores mix[i] at sample[i * step], i = 0 ... run - 1 in this order, clamped to
/// kMinSample ... kMaxSample; not a number becomes the least sample. Returns the larger
/// of `peak` and every |mix[i]|, which not a number leaves as it is. mix lies on a
/// 16-byte boundary and apart from the samples.
float storeRun(float const* mix, int run, float* sample, std::ptrdiff_t step,
               float peak) noexcept;

}  // namespace ulmar
