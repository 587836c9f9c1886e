#include <cmath>
#include <optional>

#include "apps/common/text.h"
#include "apps/inspect/report.h"

namespace ulmar::inspect {
namespace {

using Value = std::optional<double>;

// In quotes where it must be (RFC 4180).
std::string field(const std::string& text) {
  if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
  std::string quoted = "\"";
  for (const char letter : text) {
    quoted += letter;
    if (letter == '"') quoted += '"';
  }
  return quoted + '"';
}

std::string field(const Value& value) {
  return value && std::isfinite(*value) ? apps::significant(*value, 6) : "";
}

std::string bandFields(const BandResult& band) {
  const auto seconds = [](const std::optional<DecayTime>& time) {
    return time ? Value(time->seconds) : std::nullopt;
  };
  std::string text;
  for (const Value& value :
       {seconds(band.edt), seconds(band.t20), seconds(band.t30), band.c50, band.c80,
        band.definition, band.centreTime, Value(band.range)}) {
    text += ',' + field(value);
  }
  return text;
}

std::string channelLine(const Results& results, const ChannelResult& channel) {
  const auto& sound = channel.sound;
  const auto figure = [&](const auto& of) {
    return sound ? Value(of(*sound)) : Value();
  };
  std::string line = field(results.file.path) + ',' + field(channel.name);
  for (const Value& value :
       {Value(results.file.sampleRate), Value(channel.peakLevel),
        figure([](const SoundResult& s) { return Value(s.onset.seconds); }),
        figure([](const SoundResult& s) {
          return s.noiseFloor ? Value(s.noiseFloor->level) : Value();
        }),
        figure([](const SoundResult& s) { return s.reverberationTime; })}) {
    line += ',' + field(value);
  }
  line += sound ? bandFields(sound->broadband) : ",,,,,,,,";
  for (const Value& value : {figure([](const SoundResult& s) { return s.tilt; }),
                             figure([](const SoundResult& s) {
                               return s.echo ? Value(s.echo->delay) : Value();
                             }),
                             figure([](const SoundResult& s) {
                               return s.echo ? Value(s.echo->level) : Value();
                             })}) {
    line += ',' + field(value);
  }
  return line + "\r\n";
}

}  // namespace

std::string csv(const std::vector<Results>& all) {
  std::string text =
      "file,channel,sample_rate,peak_db,onset_s,noise_floor_db,t_mid_s,edt_s,t20_s,t30_"
      "s,"
      "c50_db,c80_db,d50,centre_time_s,range_db,tilt_db_per_octave,echo_s,echo_db\r\n";
  for (const Results& results : all) {
    for (const ChannelResult& channel : results.channels) {
      text += channelLine(results, channel);
    }
    if (!results.mean) continue;
    text += field(results.file.path) + ",mean," +
            field(Value(results.file.sampleRate)) + ",,,," +
            field(results.mean->reverberationTime) +
            bandFields(results.mean->broadband) + ",,,\r\n";
  }
  return text;
}

}  // namespace ulmar::inspect
