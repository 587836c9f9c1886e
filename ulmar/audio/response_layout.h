// What the channels of an impulse response are, and how they serve the input's.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "ulmar/audio/audio_file.h"
#include "ulmar/host/responses.h"
#include "ulmar/host/surround_responses.h"

namespace ulmar::audio {

enum class ResponseLayout {
  mono,
  stereo,      // left, right
  trueStereo,  // left to left, left to right, right to left, right to right
  bFormat,     // W, X and Y, of one source or of a left and a right one
  feeds        // of five loudspeakers, from both sides of the input or five from each
};

/// Whether the layout is for five loudspeakers.
bool isForFive(ResponseLayout layout);

/// How many channels a response of the layout may have, the least first. convention: of
/// B-format; without it, what either has.
std::span<const int> channelCounts(ResponseLayout layout,
                                   std::optional<host::BFormat> convention);

/// Whether a response of the layout may have so many channels.
bool canHave(ResponseLayout layout, int channels,
             std::optional<host::BFormat> convention = std::nullopt);

/// Whether the file states no loudspeakers other than those of the layout. Only feeds
/// are told apart by them: five channels are those of 5.0, six those of 5.1.
bool statesSpeakersOf(ResponseLayout layout, const AudioInfo& response);

/// What the channels are by their number, and six by the loudspeakers that the file
/// states. Nothing if that may be B-format or nothing that can be rendered.
std::optional<ResponseLayout> layoutOfResponse(const AudioInfo& response);

/// Whether so many channels can only be B-format.
bool isOnlyBFormat(int channels);

/// Sources that a response of so many channels was recorded from, 1 or 2: true stereo
/// and the larger numbers of B-format and feeds have a left and a right one.
int numSources(ResponseLayout layout, int channels);

/// Whether one of the channels is a low-frequency one, which is not used.
bool hasLowFrequency(ResponseLayout layout, int channels);

/// Names for people: "left", "LR", "channel 7"; of B-format "W", "X", and of two
/// sources "left W".
std::vector<std::string> responseChannelNames(
    int channels, std::optional<host::BFormat> convention = std::nullopt);

/// A response's channels in the order in which arrange() takes them: W, X and Y per
/// source, without a height; feeds in the engine's order, without a low-frequency
/// channel; or as they are. convention: given with B-format. The number of channels and
/// the loudspeakers shall be the layout's. Throws Error otherwise.
Planar channelsInOrder(AudioFile response, ResponseLayout layout,
                       std::optional<host::BFormat> convention);

/// The responses of a stream whose input has so many channels. Throws Error if the
/// layout has no place for them.
host::Responses arrange(const Planar& channels, ResponseLayout layout,
                        int inputChannels);

}  // namespace ulmar::audio
