// The octave bands of room acoustics.
#pragma once

#include <array>

namespace ulmar::acoustics {

/// Hz. The bands from 125 Hz to 4 kHz that ISO 3382-1 evaluates, and the one above.
inline constexpr std::array<double, 7> kOctaveCentres = {125.0,  250.0,  500.0, 1000.0,
                                                         2000.0, 4000.0, 8000.0};

}  // namespace ulmar::acoustics
