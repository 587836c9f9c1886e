#include "apps/render/options.h"

#include <functional>
#include <limits>
#include <string>

#include "apps/common/program.h"
#include "apps/render/help_text.h"
#include "apps/render/option_values.h"
#include "ulmar/host/geometry.h"

namespace ulmar::render {
namespace {

using apps::UsageError;

constexpr Range kBlockLen = {host::kMinBlockLen, host::kMaxBlockLen, ""};
constexpr Range kTailBlock = {2 * host::kMinBlockLen, host::kMaxBlockLen, ""};
constexpr Range kJobs = {1, 256, ""};
constexpr Range kSeed = {0, std::numeric_limits<std::uint32_t>::max(), ""};
constexpr Range kRate = {8000, 384000, " Hz"};
constexpr Range kPredelay = {0.0, 10000.0, " ms"};
constexpr Range kCrossfeed = {0.0, 1.0, ""};
constexpr Range kSeconds = {0.0, 3600.0, " s"};
constexpr Range kCrossover = {1.0, 384000.0, " Hz"};
constexpr Range kRearDelay = {0.0, 1000.0, " ms"};

using Take = std::function<void(const std::string&)>;

void addValue(CLI::App& app, const std::string& names, const char* value,
              const Take& take, const char* help) {
  app.add_option_function<std::string>(names, take, help)->option_text(value);
}

void addFileOptions(CLI::App& app, Options& options) {
  app.option_defaults()->group("Files");
  app.add_option("-i,--input", options.input,
                 "The input: WAV (also RF64 and W64), FLAC, AIFF,\n"
                 "AU, CAF, Ogg (Vorbis or Opus) or MP3; a pipe,\n"
                 "or - for standard input")
      ->option_text("FILE");
  app.add_option("-o,--output", options.output,
                 "The result, by its extension .wav, .flac or .aiff;\n"
                 "WAV to a pipe, or with - to standard output")
      ->option_text("FILE");
  app.add_flag("--strict", options.strict,
               "Refuse files that are cut short, of which else\n"
               "what is there is used, with a warning");
}

void addResponseOptions(CLI::App& app, Options& options) {
  app.option_defaults()->group("Impulse response, one of --ir and --room");
  app.add_option("--ir", options.response, "A recorded impulse response")
      ->option_text("FILE");
  addValue(
      app, "--room", "KIND",
      [&](const std::string& text) {
        options.room = parseWord("--room", text, kRoomWords);
      },
      "A synthetic room instead: small (0.45 s),\n"
      "hall (2 s) or cathedral (6 s)");
  addValue(
      app, "--seed", "N",
      [&](const std::string& text) {
        options.seed = static_cast<std::uint32_t>(parseWhole("--seed", text, kSeed));
      },
      "Another tail for --room; the same number\n"
      "gives the same room");
  app.add_option("--save-response", options.savedResponse,
                 "Write the response as it is used (cut, faded,\n"
                 "normalised, at its own rate); -i and -o may then\n"
                 "be missing")
      ->option_text("FILE");
  addValue(
      app, "--rate", "HZ",
      [&](const std::string& text) {
        options.roomRate = static_cast<int>(parseWhole("--rate", text, kRate));
      },
      "Of a room that is saved without -i (default:\n"
      "48000)");
  addValue(
      app, "--ir-layout", "WHAT",
      [&](const std::string& text) {
        options.responseLayout = parseWord("--ir-layout", text, kResponseLayoutWords);
      },
      "What its channels are: mono, stereo, true-stereo,\n"
      "b-format or feeds (default: by their number)");
  addValue(
      app, "--bformat", "HOW",
      [&](const std::string& text) {
        options.bFormat = parseWord("--bformat", text, kBFormatWords);
      },
      "It is B-format, as fuma (W X Y, W at -3 dB) or\n"
      "ambix (W Y Z X, SN3D); never guessed");
  addValue(
      app, "--ir-start", "S",
      [&](const std::string& text) {
        options.responseStart = parseNumber("--ir-start", text, kSeconds);
      },
      "Skip so many seconds of the response");
  addValue(
      app, "--ir-length", "S",
      [&](const std::string& text) {
        options.responseLength = parseNumber("--ir-length", text, kSeconds);
      },
      "Use so many seconds of it at most");
  addValue(
      app, "--ir-fade", "S",
      [&](const std::string& text) {
        options.responseFade = parseNumber("--ir-fade", text, kSeconds);
      },
      "Fade out over the last S seconds of what is used");
  addValue(
      app, "--normalize", "HOW",
      [&](const std::string& text) {
        options.normalization = parseWord("--normalize", text, kNormalizationWords);
      },
      "Bring its largest sample (peak) or the energy\n"
      "of its loudest output (energy; of B-format, of\n"
      "the sound pressure) to 1; channels keep their\n"
      "balance (default: none)");
}

void addMixOptions(CLI::App& app, Options& options) {
  app.option_defaults()->group("Mix");
  addValue(
      app, "--wet", "DB",
      [&](const std::string& text) { options.wetGain = parseGain("--wet", text); },
      "Level of the reverberation (default: 0),\n"
      "or 'off' or '-inf' for none");
  addValue(
      app, "--dry", "DB",
      [&](const std::string& text) { options.dryGain = parseGain("--dry", text); },
      "Level of the dry signal (default: 0),\n"
      "or 'off' or '-inf' for none");
  addValue(
      app, "--predelay", "MS",
      [&](const std::string& text) {
        options.predelay = parseNumber("--predelay", text, kPredelay) / 1000.0;
      },
      "Delay the reverberation against the dry signal");
  addValue(
      app, "--crossfeed", "GAIN",
      [&](const std::string& text) {
        options.crossfeed = parseNumber("--crossfeed", text, kCrossfeed);
      },
      "Send so much (0 to 1) of each side of stereo or\n"
      "folded input into the other side's\n"
      "reverberation");
  app.add_flag("--align,!--no-align", options.align,
               "On by default: the dry signal waits for the\n"
               "reverberation, whose latency of a block is\n"
               "taken off the file. --no-align writes what a\n"
               "live host hears");
}

void addSurroundOptions(CLI::App& app, Options& options) {
  app.option_defaults()->group("Five loudspeakers");
  app.add_flag("--decode", options.decode,
               "The response is B-format and is decoded, also\n"
               "that of a --room");
  app.add_flag("--passthrough", options.passThrough,
               "The response's channels are speaker feeds");
  addValue(
      app, "--crossover", "HZ",
      [&](const std::string& text) {
        options.crossover = parseNumber("--crossover", text, kCrossover);
      },
      "Between the decoder's bands (default: 400)");
  addValue(
      app, "--rear-delay", "MS",
      [&](const std::string& text) {
        options.rearDelay = parseNumber("--rear-delay", text, kRearDelay) / 1000.0;
      },
      "Delay the surrounds' reverberation");
}

void addBedOptions(CLI::App& app, Options& options) {
  app.option_defaults()->group("Beds: quad, 5.0, 5.1 and 7.1");
  addValue(
      app, "--map", "LIST",
      [&](const std::string& text) { options.bedMap = parseBedMap("--map", text); },
      "How groups of channels go through a mono, stereo\n"
      "or true-stereo response, as GROUP=WAY,...; front,\n"
      "centre, surrounds or back, as a pair, through the\n"
      "mono sum, its left or its right, or off, not at\n"
      "all (default: pair, and the centre's is sum)");
  app.add_flag("--dry-bed", options.dryBed,
               "Leave the bed as it is and add to it what the\n"
               "response makes of its stereo down-mix");
}

void addEngineOptions(CLI::App& app, Options& options) {
  app.option_defaults()->group("Engine");
  addValue(
      app, "--block", "FRAMES",
      [&](const std::string& text) {
        options.blockLen = parsePowerOfTwo("--block", text, kBlockLen);
      },
      "Block length and latency, a power of two\n"
      "(default: what takes the least work, as the\n"
      "latency is taken off; 512 with --no-align)");
  addValue(
      app, "--tail-block", "WHAT",
      [&](const std::string& text) {
        options.tailBlock = parseTailBlock("--tail-block", text, kTailBlock);
      },
      "A second engine of longer blocks for the end of\n"
      "the response, at less work: auto, off or its\n"
      "block length in frames (default: auto)");
  addValue(
      app, "--jobs", "N",
      [&](const std::string& text) {
        options.jobs = static_cast<int>(parseWhole("--jobs", text, kJobs));
      },
      "Render so many parts of the file side by side;\n"
      "the result is the same, bit for bit (default:\n"
      "as many as there are processors)");
  app.add_flag("--hf-truncate", options.hfTruncate,
               "Save work: cut the response above a quarter of\n"
               "the sample rate after the first 32 blocks, or\n"
               "with a second engine after 32 of its blocks");
}

void addOutputOptions(CLI::App& app, Options& options) {
  app.option_defaults()->group("Output");
  addValue(
      app, "--tail", "HOW",
      [&](const std::string& text) { options.tail = parseTail("--tail", text); },
      "How long the end rings on: full, none or\n"
      "seconds (default: full)");
  addValue(
      app, "--out-layout", "WHAT",
      [&](const std::string& text) {
        options.outLayout = parseWord("--out-layout", text, kChannelLayoutWords);
      },
      "mono, stereo, quad, 5.0, 5.1 or 7.1 (default: as\n"
      "the input and the response make it)");
  addValue(
      app, "--format", "HOW",
      [&](const std::string& text) {
        options.format = parseWord("--format", text, kFormatWords);
      },
      "Samples as float, or with 32, 24 or 16 bits\n"
      "(default: float, and 24 in FLAC)");
  addValue(
      app, "--gain", "DB",
      [&](const std::string& text) {
        options.outputGain = parseOutputGain("--gain", text);
      },
      "Change the level of all that is written; or\n"
      "'auto': as little as keeps every sample within\n"
      "full scale, found by rendering twice");
  app.add_flag("--dither,!--no-dither", options.dither,
               "On by default: 16 bits are rounded with\n"
               "triangular noise. --no-dither rounds alone");
  app.add_option("--picture", options.picture,
                 "Draw waveforms, levels and the cost of every\n"
                 "block, by its extension .svg, .png or .pdf")
      ->option_text("FILE");
  app.add_flag("--check", options.check,
               "Say everything that would be done, and do\n"
               "nothing; the input's samples are not read");
  app.add_flag("--quiet", options.quiet, "Print nothing but refusals and warnings");
  app.add_flag("--json", options.json, "Print the figures as one JSON object instead");
}

// Words about the response that contradict one another.
void checkResponseWords(const Options& options) {
  const auto refuse = [](const char* why) { throw UsageError(why); };
  if (options.room && (options.responseLayout || options.bFormat)) {
    refuse("--ir-layout and --bformat belong to --ir: a room has the layout it needs");
  }
  if (options.room && options.passThrough) {
    refuse("--passthrough belongs to --ir: a room is decoded");
  }
  const ResponseLayout layout = options.responseLayout.value_or(
      options.passThrough ? ResponseLayout::feeds : ResponseLayout::bFormat);
  if (options.passThrough &&
      (options.decode || options.bFormat || layout != ResponseLayout::feeds)) {
    refuse(
        "--passthrough is for speaker feeds, and --decode, --bformat and other "
        "layouts exclude it");
  }
  if ((options.decode || options.bFormat) && layout != ResponseLayout::bFormat) {
    refuse("--decode and --bformat are for B-format, and other layouts exclude them");
  }
  const bool isBFormat =
      options.decode || options.responseLayout == ResponseLayout::bFormat;
  if (isBFormat && !options.bFormat && !options.room) {
    refuse("--bformat is missing, and must say fuma or ambix, as no file tells");
  }
}

void checkTogether(const Options& options) {
  const auto refuse = [](const char* why) { throw UsageError(why); };
  const bool saves = !options.savedResponse.empty();
  if (options.input.empty() && (!saves || !options.output.empty())) {
    refuse("-i is missing, and must name the input");
  }
  if (options.output.empty() && !options.check && !saves) {
    refuse("-o is missing, and must name the file to write");
  }
  if (options.output.empty() && !options.picture.empty() && !options.check) {
    refuse("--picture shows a rendering, and -o is missing");
  }
  if (options.response.empty() && !options.room) {
    refuse("there is no response: give --ir FILE, or --room small, hall or cathedral");
  }
  if (!options.response.empty() && options.room) {
    refuse("--ir and --room exclude each other: give one of them");
  }
  if (options.hfTruncate &&
      options.blockLen.value_or(kLiveBlockLen) < host::kMinTruncatedBlockLen) {
    throw UsageError("--block is '" + std::to_string(*options.blockLen) +
                     "', and must be at least " +
                     std::to_string(host::kMinTruncatedBlockLen) +
                     " with --hf-truncate");
  }
  if (options.dryBed && options.dryGain != 1.0) {
    refuse("--dry and --dry-bed exclude each other: a dry bed stays as it is");
  }
  if (options.input == "-" && options.response == "-") {
    refuse("--input and --ir are both -, and standard input can be one of them");
  }
  if (options.seed && !options.room)
    refuse("--seed belongs to --room, which is not given");
  checkResponseWords(options);
}

}  // namespace

std::optional<Options> parseOptions(int argc, const char* const* argv) {
  Options options;
  CLI::App app(kDescription, "ulmar-render");
  addFileOptions(app, options);
  addResponseOptions(app, options);
  addMixOptions(app, options);
  addSurroundOptions(app, options);
  addBedOptions(app, options);
  addEngineOptions(app, options);
  addOutputOptions(app, options);
  app.footer(kFooter);
  apps::CommandLine commandLine(app,
                                "-i FILE (--ir FILE | --room KIND) -o FILE [OPTIONS]");
  if (!commandLine.parse(argc, argv)) return std::nullopt;
  checkTogether(options);
  return options;
}

}  // namespace ulmar::render
