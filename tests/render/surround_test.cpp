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

// A bed, and what its channels are: pairs in the order of files, the front first.
struct Bed {
  int channels;
  std::vector<std::pair<std::size_t, std::size_t>> pairs;
  const char* layout;
};
const Bed kBeds[] = {{4, {{0, 1}, {2, 3}}, "quad"},
                     {6, {{0, 1}, {4, 5}}, "5.1"},
                     {8, {{0, 1}, {6, 7}, {4, 5}}, "7.1"}};
constexpr std::size_t kCentre = 2;

class Beds : public testing::TestWithParam<Bed> {
 protected:
  void SetUp() override {
    for (std::size_t n = 0; n < mean.size(); ++n) {
      mean[n] = 0.5F * response[0][n] + 0.5F * response[1][n];
    }
    write(folder / "dry.wav", input);
    write(folder / "ir.wav", response);
    write(folder / "mean.wav", {mean});
  }

  // All channels of a rendering, which begins with what is expected.
  Planar rendered(const std::string& call) {
    figuresOf(folder, call + " -o wet.wav --block 128 --tail-block off --wet -3");
    return split(audio::readAudioFile(folder / "wet.wav"));
  }
  Planar rendered(const Planar& dry, const std::string& options) {
    write(folder / "part.wav", dry);
    return rendered("-i part.wav " + options);
  }
  static Planar split(audio::AudioFile file) { return std::move(file.samples); }

  static void expectStart(const std::vector<float>& all,
                          const std::vector<float>& expected, double tolerance = 0.0) {
    ASSERT_GE(all.size(), expected.size());
    for (std::size_t n = 0; n < expected.size(); ++n) {
      ASSERT_NEAR(all[n], expected[n], tolerance) << n;
    }
  }

  // To the left and to the right, the centre and what is behind at -3 dB.
  Planar downMix() const {
    Planar mix(2, std::vector<float>(kInputLen));
    for (std::size_t n = 0; n < kInputLen; ++n) {
      const float centre = bed.channels == 4 ? 0.0F : input[kCentre][n];
      float left = std::sqrt(0.5F) * centre;
      float right = left;
      for (const auto& [l, r] : bed.pairs) {
        const float gain = l == 0 ? 1.0F : std::sqrt(0.5F);
        left += gain * input[l][n];
        right += gain * input[r][n];
      }
      mix[0][n] = left;
      mix[1][n] = right;
    }
    return mix;
  }

  const Bed bed = GetParam();
  const Planar input = noise(bed.channels, kInputLen, 7);
  const Planar response = noise(2, kResponseLen, 8);
  std::vector<float> mean = std::vector<float>(kResponseLen);
  ScratchDir folder;
};

// Pairs as stereo files of their own would be rendered, the centre as a mono one
// through the mean of the response's channels, unless the map says otherwise.
TEST_P(Beds, GoThroughAStereoResponseGroupByGroup) {
  for (const bool mapped : {false, true}) {
    const Planar all =
        rendered(std::string("-i dry.wav --ir ir.wav --rear-delay 10") +
                 (mapped ? " --map surrounds=sum,centre=off,front=left" : ""));
    for (const auto& [left, right] : bed.pairs) {
      const bool isFront = left == 0;
      const bool isSurround = left == bed.pairs[1].first;
      write(folder / "left.wav", {response[0]});
      const std::string ir = mapped && isFront      ? "left.wav"
                             : mapped && isSurround ? "mean.wav"
                                                    : "ir.wav";
      const Planar pair = rendered({input[left], input[right]},
                                   "--ir " + ir + (isFront ? "" : " --predelay 10"));
      expectStart(all[left], pair[0]);
      expectStart(all[right], pair[1]);
    }
    if (bed.channels == 4) continue;
    expectStart(all[kLfe], input[kLfe]);
    expectStart(all[kCentre], mapped ? input[kCentre]
                                     : rendered({input[kCentre]}, "--ir mean.wav")[0]);
  }
}

TEST_P(Beds, AreMixedDownOrStayDry) {
  constexpr double kRounding = 1e-6;
  const Planar stereo = rendered("-i dry.wav --ir ir.wav --out-layout stereo");
  const Planar mono = rendered("-i dry.wav --ir ir.wav --out-layout mono");
  const Planar dryBed = rendered("-i dry.wav --ir ir.wav --dry-bed");
  const Planar mix = downMix();
  std::vector<float> sum = mix[0];
  for (std::size_t n = 0; n < sum.size(); ++n) {
    sum[n] = std::sqrt(0.5F) * (sum[n] + mix[1][n]);
  }
  expectStart(mono[0], rendered({sum}, "--ir mean.wav")[0], kRounding);
  const Planar expected = rendered(mix, "--ir ir.wav");
  const Planar wet = rendered(mix, "--ir ir.wav --dry off");
  for (std::size_t k = 0; k < input.size(); ++k) {
    std::vector<float> channel = k < 2 ? wet[k] : input[k];
    for (std::size_t n = 0; k < 2 && n < kInputLen; ++n) channel[n] += input[k][n];
    expectStart(dryBed[k], channel, k < 2 ? kRounding : 0.0);
    if (k < 2) expectStart(stereo[k], expected[k], kRounding);
  }
}

TEST_P(Beds, KeepTheirLoudspeakersInTheFile) {
  const auto figures = figuresOf(folder, "-i dry.wav --ir ir.wav -o wet.wav");
  EXPECT_EQ(figures["output"]["layout"], bed.layout);
  const audio::AudioInfo info = audio::AudioReader(folder / "wet.wav").info();
  EXPECT_EQ(audio::layoutOf(info),
            audio::layoutOf(audio::AudioReader(folder / "dry.wav").info()));
  EXPECT_EQ(std::ssize(info.speakers), bed.channels);
}

INSTANTIATE_TEST_SUITE_P(Layouts, Beds, testing::ValuesIn(kBeds));

// A saved response does what the one did that it was saved from.
TEST(Surround, SavesTheResponseAsItIsUsed) {
  const ScratchDir folder;
  write(folder / "dry.wav", noise(2, 500, 4));
  for (const int channels : {4, 5, 8}) {
    write(folder / std::to_string(channels).append(".wav"),
          noise(channels, kResponseLen, 5));
  }
  for (const auto& [source, options] :
       {std::pair{"--ir 4.wav --ir-start 0.01 --ir-length 0.02 --ir-fade 0.01", ""},
        {"--ir 5.wav", "--ir-layout feeds"},
        {"--ir 8.wav --bformat ambix", "--bformat fuma"},
        {"--room small --out-layout 5.0", "--bformat fuma --out-layout 5.0"}}) {
    SCOPED_TRACE(source);
    figuresOf(folder,
              std::string("-i dry.wav -o a.wav --save-response s.wav ") + source);
    figuresOf(folder, std::string("-i dry.wav -o b.wav --ir s.wav ") + options);
    EXPECT_TRUE(test::bytesOf(folder / "a.wav") == test::bytesOf(folder / "b.wav"));
  }
  // A room without an input, in FLAC.
  figuresOf(folder, "--room small --save-response s.flac --rate 8000");
  EXPECT_EQ(audio::AudioReader(folder / "s.flac").info().sampleRate, kRate);
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
