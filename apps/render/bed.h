// Beds: material for more than two loudspeakers, the groups of channels that go through
// a mono, stereo or true-stereo response together, and its down-mix.
#pragma once

#include <cstddef>
#include <vector>

#include "ulmar/audio/channel_layout.h"
#include "ulmar/host/responses.h"

namespace ulmar::render {

/// How the channels of a group go through a response from left and right to left and
/// right.
enum class GroupWay {
  pair,   // left and right as the response has them
  sum,    // each channel through its mono sum, see host::monoSum()
  left,   // each through the response from left to left
  right,  // each through the response from right to right
  off     // not at all: they stay dry
};

/// The way of each group; a bed lacks some of them.
struct BedMap {
  GroupWay front = GroupWay::pair;
  GroupWay centre = GroupWay::sum;
  GroupWay surrounds = GroupWay::pair;
  GroupWay back = GroupWay::pair;
};

struct BedGroup {
  GroupWay BedMap::*way;
  std::vector<std::size_t> channels;  // in the library's order: left and right, or one
};

/// Whether the layout has surrounds.
bool isBed(audio::ChannelLayout layout);

/// The low-frequency channel belongs to none.
std::vector<BedGroup> groupsOf(audio::ChannelLayout bed);

/// gains[to][from], both in the library's order, to mono or stereo from any layout: the
/// centre at -3 dB to both sides, surrounds and backs at -3 dB to their own, and mono
/// as both sides at -3 dB (ITU-R BS.775). The low-frequency channel is left out.
std::vector<std::vector<float>> downMixGains(audio::ChannelLayout from,
                                             audio::ChannelLayout to);

/// The responses of a group of so many channels, from those of a pair.
host::Responses responsesOf(GroupWay way, std::size_t numChannels,
                            const host::Responses& pair);

}  // namespace ulmar::render
