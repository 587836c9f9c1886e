// How the frames of a rendering are shared out among streams that run side by side.
#pragma once

#include <cstdint>
#include <vector>

#include "apps/render/render_plan.h"

namespace ulmar::render {

/// Frames [first, end) of the plan's stream. A stream of its own that is fed from
/// `start` on gives them the bits of the one stream that runs through all of them.
struct Stretch {
  std::int64_t start;
  std::int64_t first;
  std::int64_t end;
};

/// Frames after which all engines are in the phases that they began with.
int phasePeriod(const RenderPlan& plan);

/// Frames of input that decide on an output frame. What lies farther back leaves no
/// trace, but in the decoder's crossovers, which are recursive and forget nothing.
std::int64_t historyFrames(const RenderPlan& plan);

/// Streams that are worth their while, at most `most`: one where the output is decoded,
/// or where it is too short for more.
int jobsFor(const RenderPlan& plan, int most);

/// All of the plan's frames in their order. With one job each stretch goes on where the
/// one before ends; else each starts a history earlier, and is some histories long.
std::vector<Stretch> stretchesOf(const RenderPlan& plan);

}  // namespace ulmar::render
