// Five loudspeakers from the command line, against a convolution in the time domain and
// the decoder as a formula.
#include <cmath>
#include <nlohmann/json.hpp>
#include <numbers>
#include <sstream>

#include "host/channel_layout.h"
#include "host/crossover_design.h"
#include "host/room.h"
#include "tests/host/audio_samples.h"
#include "tests/render/program.h"
#include "tests/support/convolution.h"
#include "tests/support/random.h"
#include "tests/surround/plain_driver.h"

namespace ulmar::render {
namespace {

using host::ScratchDir;
using host::SurroundName;
using Channel = std::vector<double>;
using Channels = std::vector<Channel>;

constexpr int kRate = 8000;         // Hz
constexpr int kMaterialLen = 9001;  // frames: a buffer of the renderer and a rest
constexpr int kResponseLen = 301;

// Order of files.
enum File { kL, kR, kC, kLfe, kLs, kRs };

/// What the response's channels do to left and right, or to mono alone.
enum class Use { fumaOfOne, ambixOfOne, fumaOfTwo, ambixOfTwo, fiveFeeds, tenFeeds };

struct Case {
  const char* name = "";
  int materialChannels = 1;
  int responseChannels = 3;
  Use use = Use::fumaOfOne;
  const char* options = "";
  int outChannels = 5;
  double crossover = 400.0;
  double crossfeed = 0.0;
  int wetDelay = 0;   // frames
  int rearDelay = 0;  // frames, beyond that
  SurroundName surrounds = SurroundName::rear;
};

const Case kCases[] = {
    {.name = "mono, FuMa", .options = "--bformat fuma"},
    {.name = "mono, AmbiX",
     .responseChannels = 4,
     .use = Use::ambixOfOne,
     .options = "--bformat ambix --out-layout 5.1 --crossover 700 --rear-delay 2.5",
     .outChannels = 6,
     .crossover = 700.0,
     .rearDelay = 20},
    {.name = "mono, two sources",
     .responseChannels = 6,
     .use = Use::fumaOfTwo,
     .options = "--bformat fuma --decode"},
    {.name = "stereo, one source",
     .materialChannels = 2,
     .responseChannels = 4,
     .options = "--bformat fuma --crossfeed 0.25 --block 64",
     .crossfeed = 0.25},
    {.name = "stereo, two sources, as heard live",
     .materialChannels = 2,
     .responseChannels = 8,
     .use = Use::ambixOfTwo,
     .options = "--bformat ambix --no-align --rear-delay 10",
     .wetDelay = 512,
     .rearDelay = 80},
    {.name = "5.0, one source",
     .materialChannels = 5,
     .options = "--bformat fuma --ir-layout b-format --crossfeed 0.5",
     .crossfeed = 0.5},
    {.name = "5.1, one source",
     .materialChannels = 6,
     .options = "--bformat fuma --fold",
     .outChannels = 6,
     .surrounds = SurroundName::side},
    {.name = "5.1, two sources, as heard live",
     .materialChannels = 6,
     .responseChannels = 6,
     .use = Use::fumaOfTwo,
     .options = "--bformat fuma --no-align --block 128",
     .outChannels = 6,
     .wetDelay = 128},
    {.name = "5.1 in blocks longer than a buffer",
     .materialChannels = 6,
     .responseChannels = 5,
     .use = Use::fiveFeeds,
     .options = "--block 16384",
     .outChannels = 6},
    {.name = "mono, feeds",
     .responseChannels = 5,
     .use = Use::fiveFeeds,
     .options = "--passthrough"},
    {.name = "mono, feeds of two sources",
     .responseChannels = 10,
     .use = Use::tenFeeds,
     .options = "--out-layout 5.1 --rear-delay 1",
     .outChannels = 6,
     .rearDelay = 8},
    {.name = "stereo, feeds",
     .materialChannels = 2,
     .responseChannels = 5,
     .use = Use::fiveFeeds},
    {.name = "stereo, feeds of two sources",
     .materialChannels = 2,
     .responseChannels = 10,
     .use = Use::tenFeeds,
     .options = "--ir-layout feeds"},
    {.name = "5.0, feeds in 5.1",
     .materialChannels = 5,
     .responseChannels = 6,
     .use = Use::fiveFeeds,
     .options = "--ir-layout feeds --out-layout 5.1",
     .outChannels = 6},
};

/// Writes noise, with its loudspeakers if it has five, and returns its channels.
Channels writeNoise(const std::string& path, int channels, int frames,
                    std::uint64_t seed, SurroundName surrounds = SurroundName::rear) {
  host::AudioFormat format = {.channels = channels, .sampleRate = kRate};
  if (channels == 6) {
    format.speakers = host::fileSpeakers(host::ChannelLayout::fiveOne, surrounds);
  }
  std::vector<float> interleaved = test::Random(seed).signal(channels * frames);
  for (float& sample : interleaved) sample *= 0.0625F;
  host::writeAudio(path, format, interleaved);
  Channels result(static_cast<std::size_t>(channels));
  for (std::size_t i = 0; i < interleaved.size(); ++i) {
    result[i % result.size()].push_back(interleaved[i]);
  }
  return result;
}

/// gains[k] of channels[k], added up.
Channel mix(const Channels& channels, const std::vector<double>& gains) {
  Channel sum(channels[0].size());
  for (std::size_t k = 0; k < gains.size(); ++k) {
    for (std::size_t n = 0; n < sum.size(); ++n) sum[n] += gains[k] * channels[k][n];
  }
  return sum;
}

/// What the reverberation is fed with: mono, or left and right.
Channels engineInputs(const Case& c, const Channels& m) {
  if (c.materialChannels == 1) return m;
  Channels sides = m;
  if (c.materialChannels == 5) {
    sides = {mix(m, {1.0, 0.0, 0.7071, 0.7071, 0.0}),
             mix(m, {0.0, 1.0, 0.7071, 0.0, 0.7071})};
  } else if (c.materialChannels == 6) {
    sides = {mix(m, {1.0, 0.0, 0.7071, 0.0, 0.7071, 0.0}),
             mix(m, {0.0, 1.0, 0.7071, 0.0, 0.0, 0.7071})};
  }
  return {mix(sides, {1.0, c.crossfeed}), mix(sides, {c.crossfeed, 1.0})};
}

bool isAmbix(Use use) { return use == Use::ambixOfOne || use == Use::ambixOfTwo; }

/// W, X and Y of a source.
Channels wxyOf(const Case& c, const Channels& r, std::size_t source) {
  const bool two = c.use == Use::fumaOfTwo || c.use == Use::ambixOfTwo;
  const std::size_t first = two ? source * r.size() / 2 : 0;
  if (!isAmbix(c.use)) return {r[first], r[first + 1], r[first + 2]};
  return {mix({r[first]}, {std::sqrt(0.5)}), r[first + 3], r[first + 1]};
}

Channel convolution(const Channel& signal, const Channel& response,
                    std::size_t frames) {
  Channel result(frames);
  for (std::size_t n = 0; n < frames; ++n) {
    result[n] = test::convolved(signal, response, static_cast<int>(n));
  }
  return result;
}

/// The field that a response in B-format makes of left and right: each from its own
/// source; or W of the mid, X and Y of the mid and, exchanged, of the side.
Channels fieldOf(const Case& c, const Channels& sides, const Channels& r,
                 std::size_t frames) {
  Channels field(3, Channel(frames));
  const auto add = [&](std::size_t to, const Channel& signal, const Channel& response) {
    field[to] = mix({field[to], convolution(signal, response, frames)}, {1.0, 1.0});
  };
  const bool two = c.use == Use::fumaOfTwo || c.use == Use::ambixOfTwo;
  if (!two && sides.size() == 2) {
    const Channels wxy = wxyOf(c, r, 0);
    const double h = std::sqrt(0.5);
    const Channel mid = mix(sides, {h, h});
    const Channel side = mix(sides, {h, -h});
    add(0, mid, wxy[0]);
    add(1, mid, wxy[1]);
    add(1, side, wxy[2]);
    add(2, mid, wxy[2]);
    add(2, side, wxy[1]);
    return field;
  }
  for (std::size_t source = 0; source < (two ? 2U : 1U); ++source) {
    const Channels wxy = wxyOf(c, r, source);
    for (std::size_t k = 0; k < 3; ++k)
      add(k, sides[sides.size() == 2 ? source : 0], wxy[k]);
  }
  return field;
}

/// In the decoder's order.
Channels decoded(const Case& c, const Channels& field) {
  std::vector<test::PlainCrossover> crossovers(
      3, test::PlainCrossover(host::designCrossover(c.crossover, kRate)));
  Channels feeds(5, Channel(field[0].size()));
  for (std::size_t n = 0; n < field[0].size(); ++n) {
    for (std::size_t s = 0; s < 3; ++s) {
      const auto [low, high] = crossovers[s](field[s][n]);
      for (std::size_t j = 0; j < 5; ++j) {
        feeds[j][n] += test::kLowMatrix[j][s] * low + test::kHighMatrix[j][s] * high;
      }
    }
  }
  return {feeds[0], feeds[2], feeds[1], {}, feeds[3], feeds[4]};
}

/// In the order of 5.1 files.
Channels passed(const Case& c, const Channels& sides, const Channels& r,
                std::size_t frames) {
  Channels feeds;
  for (const std::size_t place : {kL, kR, kC, kLfe, kLs, kRs}) {
    if (place == kLfe) {
      feeds.emplace_back();
      continue;
    }
    const std::size_t k = c.responseChannels == 6 || place < kLfe ? place : place - 1;
    Channel feed = convolution(sides[0], r[k], frames);
    if (c.use == Use::tenFeeds) {
      feed = mix({feed, convolution(sides.back(), r[k + 5], frames)}, {1.0, 1.0});
    } else if (sides.size() == 2) {
      const Channel right = convolution(sides[1], r[k], frames);
      const double h = std::sqrt(0.5);
      if (place == kR || place == kRs) feed = right;
      if (place == kC) feed = mix({feed, right}, {h, h});
    }
    feeds.push_back(feed);
  }
  return feeds;
}

/// The dry signal in the order of 5.1 files.
Channel dryOf(const Channels& m, std::size_t place) {
  if (m.size() == 1) return place == kC ? m[0] : Channel();
  if (m.size() == 2) return place <= kR ? m[place] : Channel();
  if (m.size() == 6) return m[place];
  return place < kLfe ? m[place] : place > kLfe ? m[place - 1] : Channel();
}

constexpr double kWet = 0.31622776601683794;
constexpr double kDry = 0.50118723362727229;

/// Every channel in the order of 5.1 files; the low-frequency channel is not scaled.
Channels expectedOutputs(const Case& c, const Channels& material, const Channels& r,
                         std::size_t frames) {
  const Channels sides = engineInputs(c, material);
  const bool feeds = c.use == Use::fiveFeeds || c.use == Use::tenFeeds;
  const Channels wet =
      feeds ? passed(c, sides, r, frames) : decoded(c, fieldOf(c, sides, r, frames));
  Channels outputs(6, Channel(frames));
  for (std::size_t place = 0; place < 6; ++place) {
    const Channel dry = dryOf(material, place);
    const int delay = c.wetDelay + (place == kLs || place == kRs ? c.rearDelay : 0);
    for (std::size_t n = 0; n < frames; ++n) {
      double& v = outputs[place][n];
      if (n < dry.size()) v = (place == kLfe ? 1.0 : kDry) * dry[n];
      if (place != kLfe && n >= static_cast<std::size_t>(delay)) {
        v += kWet * wet[place][n - static_cast<std::size_t>(delay)];
      }
    }
  }
  return outputs;
}

std::vector<std::string> words(const std::string& text) {
  std::istringstream stream(text);
  return {std::istream_iterator<std::string>(stream), {}};
}

void expectCase(const Case& c) {
  const ScratchDir folder;
  const Channels material =
      writeNoise(folder / "dry.wav", c.materialChannels, kMaterialLen, 1, c.surrounds);
  const Channels response =
      writeNoise(folder / "ir.wav", c.responseChannels, kResponseLen, 2);
  const auto figures = nlohmann::json::parse(
      expectRun(folder, words(std::string("-i dry.wav --ir ir.wav -o wet.wav --wet -10 "
                                          "--dry -6 --json ") +
                              c.options))
          .out);

  const host::AudioInfo info = host::AudioReader(folder / "wet.wav").info();
  const bool lfe = c.outChannels == 6;
  EXPECT_EQ(info.speakers, host::fileSpeakers(lfe ? host::ChannelLayout::fiveOne
                                                  : host::ChannelLayout::five,
                                              c.surrounds));
  const bool feeds = c.use == Use::fiveFeeds || c.use == Use::tenFeeds;
  const int ringing =
      feeds ? 0 : host::crossoverTail(host::designCrossover(c.crossover, kRate));
  ASSERT_EQ(info.channels, c.outChannels);
  ASSERT_EQ(info.frames,
            kMaterialLen + kResponseLen - 1 + c.wetDelay + c.rearDelay + ringing);

  const auto frames = static_cast<std::size_t>(info.frames);
  const Channels expected = expectedOutputs(c, material, response, frames);
  const std::vector<float> out = host::readAudio(folder / "wet.wav");
  const auto outChannels = static_cast<std::size_t>(c.outChannels);
  for (std::size_t j = 0; j < outChannels; ++j) {
    SCOPED_TRACE(testing::Message() << "channel " << j);
    const std::size_t place = lfe || j < kLfe ? j : j + 1;
    double highest = 0.0;
    double worst = 0.0;
    double energy = 0.0;
    for (std::size_t n = 0; n < frames; ++n) {
      const float sample = out[n * outChannels + j];
      worst = std::max(worst, std::fabs(sample - expected[place][n]));
      highest = std::max(highest, std::fabs(expected[place][n]));
      energy += double{sample} * double{sample};
    }
    if (place == kLfe) {
      EXPECT_EQ(worst, 0.0);  // sample by sample, in its place
    } else {
      EXPECT_LT(worst, 1e-6);
      EXPECT_GT(highest, 0.015);
    }
    EXPECT_NEAR(figures["rendering"]["peaks"][j], highest, 1e-5);
    EXPECT_NEAR(figures["rendering"]["levels"][j],
                std::sqrt(energy / static_cast<double>(frames)), 1e-9);
  }
}

TEST(Surround, IsTheDecodedConvolution) {
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.name);
    expectCase(c);
  }
}

