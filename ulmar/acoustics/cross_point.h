// Lundeby's cross-point: where the decay of a response meets its noise floor (Lundeby,
// Vigran, Bietz and Vorländer, "Uncertainties of measurements in room acoustics",
// Acustica 81(4), 1995).
#pragma once

#include <optional>

#include "ulmar/acoustics/energy.h"
#include "ulmar/acoustics/line_fit.h"

namespace ulmar::acoustics {

struct CrossPoint {
  double time = 0.0;  // s, on the profile's time axis
  /// The late decay: x is the time in s, y the level in dB of energy per second.
  LineFit late;
  double noisePower = 0.0;  // mean energy per second of the noise floor
  /// Whether the response stays level behind that, for a tenth of its length at least.
  /// If not, it was cut short: what was taken for noise is the end of a decay that
  /// bends or is another in every octave, and `late` is the line of that end.
  bool staysLevel = false;
};

/// By Lundeby's iteration, which starts with the mean power of the last tenth of the
/// profile as the noise, and a test of our own whether it is noise. Nothing if the
/// profile has fewer than five steps, if it ends in silence, or if no part more than 8
/// dB above the noise decays.
std::optional<CrossPoint> findCrossPoint(const EnergyProfile& profile);

}  // namespace ulmar::acoustics
