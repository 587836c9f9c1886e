// Synthetic rooms, held against the geometry of mirrors and the figures that define a
// room.
#include "ulmar/room/room.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <complex>
#include <limits>
#include <numbers>
#include <random>
#include <utility>

#include "tests/support/scratch_dir.h"
#include "ulmar/acoustics/response_measures.h"

namespace ulmar::room {
namespace {

using test::expectSentence;
using test::refusalOf;

constexpr double kSpeedOfSound = 343.0;

using enum RoomKind;
using enum RoomLayout;

double distance(const Point& a, const Point& b) {
  return std::hypot(a.x - b.x, a.y - b.y, a.z - b.z);
}

// The six mirror images of first order.
std::array<Point, 6> mirrored(const Point& size, const Point& s) {
  return {{{-s.x, s.y, s.z},
           {2 * size.x - s.x, s.y, s.z},
           {s.x, -s.y, s.z},
           {s.x, 2 * size.y - s.y, s.z},
           {s.x, s.y, -s.z},
           {s.x, s.y, 2 * size.z - s.z}}};
}

// A room whose first reflections arrive one by one, from every side.
RoomSpec largeRoom() {
  RoomSpec room = roomPreset(hall);
  room.size = {60.0, 40.0, 25.0};
  room.source = {36.0, 28.0, 9.0};
  room.receiver = {25.0, 14.0, 7.0};
  room.stageWidth = 8.0;
  return room;
}

double correlation(const std::vector<float>& a, const std::vector<float>& b,
                   std::size_t begin, std::size_t end) {
  double sum = 0.0;
  for (std::size_t n = begin; n < end; ++n) sum += double{a[n]} * double{b[n]};
  return sum;
}

TEST(Room, FirstReflectionsComeFromTheirMirrorImages) {
  constexpr int kRate = 48000;
  const RoomSpec room = largeRoom();
  const Planar wxy = renderRoom(room, bFormat, kRate);
  const double direct = distance(room.source, room.receiver);
  double firstFrame = std::numeric_limits<double>::infinity();
  for (const Point& image : mirrored(room.size, room.source)) {
    SCOPED_TRACE(testing::Message() << image.x << ' ' << image.y << ' ' << image.z);
    const double path = distance(image, room.receiver);
    const double frame = (path - direct) / kSpeedOfSound * kRate;
    firstFrame = std::min(firstFrame, frame);
    const auto centre = static_cast<std::size_t>(std::lround(frame));
    const auto* const peak =
        std::max_element(&wxy[0][centre - 10], &wxy[0][centre + 10],
                         [](float a, float b) { return std::abs(a) < std::abs(b); });
    EXPECT_NEAR(static_cast<double>(peak - wxy[0].data()), frame, 1.0);
    // Along the axes W, X and Y of a plane wave stand as 1/sqrt(2) : cos : sin. The
    // tail, still some 20 dB below a reflection, moves the ratio by up to a tenth.
    const double ww = correlation(wxy[0], wxy[0], centre - 4, centre + 5);
    const double wx = correlation(wxy[0], wxy[1], centre - 4, centre + 5);
    const double wy = correlation(wxy[0], wxy[2], centre - 4, centre + 5);
    const double root2 = std::numbers::sqrt2;
    EXPECT_NEAR(wx / ww / root2, (image.x - room.receiver.x) / path, 0.1);
    EXPECT_NEAR(wy / ww / root2, (image.y - room.receiver.y) / path, 0.1);
  }
  // Nothing before the first reflection but the 16 frames over which it is
  // interpolated: no direct sound, no tail.
  const auto silent = static_cast<std::size_t>(firstFrame) - 16;
  for (const auto& channel : wxy) {
    EXPECT_TRUE(std::all_of(channel.begin(),
                            channel.begin() + static_cast<std::ptrdiff_t>(silent),
                            [](float x) { return x == 0.0F; }));
  }
}

TEST(Room, TrueStereoHasASourcePerSideAndAMicrophonePerEar) {
  constexpr int kRate = 96000;
  const RoomSpec room = largeRoom();
  const Planar paths = renderRoom(room, trueStereo, kRate);
  ASSERT_EQ(paths.size(), 4U);
  // Source and microphone of LL, LR, RL, RR; y is to the left.
  std::array<Point, 2> sources = {room.source, room.source};
  sources[0].y += 0.5 * room.stageWidth;
  sources[1].y -= 0.5 * room.stageWidth;
  std::array<Point, 2> mics = {room.receiver, room.receiver};
  mics[0].y += 0.085;
  mics[1].y -= 0.085;
  double direct = distance(room.source, room.receiver);
  for (const Point& source : sources) {
    for (const Point& mic : mics) direct = std::min(direct, distance(source, mic));
  }
  for (std::size_t i = 0; i < 4; ++i) {
    SCOPED_TRACE(i);
    // The reflection from the wall in front, which faces both microphones.
    const Point image = mirrored(room.size, sources[i / 2])[1];
    const double frame =
        (distance(image, mics[i % 2]) - direct) / kSpeedOfSound * kRate;
    const auto centre = static_cast<std::size_t>(std::lround(frame));
    const auto* const peak =
        std::max_element(&paths[i][centre - 40], &paths[i][centre + 40]);
    EXPECT_NEAR(static_cast<double>(peak - paths[i].data()), frame, 1.0);
  }
}

TEST(Room, AMirroredRoomSoundsMirrored) {
  const RoomSpec room = largeRoom();
  RoomSpec mirror = room;
  mirror.source.y = room.size.y - room.source.y;
  mirror.receiver.y = room.size.y - room.receiver.y;
  const Planar wxy = renderRoom(room, bFormat, 48000);
  const Planar other = renderRoom(mirror, bFormat, 48000);
  // Image positions differ by rounding: 1e-16 of 100 m and of the windowed sinc's
  // slope.
  for (std::size_t n = 0; n < wxy[0].size(); ++n) {
    ASSERT_NEAR(wxy[0][n], other[0][n], 1e-6) << n;
    ASSERT_NEAR(wxy[1][n], other[1][n], 1e-6) << n;
  }
  // In the sum of Y and mirrored Y the reflections cancel and leave twice the tail,
  // which has hardly begun in the first 50 ms. Without the mirror the sum would have 4
  // times the energy.
  constexpr std::size_t kEarly = 2400;
  std::vector<float> sum(kEarly);
  for (std::size_t n = 0; n < kEarly; ++n) sum[n] = wxy[2][n] + other[2][n];
  EXPECT_LT(correlation(sum, sum, 0, kEarly),
            0.5 * correlation(wxy[2], wxy[2], 0, kEarly));
}

/// The mean decay time of all channels in some octaves, by one of the fits.
double decayTime(const Planar& channels, double rate,
                 std::initializer_list<double> centres,
                 std::optional<acoustics::DecayFit> acoustics::Decay::*fit) {
  double sum = 0.0;
  for (const auto& channel : channels) {
    const auto measures = acoustics::measureResponse(channel, rate);
    for (const auto& octave : measures.octaves) {
      if (std::ranges::find(centres, octave.centre) == centres.end()) continue;
      sum += (octave.decay.*fit).value().decayTime();
    }
  }
  return sum / static_cast<double>(channels.size() * centres.size());
}

TEST(Room, DecaysInTheTimeThatItStates) {
  for (const RoomKind kind : {small, hall, cathedral}) {
    for (const int rate : {8000, 44100}) {
      const RoomSpec room = roomPreset(kind);
      SCOPED_TRACE(testing::Message() << midT60(room) << " s at " << rate << " Hz");
      const Planar channels = renderRoom(room, trueStereo, rate);
      const auto timeBy = [&](auto fit) {
        return decayTime(channels, rate, {500.0, 1000.0}, fit) / midT60(room);
      };
      // The time of noise of bandwidth B in N channels scatters by 1 / sqrt(B T N);
      // twice that.
      const double scatter = 2.0 / std::sqrt(1000.0 * midT60(room) * 4.0);
      EXPECT_NEAR(timeBy(&acoustics::Decay::t30), 1.0, scatter);
      // Reflections and tail are one decay: its first 10 dB are no steeper and no
      // flatter than rooms are.
      EXPECT_NEAR(timeBy(&acoustics::Decay::edt), 1.0, 0.2);
    }
  }
}

TEST(Room, EveryOctaveHasItsOwnDecay) {
  RoomSpec room = roomPreset(hall);
  room.t60 = {3.0, 2.6, 2.2, 1.9, 1.6, 1.35, 1.1};
  constexpr int kRate = 32000;
  const Planar channels = renderRoom(room, trueStereo, kRate);
  for (std::size_t band = 0; band < kOctaveCentres.size(); ++band) {
    const double time =
        decayTime(channels, kRate, {kOctaveCentres[band]}, &acoustics::Decay::t30);
    // A tenth: the slopes of filters let neighbours in that die away up to 20 % later.
    EXPECT_NEAR(time / room.t60[band], 1.0, 0.1) << kOctaveCentres[band] << " Hz";
  }
}

// The mean of |H(f)|^2 at random frequencies of the octaves from 125 Hz to 4 kHz.
double powerGain(const std::vector<float>& response, double rate, int numFrequencies) {
  std::minstd_rand random(5);
  const double low = 125.0 / std::numbers::sqrt2;
  const double high = std::min(4000.0 * std::numbers::sqrt2, 0.45 * rate);
  double sum = 0.0;
  for (int i = 0; i < numFrequencies; ++i) {
    const double part = static_cast<double>(random()) / std::minstd_rand::max();
    const double w = 2.0 * std::numbers::pi * (low + part * (high - low)) / rate;
    const std::complex<double> step = std::polar(1.0, -w);
    std::complex<double> at = 1.0;
    std::complex<double> h = 0.0;
    for (const float x : response) {
      h += at * double{x};
      at *= step;
    }
    sum += std::norm(h);
  }
  return sum / numFrequencies;
}

TEST(Room, WetIsAsLoudAsDryAtEveryRate) {
  // |H|^2 scatters by its own size from one frequency to the next, and the mean of 400
  // by a twentieth; three times that.
  constexpr int kNumFrequencies = 400;
  constexpr double kScatter = 0.15;
  const RoomSpec room = roomPreset(small);
  for (const int rate : {8000, 48000, 192000}) {
    SCOPED_TRACE(rate);
    const auto gain = [&](RoomLayout layout) {
      std::vector<double> gains;
      for (const auto& channel : renderRoom(room, layout, rate)) {
        gains.push_back(powerGain(channel, rate, kNumFrequencies));
      }
      return gains;
    };
    EXPECT_NEAR(gain(mono)[0], 1.0, kScatter);
    const auto pair = gain(stereo);
    EXPECT_NEAR(0.5 * (pair[0] + pair[1]), 1.0, kScatter);
    const auto paths = gain(trueStereo);
    EXPECT_NEAR(0.5 * (paths[0] + paths[1] + paths[2] + paths[3]), 1.0, kScatter);
    EXPECT_NEAR(2.0 * gain(bFormat)[0], 1.0, kScatter);
  }
}

TEST(Room, TailsComeFromAllSides) {
  for (const RoomLayout layout : {stereo, trueStereo, bFormat}) {
    const Planar channels = renderRoom(roomPreset(hall), layout, 48000);
    const auto product = [&](std::size_t a, std::size_t b) {
      return correlation(channels[a], channels[b], 48000 / 4, channels[a].size());
    };
    for (std::size_t a = 0; a < channels.size(); ++a) {
      // Of sound from all sides X and Y have a third of the energy of the pressure, W
      // has half.
      const double energy = layout == bFormat && a > 0 ? 2.0 / 3.0 : 1.0;
      // A second of decaying noise of 10 kHz has some 10^4 free values: 5 / sqrt(10^4).
      EXPECT_NEAR(product(a, a) / product(0, 0), energy, 0.05);
      for (std::size_t b = 0; b < a; ++b) {
        EXPECT_LT(std::abs(product(a, b)),
                  0.05 * std::sqrt(product(a, a) * product(b, b)));
      }
    }
  }
}

// FNV-1a of all samples.
std::uint64_t digest(const Planar& channels) {
  std::uint64_t hash = 0xCBF2'9CE4'8422'2325;
  for (const auto& channel : channels) {
    for (const float x : channel) {
      hash = (hash ^ std::bit_cast<std::uint32_t>(x)) * 0x100'0000'01B3;
    }
  }
  return hash;
}

TEST(Room, EveryBuildRendersTheSameBits) {
  EXPECT_EQ(digest(renderRoom(roomPreset(small), trueStereo, 44100)),
            0x4930'B366'4F6D'408E);
  EXPECT_EQ(digest(renderRoom(roomPreset(hall), stereo, 48000)), 0x1282'BC3C'FB12'BF46);
  EXPECT_EQ(digest(renderRoom(roomPreset(cathedral), bFormat, 22050)),
            0x6E9B'3C07'0A95'51C6);
  RoomSpec other = roomPreset(small);
  ++other.seed;
  EXPECT_NE(renderRoom(other, mono, 8000), renderRoom(roomPreset(small), mono, 8000));
}

TEST(Room, WhatCannotBeIsRefused) {
  struct Case {
    void (*change)(RoomSpec&);
    const char* value;
    const char* limit;
  };
  for (const auto& [change, value, limit] : {
           Case{[](auto& s) { s.size.x = 0.5; }, "length is 0.5 m", "1 and 200 m"},
           Case{[](auto& s) { s.size.y = 201.0; }, "width is 201 m", "1 and 200 m"},
           Case{[](auto& s) { s.size.z = std::numeric_limits<double>::quiet_NaN(); },
                "height is nan m", "1 and 200 m"},
           Case{[](auto& s) { s.t60[4] = 0.0; }, "time is 0 s", "0.05 and 30 s"},
           Case{[](auto& s) { s.source.z = 0.1; }, "above the floor is 0.1 m", "0.25"},
           Case{[](auto& s) { s.receiver.y = 23.0; }, "across the width is 23 m",
                "22.75"},
           Case{[](auto& s) { s.stageWidth = 22.9; }, "source position across",
                "22.75"},
           Case{[](auto& s) { s.receiver = s.source; }, "receiver is 0 m", "0.5"},
       }) {
    RoomSpec room = roomPreset(hall);
    change(room);
    expectSentence(refusalOf([&] { renderRoom(room, mono, 48000); }), {value, limit});
  }
  for (const int rate : {0, 7999, 384001}) {
    expectSentence(refusalOf([&] { renderRoom(roomPreset(hall), mono, rate); }),
                   {"8000 and 384000 Hz"});
  }
}

}  // namespace
}  // namespace ulmar::room
