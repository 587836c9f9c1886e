#include "apps/inspect/report.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "apps/common/text.h"
#include "apps/inspect/table.h"
#include "ulmar/host/decibels.h"

namespace ulmar::inspect {
namespace {

using apps::fixed;
using apps::millisecondsText;
using Rows = std::vector<std::vector<std::string>>;

constexpr const char* kUnknown = "-";

std::string optionalText(const std::optional<double>& value, int decimals) {
  return value ? fixed(*value, decimals) : kUnknown;
}

/// Of a linear amplitude, against a full scale of 1.
std::string fullScaleText(double amplitude) {
  if (amplitude == 0.0) return "none";
  return fixed(decibelsOfGain(amplitude), 1) + " dBFS";
}

std::string timeText(std::size_t frame, int sampleRate) {
  return fixed(static_cast<double>(frame) / sampleRate, 4) + " s";
}

std::string noiseText(const Inspection& inspection, const Channel& channel) {
  const acoustics::Decay& decay = channel.measures.broadband.decay;
  if (decay.range == 0.0) return "no decay found";
  if (!decay.reachesNoise) return "not reached";
  const double amplitude = std::sqrt(decay.noisePower / inspection.sampleRate());
  const double onset =
      static_cast<double>(*channel.measures.onset) / inspection.sampleRate();
  return fullScaleText(amplitude) + " from " + fixed(onset + decay.end, 3) + " s";
}

std::string levelText(const Inspection& inspection) {
  const int rate = inspection.sampleRate();
  Rows rows = {{"", "peak", "at", "energy", "DC offset", "onset", "noise floor"}};
  for (const Channel& channel : inspection.channels) {
    if (!channel.measures.onset) {
      rows.push_back({channel.name, "silent"});
      continue;
    }
    rows.push_back({channel.name, fullScaleText(channel.measures.peak),
                    timeText(channel.measures.peakFrame, rate),
                    fixed(decibelsOfPower(channel.measures.energy), 1) + " dB",
                    fullScaleText(std::abs(channel.measures.dcOffset)),
                    timeText(*channel.measures.onset, rate),
                    noiseText(inspection, channel)});
  }
  return "Levels\n" + tableText(rows, 1);
}

std::string bandName(double centre) {
  if (centre == 0.0) return "all";
  return centre < 1000.0 ? fixed(centre, 0) + " Hz"
                         : fixed(centre / 1000.0, 0) + " kHz";
}

void addFit(std::vector<std::string>& row,
            const std::optional<acoustics::DecayFit>& fit) {
  row.push_back(fit ? fixed(fit->decayTime(), 2) : kUnknown);
  row.push_back(fit ? fixed(fit->correlation, 4) : kUnknown);
}

void addBand(Rows& rows, const std::string& name, const acoustics::BandMeasures& band) {
  auto& row = rows.emplace_back();
  row = {name, bandName(band.centre)};
  addFit(row, band.decay.edt);
  addFit(row, band.decay.t20);
  addFit(row, band.decay.t30);
  row.push_back(optionalText(band.clarity.c50, 1));
  row.push_back(optionalText(band.clarity.c80, 1));
  row.push_back(fixed(band.decay.range, 0));
}

bool isComplete(const acoustics::BandMeasures& band) {
  return band.decay.edt && band.decay.t20 && band.decay.t30 && band.clarity.c50 &&
         band.clarity.c80;
}

std::string decayText(const Inspection& inspection) {
  Rows rows = {{"", "", "EDT s", "r", "T20 s", "r", "T30 s", "r", "C50 dB", "C80 dB",
                "range dB"}};
  bool complete = true;
  for (const Channel& channel : inspection.channels) {
    if (!channel.measures.onset) continue;
    addBand(rows, channel.name, channel.measures.broadband);
    complete = complete && isComplete(channel.measures.broadband);
    for (const acoustics::BandMeasures& band : channel.measures.octaves) {
      addBand(rows, "", band);
      complete = complete && isComplete(band);
    }
  }
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

std::string summaryText(const Channel& channel) {
  std::string text;
  const auto middle = channel.measures.midReverberationTime();
  text += middle ? "reverberation time " + fixed(*middle, 2) + " s (500 Hz and 1 kHz)"
                 : "no reverberation time at 500 Hz and 1 kHz";
  if (channel.measures.d50)
    text += ", definition " + fixed(100.0 * *channel.measures.d50, 0) + " %";
  if (channel.measures.centreTime) {
    text += ", centre time " + millisecondsText(*channel.measures.centreTime, 0);
  }
  return text;
}

std::string correlationText(const Inspection& inspection, const ChannelPair& pair) {
  const std::string names = inspection.channels[pair.first].name + " and " +
                            inspection.channels[pair.second].name;
  const auto value = [](const std::optional<acoustics::Correlation>& correlation) {
    return correlation ? fixed(correlation->value, 2) : kUnknown;
  };
  std::string text = "  " + names + ": correlation " + value(pair.whole) +
                     ", up to 80 ms " + value(pair.early) + ", then " +
                     value(pair.late);
  const double lag = pair.whole ? pair.whole->lag.value_or(0.0) : 0.0;
  if (lag != 0.0) {
    const bool secondIsLate = lag > 0.0;
    text += "; " + inspection.channels[secondIsLate ? pair.second : pair.first].name +
            " late by " + millisecondsText(std::abs(lag), 2);
  }
  return text + '\n';
}

std::string echoText(const acoustics::CepstrumAnalysis& cepstrum) {
  if (!cepstrum.echo) return "no early echo stands out";
  const acoustics::Echo& echo = *cepstrum.echo;
  std::string text = "early echo at " + millisecondsText(echo.delay, 2) + ", about " +
                     fixed(decibelsOfGain(std::abs(echo.gain())), 0) + " dB";
  if (echo.gain() < 0.0) text += " and turned over";
  return text + ", a comb of " + fixed(echo.combSpacing(), 0) + " Hz";
}

std::string spectrumText(const ChannelSpectrum& spectrum) {
  std::string text;
  if (spectrum.tilt) {
    text += "spectrum of " + fixed(*spectrum.tilt, 1) + " dB per octave; ";
  }
  return text + echoText(spectrum.cepstrum);
}

std::string blocksText(const Suggestions& suggestions) {
  const auto percent = [](double load) { return fixed(100.0 * load, 2) + " %"; };
  Rows rows = {
      {"block", "latency", "second engine", "memory", "mean load", "worst block", ""}};
  for (std::size_t i = 0; i < suggestions.blocks.size(); ++i) {
    const BlockChoice& choice = suggestions.blocks[i];
    rows.push_back({std::to_string(choice.blockLen), millisecondsText(choice.latency),
                    choice.tailBlockLen > 0 ? std::to_string(choice.tailBlockLen) : "-",
                    fixed(static_cast<double>(choice.memory) / (1 << 20), 1) + " MiB",
                    percent(choice.meanLoad), percent(choice.worstLoad),
                    i == suggestions.suggestedBlock ? "<- suggested" : ""});
  }
  return tableText(rows, 0);
}

std::string suggestionText(const Inspection& inspection) {
  const Suggestions& suggestions = *inspection.suggestions;
  const int rate = inspection.sampleRate();
  // To a fraction of a frame at every rate.
  const auto seconds = [&](std::size_t frames) {
    std::string text = fixed(static_cast<double>(frames) / rate, 7);
    return text.erase(std::max(text.find_last_not_of('0'), text.find('.') + 1) + 1);
  };
  std::string text = "\nRendering it\n";
  if (suggestions.blocks.empty()) {
    return text + "  " + suggestions.obstacle + "\n";
  }
  const BlockChoice& choice = suggestions.blocks[suggestions.suggestedBlock];
  text += "  ulmar-render --ir " + apps::shellPath(inspection.file.info.path);
  if (suggestions.asBFormat) text += " --bformat fuma";
  if (suggestions.start > 0) text += " --ir-start " + seconds(suggestions.start);
  if (suggestions.start + suggestions.length < inspection.numFrames()) {
    text += " --ir-length " + seconds(suggestions.length);
  }
  if (suggestions.fade > 0) text += " --ir-fade " + seconds(suggestions.fade);
  text += " --block " + std::to_string(choice.blockLen) + " -i DRY.wav -o WET.wav\n";
  if (inspection.channels.size() == 8) {
    text += "  (or --bformat ambix, if that is how it was made)\n";
  }
  return text + blocksText(suggestions) +
         "  (loads are of one core of a server processor, as the planner reckons)\n";
}

}  // namespace

std::string describe(const Inspection& inspection) {
  const audio::AudioInfo& info = inspection.file.info;
  std::string text = info.path + ": " + info.format + ", " +
                     apps::audioText(info.channels, info.sampleRate, info.frames) +
                     " (" + apps::countText(info.frames, "frame") + ")\n\n";
  text += levelText(inspection);
  if (inspection.silent()) return text + "\nThere is nothing to measure in silence.\n";
  text += decayText(inspection);
  text += "\nSummary\n";
  Rows rows;
  for (const auto& channel : inspection.channels) {
    if (!channel.spectrum) continue;
    rows.push_back({channel.name, summaryText(channel)});
    rows.push_back({"", spectrumText(*channel.spectrum)});
  }
  text += tableText(rows, 2);
  for (const ChannelPair& pair : inspection.pairs) {
    if (pair.whole) text += correlationText(inspection, pair);
  }
  return text + suggestionText(inspection);
}

}  // namespace ulmar::inspect
