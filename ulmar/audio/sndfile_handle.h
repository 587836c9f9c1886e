// What reader and writer share of libsndfile.
#pragma once

#include <sndfile.h>

#include <memory>
#include <vector>

#include "ulmar/audio/audio_file.h"

namespace ulmar::audio {

struct SndfileCloser {
  void operator()(SNDFILE* file) const { sf_close(file); }
};
using SndfileHandle = std::unique_ptr<SNDFILE, SndfileCloser>;

/// libsndfile's SF_CHANNEL_MAP_... value of each speaker, as its writers take them.
std::vector<int> channelMapOf(const std::vector<Speaker>& speakers);

/// The speakers of a channel map; what has no name here is Speaker::unknown.
std::vector<Speaker> speakersOf(const std::vector<int>& channelMap);

/// FLAC says nothing about speakers: the number of channels, 3 to 6, implies them.
/// Empty for other numbers.
std::vector<Speaker> flacSpeakers(int channels);

/// The order of Ogg files, Vorbis or Opus, which libsndfile does not tell. Empty for
/// numbers of channels that have none.
std::vector<Speaker> oggSpeakers(int channels);

}  // namespace ulmar::audio
