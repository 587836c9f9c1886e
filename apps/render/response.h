// The impulse response on its way from file or synthetic room to what the stream
// convolves with: the part that is used, faded, resampled, arranged, normalised,
// delayed.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "apps/render/options.h"
#include "apps/render/routing.h"
#include "ulmar/audio/audio_file.h"
#include "ulmar/host/planar.h"
#include "ulmar/host/responses.h"

namespace ulmar::render {

/// What a response was and what became of it. Frames of the source are at its own rate,
/// all others at the input's.
struct ResponseInfo {
  std::string name;    // the file, or the room in words
  std::string format;  // as AudioInfo, empty for a room
  int channels = 0;
  int sourceRate = 0;             // Hz
  std::int64_t sourceFrames = 0;  // all there are
  std::int64_t startFrame = 0;    // in the source, the first that is used
  std::int64_t usedFrames = 0;    // in the source
  std::int64_t fadeFrames = 0;    // in the source, at the end of what is used
  std::int64_t frames = 0;        // of what is used, resampled
  std::int64_t ringing = 0;       // frames that resampling rings before and after it
  std::int64_t predelay = 0;      // frames of silence put before it
  double normalizationGain = 1.0;
};

struct PreparedResponse {
  ResponseInfo info;
  Routing routing;
  /// Of the one stream; or, where the channels of a bed go through the response group
  /// by group, of each of groupsOf() the bed, surrounds and backs later by the rear
  /// delay.
  std::vector<host::Responses> responses;
  /// Where it is to be saved: what is used of the response at its own rate, before
  /// normalisation, in the order in which audio::arrange() takes its channels.
  Planar used;
};

/// Trimming and fading act at the response's own rate, so that they fall on its frames.
/// Normalisation acts on the responses as they are arranged for the input, with one
/// gain for all. Throws Error naming the file, the value and the limit.
PreparedResponse prepareResponse(const Options& options, const audio::AudioInfo& input);

}  // namespace ulmar::render
