// What the user asks for, as the command line says it.
#pragma once

#include <optional>
#include <string>

namespace ulmar::inspect {

struct Options {
  std::string response;
  std::string picture;  // empty for none
  bool strict = false;  // refuse a file that is cut short
  bool json = false;
};

/// Reads the command line. Prints what was asked for and returns nothing if that was
/// the help or the version. Throws UsageError naming what is wrong with it.
std::optional<Options> parseOptions(int argc, const char* const* argv);

}  // namespace ulmar::inspect
