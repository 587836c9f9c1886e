// What the user asks for, as the command line says it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "apps/render/bed.h"
#include "ulmar/audio/audio_file.h"
#include "ulmar/audio/channel_layout.h"
#include "ulmar/audio/response_layout.h"
#include "ulmar/host/plan.h"
#include "ulmar/host/surround_responses.h"
#include "ulmar/room/room.h"

namespace ulmar::render {

using audio::ResponseLayout;

/// What the response is brought to 1 in, before it is used.
enum class Normalization { none, peak, energy };

/// How much is rendered beyond the end of the input.
struct Tail {
  enum class Kind { full, none, seconds };
  Kind kind = Kind::full;
  double seconds = 0.0;  // with Kind::seconds
};

struct Options {
  std::string input;          // may be empty with savedResponse
  std::string output;         // may be empty with check or savedResponse
  std::string savedResponse;  // empty for none
  std::string picture;        // of the rendering, empty for none
  std::string response;       // a file, or empty with room
  std::optional<room::RoomKind> room;
  std::optional<std::uint32_t> seed;  // of the room's noise
  int roomRate = 48000;               // Hz, of a room without an input

  std::optional<ResponseLayout>
      responseLayout;                    // by the number of channels if not given
  std::optional<host::BFormat> bFormat;  // always given with bFormat files

  double responseStart = 0.0;            // s into the response
  std::optional<double> responseLength;  // s at most, to the end if not given
  double responseFade = 0.0;             // s, at the end of what is used
  Normalization normalization = Normalization::none;

  double wetGain = 1.0;    // linear
  double dryGain = 1.0;    // linear
  double predelay = 0.0;   // s
  double crossfeed = 0.0;  // linear
  bool align = true;

  bool decode = false;
  bool passThrough = false;
  std::optional<BedMap> bedMap;
  bool dryBed = false;
  std::optional<double> crossover;  // Hz
  double rearDelay = 0.0;           // s

  std::optional<int> blockLen;  // frames; by cost if not given
  bool hfTruncate = false;
  int tailBlock = host::kTailAuto;  // of a second engine; see host::StreamOptions

  Tail tail;
  std::optional<audio::ChannelLayout> outLayout;  // by input and response if not given
  std::optional<audio::SampleFormat> format;      // the container's finest if not given
  std::optional<int> jobs;  // streams side by side; as many as processors if not given
  /// Linear, of all that is written; or, if not given, what keeps it within full scale.
  std::optional<double> outputGain = 1.0;
  bool dither = true;   // of 16 bits
  bool strict = false;  // refuse files that are cut short
  bool quiet = false;
  bool check = false;
  bool json = false;
};

/// The block length where the latency stays in, as with a live host.
inline constexpr int kLiveBlockLen = 512;

/// Reads the command line. Prints what was asked for and returns nothing if that was
/// the help or the version. Throws UsageError naming the option, its value and its
/// limits.
std::optional<Options> parseOptions(int argc, const char* const* argv);

}  // namespace ulmar::render
