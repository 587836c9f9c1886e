// Tables of the analysis toolkit, built once per transform size. Nothing is allocated
// and no state kept; nothing is checked.
#pragma once

#include "ulmar/base/export.h"
#include "ulmar/base/host_long.h"
#include "ulmar/spectral/complex.h"

/// Builds both tables of a transform of fftSize points, a power of two.
/// bitRevTab: fftSize entries, entry i is i with its low log2 fftSize bits reversed.
/// twiddleTab: fftSize/2 entries e^(-2 pi i k / fftSize), each part rounded once.
ULMAR_EXPORT void UpdateFFTTables(ulmar::HostLong* bitRevTab, cmplx* twiddleTab,
                                  ulmar::HostLong fftSize);

/// The same with double-precision twiddles: the layout of the engine's FFT tables.
ULMAR_EXPORT void dUpdateFFTTables(ulmar::HostLong* bitRevTab, dcmplx* twiddleTab,
                                   ulmar::HostLong fftSize);

/// Half a circle: sinTab[i] = -sin(pi i / n), cosTab[i] = -cos(pi i / n), i < n.
ULMAR_EXPORT void FillSinCosTabDSP(ulmar::HostLong n, float* sinTab, float* cosTab);

/// The rising half of a window or fade curve, `size` entries at the midpoints of as
/// many equal steps: phi = pi (i + 1/2) / size, h = (1 - cos phi) / 2.
///   winType 1   equal-power cubic    sqrt(scale (3h^2 - 2h^3))
///           2   equal-power quintic  sqrt(scale (6h^5 - 15h^4 + 10h^3))
///           3   raised cosine (Hann) scale h
///           4   cubic                scale (3h^2 - 2h^3)
///           5   quintic              scale (6h^5 - 15h^4 + 10h^3)
///           6   constant             1, or 1 / normLength
///           7   Hamming              scale (0.54 - 0.46 cos phi)
///       other   sine                 sqrt(scale h)
/// scale is 1, or with `normalize` 2 / normLength, which must not be 0.
ULMAR_EXPORT void FillWinTab(ulmar::HostLong size, ulmar::HostLong winType,
                             ulmar::HostLong normLength, bool normalize, float* winTab);
