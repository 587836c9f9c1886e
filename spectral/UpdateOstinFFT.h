// Tables of the analysis toolkit, built once per transform size. Nothing is allocated
// and no state kept; nothing is checked.
#pragma once

#include "base/export.h"
#include "base/host_long.h"
#include "spectral/complex.h"

/// Builds both tables of a transform of fftSize points, a power of two:
///   bitRevTab    fftSize entries, entry i is i with its low log2 fftSize bits
///   reversed; twiddleTab   fftSize/2 entries e^(-2 pi i k / fftSize), each part
///   rounded once.
ULMAR_EXPORT void UpdateFFTTables(ulmar::HostLong* bitRevTab, cmplx* twiddleTab,
                                  ulmar::HostLong fftSize);

/// The same with double-precision twiddles: the layout of the engine's FFT tables.
ULMAR_EXPORT void dUpdateFFTTables(ulmar::HostLong* bitRevTab, dcmplx* twiddleTab,
                                   ulmar::HostLong fftSize);
