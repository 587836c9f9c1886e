// A synthetic room: early reflections by the image-source method (Allen and Berkley, J.
// Acoust. Soc. Am. 65(4), 1979) that pass into a diffuse tail of exponentially decaying
// noise, whose level follows from the diffuse field of the same room.
#pragma once

#include <array>
#include <cstdint>

#include "ulmar/acoustics/octave_centres.h"
#include "ulmar/host/planar.h"

namespace ulmar::room {

/// Metres. x points from the back wall to the stage, the way the listener faces; y to
/// the left; z up. The origin is the corner behind the listener, on the right, on the
/// floor.
struct Point {
  double x = 0.0;
  double y = 0.0;
  double z = 0.0;
};

/// Centres of the octave bands in which a room's decay is given, in Hz.
using acoustics::kOctaveCentres;

/// A shoebox. Sides of 1 to 200 m; sources and receiver at least 0.25 m from every wall
/// and 0.5 m from each other. The bands of the tail meet with slopes of 24 dB per
/// octave: leakage from a neighbour that decays much more slowly lengthens a band's
/// measured decay a little.
struct RoomSpec {
  Point size;
  Point source;             // the middle of the stage
  double stageWidth = 0.0;  // from the left source of trueStereo to the right one, m
  Point receiver;
  std::array<double, kOctaveCentres.size()>
      t60{};               // s per octave band, each 0.05 to 30
  std::uint64_t seed = 0;  // of the tail's noise
};

enum class RoomKind { small, hall, cathedral };

/// A live room of 0.45 s, a concert hall of 2 s, a cathedral of 6 s.
RoomSpec roomPreset(RoomKind kind);

/// The mean of the 500 Hz and 1 kHz bands, in s: the figure by which a room is known
/// (ISO 3382-1).
double midT60(const RoomSpec& room);

/// What a response is rendered for, and its channels.
enum class RoomLayout {
  mono,        // one omnidirectional microphone
  stereo,      // left, right: two cardioids 17 cm apart, each turned out by 55 degrees
               // (ORTF)
  trueStereo,  // LL, LR, RL, RR: the left source to both microphones, then the right
               // source
  bFormat  // W, X, Y at one point: W = pressure / sqrt(2), X front and Y left positive
};

/// Renders the reverberation of the room. Frame 0 is the moment at which the direct
/// sound arrives; the direct sound itself is left out, as it is in the dry signal. One
/// gain for all channels makes the mean power gain of the outputs 1 over the octaves
/// from 125 Hz to 4 kHz (that of the pressure, in bFormat), so that wet and dry are
/// alike in level at every sample rate. The same room gives the same samples at any
/// time, in every build. sampleRate: 8000 to 384000 Hz. Throws Error for what is
/// outside the limits.
Planar renderRoom(const RoomSpec& room, RoomLayout layout, int sampleRate);

}  // namespace ulmar::room
