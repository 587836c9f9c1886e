// What the renderer writes, against a convolution in the time domain in double
// precision of the very samples it was given.
#include <algorithm>
#include <cmath>
#include <numbers>
#include <sstream>

#include "tests/audio/audio_samples.h"
#include "tests/render/program.h"
#include "tests/support/convolution.h"
#include "tests/support/pictures.h"
#include "tests/support/random.h"
#include "ulmar/host/stream.h"

namespace ulmar::render {
namespace {

using test::ScratchDir;
using Channel = std::vector<double>;

constexpr int kRate = 8000;         // Hz
constexpr int kInputLen = 17351;    // frames: buffers of the renderer and a rest
constexpr int kResponseLen = 1237;  // frames
constexpr double kUpperClamp = 1.0 - 0x1p-15;

enum class Normalized { no, toPeak, toEnergy };

// A call, and what it means. Times in frames, gains linear.
struct Case {
  const char* name = "";
  int inputChannels = 2;
  int responseChannels = 2;
  const char* options = "";
  double wet = 1.0;
  double dry = 1.0;
  double crossfeed = 0.0;
  int wetDelay = 0;
  int start = 0;  // of the part of the response that is used
  int length = kResponseLen;
  int fade = 0;
  Normalized normalized = Normalized::no;
  int tail = kResponseLen - 1;
  int endFade = 0;
  const char* output = "wet.wav";
  const char* format = "32 bit float";
  double step = 0.0;    // between neighbouring samples of the format
  double dither = 0.0;  // steps that it adds at most
};

const Case kCases[] = {
    {.name = "mono", .inputChannels = 1, .responseChannels = 1},
    {.name = "mono, left and right",
     .inputChannels = 1,
     .options = "--block 32768 --wet -inf",
     .wet = 0.0,
     .tail = 0},
    {.name = "mono, true stereo",
     .inputChannels = 1,
     .responseChannels = 4,
     .options = "--normalize energy --block 64",
     .normalized = Normalized::toEnergy},
    {.name = "stereo, one response", .responseChannels = 1, .options = "--block 32"},
    {.name = "stereo, side by side", .options = "--dry off", .dry = 0.0},
    {.name = "true stereo",
     .responseChannels = 4,
     .options = "--wet -6 --dry +3.5",
     .wet = 0.50118723362727229,
     .dry = 1.4962356560944334},
    {.name = "clipping", .responseChannels = 4, .options = "--wet 40", .wet = 100.0},
    {.name = "predelay",
     .options = "--predelay 12.5",
     .wetDelay = 100,
     .tail = kResponseLen - 1 + 100},
    {.name = "as heard live",
     .responseChannels = 4,
     .options = "--no-align --block 256 --predelay 1",
     .wetDelay = 8 + 256,
     .tail = kResponseLen - 1 + 8 + 256},
    {.name = "as heard live, no tail",
     .options = "--no-align --tail none",
     .wetDelay = 512,
     .tail = 0},
    {.name = "no tail", .inputChannels = 1, .options = "--tail none", .tail = 0},
    {.name = "a short tail", .options = "--tail 0.1", .tail = 800, .endFade = 400},
    {.name = "a shorter tail", .options = "--tail 0.02", .tail = 160, .endFade = 160},
    {.name = "a tail beyond the end", .options = "--tail 0.5", .tail = 4000},
    {.name = "crossfeed", .options = "--crossfeed 0.25", .crossfeed = 0.25},
    {.name = "part of the response",
     .responseChannels = 4,
     .options = "--ir-start 0.025 --ir-length 0.1 --ir-fade 0.04 --normalize energy",
     .start = 200,
     .length = 800,
     .fade = 320,
     .normalized = Normalized::toEnergy,
     .tail = 799},
    {.name = "the rest of the response",
     .options = "--ir-start 0.125 --ir-length 5 --normalize peak --wet -40",
     .wet = 0.01,
     .start = 1000,
     .length = 237,
     .normalized = Normalized::toPeak,
     .tail = 236},
    {.name = "WAV of 16 bits",
     .options = "--format 16",
     .format = "16 bit PCM",
     .step = 0x1p-15,
     .dither = 1.0},
    {.name = "WAV of 16 bits, rounded alone",
     .options = "--format 16 --no-dither",
     .format = "16 bit PCM",
     .step = 0x1p-15},
    {.name = "WAV of 32 bits",
     .options = "--format 32 --gain -6",
     .wet = 0.50118723362727229,
     .dry = 0.50118723362727229,
     .format = "32 bit PCM",
     .step = 0x1p-31},
    {.name = "AIFF of 24 bits",
     .options = "--format 24",
     .output = "wet.aiff",
     .format = "24 bit PCM",
     .step = 0x1p-23},
    {.name = "FLAC", .output = "wet.flac", .format = "FLAC", .step = 0x1p-23},
};

// Writes noise and returns its channels.
std::vector<Channel> writeNoise(const std::string& path, int channels, int frames,
                                std::uint64_t seed) {
  constexpr float kLevel = 0.0625F;  // at which only "beyond full scale" clips
  std::vector<float> interleaved = test::Random(seed).signal(channels * frames);
  for (float& sample : interleaved) sample *= kLevel;
  audio::writeAudio(path, {.channels = channels, .sampleRate = kRate}, interleaved);
  std::vector<Channel> result(static_cast<std::size_t>(channels));
  for (std::size_t i = 0; i < interleaved.size(); ++i) {
    result[i % result.size()].push_back(interleaved[i]);
  }
  return result;
}

// The responses [input][output]; empty where an input does not reach an output.
using Matrix = std::vector<std::vector<Channel>>;

Channel sum(Channel a, const Channel& b) {
  std::transform(a.begin(), a.end(), b.begin(), a.begin(), std::plus<>());
  return a;
}

Matrix arranged(const std::vector<Channel>& file, int inputs) {
  if (file.size() == 4) {
    if (inputs == 2) return {{file[0], file[1]}, {file[2], file[3]}};
    return {{sum(file[0], file[2]), sum(file[1], file[3])}};
  }
  if (inputs == 1) return {file};
  return {{file.front(), {}}, {{}, file.back()}};
}

void fadeOut(Channel& channel, int frames) {
  for (int k = 0; k < frames; ++k) {
    channel.end()[k - frames] *=
        0.5 + 0.5 * std::cos(std::numbers::pi * (k + 0.5) / frames);
  }
}

void cut(const Case& c, Channel& channel) {
  channel = Channel(channel.begin() + c.start, channel.begin() + c.start + c.length);
  fadeOut(channel, c.fade);
}

double normalization(Normalized normalized, const Matrix& matrix) {
  double peak = 0.0;
  std::vector<double> energies(matrix[0].size());
  for (const auto& row : matrix) {
    for (std::size_t j = 0; j < row.size(); ++j) {
      for (const double h : row[j]) {
        peak = std::max(peak, std::abs(h));
        energies[j] += h * h;
      }
    }
  }
  switch (normalized) {
    case Normalized::toPeak:
      return 1.0 / peak;
    case Normalized::toEnergy:
      return 1.0 / std::sqrt(*std::max_element(energies.begin(), energies.end()));
    default:
      return 1.0;
  }
}

std::vector<Channel> fedAcross(const std::vector<Channel>& input, double gain) {
  if (input.size() < 2) return input;
  std::vector<Channel> result = input;
  for (std::size_t n = 0; n < input[0].size(); ++n) {
    result[0][n] += gain * input[1][n];
    result[1][n] += gain * input[0][n];
  }
  return result;
}

// Every output of a case, before the clamp.
std::vector<Channel> expectedOutputs(const Case& c, const std::vector<Channel>& input,
                                     std::vector<Channel> response) {
  for (auto& channel : response) cut(c, channel);
  const Matrix matrix = arranged(response, c.inputChannels);
  const double wet = c.wet * normalization(c.normalized, matrix);
  const auto engineInputs = fedAcross(input, c.crossfeed);
  const auto wetDelay = static_cast<std::size_t>(c.wetDelay);
  const auto frames = std::size_t{kInputLen} + static_cast<std::size_t>(c.tail);

  std::vector<Channel> outputs(matrix[0].size(), Channel(frames));
  for (std::size_t j = 0; j < outputs.size(); ++j) {
    const Channel& dry = input[j % input.size()];
    for (std::size_t n = 0; n < frames; ++n) {
      if (n < dry.size()) outputs[j][n] = c.dry * dry[n];
      if (n < wetDelay || c.wet == 0.0) continue;
      for (std::size_t i = 0; i < matrix.size(); ++i) {
        outputs[j][n] += wet * test::convolved(engineInputs[i], matrix[i][j],
                                               static_cast<int>(n - wetDelay));
      }
    }
    fadeOut(outputs[j], c.endFade);
  }
  return outputs;
}

// Holds the file to the outputs as they should be before the clamp.
void expectFile(const Case& c, const std::string& path,
                const std::vector<Channel>& expected, double highest) {
  const audio::AudioInfo info = audio::AudioReader(path).info();
  EXPECT_EQ(info.sampleRate, kRate);
  EXPECT_NE(info.format.find(c.format), std::string::npos) << info.format;
  ASSERT_EQ(static_cast<std::size_t>(info.channels), expected.size());
  ASSERT_EQ(info.frames, kInputLen + c.tail);

  const std::vector<float> out = audio::readAudio(path);
  double worst = 0.0;
  for (std::size_t k = 0; k < out.size(); ++k) {
    const double sample = expected[k % expected.size()][k / expected.size()];
    // Integer samples are limited to full scale.
    const double written =
        c.step > 0.0 ? std::clamp(sample, -1.0, kUpperClamp) : sample;
    worst = std::max(worst, std::abs(written - out[k]));
  }
  EXPECT_LT(worst, 1e-5 * highest + c.step * (0.5 + c.dither));
}

void expectConvolution(const Case& c) {
  const ScratchDir folder;
  const auto input = writeNoise(folder / "dry.wav", c.inputChannels, kInputLen, 1);
  const auto response =
      writeNoise(folder / "ir.wav", c.responseChannels, kResponseLen, 2);
  const auto figures = figuresOf(
      folder, std::string("-i dry.wav --ir ir.wav -o ") + c.output + " " + c.options);
  const auto expected = expectedOutputs(c, input, response);

  double highest = 0.0;
  for (std::size_t j = 0; j < expected.size(); ++j) {
    double peak = 0.0;
    for (const double sample : expected[j]) peak = std::max(peak, std::abs(sample));
    EXPECT_NEAR(figures["rendering"]["peaks"][j], peak, 1e-5 * peak);
    highest = std::max(highest, peak);
  }
  EXPECT_NEAR(figures["rendering"]["gainWithoutClipping"],
              std::min(1.0, kUpperClamp / highest), 1e-5);
  expectFile(c, folder / c.output, expected, highest);
}

TEST(Output, IsTheConvolution) {
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.name);
    expectConvolution(c);
  }
}

