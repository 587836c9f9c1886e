// What the programs have in common: how they end, how they refuse, how they are asked
// for help.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <string>
#include <vector>

#include "ulmar/host/error.h"

namespace ulmar::apps {

/// A command line that cannot be understood.
class UsageError : public Error {
 public:
  using Error::Error;
};

/// The whole of a main(): prepares the signals, runs the body, and turns what it throws
/// into one sentence on standard error that starts with the program's name. Returns the
/// exit code: 0, 1 for a refusal, 2 for a UsageError. Text that standard output did not
/// take is a refusal too, at the end, but for a pipe whose reader has gone. `written`
/// takes the names of files once they are complete: they are kept, and a later refusal
/// says so.
int runProgram(const char* name,
               const std::function<void(std::vector<std::string>& written)>& body);

/// One line on standard error, after the program's name.
void warn(const std::string& text);

/// To standard output, at once.
void print(const std::string& text);

/// The help's layout: a usage line that shows what is needed, then the groups of
/// options. `app` shall have its options and its groups; help and version are added. Of
/// an option that is given more than once the last value counts.
class CommandLine {
 public:
  /// usage: what follows the program's name.
  CommandLine(CLI::App& app, std::string usage);

  /// Returns false if it printed the help or the version that was asked for. Throws
  /// UsageError with a sentence for what the library cannot make sense of.
  bool parse(int argc, const char* const* argv);

 private:
  CLI::App& app_;
};

}  // namespace ulmar::apps
