#include "apps/common/json.h"
#include "apps/inspect/report.h"

namespace ulmar::inspect {
namespace {

using apps::Json;
using apps::orNull;

Json fileFigures(const Results& results) {
  const audio::AudioInfo& info = results.file;
  return {{"path", info.path},         {"format", info.format},
          {"channels", info.channels}, {"sampleRate", info.sampleRate},
          {"frames", info.frames},     {"seconds", results.seconds}};
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

Json channelFigures(const ChannelResult& channel) {
  Json json = {{"name", channel.name},
               {"peak", channel.peak},
               {"peakFrame", channel.peakAt.frame},
               {"energy", channel.energy},
               {"dcOffset", channel.dcOffset},
               {"silent", !channel.sound}};
  if (!channel.sound) return json;
  const SoundResult& sound = *channel.sound;
  json["onsetFrame"] = sound.onset.frame;
  json["onsetSeconds"] = sound.onset.seconds;
  json["noiseFloor"] = noiseFigures(sound.noiseFloor);
  json["reverberationTime"] = orNull(sound.reverberationTime);
  json["definition"] = orNull(sound.definition);
  json["centreTime"] = orNull(sound.centreTime);
  json["broadband"] = bandFigures(sound.broadband);
  json["octaves"] = Json::array();
  for (const BandResult& band : sound.octaves) {
    json["octaves"].push_back(bandFigures(band));
  }
  json["tilt"] = orNull(sound.tilt);
  json["echo"] = echoFigures(sound.echo);
  return json;
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
               {"asBFormat", suggestions.asBFormat},
               {"blockLen", nullptr},
               {"blocks", Json::array()}};
  for (const BlockChoice& choice : suggestions.blocks) {
    json["blocks"].push_back(blockFigures(choice));
  }
  if (!suggestions.blocks.empty()) {
    json["blockLen"] = suggestions.blocks[suggestions.suggestedBlock].blockLen;
  }
  return json;
}

}  // namespace

std::string figures(const Results& results) {
  Json json = {{"file", fileFigures(results)},
               {"channels", Json::array()},
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
  return apps::textOf(json);
}

}  // namespace ulmar::inspect
