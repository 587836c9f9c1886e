// Time on an axis.
#pragma once

#include <string>
#include <vector>

#include "apps/draw/plot.h"

namespace ulmar::draw {

/// From 0 on, in seconds, or in milliseconds or minutes where those would be small or
/// large numbers.
class TimeScale {
 public:
  explicit TimeScale(double seconds)
      : seconds_(seconds),
        unit_(seconds < 0.1     ? Unit{"ms", 1e-3}
              : seconds < 300.0 ? Unit{"s", 1.0}
                                : Unit{"min", 60.0}) {}

  /// label: without the unit.
  Axis axis(const std::string& label = "Time") const {
    return {.label = label + " (" + unit_.name + ")", .high = inUnit(seconds_)};
  }
  double inUnit(double seconds) const { return seconds / unit_.seconds; }
  /// Values over seconds, as values over the unit.
  template <class Value>
  std::vector<Value> inUnit(std::vector<Value> values) const {
    for (Value& value : values) value.x = inUnit(value.x);
    return values;
  }

 private:
  struct Unit {
    std::string name;
    double seconds;
  };
  double seconds_;
  Unit unit_;
};

}  // namespace ulmar::draw
