// The decay of sound after ISO 3382-1: the squared response integrated backwards
// (Schroeder, J. Acoust. Soc. Am. 37(3), 1965), from the time at which it meets the
// noise floor.
#pragma once

#include <optional>
#include <vector>

#include "ulmar/acoustics/energy.h"
#include "ulmar/acoustics/line_fit.h"

namespace ulmar::acoustics {

/// A line through a part of a decay curve: x is the time in s, y the level in dB.
struct DecayFit : LineFit {
  /// Seconds in which the line falls by 60 dB.
  double decayTime() const { return -60.0 / slope; }
};

/// The range that a decay curve must span for an evaluation, in dB: down to the lower
/// end of the evaluation, and the 10 dB that ISO 3382-1 keeps between that and the
/// noise.
inline constexpr double kRangeForEdt = 20.0;
inline constexpr double kRangeForT20 = 35.0;
inline constexpr double kRangeForT30 = 45.0;

struct Decay {
  /// Schroeder's curve in dB against the whole energy: one value for each step of the
  /// profile up to `end`, at the time at which the step starts.
  std::vector<double> curve;
  /// s, where the integration ends: at the cross-point of decay and noise, or else at
  /// the end of the response.
  double end = 0.0;
  /// Whether the decay meets a noise floor. False if the response ends before that, and
  /// if it does not decay.
  bool reachesNoise = false;
  double noisePower = 0.0;  // energy per second of the noise floor, 0 without one
  double tailEnergy = 0.0;  // of the decay after `end`, extrapolated; 0 without decay
  double range = 0.0;       // dB from the whole energy to tailEnergy, 0 without decay

  // Fits to the curve between two levels; T30 is t30->decayTime(). Nothing where the
  // range is too short, and where the curve does not follow a line. EDT starts just
  // below 0 dB, where the curve stays until the sound arrives.
  std::optional<DecayFit> edt;  // -0.1 ... -10 dB
  std::optional<DecayFit> t20;  // -5 ... -25 dB
  std::optional<DecayFit> t30;  // -5 ... -35 dB

  /// T30, or T20 where the range is too short for that.
  const std::optional<DecayFit>& late() const { return t30 ? t30 : t20; }
};

/// Truncates the response at its cross-point, subtracts the noise, and adds the energy
/// that the decay would have behind that. Of the ways to compensate for noise this one
/// errs least (Guski and Vorländer, Acta Acust. united Ac. 100(2), 2014). profile: not
/// empty, of a sound that arrives at time 0.
Decay measureDecay(const EnergyProfile& profile);

}  // namespace ulmar::acoustics
