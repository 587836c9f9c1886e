// What goes where: the layouts of material, response and output, and how they meet.
#pragma once

#include "apps/render/options.h"
#include "host/audio_file.h"
#include "host/channel_layout.h"

namespace ulmar::render {

/// "a stereo response", "speaker feeds".
const char* nameOf(ResponseLayout layout);

struct Routing {
  host::ChannelLayout material = host::ChannelLayout::mono;
  ResponseLayout response = ResponseLayout::mono;
  host::ChannelLayout output = host::ChannelLayout::mono;

  /// Whether there are five loudspeakers.
  bool surround() const;
  /// Whether they get their signals from the decoder, or else as the response has them.
  bool decodes() const { return surround() && response == ResponseLayout::bFormat; }
  /// Whether five channels of material reach the reverberation as two.
  bool folds() const;
  /// Whether the output has a low-frequency channel with nothing in it.
  bool addsLowFrequency() const;

  /// Channels that the stream is called with.
  int streamInputs() const { return host::channelsOf(material); }
  int streamOutputs() const;
};

/// response: null for a room. Throws Error naming the file for layouts that cannot be
/// told or do not meet, and for options that would have no effect.
Routing routingFor(const Options& options, const host::AudioInfo& material,
                   const host::AudioInfo* response);

}  // namespace ulmar::render
