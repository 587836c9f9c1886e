// The rendering of a plan: input through the stream into the output file.
#pragma once

#include <string>
#include <vector>

#include "apps/render/channels.h"
#include "apps/render/render_plan.h"
#include "apps/render/trace.h"
#include "ulmar/audio/audio_file.h"

namespace ulmar::render {

struct Rendering {
  double elapsed = 0.0;  // s, from the set-up of the stream to the last frame written
  double timesRealTime = 0.0;
  std::vector<std::string> channels;  // names, empty where there is none
  std::vector<ChannelLevel> levels;   // of each channel of the file, before its limit
  /// The gain that would have kept every sample within full scale, at most 1.
  double gainWithoutClipping = 1.0;
  double outputGain = 1.0;          // of all that was written
  std::int64_t limitedSamples = 0;  // by the file's full scale
  bool beyondLibrary = false;       // beyond what the library itself takes
};

/// Holds a buffer's length of the input at a time. input: at its start. The
/// output takes its name when it is complete; throws Error, and leaves nothing, if the
/// input cannot be read to its end or the output cannot be written. trace: of this
/// plan's frames, or null if nobody asks for the blocks one by one.
Rendering render(const RenderPlan& plan, audio::AudioReader& input,
                 Trace* trace = nullptr);

}  // namespace ulmar::render
