// Five loudspeakers from the command line, against a convolution in the time domain and
// the decoder as a formula.
#include <cmath>

#include "tests/audio/audio_samples.h"
#include "tests/render/program.h"
#include "tests/support/convolution.h"
#include "tests/support/random.h"
#include "tests/surround/plain_decoder.h"
#include "ulmar/audio/channel_layout.h"
#include "ulmar/host/crossover_design.h"
#include "ulmar/room/room.h"

namespace ulmar::render {
namespace {

using audio::SurroundName;
using test::ScratchDir;
using Channel = std::vector<double>;
using Channels = std::vector<Channel>;

constexpr int kRate = 8000;      // Hz
constexpr int kInputLen = 9001;  // frames: a buffer of the renderer and a rest
constexpr int kResponseLen = 301;
constexpr double kWet = 0.31622776601683794;
constexpr double kDry = 0.50118723362727229;

// Order of files.
enum Place { kL, kR, kC, kLfe, kLs, kRs, kNumPlaces };

// How the response's file has its channels.
enum class Kind { fuma, fumaWithHeight, ambix, feeds, feedsAndLfe };

struct Case {
  const char* name = "";
  int inputChannels = 1;
  Kind kind = Kind::fuma;
  int sources = 1;
  const char* options = "";
  int outChannels = 5;
  double crossover = 400.0;
  double crossfeed = 0.0;
  int wetDelay = 0;   // frames
  int rearDelay = 0;  // frames, beyond that
  SurroundName surrounds = SurroundName::rear;

