#include "apps/inspect/options.h"

#include "apps/common/program.h"

namespace ulmar::inspect {
namespace {

constexpr const char* kDescription =
    "Says what an impulse response is like, in numbers and in a picture: levels, "
    "onset,\n"
    "noise floor, decay and clarity after ISO 3382-1, spectrum, echoes, and what to\n"
    "render it with.\n";

constexpr const char* kExamples =
    "Examples:\n"
    "  ulmar-inspect hall.wav\n"
    "      prints a table\n"
    "  ulmar-inspect hall.wav -o hall.svg\n"
    "      draws waveform, decay, spectrogram, spectrum and cepstrum as well\n"
    "\n"
    "A failed or interrupted run writes nothing and leaves an existing file as it was, "
    "but\nwhere only the printed report fails, the finished picture stays, and the "
    "message\nsays so.";

}  // namespace

std::optional<Options> parseOptions(int argc, const char* const* argv) {
  Options options;
  CLI::App app(kDescription, "ulmar-inspect");
  app.option_defaults()->group("Files");
  app.add_option("response", options.response,
                 "The impulse response: WAV, FLAC or AIFF, also\n"
                 "from a pipe, or - for standard input")
      ->option_text("FILE");
  app.add_option("-o,--output", options.picture,
                 "Draw a picture, by its extension .svg, .png\nor .pdf")
      ->option_text("FILE");
  app.add_flag("--strict", options.strict,
               "Refuse a file that is cut short, of which else\n"
               "what is there is measured, with a warning");
  app.option_defaults()->group("Output");
  app.add_flag("--json", options.json, "Print the figures as one JSON object instead");
  app.footer(kExamples);
  apps::CommandLine commandLine(app, "FILE [-o PICTURE] [--json]");
  if (!commandLine.parse(argc, argv)) return std::nullopt;
  if (options.response.empty()) {
    throw apps::UsageError("FILE is missing, and must name the impulse response");
  }
  return options;
}

}  // namespace ulmar::inspect
