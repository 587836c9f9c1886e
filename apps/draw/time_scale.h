// Time on an axis.
#pragma once

#include <string>
#include <vector>

#include "apps/draw/plot.h"

namespace ulmar::draw {

/// From 0 on, in seconds, or in milliseconds where those would be small numbers.
class TimeScale {
 public:
  explicit TimeScale(double seconds) : seconds_(seconds), short_(seconds < 0.1) {}

  /// label: without the unit.
  Axis axis(const std::string& label = "Time") const {
    return {.label = label + (short_ ? " (ms)" : " (s)"), .high = inUnit(seconds_)};
  }
  double inUnit(double seconds) const { return short_ ? 1000.0 * seconds : seconds; }
  /// Values over seconds, as values over the unit.
  template <class Value>
  std::vector<Value> inUnit(std::vector<Value> values) const {
    for (Value& value : values) value.x = inUnit(value.x);
    return values;
  }

 private:
  double seconds_;
  bool short_;
};

}  // namespace ulmar::draw
