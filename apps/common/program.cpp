#include "apps/common/program.h"

#include <poll.h>
#include <unistd.h>

#include <cctype>
#include <exception>
#include <iostream>
#include <memory>
#include <new>

#include "apps/common/signals.h"

namespace ulmar::apps {
namespace {

constexpr int kExitRefused = 1;
constexpr int kExitUsage = 2;

const char* programName = "ulmar";

/// ", but wet.wav is complete", or nothing.
std::string completeText(const std::vector<std::string>& written) {
  if (written.empty()) return "";
  std::string names;
  for (const std::string& name : written) {
    if (!names.empty()) names += " and ";
    names += name;
  }
  return ", but " + names + (written.size() == 1 ? " is complete" : " are complete");
}

/// The library's layout with a usage line of our own, one empty line between groups,
/// and names without the value that a negated flag stands for.
class HelpFormatter : public CLI::Formatter {
 public:
  explicit HelpFormatter(std::string usage) : usage_(std::move(usage)) {
    column_width(26);
  }

  std::string make_usage(const CLI::App*, std::string name) const override {
    return "Usage: " + name + " " + usage_ + "\n\n";
  }
  std::string make_group(std::string group, bool isPositional,
                         std::vector<const CLI::Option*> options) const override {
    return CLI::Formatter::make_group(group, isPositional, options).substr(1);
  }
  std::string make_option_name(const CLI::Option* option, bool) const override {
    const std::string name = option->get_name(false, true);
    return name.substr(0, name.find('{'));
  }

 private:
  std::string usage_;
};

/// The library's words for what is wrong with the form of a command line, as a
/// sentence.
std::string sentenceOf(const CLI::ParseError& error) {
  std::string text = error.what();
  if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr) {
    return text.substr(0, text.find(':')) + " needs a value";
  }
  if (!text.empty()) text[0] = static_cast<char>(std::tolower(text[0]));
  return text;
}

/// Whether standard output is a pipe whose reader has what it wanted, as head does.
bool readerIsGone() {
  pollfd output = {STDOUT_FILENO, POLLOUT, 0};
  return poll(&output, 1, 0) == 1 && (output.revents & POLLERR) != 0;
}

}  // namespace

int runProgram(const char* name,
               const std::function<void(std::vector<std::string>& written)>& body) {
  programName = name;
  std::vector<std::string> written;
  const auto refuse = [&](const char* sentence, int exitCode) {
    std::cerr << name << ": " << sentence << completeText(written) << '\n';
    return exitCode;
  };
  try {
    prepareSignals();
    body(written);
    std::cout << std::flush;
    if (!std::cout && !readerIsGone()) {
      return refuse("cannot write the report to standard output", kExitRefused);
    }
    return 0;
  } catch (const UsageError& error) {
    return refuse((std::string(error.what()) + "; try --help").c_str(), kExitUsage);
  } catch (const std::bad_alloc&) {
    return refuse("there is not enough memory; a shorter response takes less",
                  kExitRefused);
  } catch (const std::exception& error) {
    return refuse(error.what(), kExitRefused);
  }
}

void warn(const std::string& text) {
  std::cerr << programName << ": warning: " << text << '\n';
}

void print(const std::string& text) { std::cout << text << std::flush; }

CommandLine::CommandLine(CLI::App& app, std::string usage) : app_(app) {
  const std::string version = app.get_name() + " " + ULMAR_VERSION;
  app.option_defaults()->group("Help");
  app.set_help_flag();  // asked for again, so that it comes last
  app.set_help_flag("-h,--help", "Print this and exit");
  app.set_version_flag("--version", version, "Print the version and exit");
  app.formatter(std::make_shared<HelpFormatter>(std::move(usage)));
  for (CLI::Option* option : app.get_options()) {
    if (option->get_items_expected_max() == 1) {
      option->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    }
  }
}

bool CommandLine::parse(int argc, const char* const* argv) {
  try {
    app_.parse(argc, argv);
    return true;
  } catch (const CLI::Success& asked) {
    app_.exit(asked);
    return false;
  } catch (const CLI::ParseError& error) {
    throw UsageError(sentenceOf(error));
  }
}

}  // namespace ulmar::apps
