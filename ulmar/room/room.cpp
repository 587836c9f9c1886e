#include "ulmar/room/room.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "ulmar/host/error.h"
#include "ulmar/host/portable_precision.h"
#include "ulmar/host/raised_cosine.h"
#include "ulmar/room/biquad.h"
#include "ulmar/room/diffuse_tail.h"
#include "ulmar/room/image_source.h"
#include "ulmar/room/room_acoustics.h"

namespace ulmar::room {
namespace {

void refuseOutside(std::string_view what, double value, double min, double max,
                   std::string_view unit) {
  if (value >= min && value <= max) return;
  fail("the room's ", what, " is ", value, " ", unit, ", and the limits are ", min,
       " and ", max, " ", unit);
}

void refuseNearWall(std::string_view what, const Point& point, const Point& size) {
  constexpr double kMargin = 0.25;  // m
  const std::string position = std::string(what) + " position ";
  refuseOutside(position + "along the length", point.x, kMargin, size.x - kMargin, "m");
  refuseOutside(position + "across the width", point.y, kMargin, size.y - kMargin, "m");
  refuseOutside(position + "above the floor", point.z, kMargin, size.z - kMargin, "m");
}

std::array<Point, 2> stageSources(const RoomSpec& room) {
  std::array<Point, 2> sources = {room.source, room.source};
  sources[0].y += 0.5 * room.stageWidth;
  sources[1].y -= 0.5 * room.stageWidth;
  return sources;
}

void refuseImpossible(const RoomSpec& room, int sampleRate) {
  refuseOutside("length", room.size.x, 1.0, 200.0, "m");
  refuseOutside("width", room.size.y, 1.0, 200.0, "m");
  refuseOutside("height", room.size.z, 1.0, 200.0, "m");
  refuseOutside("stage width", room.stageWidth, 0.0, room.size.y, "m");
  refuseNearWall("receiver", room.receiver, room.size);
  refuseNearWall("source", room.source, room.size);
  const auto [left, right] = stageSources(room);
  refuseNearWall("left source", left, room.size);
  refuseNearWall("right source", right, room.size);
  for (const Point& source : {room.source, left, right}) {
    refuseOutside("distance from source to receiver", distance(source, room.receiver),
                  0.5, 350.0, "m");
  }
  for (const double t60 : room.t60)
    refuseOutside("reverberation time", t60, 0.05, 30.0, "s");
  refuseOutside("sample rate", sampleRate, 8000.0, 384000.0, "Hz");
}

std::vector<Microphone> microphonesOf(RoomLayout layout, const Point& at) {
  constexpr Point kFront = {1.0, 0.0, 0.0};
  constexpr Point kLeft = {0.0, 1.0, 0.0};
  switch (layout) {
    case RoomLayout::mono:
      return {{at, kFront, 1.0, 0.0}};
    case RoomLayout::bFormat:
      return {{at, kFront, 1.0 / std::numbers::sqrt2, 0.0},
              {at, kFront, 0.0, 1.0},
              {at, kLeft, 0.0, 1.0}};
    default: {
      constexpr double kHalfSpacing = 0.085;  // m
      constexpr double kCos55 = 0.573576436351046;
      constexpr double kSin55 = 0.819152044288992;
      return {
          {{at.x, at.y + kHalfSpacing, at.z}, {kCos55, kSin55, 0.0}, 0.5, 0.5},
          {{at.x, at.y - kHalfSpacing, at.z}, {kCos55, -kSin55, 0.0}, 0.5, 0.5},
      };
    }
  }
}

std::vector<Point> sourcesOf(RoomLayout layout, const RoomSpec& room) {
  if (layout != RoomLayout::trueStereo) return {room.source};
  const auto [left, right] = stageSources(room);
  return {left, right};
}

// The arrival of the first reflection: the nearest of the six images of first order.
double firstReflection(const RoomSpec& room) {
  const auto across = [&](double Point::*axis, double wall) {
    Point image = room.source;
    image.*axis = 2.0 * wall - image.*axis;
    return distance(image, room.receiver);
  };
  return std::min({across(&Point::x, 0.0), across(&Point::x, room.size.x),
                   across(&Point::y, 0.0), across(&Point::y, room.size.y),
                   across(&Point::z, 0.0), across(&Point::z, room.size.z)}) /
         kSpeedOfSound;
}

// The sound field is mixed sqrt(V) ms after the emission, V in cubic metres (Polack,
// Applied Acoustics 38, 1993). In a small room the ear needs reflections for longer.
RoomTiming timingOf(const RoomSpec& room, const std::vector<Point>& sources,
                    const std::vector<Microphone>& mics, int sampleRate) {
  constexpr double kShortestMix = 0.06;  // s
  double nearest = distance(room.source, room.receiver);
  for (const Point& source : sources) {
    for (const Microphone& mic : mics) {
      nearest = std::min(nearest, distance(source, mic.position));
    }
  }
  RoomTiming timing;
  timing.sampleRate = sampleRate;
  timing.start = nearest / kSpeedOfSound;
  timing.mixStart = firstReflection(room);
  timing.mixEnd =
      std::max(timing.mixStart + kShortestMix, 1e-3 * std::sqrt(volume(room)));
  return timing;
}

// Until the longest decay is a little below -60 dB.
std::size_t framesOf(const RoomSpec& room, const RoomTiming& timing) {
  const double decayed = 1.1 * std::ranges::max(room.t60);
  const double seconds = std::max(decayed, timing.mixEnd - timing.start);
  return static_cast<std::size_t>(std::ceil(seconds * timing.sampleRate));
}

// All image sources have the same sign, so that their sum has a DC offset that no real
// room has: a high-pass filter at 20 Hz removes it. The last tenth is faded out.
void finish(std::vector<double>& response, double sampleRate) {
  constexpr double kLowest = 20.0;  // Hz
  Biquad highPass(PassBand::high, kLowest, 1.0 / std::numbers::sqrt2, sampleRate);
  for (double& x : response) x = highPass(x);
  const std::size_t fadeFrames = response.size() / 10;
  for (std::size_t n = 0; n < fadeFrames; ++n) {
    const double toGo = static_cast<double>(n) / static_cast<double>(fadeFrames);
    response[response.size() - 1 - n] *=
        withPortablePrecision(raisedCosine(1.0 - toGo));
  }
}

// The mean of |H(f)|^2 over the octaves from 125 Hz to 4 kHz, as far as the sample rate
// has them, from the energy that passes filters at their edges. Unlike the energy of
// the whole response it does not depend on the sample rate.
double meanPowerGain(const std::vector<double>& response, double sampleRate) {
  const double lower = 125.0 / std::numbers::sqrt2;
  const double upper = std::min(4000.0 * std::numbers::sqrt2, 0.45 * sampleRate);
  auto highPass = butterworth4(PassBand::high, lower, sampleRate);
  auto lowPass = butterworth4(PassBand::low, upper, sampleRate);
  double energy = 0.0;
  for (double x : response) {
    for (Biquad& section : highPass) x = section(x);
    for (Biquad& section : lowPass) x = section(x);
    energy += x * x;
  }
  return energy * 0.5 * sampleRate / (upper - lower);
}

// Of one output, in the mean of the outputs; in bFormat, of the pressure.
double outputPowerGain(const std::vector<std::vector<double>>& responses,
                       RoomLayout layout, double sampleRate) {
  if (layout == RoomLayout::bFormat)
    return 2.0 * meanPowerGain(responses[0], sampleRate);
  double sum = 0.0;
  for (const auto& response : responses) sum += meanPowerGain(response, sampleRate);
  return layout == RoomLayout::mono ? sum : 0.5 * sum;
}

}  // namespace

RoomSpec roomPreset(RoomKind kind) {
  switch (kind) {
    case RoomKind::small:
      return {.size = {7.2, 5.4, 3.1},
              .source = {5.3, 2.6, 1.4},
              .stageWidth = 2.0,
              .receiver = {2.6, 2.8, 1.2},
              .t60 = {0.50, 0.47, 0.46, 0.44, 0.42, 0.39, 0.34},
              .seed = 1};
    case RoomKind::hall:
      return {.size = {45.0, 23.0, 18.0},
              .source = {37.0, 11.2, 1.7},
              .stageWidth = 6.0,
              .receiver = {21.0, 11.9, 1.5},
              .t60 = {2.30, 2.15, 2.05, 1.95, 1.75, 1.45, 1.10},
              .seed = 2};
    default:
      return {.size = {92.0, 29.0, 26.0},
              .source = {78.0, 14.2, 2.0},
              .stageWidth = 8.0,
              .receiver = {55.0, 14.9, 1.6},
              .t60 = {6.8, 6.5, 6.2, 5.8, 5.0, 3.8, 2.7},
              .seed = 3};
  }
}

double midT60(const RoomSpec& room) { return 0.5 * (room.t60[2] + room.t60[3]); }

Planar renderRoom(const RoomSpec& room, RoomLayout layout, int sampleRate) {
  refuseImpossible(room, sampleRate);
  const std::vector<Point> sources = sourcesOf(layout, room);
  const std::vector<Microphone> mics = microphonesOf(layout, room.receiver);
  const RoomTiming timing = timingOf(room, sources, mics, sampleRate);

  std::vector<std::vector<double>> responses;
  for (const Point& source : sources) {
    for (const Microphone& mic : mics) {
      auto& response = responses.emplace_back(framesOf(room, timing));
      const std::uint64_t seed = room.seed * 8 + responses.size();
      addEarlyReflections(room, source, mic, timing, response);
      addDiffuseTail(room, mic, timing, seed, response);
      finish(response, sampleRate);
    }
  }

  const double gain = 1.0 / std::sqrt(outputPowerGain(responses, layout, sampleRate));
  Planar result;
  for (const auto& response : responses) {
    auto& channel = result.emplace_back(response.size());
    std::ranges::transform(response, channel.begin(),
                           [gain](double x) { return static_cast<float>(x * gain); });
  }
  return result;
}

}  // namespace ulmar::room
