#include "apps/inspect/suggestions.h"

#include <algorithm>
#include <cmath>

#include "ulmar/audio/channel_layout.h"
#include "ulmar/host/crossover_design.h"
#include "ulmar/host/plan.h"
#include "ulmar/host/responses.h"
#include "ulmar/host/surround_responses.h"

namespace ulmar::inspect {
namespace {

constexpr int kInputChannels = 2;
constexpr int kNumLoudspeakers = 5;

// What lies before an onset at a tenth of the peak, such as the ringing of a sharp
// filter.
constexpr double kLeadIn = 0.001;  // s

void suggestPart(Suggestions& suggestions, const std::vector<Channel>& channels,
                 std::size_t numFrames, double sampleRate) {
  constexpr double kMaxFade = 0.25;  // s
  std::size_t start = numFrames;
  std::size_t end = 0;
  std::size_t soundEnd = 0;
  for (const Channel& channel : channels) {
    if (!channel.measures.onset) continue;
    const auto after = [&](double seconds) {
      return *channel.measures.onset +
             static_cast<std::size_t>(std::llround(seconds * sampleRate));
    };
    start = std::min(start, *channel.measures.onset);
    end = std::max(end, after(channel.measures.broadband.decay.end));
    soundEnd = std::max(soundEnd, after(channel.measures.profile.end()));
  }
  end = std::clamp(end, start + 1, numFrames);
  start -= std::min(start, static_cast<std::size_t>(kLeadIn * sampleRate));
  suggestions.start = start;
  suggestions.length = end - start;
  if (end < std::min(soundEnd, numFrames)) {
    suggestions.fade = std::min(suggestions.length / 10,
                                static_cast<std::size_t>(kMaxFade * sampleRate));
  }
}

/// 3 channels are one source in B-format and 8 are two, whatever the convention.
bool isBFormat(const audio::AudioInfo& info) {
  return info.channels == 3 || info.channels == 8;
}

/// How the renderer would arrange the channels; nothing if the file does not say what
/// they are.
std::optional<host::Responses> arrangementOf(const audio::AudioInfo& info) {
  const auto silent = [](std::size_t count) { return Planar(count, {0.0F}); };
  if (isBFormat(info)) {
    return host::arrangeForDecoding(silent(info.channels == 3 ? 3 : 6), kInputChannels);
  }
  switch (info.channels) {
    case 1:
    case 2:
    case 4:
      return host::arrangeResponses(silent(static_cast<std::size_t>(info.channels)),
                                    kInputChannels);
    case 6:
      // Only a file that says so is 5.1, whose low-frequency channel is left out.
      if (info.speakers.empty() || !audio::layoutOf(info)) return std::nullopt;
      return host::arrangeFeeds(silent(5), kInputChannels);
    case 5:
    case 10:
      return host::arrangeFeeds(silent(static_cast<std::size_t>(info.channels)),
                                kInputChannels);
    default:
      return std::nullopt;
  }
}

BlockChoice choiceOf(int blockLen, int irLen, const host::Responses& arrangement,
                     int sampleRate) {
  host::StreamOptions options;
  options.blockLen = blockLen;
  options.dryGain = 1.0F;
  options.dryDelay = blockLen;
  options.passThrough = arrangement.numOutputs == kNumLoudspeakers;
  options.crossover = host::designCrossover(host::kDefaultCrossover, 48000.0);
  host::ResponseShape shape = arrangement.shape();
  std::fill(shape.lengths.begin(), shape.lengths.end(), irLen);
  // What is for more than two outputs is decoded or passed on to all loudspeakers.
  const int numOutputs =
      arrangement.numOutputs > 2 ? kNumLoudspeakers : arrangement.numOutputs;
  const host::StreamPlan plan(kInputChannels, numOutputs, shape, options);
  constexpr double kPicosecond = 1e-12;
  BlockChoice choice;
  choice.blockLen = blockLen;
  choice.tailBlockLen = plan.tail() ? plan.tail()->geometry.blockLen : 0;
  choice.latency = static_cast<double>(blockLen) / sampleRate;
  choice.memory = plan.streamBytes() + plan.setBytes();
  choice.meanLoad = kPicosecond * plan.work().mean / choice.latency;
  choice.worstLoad = kPicosecond * plan.work().worst / choice.latency;
  return choice;
}

}  // namespace

Suggestions suggest(const std::vector<Channel>& channels,
                    const audio::AudioInfo& info) {
  constexpr int kShortest = 64;
  constexpr int kLongestShown = 2048;
  Suggestions suggestions;
  suggestPart(suggestions, channels, static_cast<std::size_t>(info.frames),
              info.sampleRate);
  const auto arrangement = arrangementOf(info);
  if (!arrangement || suggestions.length > std::size_t{host::kMaxIRLen}) {
    return suggestions;
  }
  suggestions.asBFormat = isBFormat(info);
  const auto irLen = static_cast<int>(suggestions.length);
  bool affordable = false;
  for (int blockLen = kShortest;
       blockLen <= kLongestShown || (!affordable && blockLen <= host::kMaxBlockLen);
       blockLen *= 2) {
    suggestions.blocks.push_back(
        choiceOf(blockLen, irLen, *arrangement, info.sampleRate));
    if (affordable) continue;
    affordable = suggestions.blocks.back().meanLoad <= Suggestions::kAffordable;
    suggestions.suggestedBlock = suggestions.blocks.size() - 1;
  }
  return suggestions;
}

}  // namespace ulmar::inspect
