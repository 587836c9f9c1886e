#include "apps/render/render_plan.h"

#include <algorithm>
#include <thread>
#include <utility>

#include "apps/common/files.h"
#include "apps/common/text.h"
#include "apps/draw/picture.h"
#include "apps/render/timeline.h"
#include "ulmar/host/crossover_design.h"
#include "ulmar/host/error.h"
#include "ulmar/host/geometry.h"

namespace ulmar::render {
namespace {

using apps::framesIn;
using apps::refuseToReplace;

// What float files are rendered at. A power of two changes only the exponents of the
// scaled gains, of every product and sum and of their rounding, so that dividing by it
// gives the same bits, as long as no number becomes denormal: gains of -200 dB and
// outputs of 2^-94 are normal at this scale. The library's limit lies at 2^32 then,
// 192.7 dB above full scale.
constexpr float kFloatScale = 0x1p-32F;

void refuseUseless(const Options& options, const audio::AudioInfo& input) {
  if (options.crossfeed > 0.0 && input.channels < 2) {
    fail("cannot feed ", input.path, " across (--crossfeed ", options.crossfeed,
         "): it has ", input.channels, " channel, and 2 are needed");
  }
}

std::optional<double> crossoverOf(const Options& options, const Routing& routing) {
  if (!routing.decodes()) return std::nullopt;
  return options.crossover.value_or(host::kDefaultCrossover);
}

host::StreamOptions streamOptions(const Options& options, const Routing& routing,
                                  const ResponseInfo& response, int sampleRate,
                                  int blockLen) {
  host::StreamOptions stream;
  stream.blockLen = blockLen;
  stream.hfTruncate = options.hfTruncate;
  stream.tail = options.tailBlock;
  stream.wetGain = static_cast<float>(options.wetGain);
  stream.dryGain = static_cast<float>(options.dryGain);
  stream.crossfeed = static_cast<float>(options.crossfeed);
  stream.dryDelay = options.align ? blockLen + static_cast<int>(response.ringing) : 0;
  if (routing.surround()) {
    stream.foldToStereo = routing.folds();
    stream.passThrough = !routing.decodes();
    stream.rearDelay = static_cast<int>(framesIn(options.rearDelay, sampleRate));
  }
  if (const auto crossover = crossoverOf(options, routing)) {
    stream.crossover = host::designCrossover(*crossover, sampleRate);
  }
  return stream;
}

// The stream in the blocks asked for, or else, where nobody hears the latency, in those
// that take the least work for a frame.
host::StreamPlan streamPlan(const Options& options, const PreparedResponse& prepared,
                            int sampleRate) {
  const Routing& routing = prepared.routing;
  const auto planFor = [&](int blockLen) {
    return host::StreamPlan(
        routing.streamInputs(), routing.streamOutputs(), prepared.responses.shape(),
        streamOptions(options, routing, prepared.info, sampleRate, blockLen));
  };
  if (options.blockLen) return planFor(*options.blockLen);
  if (!options.align) return planFor(kLiveBlockLen);
  // Longer blocks leave the caches, and jobs side by side would need longer histories.
  constexpr int kLongest = 1 << 13;
  const int longest =
      options.tailBlock > 0 ? std::min(kLongest, options.tailBlock / 2) : kLongest;
  host::StreamPlan best = planFor(std::min(kLiveBlockLen, longest));
  const auto workPerFrame = [](const host::StreamPlan& plan) {
    return plan.work().mean / plan.latency();
  };
  for (int blockLen = 2 * best.latency(); blockLen <= longest; blockLen *= 2) {
    host::StreamPlan plan = planFor(blockLen);
    if (workPerFrame(plan) < workPerFrame(best)) best = std::move(plan);
  }
  return best;
}

// The wet signal ends a response's length less one frame after the input, a latency
// later where that is not taken off, and in the surrounds by their delay later. The
// decoder's crossover rings on beyond that.
std::int64_t tailFrames(const RenderPlan& plan) {
  const Tail& tail = plan.options.tail;
  switch (tail.kind) {
    case Tail::Kind::none:
      return 0;
    case Tail::Kind::seconds:
      return framesIn(tail.seconds, plan.input.sampleRate);
    default:
      return plan.stream.shape().length() - 1 + plan.blockLen() - plan.skippedFrames +
             plan.params().rearDelay +
             (plan.routing.decodes() ? host::crossoverTail(plan.params().xoverCfs) : 0);
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
  format.speakers = audio::fileSpeakers(plan.routing.output,
                                        audio::surroundNameOf(plan.input.speakers));
  return format;
}

}  // namespace

RenderPlan makeRenderPlan(const Options& options, const audio::AudioInfo& input) {
  refuseUseless(options, input);
  if (!options.output.empty()) {
    refuseToReplace(options.output, input.path);
    if (!options.room) refuseToReplace(options.output, options.response);
  }
  PreparedResponse prepared = prepareResponse(options, input);

  const Routing routing = prepared.routing;
  host::StreamPlan stream = streamPlan(options, prepared, input.sampleRate);
  RenderPlan plan{.options = options,
                  .input = input,
                  .response = std::move(prepared.info),
                  .responses = std::move(prepared.responses),
                  .routing = routing,
                  .stream = std::move(stream),
                  .crossover = crossoverOf(options, routing),
                  .format = {}};
  plan.skippedFrames = options.align ? plan.latency() : 0;
  plan.tailFrames = tailFrames(plan);
  plan.format = outputFormat(plan);
  if (plan.format.samples == audio::SampleFormat::float32) plan.scale = kFloatScale;
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
