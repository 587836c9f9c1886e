#include "apps/common/json.h"
#include "apps/inspect/report.h"

namespace ulmar::inspect {
namespace {

using apps::Json;
using apps::orNull;

Json fileFigures(const Results& results) {
  const audio::AudioInfo& info = results.file;
  return {{"path", info.path},
          {"format", info.format},
          {"channels", info.channels},
          {"sampleRate", info.sampleRate},
          {"frames", info.frames},
          {"seconds", results.seconds},
          {"missingFrames", info.lacksLastPage ? Json() : Json(info.missingFrames())}};
}

Json timeFigures(const std::optional<DecayTime>& time) {
  if (!time) return nullptr;
  return {{"seconds", time->seconds}, {"correlation", time->correlation}};
}

Json bandFigures(const BandResult& band) {
  return {{"centre", band.centre > 0.0 ? Json(band.centre) : Json()},
          {"edt", timeFigures(band.edt)},
          {"t20", timeFigures(band.t20)},
          {"t30", timeFigures(band.t30)},
          {"c50", orNull(band.c50)},
          {"c80", orNull(band.c80)},
          {"definition", orNull(band.definition)},
          {"centreTime", orNull(band.centreTime)},
          {"range", band.range}};
}

Json noiseFigures(const std::optional<NoiseFloor>& noise) {
  if (!noise) return nullptr;
  return {{"level", noise->level}, {"fromSeconds", noise->from}};
}

Json echoFigures(const std::optional<EchoResult>& echo) {
  if (!echo) return nullptr;
  return {{"delay", echo->delay},
          {"cepstrum", echo->cepstrum},
          {"gain", echo->gain},
          {"combSpacing", echo->combSpacing}};
}

Json bandsFigures(const std::vector<BandResult>& bands) {
  Json json = Json::array();
  for (const BandResult& band : bands) json.push_back(bandFigures(band));
  return json;
}

// Of a silent channel all figures of sound are null.
Json channelFigures(const ChannelResult& channel) {
  const auto& sound = channel.sound;
  const auto figure = [&](const auto& of) { return sound ? Json(of(*sound)) : Json(); };
  using Sound = const SoundResult&;
  return {{"name", channel.name},
          {"peak", channel.peak},
          {"peakFrame", channel.peakAt.frame},
          {"energy", channel.energy},
          {"dcOffset", channel.dcOffset},
          {"silent", !sound},
          {"onsetFrame", figure([](Sound s) { return s.onset.frame; })},
          {"onsetSeconds", figure([](Sound s) { return s.onset.seconds; })},
          {"noiseFloor", figure([](Sound s) { return noiseFigures(s.noiseFloor); })},
          {"reverberationTime",
           figure([](Sound s) { return orNull(s.reverberationTime); })},
          {"broadband", figure([](Sound s) { return bandFigures(s.broadband); })},
          {"octaves", figure([](Sound s) { return bandsFigures(s.octaves); })},
          {"thirds", figure([](Sound s) { return bandsFigures(s.thirds); })},
          {"tilt", figure([](Sound s) { return orNull(s.tilt); })},
          {"echo", figure([](Sound s) { return echoFigures(s.echo); })}};
}

Json meanFigures(const std::optional<MeanResult>& mean) {
  if (!mean) return nullptr;
  return {{"reverberationTime", orNull(mean->reverberationTime)},
          {"broadband", bandFigures(mean->broadband)},
          {"octaves", bandsFigures(mean->octaves)},
          {"thirds", bandsFigures(mean->thirds)}};
}

Json correlationFigures(const std::optional<acoustics::Correlation>& correlation) {
  if (!correlation) return nullptr;
  return {{"value", correlation->value}, {"lag", orNull(correlation->lag)}};
}

Json pairFigures(const PairResult& pair) {
  return {{"first", pair.first},
          {"second", pair.second},
          {"whole", correlationFigures(pair.whole)},
          {"early", correlationFigures(pair.early)},
          {"late", correlationFigures(pair.late)}};
}

Json blockFigures(const BlockChoice& choice) {
  Json json = {{"blockLen", choice.blockLen}, {"tailBlockLen", nullptr},
               {"latency", choice.latency},   {"memoryBytes", choice.memory},
               {"meanLoad", choice.meanLoad}, {"worstLoad", choice.worstLoad}};
  if (choice.tailBlockLen > 0) json["tailBlockLen"] = choice.tailBlockLen;
  return json;
}

Json suggestionFigures(const Suggestions& suggestions) {
  Json json = {{"startFrame", suggestions.start.frame},
               {"frames", suggestions.length.frame},
               {"fadeFrames", suggestions.fade.frame},
               {"bFormat", nullptr},
               {"blockLen", nullptr},
               {"blocks", Json::array()}};
  if (suggestions.asBFormat) {
    json["bFormat"] = *suggestions.asBFormat == host::BFormat::fuma ? "fuma" : "ambix";
  }
  for (const BlockChoice& choice : suggestions.blocks) {
    json["blocks"].push_back(blockFigures(choice));
  }
  if (!suggestions.blocks.empty()) {
    json["blockLen"] = suggestions.blocks[suggestions.suggestedBlock].blockLen;
  }
  return json;
}

Json resultFigures(const Results& results) {
  Json json = {{"file", fileFigures(results)},
               {"channels", Json::array()},
               {"mean", meanFigures(results.mean)},
               {"pairs", Json::array()},
               {"suggestions", nullptr}};
  for (const ChannelResult& channel : results.channels) {
    json["channels"].push_back(channelFigures(channel));
  }
  for (const PairResult& pair : results.pairs) {
    json["pairs"].push_back(pairFigures(pair));
  }
  if (results.suggestions) {
    json["suggestions"] = suggestionFigures(*results.suggestions);
  }
  return json;
}

}  // namespace

std::string figures(const Results& results) {
  return apps::textOf(resultFigures(results));
}

std::string figures(const std::vector<Results>& all) {
  Json json = Json::array();
  for (const Results& results : all) json.push_back(resultFigures(results));
  return apps::textOf(json);
}

}  // namespace ulmar::inspect
