// What the user asks for, as the command line says it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "ulmar/host/surround_responses.h"

namespace ulmar::inspect {

struct Options {
  std::vector<std::string> responses;    // one or more
  std::string picture;                   // of a single response, empty for none
  std::optional<host::BFormat> bFormat;  // what the channels are
  bool thirds = false;                   // third octaves as well
  bool strict = false;                   // refuse a file that is cut short
  bool json = false;
  bool csv = false;
};

/// Reads the command line. Prints what was asked for and returns nothing if that was
/// the help or the version. Throws UsageError naming what is wrong with it.
std::optional<Options> parseOptions(int argc, const char* const* argv);

}  // namespace ulmar::inspect
