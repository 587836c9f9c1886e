// What goes where: the layouts of input, response and output, and how they meet.
#pragma once

#include "apps/render/options.h"
#include "ulmar/audio/audio_file.h"
#include "ulmar/audio/channel_layout.h"

namespace ulmar::render {

/// "a stereo response", "speaker feeds".
const char* nameOf(ResponseLayout layout);

struct Routing {
  audio::ChannelLayout input = audio::ChannelLayout::mono;
  ResponseLayout response = ResponseLayout::mono;
  audio::ChannelLayout output = audio::ChannelLayout::mono;

  /// Whether there are five loudspeakers.
  bool surround() const;
  /// Whether they get their signals from the decoder, or else as the response has them.
  bool decodes() const { return surround() && response == ResponseLayout::bFormat; }
  /// Whether five channels stay five: front and surrounds each go through the response
  /// as a pair, the centre by itself.
  bool pairwise() const;
  /// Whether five channels of input reach the reverberation as two.
  bool folds() const;
  /// Whether the output has a low-frequency channel with nothing in it.
  bool addsLowFrequency() const;

  /// Channels that the stream is called with.
  int streamInputs() const { return audio::channelsOf(input); }
  int streamOutputs() const;
};

/// response: null for a room. Throws Error naming the file for layouts that cannot be
/// told or do not meet, and for options that would have no effect.
Routing routingFor(const Options& options, const audio::AudioInfo& input,
                   const audio::AudioInfo* response);

}  // namespace ulmar::render