// The room is the one that the kit renders, and a file of it gives the same.
TEST(Surround, PutsAnyMaterialIntoARoom) {
  const ScratchDir folder;
  const host::Planar wxy = host::renderRoom(host::roomPreset(host::RoomKind::small),
                                            host::RoomLayout::bFormat, kRate);
  std::vector<float> interleaved;
  for (std::size_t n = 0; n < wxy[0].size(); ++n) {
    for (const auto& channel : wxy) interleaved.push_back(channel[n]);
  }
  host::writeAudio(folder / "room.wav", {.channels = 3, .sampleRate = kRate},
                   interleaved);
  for (const int channels : {1, 2, 6}) {
    writeNoise(folder / "dry.wav", channels, 100, 4);
    const std::string call = "-i dry.wav --normalize energy --out-layout 5.1 -o ";
    expectRun(folder, words(call + "a.wav --room small"));
    expectRun(folder, words(call + "b.wav --ir room.wav --bformat fuma"));
    EXPECT_EQ(host::bytesOf(folder / "a.wav"), host::bytesOf(folder / "b.wav"));
  }
  writeNoise(folder / "dry.wav", 1, 100, 4);
  for (const auto& [options, layout] :
       {std::pair{"", "stereo"}, {"--decode", "5.0"}, {"--out-layout mono", "mono"}}) {
    const auto figures = nlohmann::json::parse(
        expectRun(folder, words(std::string("-i dry.wav --room small --json --check ") +
                                options))
            .out);
    EXPECT_EQ(figures["output"]["layout"], layout);
  }
}