// A pulse far below either Nyquist frequency keeps its gain at DC, its shape and its
// moment at any rate.
TEST(Output, ResamplesTheResponseToTheMaterial) {
  constexpr int kResponseRate = 11025;
  constexpr int kFrames = 1500;
  const auto pulse = [](double seconds) {
    const double t = (seconds - 0.05) / 0.002;
    return 0.05 * std::exp(-0.5 * t * t);
  };
  const ScratchDir folder;
  std::vector<float> response(kFrames);
  for (std::size_t n = 0; n < response.size(); ++n) {
    response[n] = static_cast<float>(pulse(static_cast<double>(n) / kResponseRate));
  }
  audio::writeAudio(folder / "ir.wav", {.channels = 1, .sampleRate = kResponseRate},
                    response);
  std::vector<float> impulse(3000);
  impulse[0] = 1.0F;
  audio::writeAudio(folder / "dry.wav", {.channels = 1, .sampleRate = kRate}, impulse);
  const auto figures =
      figuresOf(folder, "-i dry.wav --ir ir.wav -o wet.wav --dry off --predelay 1");

  const int resampled = (kFrames * kRate + kResponseRate - 1) / kResponseRate;
  EXPECT_EQ(figures["response"]["resampledFrames"], resampled);
  // 128 frames of the lower rate, which the file does not show at its start.
  constexpr int kRinging = 128;
  EXPECT_EQ(figures["engine"]["irLen"], resampled + 8 + 2 * kRinging);
  const std::vector<float> out = audio::readAudio(folder / "wet.wav");
  ASSERT_EQ(out.size(),
            impulse.size() + static_cast<std::size_t>(resampled + 8 + kRinging - 1));
  // 24 bits are what the resampler promises.
  constexpr double kGain = double{kResponseRate} / kRate;
  for (int n = 8; n < resampled; ++n) {
    EXPECT_NEAR(out[static_cast<std::size_t>(n)], kGain * pulse((n - 8.0) / kRate),
                0x1p-24)
        << n;
  }
}

