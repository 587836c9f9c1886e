// Early reflections of a shoebox room: every chain of mirror reflections is a mirror
// image of the source, heard with the attenuation of its distance and of the walls in
// between.
#pragma once

#include <vector>

#include "ulmar/room/room_acoustics.h"

namespace ulmar::room {

/// Adds the reflections of one source at one microphone, up to timing.mixEnd and faded
/// out towards it, to response[frame]. The direct sound, image number zero, is left
/// out. A source of unit strength gives amplitude 1 at 1 m. Delays are exact to a
/// fraction of a frame, by a windowed sinc of 32 frames (Peterson, J. Acoust. Soc. Am.
/// 80(5), 1986).
void addEarlyReflections(const RoomSpec& room, const Point& source,
                         const Microphone& mic, const RoomTiming& timing,
                         std::vector<double>& response);

}  // namespace ulmar::room
