#include "ulmar/room/image_source.h"

#include <algorithm>
#include <cstdlib>
#include <functional>

#include "ulmar/host/portable_precision.h"
#include "ulmar/host/raised_cosine.h"

namespace ulmar::room {
namespace {

constexpr double kHalfTurn = std::numbers::pi;

struct ImageSource {
  int bounces = 0;
  double delay = 0.0;  // s
  double gain = 0.0;   // without the walls
};

// The coordinate of image i along one axis: whole room lengths away, mirrored when i is
// odd.
double imageCoordinate(int i, double length, double source) {
  return i * length + (i % 2 == 0 ? source : length - source);
}

// All images that arrive before the mix ends, those with the most bounces first.
std::vector<ImageSource> imagesOf(const RoomSpec& room, const Point& source,
                                  const Microphone& mic, const RoomTiming& timing) {
  const double reach = kSpeedOfSound * timing.mixEnd;
  const auto most = [&](double length) { return static_cast<int>(reach / length) + 1; };
  const int mostX = most(room.size.x);
  const int mostY = most(room.size.y);
  const int mostZ = most(room.size.z);
  std::vector<ImageSource> images;
  for (int x = -mostX; x <= mostX; ++x) {
    for (int y = -mostY; y <= mostY; ++y) {
      for (int z = -mostZ; z <= mostZ; ++z) {
        const Point at = {imageCoordinate(x, room.size.x, source.x),
                          imageCoordinate(y, room.size.y, source.y),
                          imageCoordinate(z, room.size.z, source.z)};
        const int bounces = std::abs(x) + std::abs(y) + std::abs(z);
        const double path = distance(at, mic.position);
        if (bounces == 0 || path >= reach) continue;
        const double delay = path / kSpeedOfSound;
        const double fade = std::cos(0.5 * kHalfTurn * timing.mixAt(delay));
        images.push_back({bounces, delay, gainFrom(mic, at) * fade / path});
      }
    }
  }
  std::ranges::stable_sort(images, std::greater<>(), &ImageSource::bounces);
  return images;
}

void addPulse(double pos, double gain, std::vector<double>& response) {
  constexpr int kHalfLen = 16;
  const double whole = std::floor(pos);
  const double fraction = pos - whole;
  const auto centre = static_cast<std::ptrdiff_t>(whole);
  for (int k = 1 - kHalfLen; k <= kHalfLen; ++k) {
    const std::ptrdiff_t frame = centre + k;
    if (frame < 0 || frame >= static_cast<std::ptrdiff_t>(response.size())) continue;
    const double t = k - fraction;
    const double sinc = t == 0.0 ? 1.0 : std::sin(kHalfTurn * t) / (kHalfTurn * t);
    const double window = raisedCosine(t / kHalfLen);
    response[static_cast<std::size_t>(frame)] +=
        withPortablePrecision(gain * sinc * window);
  }
}

// What one reflection does to the spectrum: a one-pole low-pass
// y[n] = gain * (1 - pole) * x[n] + pole * y[n-1].
struct Wall {
  double gain;
  double pole;
};

// The reflection factor that makes the room decay in time t60 (Eyring, J. Acoust. Soc.
// Am. 1(2), 1930).
double reflectionFactor(const RoomSpec& room, double t60) {
  const double meanFreePath = 4.0 * volume(room) / surface(room);
  return std::exp(-kSixtyDecibels * meanFreePath / (kSpeedOfSound * t60));
}

// Meets the reflection factors of the middle frequencies at 0 Hz and of the highest
// octave that the sample rate carries at its centre, from |H|^2 = (1-p)^2 / (1 - 2p cos
// w + p^2).
Wall wallOf(const RoomSpec& room, double sampleRate) {
  std::size_t top = kOctaveCentres.size() - 1;
  while (kOctaveCentres[top] >= 0.45 * sampleRate) --top;
  const double gain = reflectionFactor(room, midT60(room));
  const double ratio = reflectionFactor(room, room.t60[top]) / gain;
  const double c = std::cos(2.0 * kHalfTurn * kOctaveCentres[top] / sampleRate);
  const double lost = 1.0 - ratio * ratio;
  constexpr double kNoLoss = 1e-6;
  if (lost < kNoLoss) return {withPortablePrecision(gain), 0.0};
  const double b = 1.0 - ratio * ratio * c;
  return {withPortablePrecision(gain),
          withPortablePrecision((b - std::sqrt(b * b - lost * lost)) / lost)};
}

void reflect(const Wall& wall, std::vector<double>& signal) {
  double y = 0.0;
  for (double& x : signal) {
    y = wall.gain * (1.0 - wall.pole) * x + wall.pole * y;
    x = y;
  }
}

}  // namespace

// Horner's scheme over the number of bounces: what bounced n times passes the wall n
// times, for one pass over the response per bounce.
void addEarlyReflections(const RoomSpec& room, const Point& source,
                         const Microphone& mic, const RoomTiming& timing,
                         std::vector<double>& response) {
  const std::vector<ImageSource> images = imagesOf(room, source, mic, timing);
  const Wall wall = wallOf(room, timing.sampleRate);
  std::vector<double> early(response.size());
  int bounces = images.empty() ? 0 : images.front().bounces;
  auto image = images.begin();
  for (; bounces > 0; --bounces) {
    for (; image != images.end() && image->bounces == bounces; ++image) {
      addPulse((image->delay - timing.start) * timing.sampleRate, image->gain, early);
    }
    reflect(wall, early);
  }
  std::ranges::transform(response, early, response.begin(), std::plus<>());
}

}  // namespace ulmar::room