TEST(Output, KnowsRoomsBySizeAndSeed) {
  const ScratchDir folder;
  writeNoise(folder / "dry.wav", 1, 100, 5);
  const auto rendered = [&](const std::string& room) {
    figuresOf(folder, "-i dry.wav -o wet.wav --room " + room);
    return test::bytesOf(folder / "wet.wav");
  };
  const std::string seventh = rendered("small --seed 7");
  EXPECT_EQ(seventh, rendered("small --seed 7"));
  EXPECT_NE(seventh, rendered("small --seed 8"));
  EXPECT_LT(seventh.size(), rendered("hall").size());
  EXPECT_LT(rendered("hall").size(), rendered("cathedral").size());
}

// A float file has the bits of the stream as a host hears it, down to what 1e-14 leaves
// of a decaying response, whatever the scale that the renderer computes at.
TEST(Output, HasTheBitsOfTheStream) {
  constexpr int kFrames = 9000;
  const ScratchDir folder;
  std::vector<float> dry(kFrames);
  for (std::size_t i = 0; i < 500; ++i)
    dry[i] = 0.2F * std::sin(0.1F * static_cast<float>(i));
  std::vector<float> response(3000);
  for (std::size_t i = 0; i < response.size(); ++i) {
    response[i] = 0.1F * std::exp(-0.006F * static_cast<float>(i));
  }
  const audio::AudioFormat format{.channels = 1, .sampleRate = kRate};
  audio::writeAudio(folder / "dry.wav", format, dry);
  audio::writeAudio(folder / "ir.wav", format, response);
  for (const std::string tail : {"off", "128", "off --hf-truncate"}) {
    SCOPED_TRACE(tail);
    figuresOf(folder,
              "-i dry.wav --ir ir.wav -o wet.wav --block 64 --tail none --no-align "
              "--dry -3 --wet -10 --tail-block " +
                  tail);
    const host::Responses responses{1, 1, true, {response}};
    host::StreamOptions options;
    options.blockLen = 64;
    options.tail = tail == "128" ? 128 : host::kTailOff;
    options.hfTruncate = tail.ends_with("--hf-truncate");
    options.dryGain = static_cast<float>(std::pow(10.0, -3.0 / 20.0));
    options.wetGain = static_cast<float>(std::pow(10.0, -10.0 / 20.0));
    host::Stream stream(host::StreamPlan(1, 1, responses.shape(), options), responses);
    std::vector<float> expected = dry;
    stream.processInterleaved(expected.data(), expected.data(), kFrames);
    const auto written = audio::readAudio(folder / "wet.wav");
    ASSERT_EQ(written.size(), expected.size());
    for (std::size_t t = 0; t < expected.size(); ++t) {
      ASSERT_EQ(written[t], expected[t]) << t;
    }
  }
}

