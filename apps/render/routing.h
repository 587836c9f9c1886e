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
  /// What the streams are given: the input, or its down-mix.
  audio::ChannelLayout source = audio::ChannelLayout::mono;
  ResponseLayout response = ResponseLayout::mono;
  audio::ChannelLayout output = audio::ChannelLayout::mono;
  /// The output is the input, to which the reverberation of the source is added.
  bool dryBed = false;

  /// Whether five loudspeakers get their signals from one response, from the decoder
  /// or as the response has them.
  bool forFive() const { return audio::isForFive(response); }
  bool decodes() const { return response == ResponseLayout::bFormat; }
  /// Whether the channels of a bed go through the response group by group.
  bool pairwise() const;
  /// Whether five channels of input reach the reverberation as two.
  bool folds() const;
  /// Whether the output has a low-frequency channel with nothing in it.
  bool addsLowFrequency() const;

  /// Channels that the streams take and give.
  int streamInputs() const { return audio::channelsOf(source); }
  int streamOutputs() const;
  /// Channels of the output that anything is rendered to.
  int renderedChannels() const {
    return dryBed ? audio::channelsOf(output) : streamOutputs();
  }
  /// Channels read for them: what they take, then a dry bed.
  int channelsRead() const {
    return streamInputs() + (dryBed ? audio::channelsOf(input) : 0);
  }
};

/// response: null for a room. Throws Error naming the file for layouts that cannot be
/// told or do not meet, and for options that would have no effect.
Routing routingFor(const Options& options, const audio::AudioInfo& input,
                   const audio::AudioInfo* response);

}  // namespace ulmar::render
