// Five loudspeakers from the command line, against a stream of the kit, bit for bit.
#include <cmath>

#include "tests/audio/audio_samples.h"
#include "tests/render/program.h"
#include "tests/support/random.h"
#include "ulmar/audio/channel_layout.h"
#include "ulmar/host/crossover_design.h"
#include "ulmar/host/stream.h"
#include "ulmar/host/surround_responses.h"
#include "ulmar/room/room.h"

namespace ulmar::render {
namespace {

using audio::SurroundName;
using test::ScratchDir;
constexpr int kRate = 8000;      // Hz
constexpr int kInputLen = 9001;  // frames: a buffer of the renderer and a rest
constexpr int kResponseLen = 301;
constexpr int kBlockLen = 64;
constexpr int kNumPlaces = 6;  // of 5.1
constexpr int kLfe = 3;        // in the order of files

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
  int rearDelay = 0;  // frames
  bool align = true;
  int blockLen = kBlockLen;
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
     .options = "--bformat fuma --crossfeed 0.25",
     .crossfeed = 0.25},
    {.name = "stereo, two sources, as heard live",
     .inputChannels = 2,
     .kind = Kind::ambix,
     .sources = 2,
     .options = "--bformat ambix --no-align --rear-delay 10",
     .rearDelay = 80,
     .align = false},
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
     .options = "--bformat fuma --no-align",
     .outChannels = 6,
     .align = false},
    {.name = "5.1 in blocks longer than a buffer",
     .inputChannels = 6,
     .kind = Kind::feeds,
     .outChannels = 6,
     .blockLen = 16384},
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

Planar noise(int channels, int frames, std::uint64_t seed) {
  test::Random random(seed);
  Planar result;
  for (int k = 0; k < channels; ++k) {
    result.push_back(random.signal(frames));
    for (float& sample : result.back()) sample *= 0.0625F;
  }
  return result;
}

void write(const std::string& path, const Planar& channels,
           SurroundName surrounds = SurroundName::rear) {
  const auto count = static_cast<int>(channels.size());
  audio::AudioFormat format = {.channels = count, .sampleRate = kRate};
  if (count == kNumPlaces) {
    format.speakers = audio::fileSpeakers(audio::ChannelLayout::fiveOne, surrounds);
  }
  std::vector<float> interleaved;
  for (std::size_t n = 0; n < channels[0].size(); ++n) {
    for (const auto& channel : channels) interleaved.push_back(channel[n]);
  }
  audio::writeAudio(path, format, interleaved);
}

// W, X and Y, or the feeds in the engine's order (L R Ls Rs C), of one source after
// another.
Planar responseOf(const Case& c) {
  return noise(c.sources * (c.isBFormat() ? 3 : 5), kResponseLen, 2);
}

Planar fileOf(const Case& c, const Planar& response) {
  const std::vector<float> other(kResponseLen, 0.5F);  // height, low frequency
  Planar file;
  for (std::size_t r = 0; r < response.size(); r += c.isBFormat() ? 3 : 5) {
    const auto channel = [&](std::size_t k) { return response[r + k]; };
    switch (c.kind) {
      case Kind::ambix: {
        std::vector<float> w = channel(0);
        for (float& sample : w) sample *= std::sqrt(2.0F);
        file.insert(file.end(), {w, channel(2), other, channel(1)});
        break;
      }
      case Kind::fuma:
      case Kind::fumaWithHeight:
        file.insert(file.end(), {channel(0), channel(1), channel(2)});
        if (c.kind == Kind::fumaWithHeight) file.push_back(other);
        break;
      default:
        file.insert(file.end(), {channel(0), channel(1), channel(4)});
        if (c.kind == Kind::feedsAndLfe) file.push_back(other);
        file.insert(file.end(), {channel(2), channel(3)});
    }
  }
  return file;
}

// The channel of a file that the library has in its place k: L C R Ls Rs LFE.
std::size_t placeOf(std::size_t k, std::size_t channels) {
  if (channels < 5) return k;
  constexpr std::size_t kFive[] = {0, 2, 1, 3, 4};
  constexpr std::size_t kFiveOne[] = {0, 2, 1, 4, 5, kLfe};
  return channels == 5 ? kFive[k] : kFiveOne[k];
}