// In words and units, to those who read no JSON.
TEST(Output, IsDescribedInItsUnits) {
  const ScratchDir folder;
  writeNoise(folder / "dry.wav", 2, 4000, 1);
  writeNoise(folder / "ir.wav", 2, 1000, 2);
  const std::string text =
      expectRun(folder, words("-i dry.wav --ir ir.wav -o wet.wav --block 256 --wet -6 "
                              "--predelay 12.5 --crossfeed 0.25 --ir-start 0.025 "
                              "--format 16"))
          .out;
  for (const char* const part :
       {"0.500 s", "from 0.025 s to 0.125 s", "wet -6.0 dB, dry 0.0 dB",
        "predelay 12.5 ms (100 frames)", "crossfeed 0.25", "partitions of 256 frames",
        "256 frames (32.0 ms)", "16 bit, stereo, 2 channels, 8000 Hz", "as RMS"}) {
    EXPECT_NE(text.find(part), text.npos) << part << " is not in\n" << text;
  }
}

// Down to a level that can be given, which then avoids it.
TEST(Output, AdvisesAgainstClippingAsFarAsLevelsGo) {
  const ScratchDir folder;
  audio::writeAudio(folder / "one.wav", {.channels = 1, .sampleRate = kRate}, {1.0F});
  const auto report = [&](float sample, const std::string& options) {
    audio::writeAudio(folder / "dry.wav", {.channels = 1, .sampleRate = kRate},
                      {sample});
    const std::string call = "-i dry.wav --ir one.wav --dry off -o wet.wav " + options;
    return expectRun(folder, words(call)).out;
  };
  const auto says = [](const std::string& text, const char* words) {
    return text.find(words) != std::string::npos;
  };
  EXPECT_TRUE(says(report(1e9F, ""), "-180.00 dB on --wet would avoid it"));
  EXPECT_TRUE(says(report(1e9F, "--wet -180.01"), "within full scale"));
  EXPECT_TRUE(says(report(1e9F, ""), "which a float file keeps"));
  EXPECT_TRUE(says(report(1e9F, "--format 16"), "1 sample limited to full scale"));
  audio::writeAudio(folder / "one.wav", {.channels = 1, .sampleRate = kRate}, {100.0F});
  const std::string tooLoud = report(1e9F, "");
  EXPECT_TRUE(says(tooLoud, "no level of --wet would avoid it")) << tooLoud;
  EXPECT_TRUE(says(tooLoud, "-200 dB")) << tooLoud;
}

