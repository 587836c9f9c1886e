// Change of sample rate, by libsoxr at its very high quality: linear phase, flat within
// 1e-6 up to 91 % of the lower Nyquist frequency, and beyond that frequency nothing.
#pragma once

#include "ulmar/host/planar.h"

namespace ulmar::audio {

/// The same waveform at another rate: amplitudes stay. Every channel of n frames
/// becomes ceil(n * toRate / fromRate) frames long, frame 0 stays at the same moment.
/// What the filter rings before that moment is cut off. Equal rates return the signal
/// as it is. Throws Error for rates outside 1 Hz to 10 MHz.
Planar resample(const Planar& signal, double fromRate, double toRate);

/// How long the filter rings before and after every frame, which is half its length:
/// ceil(128 toRate / min(fromRate, toRate)) frames at toRate. 0 for equal rates.
int resampleRinging(int fromRate, int toRate);

/// An impulse response that filters alike at the other rate, delayed by
/// resampleRinging() frames so that the filter's pre-ringing is kept. n
/// frames become ceil(n * toRate / fromRate) and twice the ringing. Scaled by fromRate
/// / toRate, as the sum over a response grows with the number of its frames while the
/// frequency response must stay. Equal rates return the response as it is. Throws Error
/// as resample().
Planar resampleResponse(const Planar& response, int fromRate, int toRate);

}  // namespace ulmar::audio
