// What the user asks for, as the command line says it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "host/audio_file.h"
#include "host/error.h"
#include "host/room.h"

namespace ulmar::render {

/// What the response is brought to 1 in, before it is used.
enum class Normalization { none, peak, energy };

/// How much is rendered beyond the end of the material.
struct Tail {
  enum class Kind { full, none, seconds };
  Kind kind = Kind::full;
  double seconds = 0.0;  // with Kind::seconds
};

struct Options {
  std::string material;
  std::string output;    // empty only with check
  std::string response;  // a file, or empty with room
  std::optional<host::RoomKind> room;
  std::optional<std::uint32_t> seed;  // of the room's noise

  double responseStart = 0.0;            // s into the response
  std::optional<double> responseLength;  // s at most, to the end if not given
  double responseFade = 0.0;             // s, at the end of what is used
  Normalization normalization = Normalization::none;

  double wetGain = 1.0;    // linear
  double dryGain = 1.0;    // linear
  double predelay = 0.0;   // s
  double crossfeed = 0.0;  // linear
  bool align = true;

  int blockLen = 512;  // frames
  bool hfTruncate = false;

  Tail tail;
  std::optional<host::SampleFormat> format;  // the container's finest if not given
  bool check = false;
  bool json = false;
};

/// A command line that cannot be understood.
class UsageError : public host::Error {
 public:
  using Error::Error;
};

/// Reads the command line. Prints what was asked for and returns nothing if that was
/// the help or the version. Throws UsageError naming the option, its value and its
/// limits.
std::optional<Options> parseOptions(int argc, const char* const* argv);

}  // namespace ulmar::render
