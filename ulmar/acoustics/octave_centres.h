// The octave bands of room acoustics.
#pragma once

#include <array>

namespace ulmar::acoustics {

/// Hz. The bands from 125 Hz to 4 kHz that ISO 3382-1 evaluates, and the one above.
inline constexpr std::array<double, 7> kOctaveCentres = {125.0,  250.0,  500.0, 1000.0,
                                                         2000.0, 4000.0, 8000.0};

/// Hz. All octave bands that are measured.
inline constexpr std::array<double, 9> kMeasuredOctaves = {
    63.0, 125.0, 250.0, 500.0, 1000.0, 2000.0, 4000.0, 8000.0, 16000.0};

/// Hz, as the third-octave bands from 50 Hz to 20 kHz are named; the n-th is centred on
/// 1000 * 2^((n - 13) / 3).
inline constexpr std::array<double, 27> kThirdOctaves = {
    50.0,   63.0,   80.0,   100.0,  125.0,  160.0,   200.0,   250.0,   315.0,
    400.0,  500.0,  630.0,  800.0,  1000.0, 1250.0,  1600.0,  2000.0,  2500.0,
    3150.0, 4000.0, 5000.0, 6300.0, 8000.0, 10000.0, 12500.0, 16000.0, 20000.0};

}  // namespace ulmar::acoustics
