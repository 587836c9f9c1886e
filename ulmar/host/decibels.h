// Levels in decibels, and the linear gains and powers that they mean.
#pragma once

#include <cmath>

namespace ulmar {

/// Of a linear gain or amplitude, and of a power; minus infinity for 0.
inline double decibelsOfGain(double gain) { return 20.0 * std::log10(gain); }
inline double decibelsOfPower(double power) { return 10.0 * std::log10(power); }

inline double gainOfDecibels(double level) { return std::pow(10.0, level / 20.0); }
inline double powerOfDecibels(double level) { return std::pow(10.0, level / 10.0); }

}  // namespace ulmar
