// The figures of a response, each worked out once. The reports print them and the
// picture writes them beside its curves.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "apps/inspect/channel.h"
#include "apps/inspect/suggestions.h"
#include "ulmar/acoustics/correlation.h"
#include "ulmar/audio/audio_file.h"

namespace ulmar::inspect {

struct DecayTime {
  double seconds = 0.0;      // for 60 dB
  double correlation = 0.0;  // of the decay curve with the line, near -1
};

/// What cannot be told is left out.
struct BandResult {
  double centre = 0.0;  // Hz, 0 for all frequencies
  std::optional<DecayTime> edt;
  std::optional<DecayTime> t20;
  std::optional<DecayTime> t30;
  std::optional<double> reverberationTime;  // s, T30, or else T20
  std::optional<double> c50;                // dB
  std::optional<double> c80;                // dB
  std::optional<double> definition;         // D50, from 0 to 1
  std::optional<double> centreTime;         // s
  double range = 0.0;                       // dB, of the decay; 0 without one

  bool complete() const { return edt && t20 && t30 && c50 && c80; }
};

struct NoiseFloor {
  double level = 0.0;  // dBFS, of its RMS
  double from = 0.0;   // s, in the file
};

struct EchoResult {
  double delay = 0.0;        // s
  double cepstrum = 0.0;     // at the delay
  double gain = 0.0;         // linear, below 0 if the echo is turned over
  double level = 0.0;        // dB, of the gain
  double combSpacing = 0.0;  // Hz
};

struct SoundResult {
  Moment onset;
  std::optional<NoiseFloor> noiseFloor;     // if the decay reaches one
  std::optional<double> reverberationTime;  // s, mean of 500 Hz and 1 kHz
  BandResult broadband;
  std::vector<BandResult> octaves;
  std::vector<BandResult> thirds;  // if they were asked for
  std::optional<double> tilt;      // dB per octave
  std::optional<EchoResult> echo;
};

/// Levels are minus infinity for 0.
struct ChannelResult {
  std::string name;  // "left", "LR", "channel 7"
  double peak = 0.0;
  double peakLevel = 0.0;  // dBFS
  Moment peakAt;
  double energy = 0.0;       // sum of squares
  double energyLevel = 0.0;  // dB
  double dcOffset = 0.0;
  double dcLevel = 0.0;              // dBFS, of its magnitude
  std::optional<SoundResult> sound;  // nothing of a silent channel
};

/// Two channels that are heard as left and right.
struct PairResult {
  std::string first;
  std::string second;
  // From the earlier onset on, see correlate(); nothing if one channel is silent there.
  std::optional<acoustics::Correlation> whole;
  std::optional<acoustics::Correlation> early;
  std::optional<acoustics::Correlation> late;
  std::string lateChannel;  // one of the two, empty if they arrive together
  double lateBy = 0.0;      // s
};

/// ISO 3382-1's figures of a position: means over the channels that sound, of what all
/// of them have.
struct MeanResult {
  std::optional<double> reverberationTime;  // s, of 500 Hz and 1 kHz
  BandResult broadband;
  std::vector<BandResult> octaves;
  std::vector<BandResult> thirds;
};

struct Results {
  audio::AudioInfo file;
  double seconds = 0.0;
  std::vector<ChannelResult> channels;
  std::optional<MeanResult> mean;  // nothing if all is silent
  std::vector<PairResult> pairs;
  std::optional<Suggestions> suggestions;  // nothing if all is silent

  bool silent() const { return !suggestions; }
};

/// channel: with its spectrum, unless it is silent.
ChannelResult resultOf(const std::string& name, const Channel& channel, int sampleRate);

std::optional<MeanResult> meanOf(const std::vector<ChannelResult>& channels);

}  // namespace ulmar::inspect