// The same samples in float and in 24 bits, limited and, for that, all a little lower.
TEST(Output, IsLimitedWithAWarningOrLoweredByItself) {
  const ScratchDir folder;
  writeNoise(folder / "dry.wav", 2, 5000, 8);
  const std::string call = "-i dry.wav --room small --wet 6 --dry 26 -o wet.wav ";
  const auto rendered = [&](const std::string& options, std::string& warning) {
    warning = expectRun(folder, words(call + options)).err;
    return audio::readAudio(folder / "wet.wav");
  };
  std::string quiet;
  std::string warning;
  std::string none;
  const std::vector<float> free = rendered("--format float", quiet);
  const std::vector<float> limited = rendered("--format 24", warning);
  const std::vector<float> lowered = rendered("--format 24 --gain auto", none);
  EXPECT_EQ(quiet + none, "");
  constexpr float kStep = 0x1p-23F;
  int count = 0;
  float peak = 0.0F;
  for (std::size_t n = 0; n < free.size(); ++n) {
    if (std::abs(free[n]) > 1.0F) ++count;
    ASSERT_NEAR(limited[n], std::clamp(free[n], -1.0F, 1.0F - kStep), kStep);
    peak = std::max(peak, std::abs(free[n]));
  }
  ASSERT_GT(count, 10);
  const std::string counted = std::to_string(count).append(" samples of wet.wav");
  EXPECT_NE(warning.find(counted), std::string::npos) << warning;
  for (std::size_t n = 0; n < free.size(); ++n) {
    ASSERT_NEAR(lowered[n], free[n] / peak, 3.0F * kStep);
  }
}

TEST(Output, IsTheSameWithAPicture) {
  ULMAR_NEEDS_PICTURES();
  const ScratchDir folder;
  writeNoise(folder / "dry.wav", 2, 20000, 6);
  const auto rendered = [&](const std::string& options) {
    expectRun(folder, words("-i dry.wav -o wet.wav --room small " + options));
    return test::bytesOf(folder / "wet.wav");
  };
  const std::string plain = rendered("--block 256");
  for (const char* const picture : {"p.svg", "p.png", "p.pdf"}) {
    EXPECT_EQ(rendered(std::string("--block 256 --picture ") + picture), plain);
  }
  // A block that is never completed, and blocks longer than a buffer.
  EXPECT_EQ(rendered("--block 32768 --tail none --picture p.svg"),
            rendered("--block 32768 --tail none"));
  EXPECT_EQ(folder.names().size(), 5U);
}

/// Where the only waveform of its colour that is not silent leaves silence and where it
/// ends, in parts of the diagram's width.
struct Drawn {
  double start = -1.0;
  double end = -1.0;
};

constexpr double kLeft = 82.0;  // of the diagrams, in pixels
constexpr double kWidth = 1088.0;

Drawn drawnIn(const std::string& svg, const std::string& color) {
  const std::string start = ";fill:rgb(" + color + ")";
  Drawn drawn;
  for (std::size_t at = svg.find(start); at != std::string::npos;
       at = svg.find(start, at + 1)) {
    const std::size_t path = svg.find(" d=\"", at) + 4;
    std::istringstream points(svg.substr(path, svg.find(" Z", path) - path));
    std::string verb;
    double x = 0.0;
    double y = 0.0;
    double silent = -1.0;
    while (points >> verb >> x >> y) {
      const double place = (x - kLeft) / kWidth;
      if (silent < 0.0) silent = y;
      if (drawn.start < 0.0 && std::abs(y - silent) > 10.0) drawn.start = place;
      drawn.end = std::max(drawn.end, place);
    }
  }
  return drawn;
}

