#include <nlohmann/json.hpp>

#include "apps/inspect/report.h"
#include "ulmar/host/decibels.h"

namespace ulmar::inspect {
namespace {

using Json = nlohmann::ordered_json;

Json orNull(const std::optional<double>& value) {
  return value ? Json(*value) : Json();
}

Json fileFigures(const audio::AudioInfo& info) {
  return {{"path", info.path},
          {"format", info.format},
          {"channels", info.channels},
          {"sampleRate", info.sampleRate},
          {"frames", info.frames},
          {"seconds", static_cast<double>(info.frames) / info.sampleRate}};
}

Json fitFigures(const std::optional<acoustics::DecayFit>& fit) {
  if (!fit) return nullptr;
  return {{"seconds", fit->decayTime()}, {"correlation", fit->correlation}};
}

Json bandFigures(const acoustics::BandMeasures& band) {
  return {{"centre", band.centre > 0.0 ? Json(band.centre) : Json()},
          {"edt", fitFigures(band.decay.edt)},
          {"t20", fitFigures(band.decay.t20)},
          {"t30", fitFigures(band.decay.t30)},
          {"c50", orNull(band.clarity.c50)},
          {"c80", orNull(band.clarity.c80)},
          {"range", band.decay.range}};
}

Json noiseFigures(const Channel& channel, int sampleRate) {
  const acoustics::Decay& decay = channel.measures.broadband.decay;
  if (!decay.reachesNoise) return nullptr;
  const double onset = static_cast<double>(*channel.measures.onset) / sampleRate;
  return {{"level", decibelsOfPower(decay.noisePower / sampleRate)},
          {"fromSeconds", onset + decay.end}};
}

Json echoFigures(const std::optional<acoustics::Echo>& echo) {
  if (!echo) return nullptr;
  return {{"delay", echo->delay},
          {"cepstrum", echo->value},
          {"gain", echo->gain()},
          {"combSpacing", echo->combSpacing()}};
}

Json channelFigures(const Channel& channel, int sampleRate) {
  Json json = {{"name", channel.name},
               {"peak", channel.measures.peak},
               {"peakFrame", channel.measures.peakFrame},
               {"energy", channel.measures.energy},
               {"dcOffset", channel.measures.dcOffset},
               {"silent", !channel.measures.onset}};
  if (!channel.measures.onset) return json;
  json["onsetFrame"] = *channel.measures.onset;
  json["onsetSeconds"] = static_cast<double>(*channel.measures.onset) / sampleRate;
  json["noiseFloor"] = noiseFigures(channel, sampleRate);
  json["reverberationTime"] = orNull(channel.measures.midReverberationTime());
  json["definition"] = orNull(channel.measures.d50);
  json["centreTime"] = orNull(channel.measures.centreTime);
  json["broadband"] = bandFigures(channel.measures.broadband);
  json["octaves"] = Json::array();
  for (const acoustics::BandMeasures& band : channel.measures.octaves)
    json["octaves"].push_back(bandFigures(band));
  json["tilt"] = orNull(channel.spectrum->tilt);
  json["echo"] = echoFigures(channel.spectrum->cepstrum.echo);
  return json;
}

Json correlationFigures(const std::optional<acoustics::Correlation>& correlation) {
  if (!correlation) return nullptr;
  return {{"value", correlation->value}, {"lag", orNull(correlation->lag)}};
}

Json pairFigures(const Inspection& inspection, const ChannelPair& pair) {
  return {{"first", inspection.channels[pair.first].name},
          {"second", inspection.channels[pair.second].name},
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
  Json json = {{"startFrame", suggestions.start},
               {"frames", suggestions.length},
               {"fadeFrames", suggestions.fade},
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

std::string figures(const Inspection& inspection) {
  Json json = {{"file", fileFigures(inspection.file.info)},
               {"channels", Json::array()},
               {"pairs", Json::array()},
               {"suggestions", nullptr}};
  for (std::size_t i = 0; i < inspection.channels.size(); ++i) {
    json["channels"].push_back(
        channelFigures(inspection.channels[i], inspection.sampleRate()));
  }
  for (const ChannelPair& pair : inspection.pairs) {
    json["pairs"].push_back(pairFigures(inspection, pair));
  }
  if (inspection.suggestions) {
    json["suggestions"] = suggestionFigures(*inspection.suggestions);
  }
  // File names need not be UTF-8, which JSON must be.
  return json.dump(2, ' ', false, Json::error_handler_t::replace) + '\n';
}

}  // namespace ulmar::inspect
