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
    "      draws levels, decay, spectrogram, spectrum and cepstrum as well\n"
    "  ulmar-inspect halls/*.wav --csv > halls.csv\n"
    "      measures a whole collection\n"
    "\n"
    "A failed or interrupted run writes nothing and leaves an existing file as it was, "
    "but\nwhere only the printed report fails, the finished picture stays, and the "
    "message\nsays so.";

}  // namespace

std::optional<Options> parseOptions(int argc, const char* const* argv) {
  Options options;
  CLI::App app(kDescription, "ulmar-inspect");
  app.option_defaults()->group("Files");
  app.add_option("response", options.responses,
                 "The impulse responses: WAV, FLAC, AIFF, Ogg, MP3, also\n"
                 "from a pipe, or - for standard input; of several\n"
                 "a line each is printed")
      ->option_text("FILE ...");
  app.add_option("-o,--output", options.picture,
                 "Draw a picture, by its extension .svg, .png\nor .pdf")
      ->option_text("FILE");
  app.add_flag("--strict", options.strict,
               "Refuse a file that is cut short, of which else\n"
               "what is there is measured, with a warning");
  app.option_defaults()->group("Measures");
  app.add_option_function<std::string>(
         "--bformat",
         [&](const std::string& text) {
           if (text != "fuma" && text != "ambix") {
             throw apps::UsageError("--bformat is '" + text +
                                    "', and must be fuma or ambix");
           }
           options.bFormat =
               text == "fuma" ? host::BFormat::fuma : host::BFormat::ambix;
         },
         "The channels are B-format, as fuma (W X Y Z, W at\n"
         "-3 dB) or ambix (W Y Z X, SN3D)")
      ->option_text("HOW");
  app.add_flag("--thirds", options.thirds, "Measure third octaves as well");
  app.option_defaults()->group("Output");
  app.add_flag("--json", options.json,
               "Print the figures as one JSON object instead, or\n"
               "as an array of them for several files");
  app.add_flag("--csv", options.csv,
               "Print a table of values separated by commas, a\n"
               "line for each channel and one for their mean");
  app.footer(kExamples);
  apps::CommandLine commandLine(app, "FILE ... [-o PICTURE] [--json | --csv]");
  if (!commandLine.parse(argc, argv)) return std::nullopt;
  if (options.responses.empty()) {
    throw apps::UsageError("FILE is missing, and must name the impulse response");
  }
  if (options.responses.size() > 1 && !options.picture.empty()) {
    throw apps::UsageError("-o is of one response, and there are " +
                           std::to_string(options.responses.size()));
  }
  if (options.json && options.csv) {
    throw apps::UsageError("--json and --csv exclude each other: give one of them");
  }
  return options;
}

}  // namespace ulmar::inspect
