// The stream over many calls: what carries over, what no slicing or layout may change,
// and what must stay as it is.
#include <gtest/gtest.h>

#include <cstring>

#include "tests/process/configurations.h"
#include "tests/support/bare_host.h"
#include "ulmar/base/align.h"
#include "ulmar/process/Ulmar_Process.h"

namespace ulmar::test {
namespace {

template <typename Record>
bool sameBits(const Record& a, const Record& b) {
  return std::memcmp(&a, &b, sizeof(Record)) == 0;
}

class Calls : public testing::TestWithParam<Configuration> {};

TEST_P(Calls, SlicingAndLayoutChangeNoBit) {
  const Configuration& c = GetParam();
  constexpr int kFrames = 5000;
  Random random(51);
  ParamStruct params = wetParamsOf(c, 16);
  params.dryDelay = 11;
  params.rearDelay = 19;
  params.dryGain = 0.25F;
  std::fill(std::begin(params.wetGain), std::end(params.wetGain), 0.05F);
  const host::Responses responses = randomResponses(c, random);
  const Planar input = randomPlanar(random, c.in, kFrames);
  host::Stream whole(c.in, c.out, params, responses);
  const Planar expected = run(whole, input, c.out, {kFrames});

  const struct {
    std::vector<int> callSizes;
    Layout layout;
    bool inPlace;
  } variants[] = {{{1}, Layout::planar, false},
                  {{0, 1, 7, 4096}, Layout::interleaved, false},
                  {{kBlockLen}, Layout::backwards, false},
                  {{7, 0, kBlockLen + 1, 3, 200}, Layout::interleaved, true},
                  {{100, 1}, Layout::backwards, true}};
  for (const auto& [callSizes, layout, inPlace] : variants) {
    if (inPlace && c.in != c.out) continue;
    SCOPED_TRACE(testing::Message() << "layout " << static_cast<int>(layout)
                                    << (inPlace ? " in place" : "") << ", seed 51");
    host::Stream stream(c.in, c.out, params, responses);
    EXPECT_EQ(run(stream, input, c.out, callSizes, layout, inPlace), expected);
    EXPECT_TRUE(sameBits(stream.state(), whole.state()));
  }
}

INSTANTIATE_TEST_SUITE_P(All, Calls, testing::ValuesIn(configurations()));

// Buffers that overlap at random: a frame's inputs are read before its outputs are
// written, which later frames then read. Calls of one frame have no other order.
TEST(Overlap, IsResolvedFrameByFrame) {
  const Configuration& c = *std::find_if(
      configurations().begin(), configurations().end(),
      [](const Configuration& which) { return which.name == "stereo, crossfeed"; });
  Random random(53);
  ParamStruct params = wetParamsOf(c, 256);
  params.dryGain = params.wetGain[0] = params.wetGain[1] = 0.4F;
  const host::Responses responses = randomResponses(c, random);
  for (int trial = 0; trial < 500; ++trial) {
    SCOPED_TRACE(testing::Message() << "trial " << trial << ", seed 53");
    constexpr int kFrames = 150;
    const std::vector<float> before = random.signal(5000);
    std::vector<float> buffers[] = {before, before};
    const int steps[] = {1, 2, -1, -2};
    // Half of the channels start within a few samples of one another, and most walk
    // alike; the others lie apart.
    const int common = steps[random.below(4)];
    std::pair<int, int> channels[4];
    for (int k = 0; k < 4; ++k) {
      const int step = random.below(4) > 0 ? common : steps[random.below(4)];
      const int apart = random.below(2) * (k + 1) * 1000;
      channels[k] = {apart + random.below(5) + (step > 0 ? 0 : -step * kFrames), step};
    }
    for (auto& buffer : buffers) {
      host::Stream stream(c.in, c.out, params, responses);
      std::vector<OstinSoundBuf> bufs;
      for (const auto& [first, step] : channels) {
        bufs.push_back({buffer.data() + first, step, kFormatFloat, {}});
      }
      const int size = &buffer == buffers ? 1 : kFrames;
      for (int done = 0; done < kFrames; done += size) {
        stream.process(std::span(bufs).first(2), std::span(bufs).last(2), size);
        for (auto& record : bufs) record.data += size * record.step;
      }
    }
    ASSERT_EQ(buffers[0], buffers[1]);
  }
}

// The engine pauses for some calls and goes on where it was; while it pauses its areas
// are out of reach.
TEST(State, CarriesPositionsAndCounters) {
  for (const int channels : {2, 5}) {
    SCOPED_TRACE(channels);
    const bool five = channels == 5;
    const Configuration c{"", channels, channels, 2, 2, 0, five, 0, five, {}, {}};
    BareHost host(wetParamsOf(c, 8), channels, channels);
    std::memset(&host.state.xoverSts, 0x5A, sizeof host.state.xoverSts);
    const ExternStruct allAreas = host.ext;
    host.state.blockPos = 25;
    host.state.dryPos = 3;
    host.state.rearPos = 5;
    host.state.peak[1] = -1.0F;
    const StateStruct start = host.state;
    std::vector<float> buffer(static_cast<std::size_t>(channels) * 400, 0.25F);
    auto bufs = records(buffer, channels, Layout::planar);

    int frames = 0;
    int engineBlocks = 0;
    for (const int size : {0, 1, 30, 1, 400, 33, -5, 95, 64, 400, 321}) {
      const bool paused = size == 95 || size == 64;
      host.params.irLen = size == 95 ? 0 : size == 64 ? -kIRLen : kIRLen;
      host.ext = allAreas;
      for (const host::Area area :
           {host::Area::fftTwiddles, host::Area::fftBitRev, host::Area::fftWork,
            host::Area::histMem, host::Area::accMem, host::Area::outMem,
            host::Area::fwdSpectrum, host::Area::dcSave, host::Area::irSets}) {
        if (paused) host::entry(host.ext, area).address = nullptr;
      }
      if (!five) host.ext.rearRings.address = nullptr;
      EXPECT_EQ(host.call(bufs.data(), bufs.data(), size), size);

      const int before = (25 + frames) / kBlockLen;
      frames += std::max(size, 0);
      if (!paused) engineBlocks += (25 + frames) / kBlockLen - before;
      const StateStruct& s = host.state;
      EXPECT_EQ(s.blockPos, (25 + frames) % kBlockLen);
      EXPECT_EQ(s.dryPos, (3 - frames) & 7);
      EXPECT_EQ(s.rearPos, five ? (5 - frames) & 15 : 5);
      EXPECT_EQ(s.ringPos, engineBlocks % 10);
      EXPECT_EQ(s.chunkPhase * 2 + s.segPhase, -engineBlocks & 3);
      EXPECT_EQ(s.overlapSel, engineBlocks % 2);
      // The output is silent, and a meter goes up to that from below.
      EXPECT_EQ(s.peak[1], frames > 0 ? 0.0F : -1.0F);
      // Without decoding the crossovers do not run.
      EXPECT_TRUE(sameBits(s.xoverSts, start.xoverSts));
    }
    EXPECT_GT(engineBlocks, 30);
  }
}

// No pair but the seven, no format but one: only the count is stored.
TEST(Entry, IgnoresWhatItDoesNotSupport) {
  const Configuration c{"", 5, 5, 3, 5, 0, 0, 0, true, {}, {}};
  const std::vector<float> before(6 * 40, 0.5F);
  std::vector<std::pair<int, int>> supported;
  for (int numIn = -1; numIn <= 7; ++numIn) {
    for (int numOut = -1; numOut <= 7; ++numOut) {
      for (const int format : {1, 0, 2, 257}) {
        SCOPED_TRACE(testing::Message() << numIn << " > " << numOut << ", " << format);
        BareHost host(paramsOf(c, 16, 8), 5, 5);
        const StateStruct start = host.state;
        std::vector<float> buffer = before;
        auto bufs = records(buffer, 6, Layout::planar);
        bufs[0].format = format;
        host.inChannels = numIn;
        host.outChannels = numOut;
        EXPECT_EQ(host.call(bufs.data(), bufs.data(), 40), 40);
        if (buffer != before && format == 1) {
          supported.emplace_back(numIn, numOut);
          continue;
        }
        EXPECT_EQ(buffer, before);
        EXPECT_TRUE(sameBits(start, host.state));
        EXPECT_EQ(asRecords<double>(host.areas[host::Area::inBlocks])[0], 0.0);
      }
    }
  }
  EXPECT_EQ(supported, (std::vector<std::pair<int, int>>{
                           {1, 1}, {1, 2}, {1, 5}, {2, 2}, {2, 5}, {5, 5}, {6, 6}}));
}

// The sixth channel is copied as consecutive samples, whatever its step, its values and
// what happens to the other five; its own samples stay as they are.
TEST(Entry, CopiesTheSixthChannel) {
  const Configuration c{"", 5, 5, 3, 5, 0, 0, 0, true, {}, {}};
  for (const int irLen : {0, -1}) {
    ParamStruct params = paramsOf(c, 16, 8);
    params.irLen = irLen;
    BareHost host(params, 6, 6);
    std::vector<float> buffer(6 * 20, 3.5F);
    const std::vector<float> before = buffer;
    auto bufs = records(buffer, 6, Layout::planar);
    bufs[5].step = 6;
    host.call(bufs.data(), bufs.data(), 12);
    EXPECT_EQ(buffer[0], 0.0F);
    EXPECT_TRUE(std::equal(before.begin() + 100, before.end(), buffer.begin() + 100));

    Random random(52);
    const std::vector<float> sixth = random.signal(20);
    std::vector<OstinSoundBuf> out = bufs;
    bufs[5].data = const_cast<float*>(sixth.data());
    out[5].step = -3;
    HostLong done = 0;
    for (const int frames : {-3, 12}) {
      UlmarProc(bufs.data(), 6, frames, out.data(), 6, &done,
                asRecords<char>(&host.params), asRecords<char>(&host.state), &host.ext);
      for (int t = 0; t < 20; ++t) {
        EXPECT_EQ(at(buffer, 100 + t), t < frames ? at(sixth, t) : 3.5F);
      }
    }
  }
}

}  // namespace
}  // namespace ulmar::test