/// Where the discs of a colour stand, in parts of the diagram's width.
std::vector<double> discsIn(const std::string& svg, const std::string& color) {
  constexpr double kRadius = 1.4;  // of a disc, whose outline starts on its right
  const std::string start = ";fill:rgb(" + color + ")";
  std::vector<double> places;
  for (std::size_t at = svg.find(start); at != std::string::npos;
       at = svg.find(start, at + 1)) {
    const std::size_t x = svg.find(" d=\"M ", at) + 6;
    places.push_back((std::stod(svg.substr(x)) - kRadius - kLeft) / kWidth);
  }
  return places;
}

// A low-frequency burst at the input's end shows where it is heard: the renderer
// delays that channel by a block on its way into the stream.
TEST(Output, IsDrawnInTimeWithTheMaterial) {
  ULMAR_NEEDS_PICTURES();
  constexpr int kFrames = 4800;
  constexpr int kBurst = 4300;
  constexpr int kBlockLen = 2048;
  const ScratchDir folder;
  std::vector<float> samples(6 * kFrames);
  for (std::size_t i = kBurst; i < kFrames; ++i) samples[6 * i + 3] = 0.5F;
  audio::writeAudio(folder / "dry.wav", {.channels = 6, .sampleRate = 48000}, samples);
  const auto figures =
      figuresOf(folder,
                "-i dry.wav -o wet.wav --room small --wet off --block 2048 "
                "--picture p.svg");
  const double numFrames = figures["output"]["frames"];
  const std::string svg = test::bytesOf(folder / "p.svg");
  const Drawn input = drawnIn(svg, "0%,44.7%,69.8%");
  const Drawn output = drawnIn(svg, "83.5%,36.9%,0%");
  // The waveforms have 1100 columns, of the whole time each.
  constexpr double kColumn = 1.5 / 1100;
  EXPECT_NEAR(input.start, kBurst / numFrames, kColumn);
  EXPECT_NEAR(input.end, kFrames / numFrames, kColumn);
  EXPECT_NEAR(output.start, kBurst / numFrames, kColumn);
  EXPECT_NEAR(output.end, 1.0, kColumn);
  // The first block is the latency, which is taken off.
  const std::vector<double> blocks = discsIn(svg, "0%,62%,45.1%");
  ASSERT_EQ(blocks.size(), std::floor(numFrames / kBlockLen) + 1);
  for (std::size_t k = 0; k < blocks.size(); ++k) {
    EXPECT_NEAR(blocks[k], static_cast<double>(k) * kBlockLen / numFrames, 1e-4);
  }
}

// A single frame makes no line: its waveform and its level are marked, in the middle.
TEST(Output, IsDrawnAlsoOfASingleFrame) {
  ULMAR_NEEDS_PICTURES();
  const ScratchDir folder;
  audio::writeAudio(folder / "dry.wav", {.channels = 1, .sampleRate = kRate}, {0.5F});
  expectRun(folder, words("-i dry.wav --ir dry.wav -o wet.wav --picture p.svg"));
  const std::string svg = test::bytesOf(folder / "p.svg");
  for (const char* const color : {"0%,44.7%,69.8%", "83.5%,36.9%,0%"}) {
    SCOPED_TRACE(color);
    constexpr double kPixel = 1.0 / kWidth;
    const std::vector<double> marks = discsIn(svg, color);
    ASSERT_EQ(marks.size(), 2U);
    EXPECT_NEAR(marks[0], 0.5, 2.0 * kPixel);
    EXPECT_NEAR(marks[1], 0.5, 2.0 * kPixel);
  }
}

TEST(Output, TakesNoMoreMemoryForLongerMaterial) {
  constexpr int kLongFrames = 10'000'000;  // 40 MB as float
  const ScratchDir folder;
  const audio::WavHeader header = {
      .channels = 1, .rate = 48000, .dataLen = 2 * kLongFrames};
  test::writeBytes(folder / "long.wav", header.with(""));
  std::filesystem::resize_file(folder / "long.wav", 44 + 2 * kLongFrames);
  audio::writeAudio(folder / "short.wav", {.channels = 1, .sampleRate = 48000}, {0.5F});
  const auto peakMemory = [&](const std::string& input) {
    return expectRun(folder,
                     words("-i " + input + " --ir short.wav -o wet.wav --format 16"))
        .peakMemory;
  };
  EXPECT_LT(peakMemory("long.wav"), peakMemory("short.wav") + 8 * 1024);
}

}  // namespace
}  // namespace ulmar::render