// The stream's outputs in their places in a file of 5.1, whose low-frequency channel is
// the input's.
Planar expectedOutputs(const Case& c, const Planar& input, const Planar& response,
                       std::size_t frames) {
  host::StreamOptions options;
  options.blockLen = c.blockLen;
  options.wetGain = static_cast<float>(std::pow(10.0, -10.0 / 20.0));
  options.dryGain = static_cast<float>(std::pow(10.0, -6.0 / 20.0));
  options.dryDelay = c.align ? c.blockLen : 0;
  options.crossfeed = static_cast<float>(c.crossfeed);
  options.rearDelay = c.rearDelay;
  options.foldToStereo = c.inputChannels >= 5;
  options.passThrough = !c.isBFormat();
  options.crossover = host::designCrossover(c.crossover, kRate);
  const auto responses = c.isBFormat()
                             ? host::arrangeForDecoding(response, c.inputChannels)
                             : host::arrangeFeeds(response, c.inputChannels);
  const int inputs = std::min(c.inputChannels, 5);
  host::Stream stream(host::StreamPlan(inputs, 5, responses.shape(), options),
                      responses);

  const auto skipped = static_cast<std::size_t>(options.dryDelay);
  Planar in;
  std::vector<const float*> from;
  for (std::size_t k = 0; k < static_cast<std::size_t>(inputs); ++k) {
    in.push_back(input[placeOf(k, input.size())]);
    in.back().resize(skipped + frames);
    from.push_back(in.back().data());
  }
  Planar out(5, std::vector<float>(skipped + frames));
  float* const to[] = {out[0].data(), out[1].data(), out[2].data(), out[3].data(),
                       out[4].data()};
  stream.process(from.data(), to, static_cast<int>(skipped + frames));

  Planar placed(kNumPlaces, std::vector<float>(frames));
  for (std::size_t k = 0; k < 5; ++k) {
    placed[placeOf(k, kNumPlaces)].assign(
        out[k].begin() + static_cast<std::ptrdiff_t>(skipped), out[k].end());
  }
  if (input.size() == kNumPlaces) {
    std::copy(input[kLfe].begin(), input[kLfe].end(), placed[kLfe].begin());
  }
  return placed;
}

void expectCase(const Case& c) {
  const ScratchDir folder;
  Planar input = noise(c.inputChannels, kInputLen, 1);
  // Beyond full scale, which is no clipping in the reverberation.
  if (input.size() == kNumPlaces) {
    for (float& sample : input[kLfe]) sample *= 32.0F;
  }
  const Planar response = responseOf(c);
  write(folder / "dry.wav", input, c.surrounds);
  write(folder / "ir.wav", fileOf(c, response));
  const auto figures = figuresOf(
      folder, "-i dry.wav --ir ir.wav -o wet.wav --wet -10 --dry -6 --block " +
                  std::to_string(c.blockLen) + " " + c.options);

  // By the low-frequency channel, at most.
  const double loudest = input.size() == kNumPlaces ? 2.0 : 1.0;
  EXPECT_NEAR(figures["rendering"]["gainWithoutClipping"], 1.0 / loudest, 1e-3);
  const audio::AudioInfo info = audio::AudioReader(folder / "wet.wav").info();
  const bool lfe = c.outChannels == kNumPlaces;
  const auto layout = lfe ? audio::ChannelLayout::fiveOne : audio::ChannelLayout::five;
  EXPECT_EQ(info.speakers, audio::fileSpeakers(layout, c.surrounds));
  const int ringing =
      c.isBFormat() ? host::crossoverTail(host::designCrossover(c.crossover, kRate))
                    : 0;
  ASSERT_EQ(info.channels, c.outChannels);
  ASSERT_EQ(info.frames, kInputLen + kResponseLen - 1 + c.rearDelay + ringing +
                             (c.align ? 0 : c.blockLen));

  const auto frames = static_cast<std::size_t>(info.frames);
  const auto outChannels = static_cast<std::size_t>(info.channels);
  const Planar expected = expectedOutputs(c, input, response, frames);
  const std::vector<float> out = audio::readAudio(folder / "wet.wav");
  // AmbiX states W times sqrt 2, rounded there and back.
  const double tolerance = c.kind == Kind::ambix ? 1e-7 : 0.0;
  for (std::size_t j = 0; j < outChannels; ++j) {
    const std::size_t place = lfe || j < kLfe ? j : j + 1;
    double peak = 0.0;
    double energy = 0.0;
    for (std::size_t n = 0; n < frames; ++n) {
      const float sample = out[n * outChannels + j];
      ASSERT_NEAR(sample, expected[place][n], tolerance) << j << ", frame " << n;
      peak = std::max(peak, std::fabs(double{sample}));
      energy += double{sample} * double{sample};
    }
    EXPECT_NEAR(figures["rendering"]["peaks"][j], peak, 1e-6);
    EXPECT_NEAR(figures["rendering"]["levels"][j],
                std::sqrt(energy / static_cast<double>(frames)), 1e-9);
  }
}

