// Single-precision transforms for a host's analysis side. N = 2^log2Size throughout.
// Tables are those of UpdateFFTTables for N; real spectra stand at full length. Nothing
// is allocated, no state kept, nothing checked. All arithmetic is single precision.
#pragma once

#include "ulmar/base/export.h"
#include "ulmar/base/host_long.h"
#include "ulmar/spectral/complex.h"

/// Forward transform of N >= 4 complex points, unscaled, in bit-reversed order:
/// output[b(k)] = sum_n input[n] e^(-2 pi i n k / N). twiddleTab: built for N, or for
/// 2N with halfSize. output may be the input array.
ULMAR_EXPORT void cmplxfft(cmplx* input, cmplx* output, cmplx* twiddleTab,
                           ulmar::HostLong log2Size, bool halfSize);

/// Forward transform of N >= 8 real samples: spectrum[k] = scale X[k], k < N, with
/// exact conjugate symmetry. work: N/2 entries; it may be the input array, which
/// otherwise stays unchanged, but not the spectrum.
ULMAR_EXPORT void realfft(float scale, float* input, cmplx* spectrum, cmplx* work,
                          ulmar::HostLong* bitRevTab, cmplx* twiddleTab,
                          ulmar::HostLong log2Size, ulmar::HostLong unused);

/// Inverse: output[n] = scale/N Re sum_k spectrum[k] e^(+2 pi i n k / N), N >= 2. All N
/// entries of the spectrum are read, and destroyed. work is not touched. output does
/// not overlap the spectrum.
ULMAR_EXPORT void realifft(float scale, cmplx* spectrum, float* output, cmplx* work,
                           ulmar::HostLong* bitRevTab, cmplx* twiddleTab,
                           ulmar::HostLong log2Size, ulmar::HostLong unused);

/// Power spectrum of N >= 8 real samples: power[k] = scale |X[k]|^2, k < N, symmetric.
/// work as in realfft; power does not overlap it.
ULMAR_EXPORT void pwrfft(float scale, float* input, float* power, cmplx* work,
                         ulmar::HostLong* bitRevTab, cmplx* twiddleTab,
                         ulmar::HostLong log2Size);

/// Real cepstrum of fftSize >= 8 samples, a power of two: the inverse transform of ln
/// |X[k]|, floored at ln 1e-6; DC and Nyquist take the logarithm of their real parts,
/// hence the floor where those are negative. input[0] gains 1e-8 and keeps it. *level:
/// the square root of 1/fftSize times the sum of |X[k]|^2 over k = 0 ... fftSize/2.
/// spectrum, work: fftSize entries each, distinct; work is all zeros on return.
ULMAR_EXPORT void rceps(ulmar::HostLong fftSize, float* level, float* input,
                        float* cepstrum, cmplx* spectrum, cmplx* work,
                        ulmar::HostLong* bitRevTab, cmplx* twiddleTab,
                        ulmar::HostLong unused);
