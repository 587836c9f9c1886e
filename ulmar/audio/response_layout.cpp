#include "ulmar/audio/response_layout.h"

#include <algorithm>
#include <initializer_list>
#include <utility>

#include "ulmar/audio/channel_layout.h"

namespace ulmar::audio {
namespace {

constexpr int kNumFeeds = 5;

// A file's speaker feeds in the engine's order: left, right, left surround, right
// surround, centre. Ten channels are twice five in the standard order of files; a
// low-frequency channel is left out.
Planar feedsOf(const AudioFile& file) {
  enum LibraryChannel : std::size_t {
    left,
    centre,
    right,
    leftSurround,
    rightSurround
  };
  constexpr LibraryChannel kEngineOrder[] = {left, right, leftSurround, rightSurround,
                                             centre};
  const int sources = numSources(ResponseLayout::feeds, file.info.channels);
  const std::vector<int> order =
      sources == 2 ? libraryOrder(kNumFeeds, {})
                   : libraryOrder(file.info.channels, file.info.speakers);
  Planar feeds;
  for (int source = 0; source < sources; ++source) {
    for (const LibraryChannel k : kEngineOrder) {
      const int channel = kNumFeeds * source + order[k];
      feeds.push_back(file.samples[static_cast<std::size_t>(channel)]);
    }
  }
  return feeds;
}

}  // namespace

bool isForFive(ResponseLayout layout) {
  return layout == ResponseLayout::bFormat || layout == ResponseLayout::feeds;
}

std::span<const int> channelCounts(ResponseLayout layout,
                                   std::optional<host::BFormat> convention) {
  static constexpr int kMono[] = {1};
  static constexpr int kStereo[] = {2};
  static constexpr int kTrueStereo[] = {4};
  static constexpr int kFeeds[] = {kNumFeeds, kNumFeeds + 1, 2 * kNumFeeds};
  static constexpr int kAmbix[] = {4, 8};
  static constexpr int kBFormat[] = {3, 4, 6, 8};
  switch (layout) {
    case ResponseLayout::mono:
      return kMono;
    case ResponseLayout::stereo:
      return kStereo;
    case ResponseLayout::trueStereo:
      return kTrueStereo;
    case ResponseLayout::feeds:
      return kFeeds;
    default:
      break;
  }
  if (convention == host::BFormat::ambix) return kAmbix;
  return kBFormat;
}

bool canHave(ResponseLayout layout, int channels,
             std::optional<host::BFormat> convention) {
  const std::span<const int> counts = channelCounts(layout, convention);
  return std::ranges::find(counts, channels) != counts.end();
}

bool statesSpeakersOf(ResponseLayout layout, const AudioInfo& response) {
  return layout != ResponseLayout::feeds || response.channels == 2 * kNumFeeds ||
         layoutOf(response).has_value();
}

std::optional<ResponseLayout> layoutOfResponse(const AudioInfo& response) {
  using enum ResponseLayout;
  const bool saysFiveOne =
      !response.speakers.empty() && layoutOf(response) == ChannelLayout::fiveOne;
  if (saysFiveOne) return feeds;
  if (canHave(bFormat, response.channels) && canHave(feeds, response.channels)) {
    return std::nullopt;
  }
  for (const ResponseLayout layout : {mono, stereo, trueStereo, feeds}) {
    if (canHave(layout, response.channels)) return layout;
  }
  return std::nullopt;
}

bool isOnlyBFormat(int channels) {
  using enum ResponseLayout;
  return canHave(bFormat, channels) &&
         std::ranges::none_of(
             std::initializer_list<ResponseLayout>{mono, stereo, trueStereo, feeds},
             [&](ResponseLayout layout) { return canHave(layout, channels); });
}

int numSources(ResponseLayout layout, int channels) {
  switch (layout) {
    case ResponseLayout::trueStereo:
      return 2;
    case ResponseLayout::bFormat:
      return channels <= 4 ? 1 : 2;
    case ResponseLayout::feeds:
      return channels == 2 * kNumFeeds ? 2 : 1;
    default:
      return 1;
  }
}

bool hasLowFrequency(ResponseLayout layout, int channels) {
  return layout == ResponseLayout::feeds && channels == kNumFeeds + 1;
}

std::vector<std::string> responseChannelNames(int channels,
                                              std::optional<host::BFormat> convention) {
  if (convention) {
    const int sources = numSources(ResponseLayout::bFormat, channels);
    const std::string letters = *convention == host::BFormat::fuma ? "WXYZ" : "WYZX";
    std::vector<std::string> result;
    for (int k = 0; k < channels; ++k) {
      const int perSource = channels / sources;
      const std::string letter(1, letters[static_cast<std::size_t>(k % perSource)]);
      const std::string side = k < perSource ? "left " : "right ";
      result.push_back(sources == 1 ? letter : side + letter);
    }
    return result;
  }
  switch (channels) {
    case 1:
      return {"mono"};
    case 2:
      return {"left", "right"};
    case 4:
      return {"LL", "LR", "RL", "RR"};
    default:
      break;
  }
  std::vector<std::string> names;
  for (int channel = 1; channel <= channels; ++channel) {
    names.push_back("channel " + std::to_string(channel));
  }
  return names;
}

Planar channelsInOrder(AudioFile response, ResponseLayout layout,
                       std::optional<host::BFormat> convention) {
  switch (layout) {
    case ResponseLayout::bFormat:
      return host::horizontalBFormat(response.samples, convention.value());
    case ResponseLayout::feeds:
      return feedsOf(response);
    default:
      return std::move(response.samples);
  }
}

host::Responses arrange(const Planar& channels, ResponseLayout layout,
                        int inputChannels) {
  switch (layout) {
    case ResponseLayout::bFormat:
      return host::arrangeForDecoding(channels, inputChannels);
    case ResponseLayout::feeds:
      return host::arrangeFeeds(channels, inputChannels);
    default:
      return host::arrangeResponses(channels, inputChannels);
  }
}

}  // namespace ulmar::audio
