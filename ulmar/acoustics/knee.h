// The knee of a response, where its decay meets the noise floor.
#pragma once

#include <optional>
#include <span>

#include "ulmar/acoustics/decay.h"

namespace ulmar::acoustics {

/// A level at a time.
struct LevelPoint {
  double time;   // s
  double level;  // dB
};

/// The line of least squares; its slope is 0 if all times are the same.
LevelLine fitLine(std::span<const LevelPoint> points);

struct Knee {
  double time = 0.0;  // s
  /// The late decay, in dB of energy per second.
  LevelLine late;
  double noisePower = 0.0;  // energy per second
};

/// By the iteration of Lundeby et al. Nothing if no decay rises out of the noise. A
/// response without a noise floor has its knee in its last tenth, from which the
/// noise is taken.
std::optional<Knee> findKnee(const EnergyProfile& profile);

}  // namespace ulmar::acoustics
