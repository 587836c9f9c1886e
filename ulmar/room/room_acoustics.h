// What the two parts of a synthetic room, early reflections and tail, have in common.
#pragma once

#include <cmath>
#include <numbers>

#include "ulmar/room/room.h"

namespace ulmar::room {

inline constexpr double kSpeedOfSound = 343.0;  // m/s, in air of 20 degrees Celsius

/// Natural logarithm of the amplitude ratio of 60 dB.
inline constexpr double kSixtyDecibels = 3.0 * std::numbers::ln10;

inline double distance(const Point& a, const Point& b) {
  return std::sqrt((a.x - b.x) * (a.x - b.x) + (a.y - b.y) * (a.y - b.y) +
                   (a.z - b.z) * (a.z - b.z));
}

/// Sound pressure plus velocity along the axis: gain(angle) = pressure + velocity *
/// cos(angle).
struct Microphone {
  Point position;
  Point axis;  // of length 1
  double pressure = 1.0;
  double velocity = 0.0;
};

/// The gain of sound that comes from a point.
inline double gainFrom(const Microphone& mic, const Point& from) {
  const Point& at = mic.position;
  const double alongAxis = (from.x - at.x) * mic.axis.x + (from.y - at.y) * mic.axis.y +
                           (from.z - at.z) * mic.axis.z;
  return mic.pressure + mic.velocity * alongAxis / distance(from, at);
}

/// The energy gain of sound that comes from everywhere alike: the mean of the squared
/// gain over all directions.
inline double diffuseEnergyGain(const Microphone& mic) {
  return mic.pressure * mic.pressure + mic.velocity * mic.velocity / 3.0;
}

inline double volume(const RoomSpec& room) {
  return room.size.x * room.size.y * room.size.z;
}

inline double surface(const RoomSpec& room) {
  return 2.0 * (room.size.x * room.size.y + room.size.y * room.size.z +
                room.size.z * room.size.x);
}

/// The time axis of a response. Times count from the emission of the sound, in s.
struct RoomTiming {
  double sampleRate = 0.0;  // Hz
  double start = 0.0;       // the time of frame 0
  double mixStart = 0.0;    // up to here there are reflections only
  double mixEnd = 0.0;      // from here on there is the tail only

  /// 0 at mixStart, 1 at mixEnd. Reflections are weighted with the cosine of a quarter
  /// turn times this, the tail with its sine, so that their energy adds up evenly.
  double mixAt(double time) const {
    return std::fmin(std::fmax((time - mixStart) / (mixEnd - mixStart), 0.0), 1.0);
  }
};

}  // namespace ulmar::room