TEST(Surround, IsTheStreamOfItsOptions) {
  for (const Case& c : kCases) {
    SCOPED_TRACE(c.name);
    expectCase(c);
  }
}

// The room is the one that the kit renders, and a file of it gives the same. Energy 1
// is meant of the sound pressure, whose square is twice that of W.
TEST(Surround, PutsAnyMaterialIntoARoom) {
  const ScratchDir folder;
  const Planar room = room::renderRoom(room::roomPreset(room::RoomKind::small),
                                       room::RoomLayout::bFormat, kRate);
  write(folder / "room.wav", room);
  double energy = 0.0;
  for (const float w : room[0]) energy += 2.0 * double{w} * double{w};
  for (const int channels : {6, 2, 1}) {
    write(folder / "dry.wav", noise(channels, 100, 4));
    const std::string call = "-i dry.wav --normalize energy --out-layout 5.1 -o ";
    const auto figures = figuresOf(folder, call + "a.wav --room small");
    EXPECT_NEAR(figures["response"]["normalizationGain"], 1.0 / std::sqrt(energy),
                1e-6);
    figuresOf(folder, call + "b.wav --ir room.wav --bformat fuma");
    EXPECT_EQ(test::bytesOf(folder / "a.wav"), test::bytesOf(folder / "b.wav"));
  }
  write(folder / "stereo.wav", noise(2, 100, 4));
  for (const auto& [options, layout, numPairs] :
       {std::tuple{"-i dry.wav", "stereo", 2},
        {"-i stereo.wav", "stereo", 4},
        {"-i dry.wav --decode", "5.0", 3},
        {"-i dry.wav --out-layout mono", "mono", 1}}) {
    const auto figures =
        figuresOf(folder, std::string(options) + " --room small --check");
    EXPECT_EQ(figures["output"]["layout"], layout);
    EXPECT_EQ(figures["engine"]["numPairs"], numPairs);
  }
}

// Front and surrounds as two stereo files would be rendered, the centre as a mono one
// through the mean of the response's channels.
TEST(Surround, TakesPairsThroughAStereoResponse) {
  const ScratchDir folder;
  const Planar input = noise(kNumPlaces, kInputLen, 7);
  const Planar response = noise(2, kResponseLen, 8);
  std::vector<float> mean(kResponseLen);
  for (std::size_t n = 0; n < mean.size(); ++n) {
    mean[n] = 0.5F * response[0][n] + 0.5F * response[1][n];
  }
  write(folder / "dry.wav", input);
  write(folder / "front.wav", {input[0], input[1]});
  write(folder / "rear.wav", {input[4], input[5]});
  write(folder / "centre.wav", {input[2]});
  write(folder / "ir.wav", response);
  write(folder / "mean.wav", {mean});
  const auto channelsOf = [&](const std::string& call, std::size_t count) {
    figuresOf(folder, call + " -o wet.wav --block 128 --tail-block off --wet -3");
    const std::vector<float> samples = audio::readAudio(folder / "wet.wav");
    Planar channels(count);
    for (std::size_t n = 0; n < samples.size(); ++n) {
      channels[n % count].push_back(samples[n]);
    }
    return channels;
  };
  const Planar front = channelsOf("-i front.wav --ir ir.wav", 2);
  const Planar rear = channelsOf("-i rear.wav --ir ir.wav --predelay 10", 2);
  const Planar centre = channelsOf("-i centre.wav --ir mean.wav", 1);
  const Planar all = channelsOf("-i dry.wav --ir ir.wav --rear-delay 10", kNumPlaces);
  const Planar expected = {front[0],    front[1], centre[0],
                           input[kLfe], rear[0],  rear[1]};
  for (std::size_t k = 0; k < expected.size(); ++k) {
    ASSERT_GE(all[k].size(), expected[k].size());
    EXPECT_TRUE(std::equal(expected[k].begin(), expected[k].end(), all[k].begin()))
        << "channel " << k;
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
