#include "apps/common/json.h"
#include "apps/common/text.h"
#include "apps/render/option_values.h"
#include "apps/render/report.h"
#include "ulmar/host/geometry.h"

namespace ulmar::render {
namespace {

using apps::Json;

Json inputFigures(const RenderPlan& plan) {
  const audio::AudioInfo& input = plan.input;
  return {
      {"path", input.path},
      {"format", input.format},
      {"layout", wordFor(plan.routing.input, kChannelLayoutWords)},
      {"channels", input.channels},
      {"sampleRate", input.sampleRate},
      {"frames", input.frames},
      {"missingFrames", input.lacksLastPage ? Json() : Json(input.missingFrames())}};
}

Json responseFigures(const ResponseInfo& info, const Routing& routing) {
  return {{"name", info.name},
          {"format", info.format},
          {"layout", wordFor(routing.response, kResponseLayoutWords)},
          {"channels", info.channels},
          {"sampleRate", info.sourceRate},
          {"frames", info.sourceFrames},
          {"startFrame", info.startFrame},
          {"usedFrames", info.usedFrames},
          {"fadeFrames", info.fadeFrames},
          {"resampledFrames", info.frames},
          {"normalizationGain", info.normalizationGain}};
}

// Of a bed, the way of each group of channels; null for anything else.
Json groupFigures(const RenderPlan& plan) {
  if (!plan.routing.pairwise()) return nullptr;
  const BedMap map = plan.options.bedMap.value_or(BedMap{});
  Json groups;
  for (const auto& [name, group] : kGroupWords) groups[name] = nullptr;
  for (const BedGroup& group : groupsOf(plan.routing.source)) {
    groups[wordFor(group.way, kGroupWords)] = wordFor(map.*group.way, kGroupWayWords);
  }
  return groups;
}

Json mixFigures(const RenderPlan& plan) {
  return {{"wetGain", plan.options.wetGain},
          {"dryGain", plan.options.dryGain},
          {"crossfeed", plan.options.crossfeed},
          {"predelayFrames", plan.response.predelay},
          {"rearDelayFrames",
           apps::framesIn(plan.options.rearDelay, plan.input.sampleRate)},
          {"folded", plan.routing.folds()},
          {"source", wordFor(plan.routing.source, kChannelLayoutWords)},
          {"groups", groupFigures(plan)},
          {"dryBed", plan.routing.dryBed},
          {"aligned", plan.options.align}};
}

Json geometryFigures(const host::Geometry& geometry) {
  return {{"blockLen", geometry.blockLen},
          {"irLen", geometry.irLen},
          {"numPartitions", geometry.numPartitions()},
          {"numSegments", geometry.numSegments},
          {"chunksPerSegment", geometry.chunksPerSegment}};
}

// Of the head. Work is of the cost model, of which only ratios mean something.
Json engineFigures(const RenderPlan& plan) {
  const host::StreamPlan& stream = plan.stream();
  Json json = geometryFigures(host::geometryOf(plan.params()));
  json.update({{"hfTruncate", plan.options.hfTruncate},
               {"upperBandFrames", stream.upperBandLen()},
               {"crossover", apps::orNull(plan.crossover)},
               {"numInputs", plan.params().numInputs},
               {"numOutputs", plan.params().numOutputs},
               {"numPairs", stream.shape().numPairs()},
               {"responseFrames", stream.shape().length()},
               {"tail", nullptr},
               {"meanWork", stream.work().mean},
               {"worstWork", stream.work().worst},
               {"latencyFrames", plan.latency()},
               {"jobs", plan.jobs},
               {"streams", plan.parts.size()},
               {"memoryBytes", plan.memoryBytes()}});
  if (const auto& tail = stream.tail()) {
    json["tail"] = geometryFigures(tail->geometry);
    json["tail"]["startFrame"] = tail->start;
  }
  return json;
}

Json outputFigures(const RenderPlan& plan) {
  return {{"path", plan.options.output},
          {"format", wordFor(plan.format.samples, kFormatWords)},
          {"layout", wordFor(plan.routing.output, kChannelLayoutWords)},
          {"channels", plan.format.channels},
          {"sampleRate", plan.format.sampleRate},
          {"frames", plan.outFrames()},
          {"tailFrames", plan.tailFrames},
          {"seconds", plan.outSeconds()}};
}

Json renderingFigures(const Rendering& rendering) {
  Json peaks = Json::array();
  Json levels = Json::array();
  for (const ChannelLevel& level : rendering.levels) {
    peaks.push_back(level.peak);
    levels.push_back(level.rms);
  }
  return {{"seconds", rendering.elapsed},
          {"timesRealTime", rendering.timesRealTime},
          {"channels", rendering.channels},
          {"peaks", peaks},
          {"levels", levels},
          {"gainWithoutClipping", rendering.gainWithoutClipping},
          {"outputGain", rendering.outputGain},
          {"limitedSamples", rendering.limitedSamples}};
}

}  // namespace

std::string figures(const Options& options, const PreparedResponse& prepared) {
  return apps::textOf({{"input", nullptr},
                       {"response", responseFigures(prepared.info, prepared.routing)},
                       {"savedResponse", options.savedResponse},
                       {"mix", nullptr},
                       {"engine", nullptr},
                       {"output", nullptr},
                       {"rendering", nullptr}});
}

std::string figures(const RenderPlan& plan, const Rendering* rendering) {
  const std::string& saved = plan.options.savedResponse;
  Json json = {{"input", inputFigures(plan)},
               {"response", responseFigures(plan.response, plan.routing)},
               {"savedResponse", saved.empty() ? Json(nullptr) : Json(saved)},
               {"mix", mixFigures(plan)},
               {"engine", engineFigures(plan)},
               {"output", outputFigures(plan)},
               {"rendering", nullptr}};
  if (rendering != nullptr) json["rendering"] = renderingFigures(*rendering);
  return apps::textOf(json);
}

}  // namespace ulmar::render
