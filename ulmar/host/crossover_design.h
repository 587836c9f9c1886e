// The decoder's crossover from a frequency.
#pragma once

#include "ulmar/decoder/crossover.h"

namespace ulmar::host {

/// Where decoders of first order usually change from the velocity vector to the energy
/// vector, in Hz (Heller, Lee and Benjamin, "Is My Decoder Ambisonic?", 125th AES
/// Convention, 2008).
inline constexpr double kDefaultCrossover = 400.0;

/// A third-order Butterworth low-pass and its complement, which meet at -3 dB at
/// `frequency`: the bilinear transforms of (1 - s) / (1 + s) and (1 - s + s^2) /
/// (1 + s + s^2). Both arguments in Hz. Throws Error unless `frequency` lies in
/// [fs / 1000, fs / 2 - fs / 1000], fs = sampleRate: beyond either end, rounding in the
/// filters' single-precision recursion rises above -80 dB and the sum of the bands
/// departs from a level response by more than 0.01 dB.
cApXOverCfs<float> designCrossover(double frequency, double sampleRate);

/// Throws Error unless the filters are stable.
void checkCrossover(const cApXOverCfs<float>& cfs);

/// Frames in which the response of the filters, which must be stable, decays by 144 dB,
/// the range of single precision.
int crossoverTail(const cApXOverCfs<float>& cfs);

}  // namespace ulmar::host