  bool isBFormat() const { return kind != Kind::feeds && kind != Kind::feedsAndLfe; }
};

const Case kCases[] = {
    {.name = "mono, FuMa", .options = "--bformat fuma"},
    {.name = "mono, AmbiX",
     .kind = Kind::ambix,
     .options = "--bformat ambix --out-layout 5.1 --crossover 700 --rear-delay 2.5",
     .outChannels = 6,
     .crossover = 700.0,
     .rearDelay = 20},
    {.name = "mono, two sources", .sources = 2, .options = "--bformat fuma --decode"},
    {.name = "stereo, one source",
     .inputChannels = 2,
     .kind = Kind::fumaWithHeight,
     .options = "--bformat fuma --crossfeed 0.25 --block 64",
     .crossfeed = 0.25},
    {.name = "stereo, two sources, as heard live",
     .inputChannels = 2,
     .kind = Kind::ambix,
     .sources = 2,
     .options = "--bformat ambix --no-align --rear-delay 10",
     .wetDelay = 512,
     .rearDelay = 80},
    {.name = "5.0, one source",
     .inputChannels = 5,
     .options = "--bformat fuma --ir-layout b-format --crossfeed 0.5",
     .crossfeed = 0.5},
    {.name = "5.1, one source",
     .inputChannels = 6,
     .options = "--bformat fuma",
     .outChannels = 6,
     .surrounds = SurroundName::side},
    {.name = "5.1, two sources, as heard live",
     .inputChannels = 6,
     .sources = 2,
     .options = "--bformat fuma --no-align --block 128",
     .outChannels = 6,
     .wetDelay = 128},
    {.name = "5.1 in blocks longer than a buffer",
     .inputChannels = 6,
     .kind = Kind::feeds,
     .options = "--block 16384",
     .outChannels = 6},
    {.name = "mono, feeds", .kind = Kind::feeds, .options = "--passthrough"},
    {.name = "mono, feeds of two sources",
     .kind = Kind::feeds,
     .sources = 2,
     .options = "--out-layout 5.1 --rear-delay 1",
     .outChannels = 6,
     .rearDelay = 8},
    {.name = "stereo, feeds of two sources",
     .inputChannels = 2,
     .kind = Kind::feeds,
     .sources = 2,
     .options = "--ir-layout feeds"},
    {.name = "5.0, feeds, in 5.1",
     .inputChannels = 5,
     .kind = Kind::feedsAndLfe,
     .options = "--out-layout 5.1",
     .outChannels = 6},
};

Channels noise(int channels, int frames, std::uint64_t seed) {
  test::Random random(seed);
  Channels result;
  for (int k = 0; k < channels; ++k) {
    result.push_back(random.signal<double>(frames));
    for (double& sample : result.back()) sample *= 0.0625;
  }
  return result;
}

void write(const std::string& path, const Channels& channels,
           SurroundName surrounds = SurroundName::rear) {
  const auto count = static_cast<int>(channels.size());
  audio::AudioFormat format = {.channels = count, .sampleRate = kRate};
  if (count == kNumPlaces) {
    format.speakers = audio::fileSpeakers(audio::ChannelLayout::fiveOne, surrounds);
  }
  std::vector<float> interleaved;
  for (std::size_t n = 0; n < channels[0].size(); ++n) {
    for (const Channel& channel : channels) {
      interleaved.push_back(static_cast<float>(channel[n]));
    }
  }
  audio::writeAudio(path, format, interleaved);
}

// gains[k] of channels[k], added up.
Channel mix(const Channels& channels, const std::vector<double>& gains) {
  Channel sum(channels[0].size());
  for (std::size_t k = 0; k < gains.size(); ++k) {
    for (std::size_t n = 0; n < sum.size(); ++n) sum[n] += gains[k] * channels[k][n];
  }
  return sum;
}

void addWet(Channel& sum, const Channel& signal, const Channel& response,
            double gain = 1.0) {
  for (std::size_t n = 0; n < sum.size(); ++n) {
    sum[n] += gain * test::convolved(signal, response, static_cast<int>(n));
  }
}

// W, X and Y, or the feeds in the order of files, of one source after another.
Channels responseOf(const Case& c) {
  return noise(c.sources * (c.isBFormat() ? 3 : 5), kResponseLen, 2);
}

Channels fileOf(const Case& c, const Channels& response) {
  const Channel other(kResponseLen, 0.5);  // height, low frequency
  const std::ptrdiff_t step = c.isBFormat() ? 3 : 5;
  Channels file;
  for (auto r = response.begin(); r != response.end(); r += step) {
    if (c.kind == Kind::ambix) {
      file.insert(file.end(), {mix({r[0]}, {std::sqrt(2.0)}), r[2], other, r[1]});
    } else {
      file.insert(file.end(), r, r + step);
    }
    if (c.kind == Kind::fumaWithHeight) file.push_back(other);
    if (c.kind == Kind::feedsAndLfe) file.insert(file.begin() + kLfe, other);
  }
  return file;
}

// The input in the order of 5.1 files; mono in the centre.
Channels placed(const Channels& input) {
  Channels result(kNumPlaces, Channel(input[0].size()));
  for (std::size_t k = 0; k < input.size(); ++k) {
    const bool withoutLfe = input.size() == 5 && k >= kLfe;
    result[withoutLfe ? k + 1 : k] = input[k];
  }
  if (input.size() == 1) std::swap(result[kL], result[kC]);
  return result;
}

// What the reverberation is fed with: mono, or left and right.
Channels engineInputs(const Case& c, const Channels& input) {
  if (c.inputChannels == 1) return input;
  const Channels m = placed(input);
  const Channels sides = {mix(m, {1.0, 0.0, 0.7071, 0.0, 0.7071, 0.0}),
                          mix(m, {0.0, 1.0, 0.7071, 0.0, 0.0, 0.7071})};
  return {mix(sides, {1.0, c.crossfeed}), mix(sides, {c.crossfeed, 1.0})};
}

// What a response in B-format makes of left and right: each from its own source; or W
// of the mid, X and Y of the mid and, exchanged, of the side.
Channels fieldOf(const Case& c, const Channels& inputs, const Channels& r,
                 std::size_t frames) {
  Channels field(3, Channel(frames));
  const bool midSide = c.sources == 1 && inputs.size() == 2;
  const double h = std::sqrt(0.5);
  const Channel first = midSide ? mix(inputs, {h, h}) : inputs[0];
  for (std::size_t k = 0; k < r.size(); ++k) {
    addWet(field[k % 3], k < 3 ? first : inputs.back(), r[k]);
  }
  if (midSide) {
    const Channel side = mix(inputs, {h, -h});
    addWet(field[1], side, r[2]);
    addWet(field[2], side, r[1]);
  }
  return field;
}

// In the order of 5.1 files, as is the next.
Channels decoded(const Case& c, const Channels& field) {
  constexpr Place kPlaces[] = {kL, kC, kR, kLs, kRs};
  std::vector<test::PlainCrossover> crossovers(
      3, test::PlainCrossover(host::designCrossover(c.crossover, kRate)));
  Channels feeds(kNumPlaces, Channel(field[0].size()));
  for (std::size_t n = 0; n < field[0].size(); ++n) {
    for (std::size_t s = 0; s < 3; ++s) {
      const auto [low, high] = crossovers[s](field[s][n]);
      for (std::size_t j = 0; j < 5; ++j) {
        feeds[kPlaces[j]][n] +=
            test::kLowMatrix[j][s] * low + test::kHighMatrix[j][s] * high;
      }
    }
  }
  return feeds;
}

Channels passed(const Case& c, const Channels& inputs, const Channels& r,
                std::size_t frames) {
  Channels feeds(kNumPlaces, Channel(frames));
  for (std::size_t k = 0; k < r.size(); ++k) {
    const std::size_t place = k % 5 < kLfe ? k % 5 : k % 5 + 1;
    if (c.sources == 2 || inputs.size() == 1) {
      addWet(feeds[place], k < 5 ? inputs[0] : inputs.back(), r[k]);
      continue;
    }
    const double gain = place == kC ? std::sqrt(0.5) : 1.0;
    if (place != kR && place != kRs) addWet(feeds[place], inputs[0], r[k], gain);
    if (place != kL && place != kLs) addWet(feeds[place], inputs[1], r[k], gain);
  }
  return feeds;
}

// In the order of 5.1 files; the low-frequency channel is the input's.
Channels expectedOutputs(const Case& c, const Channels& input, const Channels& r,
                         std::size_t frames) {
  const Channels inputs = engineInputs(c, input);
  const Channels wet = c.isBFormat() ? decoded(c, fieldOf(c, inputs, r, frames))
                                     : passed(c, inputs, r, frames);
  Channels outputs = placed(input);
  for (std::size_t place = 0; place < kNumPlaces; ++place) {
    outputs[place].resize(frames);
    if (place == kLfe) continue;
    const int delay = c.wetDelay + (place >= kLs ? c.rearDelay : 0);
    for (std::size_t n = 0; n < frames; ++n) {
      outputs[place][n] *= kDry;
      if (n < static_cast<std::size_t>(delay)) continue;
      outputs[place][n] += kWet * wet[place][n - static_cast<std::size_t>(delay)];
    }
  }
  return outputs;
}

void expectCase(const Case& c) {
  const ScratchDir folder;
  Channels input = noise(c.inputChannels, kInputLen, 1);
  // Beyond full scale, which is no clipping in the reverberation.
  if (input.size() == kNumPlaces) input[kLfe] = mix({input[kLfe]}, {32.0});
  const Channels response = responseOf(c);
  write(folder / "dry.wav", input, c.surrounds);
  write(folder / "ir.wav", fileOf(c, response));
  const auto figures = figuresOf(
      folder,
      std::string("-i dry.wav --ir ir.wav -o wet.wav --wet -10 --dry -6 ") + c.options);

  EXPECT_EQ(figures["rendering"]["gainWithoutClipping"], 1.0);
  const audio::AudioInfo info = audio::AudioReader(folder / "wet.wav").info();
  const bool lfe = c.outChannels == kNumPlaces;
  const auto layout = lfe ? audio::ChannelLayout::fiveOne : audio::ChannelLayout::five;
  EXPECT_EQ(info.speakers, audio::fileSpeakers(layout, c.surrounds));
  const int ringing =
      c.isBFormat() ? host::crossoverTail(host::designCrossover(c.crossover, kRate))
                    : 0;
  ASSERT_EQ(info.channels, c.outChannels);
  ASSERT_EQ(info.frames,
            kInputLen + kResponseLen - 1 + c.wetDelay + c.rearDelay + ringing);

  const auto frames = static_cast<std::size_t>(info.frames);
  const auto outChannels = static_cast<std::size_t>(info.channels);
  const Channels expected = expectedOutputs(c, input, response, frames);
  const std::vector<float> out = audio::readAudio(folder / "wet.wav");
  for (std::size_t j = 0; j < outChannels; ++j) {
    const std::size_t place = lfe || j < kLfe ? j : j + 1;
    double peak = 0.0;
    double worst = 0.0;
    double energy = 0.0;
    for (std::size_t n = 0; n < frames; ++n) {
      const double sample = out[n * outChannels + j];
      worst = std::max(worst, std::fabs(sample - expected[place][n]));
      peak = std::max(peak, std::fabs(expected[place][n]));
      energy += sample * sample;
    }
    // The low-frequency channel is what it was, in its place.
    EXPECT_LE(worst, place == kLfe ? 0.0 : 1e-6) << "channel " << j;
    EXPECT_NEAR(figures["rendering"]["peaks"][j], peak, 1e-6);
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

// The room is the one that the kit renders, and a file of it gives the same. Energy 1
// is meant of the sound pressure, whose square is twice that of W.
TEST(Surround, PutsAnyMaterialIntoARoom) {
  const ScratchDir folder;
  Channels room;
  for (const auto& channel : room::renderRoom(room::roomPreset(room::RoomKind::small),
                                              room::RoomLayout::bFormat, kRate)) {
    room.emplace_back(channel.begin(), channel.end());
  }
  write(folder / "room.wav", room);
  double energy = 0.0;
  for (const double w : room[0]) energy += 2.0 * w * w;
  for (const int channels : {6, 2, 1}) {
    write(folder / "dry.wav", noise(channels, 100, 4));
    const std::string call = "-i dry.wav --normalize energy --out-layout 5.1 -o ";
    const auto figures = figuresOf(folder, call + "a.wav --room small");
    EXPECT_NEAR(figures["response"]["normalizationGain"], 1.0 / std::sqrt(energy),
                1e-6);
    figuresOf(folder, call + "b.wav --ir room.wav --bformat fuma");
    EXPECT_EQ(test::bytesOf(folder / "a.wav"), test::bytesOf(folder / "b.wav"));
  }
  for (const auto& [options, layout] :
       {std::pair{"", "stereo"}, {"--decode", "5.0"}, {"--out-layout mono", "mono"}}) {
    const auto figures =
        figuresOf(folder, std::string("-i dry.wav --room small --check ") + options);
    EXPECT_EQ(figures["output"]["layout"], layout);
  }
}

// FLAC and AIFF have surround channels without a place of their own.
TEST(Surround, NamesTheLoudspeakersInEveryContainer) {
  const ScratchDir folder;
  for (const SurroundName surrounds : {SurroundName::rear, SurroundName::side}) {
    write(folder / "dry.wav", noise(kNumPlaces, 100, 4), surrounds);
    for (const std::string output : {"wet.wav", "wet.flac", "wet.aiff"}) {
      figuresOf(folder, "-i dry.wav --room small -o " + output);
      const auto name = output == "wet.wav" ? surrounds : SurroundName::rear;
      EXPECT_EQ(audio::AudioReader(folder / output).info().speakers,
                audio::fileSpeakers(audio::ChannelLayout::fiveOne, name))
          << output;
    }
  }
}

}  // namespace
}  // namespace ulmar::render
