#include <nlohmann/json.hpp>

#include "apps/render/option_values.h"
#include "apps/render/report.h"
#include "ulmar/host/crossover_design.h"

namespace ulmar::render {
namespace {

using Json = nlohmann::ordered_json;

Json materialFigures(const Plan& plan) {
  const audio::AudioInfo& material = plan.material;
  return {{"path", material.path},
          {"format", material.format},
          {"layout", wordFor(plan.routing.material, kChannelLayoutWords)},
          {"channels", material.channels},
          {"sampleRate", material.sampleRate},
          {"frames", material.frames}};
}

Json responseFigures(const Plan& plan) {
  const ResponseInfo& info = plan.response;
  return {{"name", info.name},
          {"format", info.format},
          {"layout", wordFor(plan.routing.response, kResponseLayoutWords)},
          {"channels", info.channels},
          {"sampleRate", info.sourceRate},
          {"frames", info.sourceFrames},
          {"startFrame", info.startFrame},
          {"usedFrames", info.usedFrames},
          {"fadeFrames", info.fadeFrames},
          {"resampledFrames", info.frames},
          {"normalizationGain", info.normalizationGain}};
}

Json mixFigures(const Plan& plan) {
  return {{"wetGain", plan.options.wetGain},
          {"dryGain", plan.options.dryGain},
          {"crossfeed", plan.options.crossfeed},
          {"predelayFrames", plan.response.predelay},
          {"rearDelayFrames", plan.params.rearDelay},
          {"folded", plan.routing.folds()},
          {"aligned", plan.options.align}};
}

// In Hz, null without a decoder.
Json crossoverFigure(const Plan& plan) {
  if (!plan.routing.decodes()) return nullptr;
  return plan.options.crossover.value_or(host::kDefaultCrossover);
}

Json engineFigures(const Plan& plan) {
  const ParamStruct& params = plan.params;
  return {{"blockLen", params.blockLen},
          {"irLen", params.irLen},
          {"numPartitions", plan.numPartitions},
          {"numSegments", params.numSegments},
          {"chunksPerSegment", params.chunksPerSegment},
          {"hfTruncate", params.hfTruncate != 0},
          {"crossover", crossoverFigure(plan)},
          {"numInputs", params.numInputs},
          {"numOutputs", params.numOutputs},
          {"numPairs", plan.responses.numPairs()},
          {"rowProductsPerBlock", plan.rowProducts},
          {"latencyFrames", plan.latency()},
          {"memoryBytes", plan.memory}};
}

Json outputFigures(const Plan& plan) {
  return {{"path", plan.options.output},
          {"format", wordFor(plan.format.samples, kFormatWords)},
          {"layout", wordFor(plan.routing.output, kChannelLayoutWords)},
          {"channels", plan.format.channels},
          {"sampleRate", plan.format.sampleRate},
          {"frames", plan.outFrames()},
          {"tailFrames", plan.tailFrames},
          {"seconds", static_cast<double>(plan.outFrames()) / plan.format.sampleRate}};
}

Json renderingFigures(const Plan& plan, const Rendering& rendering) {
  const double duration =
      static_cast<double>(plan.outFrames()) / plan.format.sampleRate;
  Json peaks = Json::array();
  Json levels = Json::array();
  for (const ChannelLevel& level : rendering.levels) {
    peaks.push_back(level.peak);
    levels.push_back(level.rms);
  }
  return {{"seconds", rendering.elapsed},
          {"timesRealTime", duration / rendering.elapsed},
          {"channels", audio::channelNames(plan.routing.output)},
          {"peaks", peaks},
          {"levels", levels},
          {"gainWithoutClipping", gainWithoutClipping(plan, rendering)}};
}

}  // namespace

std::string figures(const Plan& plan, const Rendering* rendering) {
  Json json = {{"material", materialFigures(plan)}, {"response", responseFigures(plan)},
               {"mix", mixFigures(plan)},           {"engine", engineFigures(plan)},
               {"output", outputFigures(plan)},     {"rendering", nullptr}};
  if (rendering != nullptr) json["rendering"] = renderingFigures(plan, *rendering);
  // File names need not be UTF-8, which JSON must be.
  return json.dump(2, ' ', false, Json::error_handler_t::replace) + '\n';
}

}  // namespace ulmar::render
