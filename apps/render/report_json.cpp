#include <nlohmann/json.hpp>

#include "apps/render/option_values.h"
#include "apps/render/report.h"

namespace ulmar::render {
namespace {

using Json = nlohmann::ordered_json;

Json materialFigures(const host::AudioInfo& material) {
  return {{"path", material.path},
          {"format", material.format},
          {"channels", material.channels},
          {"sampleRate", material.sampleRate},
          {"frames", material.frames}};
}

Json responseFigures(const ResponseInfo& info) {
  return {{"name", info.name},
          {"format", info.format},
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
          {"aligned", plan.options.align}};
}

Json engineFigures(const Plan& plan) {
  const ParamStruct& params = plan.params;
  return {{"blockLen", params.blockLen},
          {"irLen", params.irLen},
          {"numPartitions", plan.numPartitions},
          {"numSegments", params.numSegments},
          {"chunksPerSegment", params.chunksPerSegment},
          {"hfTruncate", params.hfTruncate != 0},
          {"numInputs", params.numInputs},
          {"numOutputs", params.numOutputs},
          {"numPairs", plan.responses.numPairs()},
          {"rowProductsPerBlock", plan.rowProducts},
          {"latencyFrames", params.blockLen},
          {"memoryBytes", plan.memory}};
}

Json outputFigures(const Plan& plan) {
  return {{"path", plan.options.output},
          {"format", wordFor(plan.format.samples, kFormatWords)},
          {"channels", plan.format.channels},
          {"sampleRate", plan.format.sampleRate},
          {"frames", plan.outFrames()},
          {"tailFrames", plan.tailFrames},
          {"seconds", static_cast<double>(plan.outFrames()) / plan.format.sampleRate}};
}

Json renderingFigures(const Plan& plan, const Rendering& rendering) {
  const double duration =
      static_cast<double>(plan.outFrames()) / plan.format.sampleRate;
  return {{"seconds", rendering.elapsed},
          {"timesRealTime", duration / rendering.elapsed},
          {"peaks", rendering.peaks},
          {"gainWithoutClipping", gainWithoutClipping(rendering)}};
}

}  // namespace

std::string figures(const Plan& plan, const Rendering* rendering) {
  Json json = {{"material", materialFigures(plan.material)},
               {"response", responseFigures(plan.response)},
               {"mix", mixFigures(plan)},
               {"engine", engineFigures(plan)},
               {"output", outputFigures(plan)},
               {"rendering", nullptr}};
  if (rendering != nullptr) json["rendering"] = renderingFigures(plan, *rendering);
  // File names need not be UTF-8, which JSON must be.
  return json.dump(2, ' ', false, Json::error_handler_t::replace) + '\n';
}

}  // namespace ulmar::render
