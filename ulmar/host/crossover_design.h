// The decoder's crossover from a frequency.
#pragma once

#include "ulmar/decoder/crossover.h"

namespace ulmar::host {

/// Where decoders of first order usually change from the velocity vector to the energy
/// vector, in Hz (Heller, Lee and Benjamin, "Is My Decoder Ambisonic?", 125th AES
/// Convention, 2008).
inline constexpr double kDefaultCrossover = 400.0;

/// A third-order Butterworth low-pass and its complement, with -3 dB at `frequency`, by
/// the bilinear transform of (1 - s) / (1 + s) and (1 - s + s^2) / (1 + s + s^2). Both
/// in Hz. Throws Error nearer than a 1000th of the sample rate to 0 or to half the
/// rate. Nearer still, the bands would no longer add up to a level response within 0.01
/// dB nor the rounding errors of their single-precision recursion stay below -80 dB.
cApXOverCfs<float> designCrossover(double frequency, double sampleRate);

/// Throws Error unless the filters are stable.
void checkCrossover(const cApXOverCfs<float>& cfs);

/// Frames until the filters, which are stable, have died away by 144 dB.
int crossoverTail(const cApXOverCfs<float>& cfs);

}  // namespace ulmar::host
