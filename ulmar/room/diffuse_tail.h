// The late part of a room's response: noise in octave bands, each with its own decay
// (the model of Moorer, Computer Music Journal 3(2), 1979).
#pragma once

#include <cstdint>
#include <vector>

#include "ulmar/room/room_acoustics.h"

namespace ulmar::room {

/// Adds the tail at one microphone to response[frame], faded in as timing says. Its
/// energy per second is that of the diffuse field: images of unit strength arrive at 4
/// pi c^3 t^2 / V per second, each with 1 / (c t)^2, which gives 4 pi c / V before the
/// decay is applied (Kuttruff, Room Acoustics, chapter 4). Tails of different seeds are
/// uncorrelated.
void addDiffuseTail(const RoomSpec& room, const Microphone& mic,
                    const RoomTiming& timing, std::uint64_t seed,
                    std::vector<double>& response);

}  // namespace ulmar::room
