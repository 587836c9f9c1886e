#include "apps/render/bed.h"

#include <array>
#include <numbers>

namespace ulmar::render {
namespace {

using audio::ChannelLayout;

// The library's order of channels from 5.0 on.
enum LibraryChannel : std::size_t {
  left,
  centre,
  right,
  leftSurround,
  rightSurround,
  lowFrequency,
  leftBack,
  rightBack
};

// Of one channel to the left and to the right.
using SideGains = std::array<float, 2>;

constexpr float kMinus3dB = 1.0F / std::numbers::sqrt2_v<float>;
constexpr SideGains kToLeft = {1.0F, 0.0F};
constexpr SideGains kToRight = {0.0F, 1.0F};
constexpr SideGains kToBoth = {kMinus3dB, kMinus3dB};
constexpr SideGains kSurroundToLeft = {kMinus3dB, 0.0F};
constexpr SideGains kSurroundToRight = {0.0F, kMinus3dB};
constexpr SideGains kToNone = {0.0F, 0.0F};

std::vector<SideGains> stereoGains(ChannelLayout from) {
  switch (from) {
    case ChannelLayout::mono:
      return {kToBoth};
    case ChannelLayout::stereo:
      return {kToLeft, kToRight};
    case ChannelLayout::quad:
      return {kToLeft, kToRight, kSurroundToLeft, kSurroundToRight};
    default:
      break;
  }
  std::vector<SideGains> gains = {kToLeft, kToBoth, kToRight, kSurroundToLeft,
                                  kSurroundToRight};
  if (from != ChannelLayout::five) gains.push_back(kToNone);
  if (from == ChannelLayout::sevenOne) {
    gains.insert(gains.end(), {kSurroundToLeft, kSurroundToRight});
  }
  return gains;
}

}  // namespace

bool isBed(ChannelLayout layout) { return audio::channelsOf(layout) > 2; }

std::vector<BedGroup> groupsOf(ChannelLayout bed) {
  if (bed == ChannelLayout::quad) {
    return {{&BedMap::front, {0, 1}}, {&BedMap::surrounds, {2, 3}}};
  }
  std::vector<BedGroup> groups = {{&BedMap::front, {left, right}},
                                  {&BedMap::surrounds, {leftSurround, rightSurround}},
                                  {&BedMap::centre, {centre}}};
  if (bed == ChannelLayout::sevenOne) {
    groups.push_back({&BedMap::back, {leftBack, rightBack}});
  }
  return groups;
}

std::vector<std::vector<float>> downMixGains(ChannelLayout from, ChannelLayout to) {
  std::vector<std::vector<float>> gains(
      static_cast<std::size_t>(audio::channelsOf(to)));
  for (const SideGains& channel : stereoGains(from)) {
    if (to == ChannelLayout::mono) {
      gains[0].push_back(kMinus3dB * (channel[0] + channel[1]));
    } else {
      gains[0].push_back(channel[0]);
      gains[1].push_back(channel[1]);
    }
  }
  return gains;
}

host::Responses responsesOf(GroupWay way, std::size_t numChannels,
                            const host::Responses& pair) {
  if (way == GroupWay::pair) return pair;
  std::vector<float> response = {0.0F};
  if (way == GroupWay::sum) response = host::monoSum(pair).samples[0];
  if (way == GroupWay::left) response = *pair.between(0, 0);
  if (way == GroupWay::right) response = *pair.between(1, 1);
  const int count = static_cast<int>(numChannels);
  return {count, count, count > 1,
          std::vector<std::vector<float>>(numChannels, response)};
}

}  // namespace ulmar::render
