#include "apps/render/plan.h"

#include <filesystem>
#include <system_error>
#include <utility>

#include "apps/common/text.h"
#include "apps/draw/picture.h"
#include "ulmar/host/areas.h"
#include "ulmar/host/crossover_design.h"
#include "ulmar/host/error.h"
#include "ulmar/host/geometry.h"

namespace ulmar::render {
namespace {

using apps::framesIn;

void refuseToReplace(const std::string& input, const std::string& output) {
  std::error_code missing;  // then they differ, or reading the input says more
  if (!std::filesystem::equivalent(input, output, missing) || missing) return;
  fail("cannot write ", output, ": it is the input ", input,
       ", which would be replaced; give the output another name");
}

void refuseUseless(const Options& options, const audio::AudioInfo& material) {
  if (options.crossfeed > 0.0 && material.channels < 2) {
    fail("cannot feed ", material.path, " across (--crossfeed ", options.crossfeed,
         "): it has ", material.channels, " channel, and 2 are needed");
  }
}

host::StreamOptions streamOptions(const Options& options, const Routing& routing,
                                  const ResponseInfo& response, int sampleRate) {
  host::StreamOptions stream;
  stream.blockLen = options.blockLen;
  stream.hfTruncate = options.hfTruncate;
  stream.wetGain = static_cast<float>(options.wetGain);
  stream.dryGain = static_cast<float>(options.dryGain);
  stream.crossfeed = static_cast<float>(options.crossfeed);
  stream.dryDelay =
      options.align ? options.blockLen + static_cast<int>(response.ringing) : 0;
  if (routing.surround()) {
    stream.foldToStereo = routing.folds();
    stream.passThrough = !routing.decodes();
    stream.rearDelay = static_cast<int>(framesIn(options.rearDelay, sampleRate));
  }
  if (routing.decodes()) {
    stream.crossover = host::designCrossover(
        options.crossover.value_or(host::kDefaultCrossover), sampleRate);
  }
  return stream;
}

// The wet signal ends a response's length less one frame after the material, a latency
// later where that is not taken off, and in the surrounds by their delay later. The
// decoder's crossover rings on beyond that.
std::int64_t tailFrames(const Plan& plan) {
  const Tail& tail = plan.options.tail;
  switch (tail.kind) {
    case Tail::Kind::none:
      return 0;
    case Tail::Kind::seconds:
      return framesIn(tail.seconds, plan.material.sampleRate);
    default:
      return plan.params.irLen - 1 + plan.params.blockLen - plan.skippedFrames +
             plan.params.rearDelay +
             (plan.routing.decodes() ? host::crossoverTail(plan.params.xoverCfs) : 0);
  }
}

audio::AudioFormat outputFormat(const Plan& plan) {
  const Options& options = plan.options;
  audio::AudioFormat format;
  format.channels = audio::channelsOf(plan.routing.output);
  format.sampleRate = plan.material.sampleRate;
  if (options.format) {
    format.samples = *options.format;
  } else if (!options.output.empty()) {
    format.samples = audio::finestFormat(options.output);
  }
  format.frames = plan.outFrames();
  format.speakers = audio::fileSpeakers(plan.routing.output,
                                        audio::surroundNameOf(plan.material.speakers));
  return format;
}

}  // namespace

Plan makePlan(const Options& options, const audio::AudioInfo& material) {
  refuseUseless(options, material);
  if (!options.output.empty()) {
    refuseToReplace(material.path, options.output);
    if (!options.room) refuseToReplace(options.response, options.output);
  }
  PreparedResponse prepared = prepareResponse(options, material);

  Plan plan;
  plan.options = options;
  plan.material = material;
  plan.response = std::move(prepared.info);
  plan.responses = std::move(prepared.responses);
  plan.routing = prepared.routing;
  plan.params = host::streamParams(
      plan.responses,
      streamOptions(options, plan.routing, plan.response, material.sampleRate));
  const ParamStruct& params = plan.params;
  plan.numPartitions = (params.irLen - 1) / params.blockLen + 1;
  plan.rowProducts =
      host::blockCost(host::geometryOf(params)).total() * plan.responses.numPairs();
  plan.memory =
      host::areaSizes(params, plan.routing.streamInputs(), plan.routing.streamOutputs())
          .total();
  plan.skippedFrames = options.align ? plan.latency() : 0;
  plan.tailFrames = tailFrames(plan);
  plan.format = outputFormat(plan);
  if (!options.output.empty()) audio::checkAudioOutput(options.output, plan.format);
  if (!options.picture.empty()) {
    refuseToReplace(material.path, options.picture);
    if (!options.room) refuseToReplace(options.response, options.picture);
    draw::checkPictureOutput(options.picture);
  }
  return plan;
}

}  // namespace ulmar::render
