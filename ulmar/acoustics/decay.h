// The decay of sound after ISO 3382-1: the squared response integrated backwards
// (Schroeder, J. Acoust. Soc. Am. 37(3), 1965), down to where it meets the noise floor.
#pragma once

#include <optional>
#include <vector>

#include "ulmar/acoustics/energy.h"

namespace ulmar::acoustics {

/// A straight line through levels over time, and how well they follow it.
struct LevelLine {
  double levelAtZero = 0.0;  // dB
  double slope = 0.0;        // dB/s
  double correlation = 0.0;  // of level with time, -1 for a perfect decay

  double at(double time) const { return levelAtZero + slope * time; }
  /// s in which the line falls by 60 dB.
  double decayTime() const { return -60.0 / slope; }
};

/// Range that a decay curve must span for an evaluation: its lower end and the 10 dB
/// that ISO 3382-1 keeps from the noise.
inline constexpr double kRangeForEdt = 20.0;  // dB
inline constexpr double kRangeForT20 = 35.0;
inline constexpr double kRangeForT30 = 45.0;

struct Decay {
  /// dB against the whole energy, for each step of the profile up to `end`.
  std::vector<double> curve;
  double end = 0.0;  // s, where the integration ends
  /// False if the response ends, or never decays, before it reaches a noise floor.
  bool reachesNoise = false;
  double noisePower = 0.0;  // energy per second of the noise floor, 0 without one
  double tailEnergy = 0.0;  // of the decay as it would go on after `end`
  double range = 0.0;  // dB, from the whole energy to that of the tail; 0 without decay

  /// Fits to the curve, where its range suffices: from 0 to -10 dB (early decay time),
  /// from -5 to -25 dB, from -5 to -35 dB.
  std::optional<LevelLine> edt;
  std::optional<LevelLine> t20;
  std::optional<LevelLine> t30;
};

/// Truncates where the decay meets the noise (Lundeby, Vigran, Bietz and Vorländer,
/// Acustica 81(4), 1995), subtracts the noise and adds the energy that the truncation
/// takes, which is the method that errs least (Guski and Vorländer, Acta Acust. united
/// Ac. 100(2), 2014).
Decay measureDecay(const EnergyProfile& profile);

}  // namespace ulmar::acoustics
