#include "apps/render/report.h"

#include <algorithm>
#include <cmath>
#include <string_view>
#include <utility>
#include <vector>

#include "apps/common/text.h"
#include "apps/render/bed.h"
#include "apps/render/option_values.h"
#include "ulmar/host/decibels.h"
#include "ulmar/host/geometry.h"

namespace ulmar::render {
namespace {

using apps::audioText;
using apps::countText;
using apps::decibelText;
using apps::fixed;
using apps::millisecondsText;
using apps::secondsText;

// One line: what it is about in a column of its own, then the sentence.
std::string line(std::string_view label, const std::string& text) {
  constexpr std::size_t kLabelWidth = 10;
  std::string result(label);
  result.resize(kLabelWidth, ' ');
  return result + text + '\n';
}

std::string inputText(const RenderPlan& plan) {
  const audio::AudioInfo& input = plan.input;
  return input.path + ": " + input.format + ", " +
         wordFor(plan.routing.input, kChannelLayoutWords) + ", " +
         audioText(input.channels, input.sampleRate, input.frames);
}

// rateTo: Hz, that it is resampled to.
std::string responseText(const ResponseInfo& info, const Options& options, int rateTo) {
  const int rate = info.sourceRate;
  std::string text = info.name + ": ";
  if (!info.format.empty()) text += info.format + ", ";
  text += audioText(info.channels, rate, info.sourceFrames);
  if (info.usedFrames != info.sourceFrames) {
    text += "; used from " + secondsText(info.startFrame, rate) + " to " +
            secondsText(info.startFrame + info.usedFrames, rate);
  }
  if (info.fadeFrames > 0) {
    text += "; faded out over " + secondsText(info.fadeFrames, rate);
  }
  if (rate != rateTo) text += "; resampled to " + std::to_string(rateTo) + " Hz";
  switch (options.normalization) {
    case Normalization::peak:
      return text + "; brought to a peak of 1 by " +
             decibelText(info.normalizationGain);
    case Normalization::energy:
      return text + "; brought to an energy of 1 by " +
             decibelText(info.normalizationGain);
    default:
      return text;
  }
}

std::string savedText(const Options& options, ResponseLayout layout) {
  return options.savedResponse + ": the response as it is used, " + nameOf(layout) +
         (layout == ResponseLayout::bFormat ? ", to be read with --bformat fuma" : "");
}

bool hasLowFrequency(audio::ChannelLayout layout) {
  return layout == audio::ChannelLayout::fiveOne ||
         layout == audio::ChannelLayout::sevenOne;
}

std::string pairText(const RenderPlan& plan) {
  if (plan.routing.output == audio::ChannelLayout::mono &&
      plan.routing.response != ResponseLayout::mono) {
    return "mono through the response's mono sum";
  }
  const bool mono = plan.routing.source == audio::ChannelLayout::mono;
  switch (plan.routing.response) {
    case ResponseLayout::mono:
      return mono ? "mono through the response"
                  : "left and right, each through the same response to its own side";
    case ResponseLayout::stereo:
      return mono ? "mono to left and right, each through its own response"
                  : "left to left and right to right, each through its own response";
    default:
      return mono ? "true stereo from mono: to the left through LL + RL, to the right "
                    "through LR + RR"
                  : "true stereo: left and right to both sides through LL, LR, RL, RR";
  }
}

std::string decodingText(const RenderPlan& plan) {
  const bool mono = plan.routing.source == audio::ChannelLayout::mono;
  const bool oneSource =
      audio::numSources(ResponseLayout::bFormat, plan.response.channels) == 1;
  std::string text;
  if (oneSource) {
    text = mono ? "mono through W, X and Y"
                : "left and right through W, X and Y in mid and side";
  } else {
    text = mono ? "mono through W, X and Y of both sources"
                : "left and right, each through its own W, X and Y";
  }
  return text +
         ", decoded for loudspeakers at 0, +-45 and +-130 degrees in two bands about " +
         fixed(*plan.crossover, 0) + " Hz";
}

std::string feedsText(const RenderPlan& plan) {
  std::string text;
  if (plan.routing.source == audio::ChannelLayout::mono) {
    text = "mono to five loudspeakers, each through its own response";
  } else if (plan.parts[0].responses.perOutput) {
    text =
        "left to the left loudspeakers, right to the right ones, both at -3 dB to the "
        "centre, each through its own response";
  } else {
    text = "left and right to five loudspeakers each, through their own responses";
  }
  if (audio::hasLowFrequency(ResponseLayout::feeds, plan.response.channels)) {
    text += "; the response's low-frequency channel is not used";
  }
  return text;
}

std::string_view wayText(GroupWay way, std::size_t numChannels, ResponseLayout layout) {
  if (way == GroupWay::off) return "dry alone";
  if (layout == ResponseLayout::mono) return "through the response";
  switch (way) {
    case GroupWay::pair:
      return layout == ResponseLayout::trueStereo
                 ? "by pairs through LL, LR, RL and RR"
                 : "by pairs, each side through its own response";
    case GroupWay::left:
      return "through the response's left";
    case GroupWay::right:
      return "through the response's right";
    default:
      return numChannels == 1 ? "through the response's mono sum"
                              : "each through the response's mono sum";
  }
}

// Groups that go the same way are named together.
std::string pairwiseText(const RenderPlan& plan) {
  const BedMap map = plan.options.bedMap.value_or(BedMap{});
  std::vector<std::pair<std::string, std::string_view>> ways;  // groups, way
  for (const BedGroup& group : groupsOf(plan.routing.source)) {
    const std::string name = wordFor(group.way, kGroupWords);
    const std::string_view way =
        wayText(map.*group.way, group.channels.size(), plan.routing.response);
    const auto same =
        std::ranges::find(ways, way, &std::pair<std::string, std::string_view>::second);
    if (same == ways.end()) {
      ways.emplace_back(name, way);
    } else {
      same->first += ", " + name;
    }
  }
  std::string text;
  for (const auto& [groups, way] : ways) {
    if (!text.empty()) text += "; ";
    text += groups + " ";
    text += way;
  }
  return text;
}

std::string routingText(const RenderPlan& plan) {
  const Routing& routing = plan.routing;
  std::string text = routing.pairwise()  ? pairwiseText(plan)
                     : routing.decodes() ? decodingText(plan)
                     : routing.forFive() ? feedsText(plan)
                                         : pairText(plan);
  if (routing.folds()) text = "folded to left and right; " + text;
  if (routing.source != routing.input) {
    text = std::string("down-mixed to ") +
           wordFor(routing.source, kChannelLayoutWords) + "; " + text;
  }
  if (routing.dryBed) return text + ", and added to the bed, which stays as it is";
  if (hasLowFrequency(routing.input)) {
    text +=
        hasLowFrequency(routing.output)
            ? "; low-frequency channel copied untouched, in time with the dry signal"
            : "; low-frequency channel left out";
  } else if (routing.addsLowFrequency()) {
    text += "; low-frequency channel silent, as the input has none";
  }
  return text;
}

std::string truncationText(const RenderPlan& plan) {
  if (!plan.options.hfTruncate) return "";
  const int kept = plan.stream().upperBandLen();
  if (kept == plan.stream().shape().length()) {
    return ", upper band left whole, as the response is too short to cut";
  }
  return ", upper band cut after " + secondsText(kept, plan.input.sampleRate) +
         (plan.response.predelay > 0 ? " of predelay and response" : "");
}

// "31 partitions of 128 frames, in 8 segments of 1 chunk".
std::string geometryText(const host::Geometry& geometry) {
  return countText(geometry.numPartitions(), "partition") + " of " +
         std::to_string(geometry.blockLen) + " frames, in " +
         countText(geometry.numSegments, "segment") + " of " +
         countText(geometry.chunksPerSegment, "chunk");
}

std::string engineText(const RenderPlan& plan) {
  std::string text = geometryText(host::geometryOf(plan.params()));
  if (const auto& tail = plan.stream().tail()) {
    text += ", then " + geometryText(tail->geometry) + ", spread over " +
            std::to_string(tail->numSlots) + " blocks of the first";
  }
  text += truncationText(plan);
  if (plan.jobs > 1) text += ", in " + countText(plan.jobs, "stream") + " side by side";
  return text + ", " + apps::memoryText(plan.memoryBytes());
}

std::string latencyText(const RenderPlan& plan) {
  const int latency = plan.latency();
  return std::to_string(latency) + " frames (" +
         millisecondsText(static_cast<double>(latency) / plan.input.sampleRate) +
         "), " +
         (plan.response.ringing > 0 ? "a block and the resampled response's ringing, "
                                    : "") +
         (plan.options.align ? "taken off, wet and dry aligned"
                             : "left in: the wet signal lags the dry");
}

std::string mixText(const RenderPlan& plan) {
  const Options& options = plan.options;
  std::string text = "wet " + decibelText(options.wetGain) + ", dry " +
                     (options.dryBed ? "as it is" : decibelText(options.dryGain));
  if (plan.response.predelay > 0) {
    text += ", predelay " + millisecondsText(options.predelay) + " (" +
            countText(plan.response.predelay, "frame") + ")";
  }
  if (options.rearDelay > 0.0) {
    text +=
        ", surrounds " + millisecondsText(options.rearDelay) + " late (" +
        countText(apps::framesIn(options.rearDelay, plan.input.sampleRate), "frame") +
        ")";
  }
  if (options.crossfeed > 0.0) text += ", crossfeed " + fixed(options.crossfeed, 2);
  return text;
}

std::string outputText(const RenderPlan& plan) {
  const audio::AudioFormat& format = plan.format;
  std::string text =
      plan.options.output.empty() ? "" : audio::outputName(plan.options.output) + ": ";
  text += wordFor(format.samples, kFormatWords);
  if (format.samples != audio::SampleFormat::float32) text += " bit";
  text += ", " + std::string(wordFor(plan.routing.output, kChannelLayoutWords)) + ", " +
          audioText(format.channels, format.sampleRate, plan.outFrames());
  if (plan.tailFrames > 0) {
    text += ", of which the tail " + secondsText(plan.tailFrames, format.sampleRate);
    if (plan.fadeFrames > 0) text += ", faded at its end";
  }
  return text;
}

// One value of each channel, under its name.
std::string channelsText(const Rendering& rendering, double ChannelLevel::*value) {
  std::string text;
  for (std::size_t j = 0; j < rendering.channels.size(); ++j) {
    const double gain = rendering.levels[j].*value;
    if (j > 0) text += ", ";
    if (!rendering.channels[j].empty()) text += rendering.channels[j] + " ";
    text += gain > 0.0 ? decibelText(gain) + "FS" : "silence";
  }
  return text;
}

std::string speedText(const RenderPlan& plan, const Rendering& rendering) {
  // Of less than this, setting up is most of what was timed.
  constexpr double kLeastToCompare = 0.1;  // s
  const double duration = plan.outSeconds();
  const std::string elapsed = " in " + secondsText(rendering.elapsed);
  if (duration < kLeastToCompare) return countText(plan.outFrames(), "frame") + elapsed;
  const double speed = rendering.timesRealTime;
  return secondsText(duration) + elapsed + ", " + fixed(speed, speed < 10.0 ? 1 : 0) +
         " times real time";
}

// What change of level would have avoided clipping, in dB.
std::string adviceText(const Options& options, double change) {
  const auto takes = [change](double gain) {
    return gain == 0.0 || decibelsOfGain(gain) + change >= kLevel.low;
  };
  // The gains that a signal passes.
  const std::string names = options.dryGain == 0.0   ? "--wet"
                            : options.wetGain == 0.0 ? "--dry"
                                                     : "--wet and --dry";
  if (takes(options.wetGain) && takes(options.dryGain)) {
    return fixed(change, 2) + " dB on " + names + " would avoid it";
  }
  return "no level of " + names + " would avoid it, as the least is " +
         fixed(kLevel.low, 0) + kLevel.unit;
}

std::string peakText(const RenderPlan& plan, const Rendering& rendering) {
  std::string text = channelsText(rendering, &ChannelLevel::peak);
  const double gain = rendering.gainWithoutClipping;
  if (rendering.outputGain != 1.0) {
    text += ", at an output gain of " + decibelText(rendering.outputGain);
  }
  if (gain == 1.0) return text + ", within full scale";
  // Rounded down, so that it is enough.
  const double decibels = std::floor(100.0 * decibelsOfGain(gain)) / 100.0;
  const std::string advice = adviceText(plan.options, decibels);
  if (rendering.beyondLibrary) {
    return text + ", clipped: samples are limited to " +
           decibelText(kMaxSample / RenderPlan::kScale) + "FS; " + advice;
  }
  if (plan.format.samples == audio::SampleFormat::float32) {
    return text + ", above full scale, which a float file keeps; " + advice;
  }
  return text + ", clipped: " + countText(rendering.limitedSamples, "sample") +
         " limited to full scale; " + advice + ", and so would --gain auto";
}

}  // namespace

std::string warning(const RenderPlan& plan, const Rendering& rendering) {
  if (rendering.limitedSamples == 0) return "";
  return countText(rendering.limitedSamples, "sample") + " of " +
         audio::outputName(plan.options.output) +
         " limited to full scale; --gain auto avoids it";
}

std::string describe(const Options& options, const PreparedResponse& prepared) {
  const ResponseInfo& info = prepared.info;
  return line("response", responseText(info, options, info.sourceRate)) +
         line("saved", savedText(options, prepared.routing.response));
}

std::string describe(const RenderPlan& plan) {
  const Options& options = plan.options;
  const std::string saved =
      options.savedResponse.empty()
          ? ""
          : line("saved", savedText(options, plan.routing.response));
  return line("input", inputText(plan)) +
         line("response", responseText(plan.response, options, plan.input.sampleRate)) +
         saved + line("routing", routingText(plan)) + line("mix", mixText(plan)) +
         line("engine", engineText(plan)) + line("latency", latencyText(plan)) +
         line("output", outputText(plan));
}

std::string describe(const RenderPlan& plan, const Rendering& rendering) {
  return line("peak", peakText(plan, rendering)) +
         line("level", channelsText(rendering, &ChannelLevel::rms) + ", as RMS") +
         line("rendered", speedText(plan, rendering));
}

}  // namespace ulmar::render