// FLAC and AIFF have surround channels without a place of their own.
TEST(Surround, NamesTheLoudspeakersInEveryContainer) {
  const ScratchDir folder;
  for (const SurroundName surrounds : {SurroundName::rear, SurroundName::side}) {
    writeNoise(folder / "dry.wav", 6, 100, 4, surrounds);
    for (const char* const output : {"wet.wav", "wet.flac", "wet.aiff"}) {
      expectRun(folder, {"-i", "dry.wav", "--room", "small", "-o", output});
      const host::AudioInfo info = host::AudioReader(folder / output).info();
      const bool wav = output == std::string("wet.wav");
      EXPECT_EQ(info.speakers, host::fileSpeakers(host::ChannelLayout::fiveOne,
                                                  wav ? surrounds : SurroundName::rear))
          << output;
    }
  }
}

TEST(Surround, RefusesLayoutsThatDoNotMeet) {
  const ScratchDir folder;
  for (const int channels : {1, 2, 3, 4, 5, 6, 7, 8, 9}) {
    writeNoise(folder / std::to_string(channels).append(".wav"), channels, 100, 5);
  }
  // Left, right, left and right at the rear, and rear centre.
  host::AudioFormat odd = {.channels = 5, .sampleRate = kRate};
  odd.speakers = {host::Speaker::frontLeft, host::Speaker::frontRight,
                  host::Speaker::rearLeft, host::Speaker::rearRight,
                  host::Speaker::rearCenter};
  host::writeAudio(folder / "odd.wav", odd, std::vector<float>(500, 0.1F));
  const struct {
    const char* call;
    std::vector<std::string> parts;
    int exitCode = 1;
  } cases[] = {
      {"-i 7.wav --room small", {"7.wav", "7 channels", "1, 2, 5 or 6"}},
      {"-i odd.wav --room small", {"odd.wav", "5 channels", "5.0"}},
      {"-i 1.wav --ir odd.wav", {"odd.wav", "5 channels", "other loudspeakers"}},
      {"-i 1.wav --ir 3.wav", {"3.wav", "3 channels", "--bformat"}},
      {"-i 1.wav --ir 9.wav --bformat fuma", {"9.wav", "3 sources", "1 or 2"}},
      {"-i 1.wav --ir 5.wav --bformat fuma", {"5.wav", "5 channels", "3, 6 or 9"}},
      {"-i 1.wav --ir 3.wav --bformat ambix", {"3.wav", "3 channels", "4, 8 or 12"}},
      {"-i 1.wav --ir 4.wav --ir-layout feeds", {"4.wav", "4 channels", "5, 6 or 10"}},
      {"-i 1.wav --ir 4.wav --ir-layout stereo", {"4.wav", "4 channels", "2"}},
      {"-i 6.wav --ir 4.wav", {"6.wav", "5.1", "4.wav", "true-stereo", "--bformat"}},
      {"-i 1.wav --ir 2.wav --out-layout 5.0", {"2.wav", "5.0", "stereo"}},
      {"-i 1.wav --ir 5.wav --out-layout stereo", {"5.wav", "stereo", "feeds", "5.1"}},
      {"-i 2.wav --ir 1.wav --out-layout mono", {"2.wav", "mono", "it is stereo"}},
      {"-i 1.wav --ir 2.wav --out-layout mono", {"1.wav", "2.wav", "mono", "stereo"}},
      {"-i 5.wav --room small --out-layout stereo", {"5.wav", "stereo", "5.0"}},
      {"-i 6.wav --room small --out-layout 5.0",
       {"6.wav", "5.0", "low-frequency", "5.1"}},
      {"-i 6.wav --room small --out-layout mono", {"6.wav", "mono", "low-frequency"}},
      {"-i 2.wav --ir 2.wav --crossover 500", {"500 Hz", "--crossover", "stereo"}},
      {"-i 2.wav --room small --decode --crossover 4000",
       {"4000 Hz", "8000 Hz", "3992"}},
      {"-i 2.wav --room small --rear-delay 5", {"5 ms", "--rear-delay", "stereo"}},
      {"-i 2.wav --room small --fold", {"2.wav", "--fold", "stereo"}},
      {"-i 1.wav --ir 3.wav --decode", {"--bformat", "fuma", "ambix"}, 2},
      {"-i 1.wav --ir 4.wav --ir-layout b-format", {"--bformat", "fuma", "ambix"}, 2},
      {"-i 1.wav --ir 5.wav --passthrough --decode", {"--passthrough", "--decode"}, 2},
      {"-i 1.wav --ir 5.wav --bformat fuma --passthrough", {"--passthrough"}, 2},
      {"-i 1.wav --ir 5.wav --bformat fuma --ir-layout feeds", {"--bformat"}, 2},
      {"-i 1.wav --room small --bformat fuma", {"--bformat", "--ir", "room"}, 2},
      {"-i 1.wav --room small --passthrough", {"--passthrough", "--ir", "room"}, 2},
      {"-i 1.wav --room small --out-layout 7.1",
       {"'7.1'", "mono, stereo, 5.0 or 5.1"},
       2},
      {"-i 1.wav --room small --rear-delay 1001", {"'1001'", "0 to 1000 ms"}, 2},
      {"-i 1.wav --room small --crossover 0", {"'0'", "1 to 384000 Hz"}, 2},
  };
  const auto names = folder.names();
  for (const auto& [call, parts, exitCode] : cases) {
    SCOPED_TRACE(call);
    const Outcome outcome = run(folder, words(std::string(call) + " -o wet.wav"));
    EXPECT_EQ(outcome.exitCode, exitCode);
    EXPECT_EQ(outcome.err.rfind("ulmar-render: ", 0), 0U) << outcome.err;
    EXPECT_EQ(outcome.err.find('\n') + 1, outcome.err.size()) << outcome.err;
    for (const std::string& part : parts) {
      EXPECT_NE(outcome.err.find(part), std::string::npos)
          << '"' << part << "\" is not in: " << outcome.err;
    }
    EXPECT_EQ(folder.names(), names);
  }
}

}  // namespace
}  // namespace ulmar::render
