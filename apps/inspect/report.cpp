#include "apps/inspect/report.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "apps/common/text.h"
#include "apps/inspect/table.h"
#include "ulmar/acoustics/decay.h"

namespace ulmar::inspect {
namespace {

using apps::fixed;
using apps::millisecondsText;
using Rows = std::vector<std::vector<std::string>>;

constexpr const char* kUnknown = "-";

std::string optionalText(const std::optional<double>& value, int decimals) {
  return value ? fixed(*value, decimals) : kUnknown;
}

/// Three digits that count, so that cabinets and small rooms show something.
std::string digitsText(double value) {
  const int exponent =
      value > 0.0 ? static_cast<int>(std::floor(std::log10(value))) : 0;
  return fixed(value, std::clamp(2 - exponent, 0, 9));
}

std::string fullScaleText(double level) {
  return std::isinf(level) ? "none" : fixed(level, 1) + " dBFS";
}

std::string timeText(const Moment& moment) { return fixed(moment.seconds, 4) + " s"; }

std::string noiseText(const SoundResult& sound) {
  if (sound.broadband.range == 0.0) return "no decay found";
  if (!sound.noiseFloor) return "not reached";
  return fullScaleText(sound.noiseFloor->level) + " from " +
         fixed(sound.noiseFloor->from, 3) + " s";
}

std::string levelText(const Results& results) {
  Rows rows = {{"", "peak", "at", "energy", "DC offset", "onset", "noise floor"}};
  for (const ChannelResult& channel : results.channels) {
    if (!channel.sound) {
      rows.push_back({channel.name, "silent"});
      continue;
    }
    rows.push_back({channel.name, fullScaleText(channel.peakLevel),
                    timeText(channel.peakAt), fixed(channel.energyLevel, 1) + " dB",
                    fullScaleText(channel.dcLevel), timeText(channel.sound->onset),
                    noiseText(*channel.sound)});
  }
  return "Levels\n" + tableText(rows, 1);
}

std::string bandName(double centre) {
  if (centre == 0.0) return "all";
  if (centre < 1000.0) return fixed(centre, 0) + " Hz";
  return apps::significant(centre / 1000.0, 3) + " kHz";
}

void addTime(std::vector<std::string>& row, const std::optional<DecayTime>& time) {
  row.push_back(time ? digitsText(time->seconds) : kUnknown);
  row.push_back(time ? fixed(time->correlation, 4) : kUnknown);
}

void addBand(Rows& rows, const std::string& name, const BandResult& band) {
  auto& row = rows.emplace_back();
  row = {name, bandName(band.centre)};
  addTime(row, band.edt);
  addTime(row, band.t20);
  addTime(row, band.t30);
  row.push_back(optionalText(band.c50, 1));
  row.push_back(optionalText(band.c80, 1));
  row.push_back(band.definition ? fixed(100.0 * *band.definition, 0) : kUnknown);
  row.push_back(band.centreTime ? digitsText(1000.0 * *band.centreTime) : kUnknown);
  row.push_back(fixed(band.range, 0));
}

/// All frequencies, then the bands. Whether every figure is there.
template <class Sound>
bool addBands(Rows& rows, const std::string& name, const Sound& sound) {
  bool complete = sound.broadband.complete();
  addBand(rows, name, sound.broadband);
  for (const auto& bands : {sound.octaves, sound.thirds}) {
    for (const BandResult& band : bands) {
      addBand(rows, "", band);
      complete = complete && band.complete();
    }
  }
  return complete;
}

std::string decayText(const Results& results) {
  Rows rows = {{"", "", "EDT s", "r", "T20 s", "r", "T30 s", "r", "C50 dB", "C80 dB",
                "D50 %", "Ts ms", "range dB"}};
  bool complete = true;
  int numSounding = 0;
  for (const ChannelResult& channel : results.channels) {
    if (!channel.sound) continue;
    complete = addBands(rows, channel.name, *channel.sound) && complete;
    ++numSounding;
  }
  if (numSounding > 1) addBands(rows, "mean", *results.mean);
  std::string text = "\nDecay and clarity (ISO 3382-1)\n" + tableText(rows, 2);
  if (!complete) {
    text +=
        "  -: not enough decay range above the noise floor or the end of the "
        "response;\n"
        "     EDT and clarity take " +
        fixed(acoustics::kRangeForEdt, 0) + " dB, T20 " +
        fixed(acoustics::kRangeForT20, 0) + " dB, T30 " +
        fixed(acoustics::kRangeForT30, 0) + " dB\n";
  }
  return text;
}

std::string summaryText(const std::optional<double>& time, const BandResult& all) {
  std::string text =
      time ? "reverberation time " + digitsText(*time) + " s (500 Hz and 1 kHz)"
           : "no reverberation time at 500 Hz and 1 kHz";
  if (all.definition) {
    text += ", definition " + fixed(100.0 * *all.definition, 0) + " %";
  }
  if (all.centreTime) {
    text += ", centre time " + digitsText(1000.0 * *all.centreTime) + " ms";
  }
  return text;
}

std::string correlationText(const PairResult& pair) {
  const auto value = [](const std::optional<acoustics::Correlation>& correlation) {
    return correlation ? fixed(correlation->value, 2) : kUnknown;
  };
  std::string text = "  " + pair.first + " and " + pair.second + ": correlation " +
                     value(pair.whole) + ", up to 80 ms " + value(pair.early) +
                     ", then " + value(pair.late);
  if (!pair.lateChannel.empty()) {
    text += "; " + pair.lateChannel + " late by " + millisecondsText(pair.lateBy, 2);
  }
  return text + '\n';
}

std::string echoSummary(const std::optional<EchoResult>& echo) {
  if (!echo) return "no early echo stands out";
  std::string text = "early " + echoText(*echo);
  if (echo->gain < 0.0) text += " and turned over";
  return text + ", a comb of " + fixed(echo->combSpacing, 0) + " Hz";
}

std::string spectrumText(const SoundResult& sound) {
  std::string text;
  if (sound.tilt) text = "spectrum of " + tiltText(*sound.tilt) + "; ";
  return text + echoSummary(sound.echo);
}

std::string blocksText(const Suggestions& suggestions) {
  const auto percent = [](double load) { return fixed(100.0 * load, 2) + " %"; };
  Rows rows = {
      {"block", "latency", "second engine", "memory", "mean load", "worst block", ""}};
  for (std::size_t i = 0; i < suggestions.blocks.size(); ++i) {
    const BlockChoice& choice = suggestions.blocks[i];
    rows.push_back({std::to_string(choice.blockLen), millisecondsText(choice.latency),
                    choice.tailBlockLen > 0 ? std::to_string(choice.tailBlockLen) : "-",
                    apps::memoryText(choice.memory), percent(choice.meanLoad),
                    percent(choice.worstLoad),
                    i == suggestions.suggestedBlock ? "<- suggested" : ""});
  }
  return tableText(rows, 0);
}

std::string suggestionText(const Results& results) {
  const Suggestions& suggestions = *results.suggestions;
  // To a fraction of a frame at every rate.
  const auto seconds = [](const Moment& length) {
    std::string text = fixed(length.seconds, 7);
    return text.erase(std::max(text.find_last_not_of('0'), text.find('.') + 1) + 1);
  };
  std::string text = "\nRendering it\n";
  if (suggestions.blocks.empty()) {
    return text + "  " + suggestions.obstacle + "\n";
  }
  const BlockChoice& choice = suggestions.blocks[suggestions.suggestedBlock];
  const std::string& path = results.file.path;
  text += "  ulmar-render --ir " +
          (path == audio::kStandardInput ? "-" : apps::shellPath(path));
  if (suggestions.asBFormat) {
    text += *suggestions.asBFormat == host::BFormat::fuma ? " --bformat fuma"
                                                          : " --bformat ambix";
  }
  if (suggestions.start.frame > 0) text += " --ir-start " + seconds(suggestions.start);
  if (suggestions.leftOut > 0) text += " --ir-length " + seconds(suggestions.length);
  if (suggestions.fade.frame > 0) text += " --ir-fade " + seconds(suggestions.fade);
  text += " --block " + std::to_string(choice.blockLen) + " -i DRY.wav -o WET.wav\n";
  if (suggestions.orAmbix) {
    text += "  (or --bformat ambix, if that is how it was made)\n";
  }
  if (suggestions.maybeBFormat) {
    text +=
        "  (its channels arrive together, as those of one microphone of first-order\n"
        "  ambisonics do: if they are, add --bformat fuma or ambix, here as well)\n";
  }
  return text + blocksText(suggestions) +
         "  (loads are of one core of a server processor, as the planner reckons)\n";
}

}  // namespace

std::string fileText(const Results& results) {
  const audio::AudioInfo& info = results.file;
  return info.format + ", " +
         apps::audioText(info.channels, info.sampleRate, info.frames) + " (" +
         apps::countText(info.frames, "frame") + ")";
}

std::string tiltText(double tilt) { return fixed(tilt, 1) + " dB per octave"; }

std::string echoText(const EchoResult& echo) {
  return "echo at " + millisecondsText(echo.delay, 2) + ", about " +
         fixed(echo.level, 0) + " dB";
}

std::string describe(const std::vector<Results>& all) {
  Rows rows = {{"", "channels", "length s", "T mid s", "EDT s", "C50 dB", "C80 dB",
                "D50 %", "Ts ms", "noise dBFS"}};
  const auto text = [](const std::optional<double>& value, double scale) {
    return value ? digitsText(scale * *value) : kUnknown;
  };
  for (const Results& results : all) {
    auto& row = rows.emplace_back();
    row = {results.file.path, std::to_string(results.file.channels),
           digitsText(results.seconds)};
    if (!results.mean) {
      row.emplace_back("silent");
      continue;
    }
    const BandResult& band = results.mean->broadband;
    double noise = -std::numeric_limits<double>::infinity();
    for (const ChannelResult& channel : results.channels) {
      if (channel.sound && channel.sound->noiseFloor) {
        noise = std::max(noise, channel.sound->noiseFloor->level);
      }
    }
    row.push_back(text(results.mean->reverberationTime, 1.0));
    row.push_back(band.edt ? digitsText(band.edt->seconds) : kUnknown);
    row.push_back(optionalText(band.c50, 1));
    row.push_back(optionalText(band.c80, 1));
    row.push_back(band.definition ? fixed(100.0 * *band.definition, 0) : kUnknown);
    row.push_back(text(band.centreTime, 1000.0));
    row.push_back(std::isinf(noise) ? "not reached" : fixed(noise, 1));
  }
  return tableText(rows, 1) +
         "  means over the channels; the loudest noise floor; T mid of 500 Hz and 1 "
         "kHz\n";
}

std::string describe(const Results& results) {
  std::string text = results.file.path + ": " + fileText(results) + "\n\n";
  text += levelText(results);
  if (results.silent()) return text + "\nThere is nothing to measure in silence.\n";
  text += decayText(results);
  text += "\nSummary\n";
  Rows rows;
  for (const ChannelResult& channel : results.channels) {
    if (!channel.sound) continue;
    rows.push_back({channel.name, summaryText(channel.sound->reverberationTime,
                                              channel.sound->broadband)});
    rows.push_back({"", spectrumText(*channel.sound)});
  }
  if (rows.size() > 2) {
    rows.push_back({"mean", summaryText(results.mean->reverberationTime,
                                        results.mean->broadband)});
  }
  text += tableText(rows, 2);
  for (const PairResult& pair : results.pairs) {
    if (pair.whole) text += correlationText(pair);
  }
  return text + suggestionText(results);
}

}  // namespace ulmar::inspect
