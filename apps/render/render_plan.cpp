#include "apps/render/render_plan.h"

#include <algorithm>
#include <numeric>
#include <thread>
#include <utility>

#include "apps/common/files.h"
#include "apps/common/text.h"
#include "apps/draw/picture.h"
#include "apps/render/bed.h"
#include "apps/render/timeline.h"
#include "ulmar/host/crossover_design.h"
#include "ulmar/host/error.h"
#include "ulmar/host/geometry.h"

namespace ulmar::render {
namespace {

using apps::framesIn;
using apps::refuseToReplace;

void refuseUseless(const Options& options, const Routing& routing,
                   const audio::AudioInfo& input) {
  if (options.crossfeed > 0.0 && routing.streamInputs() < 2) {
    fail("cannot feed ", input.path, " across (--crossfeed ", options.crossfeed,
         "): it goes through the response as 1 channel, and 2 are needed");
  }
}

std::optional<double> crossoverOf(const Options& options, const Routing& routing) {
  if (!routing.decodes()) return std::nullopt;
  return options.crossover.value_or(host::kDefaultCrossover);
}

host::StreamOptions streamOptions(const Options& options,
                                  const PreparedResponse& prepared, int sampleRate,
                                  int blockLen) {
  const Routing& routing = prepared.routing;
  host::StreamOptions stream;
  stream.blockLen = blockLen;
  stream.hfTruncate = options.hfTruncate;
  stream.tail = options.tailBlock;
  stream.wetGain = static_cast<float>(options.wetGain);
  stream.dryGain = routing.dryBed ? 0.0F : static_cast<float>(options.dryGain);
  stream.crossfeed = static_cast<float>(options.crossfeed);
  stream.dryDelay =
      options.align ? blockLen + static_cast<int>(prepared.info.ringing) : 0;
  if (routing.forFive()) {
    stream.foldToStereo = routing.folds();
    stream.passThrough = !routing.decodes();
    stream.rearDelay = static_cast<int>(framesIn(options.rearDelay, sampleRate));
  }
  if (const auto crossover = crossoverOf(options, routing)) {
    stream.crossover = host::designCrossover(*crossover, sampleRate);
  }
  return stream;
}

std::vector<std::size_t> firstChannels(int count) {
  std::vector<std::size_t> channels(static_cast<std::size_t>(count));
  std::iota(channels.begin(), channels.end(), std::size_t{0});
  return channels;
}

// The parts of a rendering in blocks of one length.
std::vector<StreamPart> partsInBlocksOf(int blockLen, const Options& options,
                                        const PreparedResponse& prepared,
                                        int sampleRate) {
  const host::StreamOptions streams =
      streamOptions(options, prepared, sampleRate, blockLen);
  const auto partOf = [&](const host::Responses& responses,
                          std::vector<std::size_t> inputs,
                          std::vector<std::size_t> outputs) {
    const int numInputs = static_cast<int>(inputs.size());
    const int numOutputs = static_cast<int>(outputs.size());
    return StreamPart{
        responses, std::move(inputs), std::move(outputs),
        host::StreamPlan(numInputs, numOutputs, responses.shape(), streams)};
  };
  const Routing& routing = prepared.routing;
  std::vector<StreamPart> parts;
  if (routing.pairwise()) {
    const std::vector<BedGroup> groups = groupsOf(routing.source);
    for (std::size_t k = 0; k < groups.size(); ++k) {
      parts.push_back(
          partOf(prepared.responses[k], groups[k].channels, groups[k].channels));
    }
  } else {
    parts.push_back(partOf(prepared.responses[0], firstChannels(routing.streamInputs()),
                           firstChannels(routing.streamOutputs())));
  }
  return parts;
}

// In the blocks asked for, or else, where nobody hears the latency, in those that take
// the least work for a frame.
std::vector<StreamPart> partsOf(const Options& options,
                                const PreparedResponse& prepared, int sampleRate) {
  const auto partsIn = [&](int blockLen) {
    return partsInBlocksOf(blockLen, options, prepared, sampleRate);
  };
  if (options.blockLen) return partsIn(*options.blockLen);
  if (!options.align) return partsIn(kLiveBlockLen);
  // Longer blocks leave the caches, and jobs side by side would need longer histories.
  constexpr int kLongest = 1 << 13;
  const int longest =
      options.tailBlock > 0 ? std::min(kLongest, options.tailBlock / 2) : kLongest;
  std::vector<StreamPart> best = partsIn(std::min(kLiveBlockLen, longest));
  const auto workPerFrame = [](const std::vector<StreamPart>& parts) {
    return parts[0].stream.work().mean / parts[0].stream.latency();
  };
  for (int blockLen = 2 * kLiveBlockLen; blockLen <= longest; blockLen *= 2) {
    std::vector<StreamPart> parts = partsIn(blockLen);
    if (workPerFrame(parts) < workPerFrame(best)) best = std::move(parts);
  }
  return best;
}

// The wet signal ends a response's length less one frame after the input, a latency
// later where that is not taken off, and in the surrounds by their delay later. The
// decoder's crossover rings on beyond that.
std::int64_t fullTailFrames(const RenderPlan& plan) {
  if (plan.options.wetGain == 0.0) return 0;
  int length = 0;
  for (const StreamPart& part : plan.parts) {
    length = std::max(length, part.stream.shape().length());
  }
  return length - 1 + plan.blockLen() - plan.skippedFrames + plan.params().rearDelay +
         (plan.routing.decodes() ? host::crossoverTail(plan.params().xoverCfs) : 0);
}

// Settles how long the end rings on, and over how much of that it is faded where it is
// cut short.
void setTail(RenderPlan& plan) {
  constexpr double kFade = 0.05;  // s
  const int sampleRate = plan.input.sampleRate;
  const Tail& tail = plan.options.tail;
  const std::int64_t full = fullTailFrames(plan);
  if (tail.kind == Tail::Kind::full) plan.tailFrames = full;
  if (tail.kind != Tail::Kind::seconds) return;
  plan.tailFrames = framesIn(tail.seconds, sampleRate);
  if (plan.tailFrames < full) {
    plan.fadeFrames = std::min(plan.tailFrames, framesIn(kFade, sampleRate));
  }
}

// What a picture shows of the cost of blocks is that of one stream.
int jobsAskedFor(const Options& options) {
  if (!options.picture.empty()) return 1;
  return options.jobs.value_or(
      std::max(1, static_cast<int>(std::thread::hardware_concurrency())));
}

audio::AudioFormat outputFormat(const RenderPlan& plan) {
  const Options& options = plan.options;
  audio::AudioFormat format;
  format.channels = audio::channelsOf(plan.routing.output);
  format.sampleRate = plan.input.sampleRate;
  if (options.format) {
    format.samples = *options.format;
  } else if (!options.output.empty()) {
    format.samples = audio::finestFormat(options.output);
  }
  format.frames = plan.outFrames();
  format.tags = plan.input.tags;
  format.dither = options.dither && format.samples == audio::SampleFormat::pcm16;
  format.speakers = audio::fileSpeakers(plan.routing.output,
                                        audio::surroundNameOf(plan.input.speakers));
  return format;
}

}  // namespace

RenderPlan makeRenderPlan(const Options& options, const audio::AudioInfo& input,
                          const PreparedResponse& prepared) {
  if (!options.output.empty()) {
    refuseToReplace(options.output, input.path);
    if (!options.room) refuseToReplace(options.output, options.response);
  }
  const Routing routing = prepared.routing;
  refuseUseless(options, routing, input);
  std::vector<StreamPart> parts = partsOf(options, prepared, input.sampleRate);
  RenderPlan plan{.options = options,
                  .input = input,
                  .response = prepared.info,
                  .routing = routing,
                  .parts = std::move(parts),
                  .crossover = crossoverOf(options, routing),
                  .format = {}};
  plan.skippedFrames = options.align ? plan.latency() : 0;
  setTail(plan);
  plan.format = outputFormat(plan);
  plan.jobs = jobsFor(plan, jobsAskedFor(options));
  if (!options.output.empty()) audio::checkAudioOutput(options.output, plan.format);
  if (!options.picture.empty()) {
    refuseToReplace(options.picture, input.path);
    if (!options.room) refuseToReplace(options.picture, options.response);
    draw::checkPictureOutput(options.picture);
  }
  return plan;
}

}  // namespace ulmar::render
