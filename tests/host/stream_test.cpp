// What a stream's owner may do between and around its calls: take and restore
// snapshots, reset, change parameters, and call from a thread in any arithmetic mode.
#include "ulmar/host/stream.h"

#include <gtest/gtest.h>
#include <xmmintrin.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>

#include "tests/process/configurations.h"
#include "tests/support/bare_host.h"
#include "tests/support/scratch_dir.h"
#include "ulmar/host/crossover_design.h"

namespace ulmar::test {
namespace {

constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
constexpr float kInf = std::numeric_limits<float>::infinity();
constexpr cApXOverCfs<float> kUnstable = {0.0F, 0.5F, -1.5F};

const Configuration& configuration(const std::string& name) {
  return *std::find_if(configurations().begin(), configurations().end(),
                       [&](const Configuration& c) { return c.name == name; });
}

/// Responses of 9 blocks in 4 segments, hence rings of 12 columns, and every delay and
/// gain in use.
constexpr int kRingLen = 12;
constexpr int kDryRingLen = 64;

ParamStruct fullParams(const Configuration& c) {
  ParamStruct params = paramsOf(c, kBlockLen, kDryRingLen);
  host::setGeometry(params, {kBlockLen, 8 * kBlockLen + 5, 4, 2});
  params.dryDelay = 45;
  params.rearDelay = 100;
  params.dryGain = 0.25F;
  params.xoverCfs = {-0.375F, 0.25F, -0.5F};
  std::fill(std::begin(params.wetGain), std::end(params.wetGain), 0.02F);
  return params;
}

host::Responses shortResponses(const Configuration& c, Random& random) {
  host::Responses responses = randomResponses(c, random);
  for (auto& response : responses.samples) response.resize(8 * kBlockLen + 5);
  return responses;
}

Planar slice(const Planar& signals, int begin, int end) {
  Planar result;
  for (const auto& signal : signals) {
    result.emplace_back(signal.begin() + begin, signal.begin() + end);
  }
  return result;
}

bool operator==(const StateStruct& a, const StateStruct& b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

/// A stream and the signal that it is fed with.
struct Scene {
  explicit Scene(const std::string& name, int frames = 1200)
      : c(configuration(name)),
        params(fullParams(c)),
        responses(shortResponses(c, random)),
        input(randomPlanar(random, c.in, frames)) {}

  host::Stream stream() const { return stream(params); }
  host::Stream stream(const ParamStruct& with) const {
    return {c.in, c.out, with, responses};
  }
  Planar play(host::Stream& on, int begin, int end) const {
    return run(on, slice(input, begin, end), c.out, {23, 64});
  }

  Configuration c;
  ParamStruct params;
  Random random{91};
  host::Responses responses;
  Planar input;
};

const char* const kNames[] = {"stereo, crossfeed", "stereo > five, mid/side",
                              "five, folded, crossfeed"};

// A snapshot from every column of the history and several places in a block goes on in
// another stream, whatever that one has heard.
TEST(Snapshot, ResumesFromAnywhere) {
  for (const char* const name : kNames) {
    const Scene scene(name);
    host::Stream whole = scene.stream();
    const Planar expected = scene.play(whole, 0, 1200);
    host::Stream first = scene.stream();
    host::Stream second = scene.stream();
    int now = 0;
    for (int block = 0; block <= kRingLen + 1; ++block) {
      for (const int within : {0, 1, kBlockLen - 1}) {
        SCOPED_TRACE(testing::Message() << name << ", frame " << now << ", seed 91");
        const int next = block * kBlockLen + within;
        scene.play(first, now, next);
        now = next;
        second.restore(first.snapshot());
        EXPECT_TRUE(second.state() == first.state());
        EXPECT_EQ(scene.play(second, now, 1200), slice(expected, now, 1200));
        EXPECT_TRUE(second.state() == whole.state());
      }
    }
  }
}

// Whatever decides on the layout, and a byte too few or too many.
TEST(Snapshot, RefusesWhatIsNotItsOwnAndChangesNothing) {
  Scene scene("five, folded");
  host::Stream stream = scene.stream();
  scene.play(stream, 0, 777);
  const std::vector<std::byte> own = stream.snapshot();
  const auto expectRefused = [&](const std::vector<std::byte>& bytes,
                                 std::initializer_list<std::string> parts) {
    expectSentence(refusalOf([&] { stream.restore(bytes); }), parts);
    EXPECT_EQ(stream.snapshot(), own);
  };

  expectRefused({}, {" 0 bytes", std::to_string(own.size())});
  std::vector<std::byte> changed = own;
  changed.pop_back();
  expectRefused(changed, {std::to_string(own.size() - 1) + " bytes"});
  changed.resize(own.size() + 1);
  expectRefused(changed, {std::to_string(own.size() + 1) + " bytes"});
  changed = own;
  changed[3] ^= std::byte{1};
  expectRefused(changed, {"snapshot is of a stream with other channels"});

  // Streams whose snapshots have the same number of bytes: of other channels, folded or
  // not, and of a response that ends elsewhere in the same block.
  const Scene stereo("stereo, folded");
  ParamStruct plain = stereo.params;
  plain.foldToStereo = 0;
  ParamStruct longer = stereo.params;
  ++longer.irLen;
  ParamStruct truncated = stereo.params;
  truncated.hfTruncate = 1;
  ParamStruct mono = paramsOf(configuration("mono"), 32, 64);
  std::pair<host::Stream, host::Stream> alike[] = {
      {host::Stream(1, 1, mono, {}), host::Stream(1, 2, mono, {})},
      {stereo.stream(), stereo.stream(plain)},
      {stereo.stream(), stereo.stream(longer)},
      {stereo.stream(), stereo.stream(truncated)}};
  for (auto& [from, to] : alike) {
    const auto bytes = from.snapshot();
    ASSERT_EQ(bytes.size(), to.snapshot().size());
    expectSentence(refusalOf([&, &other = to] { other.restore(bytes); }),
                   {"snapshot is of a stream with other channels"});
  }
}

/// A position in a snapshot, by its offset from the stream's record of state.
struct Position {
  const char* name;
  std::size_t offset;
  int limit;
};

void expectLimits(host::Stream& stream, const std::vector<Position>& positions) {
  const std::vector<std::byte> own = stream.snapshot();
  const auto* const state = reinterpret_cast<const std::byte*>(&stream.state());
  const auto found =
      std::search(own.begin(), own.end(), state, state + sizeof(StateStruct));
  ASSERT_NE(found, own.end());
  for (const auto& [name, offset, limit] : positions) {
    const std::ptrdiff_t at = found - own.begin() + static_cast<std::ptrdiff_t>(offset);
    const auto with = [&](int value) {
      std::vector<std::byte> bytes = own;
      std::memcpy(bytes.data() + at, &value, sizeof value);
      return bytes;
    };
    for (const int value : {-1, limit}) {
      expectSentence(refusalOf([&] { stream.restore(with(value)); }),
                     {name, std::to_string(value) + ",", std::to_string(limit - 1)});
      EXPECT_EQ(stream.snapshot(), own);
    }
    stream.restore(with(limit - 1));
    stream.restore(with(0));
    stream.restore(own);
  }
}

// Positions index the areas unchecked, so that one out of range would leave them.
TEST(Snapshot, RefusesPositionsOutOfRange) {
  const Scene scene("five, folded");
  host::Stream stream = scene.stream();
  scene.play(stream, 0, 777);
  expectLimits(stream, {{"block position", offsetof(StateStruct, blockPos), kBlockLen},
                        {"dry position", offsetof(StateStruct, dryPos), kDryRingLen},
                        {"rear position", offsetof(StateStruct, rearPos), 128},
                        {"ring position", offsetof(StateStruct, ringPos), kRingLen},
                        {"segment phase", offsetof(StateStruct, segPhase), 4},
                        {"chunk phase", offsetof(StateStruct, chunkPhase), 2},
                        {"overlap selector", offsetof(StateStruct, overlapSel), 2}});

  host::StreamOptions options;
  options.blockLen = 16;
  options.tail = 64;
  const host::Responses longer{1, 1, false, {std::vector<float>(1000, 0.1F)}};
  host::Stream divided(host::StreamPlan(1, 1, longer.shape(), options), longer);
  run(divided, {scene.input[0]}, 1, {100});
  const host::Geometry tail = divided.plan().tail()->geometry;
  const int columns = (tail.irLen + 63) / 64 + tail.numSegments - 1;
  const auto offset = [](std::size_t field) { return sizeof(StateStruct) + field; };
  using host::TailState;
  expectLimits(
      divided,
      {{"tail position", offset(offsetof(TailState, boundary)), 2 * 64 / 16},
       {"tail flag", offset(offsetof(TailState, running)), 2},
       {"ring position", offset(offsetof(TailState, ringPos)),
        columns - columns % tail.numSegments},
       {"segment phase", offset(offsetof(TailState, segPhase)), tail.numSegments},
       {"chunk phase", offset(offsetof(TailState, chunkPhase)), tail.chunksPerSegment},
       {"overlap selector", offset(offsetof(TailState, overlapSel)), 2}});
}

// The largest output since the last clearing; clearing is not heard.
TEST(Stream, MetersFromOneClearingToTheNext) {
  const Scene scene("stereo > five");
  host::Stream metered = scene.stream();
  host::Stream plain = scene.stream();
  for (int begin = 0; begin < 1200; begin += 300) {
    const Planar output = scene.play(metered, begin, begin + 300);
    EXPECT_EQ(output, scene.play(plain, begin, begin + 300));
    for (std::size_t j = 0; j < 5; ++j) {
      float largest = 0.0F;
      for (const float v : output[j]) largest = std::max(largest, std::fabs(v));
      EXPECT_EQ(metered.peaks()[j], largest) << "output " << j;
      ASSERT_LT(largest, 0.99F);
    }
    metered.clearPeaks();
    EXPECT_EQ(metered.peaks(), (std::array<float, 5>{}));
  }
}

// Here and there a sample that cannot be used is as good as silence, in every
// configuration, in place or not, and leaves nothing behind.
TEST(Stream, TakesSilenceForWhatIsNoSample) {
  for (const Configuration& c : configurations()) {
    SCOPED_TRACE(c.name);
    const Scene scene(c.name);
    host::Stream given = scene.stream();
    host::Stream silenced = scene.stream();
    Planar spoilt = slice(scene.input, 0, 600);
    Planar clean = spoilt;
    const float values[] = {kNaN, kInf, -kInf, 1e30F, -3e38F, -1.1e-38F};
    for (std::size_t k = 0; k < spoilt.size(); ++k) {
      for (std::size_t i = 0; i < std::size(values); ++i) {
        spoilt[k][61 * i + 60 * k] = values[i];
        clean[k][61 * i + 60 * k] = 0.0F;
      }
    }
    EXPECT_EQ(run(given, spoilt, c.out, {600}, Layout::planar, c.in == c.out),
              run(silenced, clean, c.out, {600}));
    EXPECT_EQ(given.snapshot(), silenced.snapshot());
  }
}

// Six channels are five and one that is copied: in their parameters, their memory and
// their sound, decoded with both delays.
TEST(Stream, TakesSixChannelsAsFiveAndOne) {
  for (const char* const name : {"five, folded, mid/side", "five, mid/side"}) {
    SCOPED_TRACE(name);
    Scene scene(name);
    const auto six = [&](const ParamStruct& params) {
      return host::Stream(6, 6, params, scene.responses);
    };
    host::Stream five = scene.stream();
    host::Stream stream = six(scene.params);
    EXPECT_EQ(stream.areas().bytes(), five.areas().bytes());
    Planar expected = scene.play(five, 0, 1200);
    Planar input = scene.input;
    input.push_back(scene.random.signal(1200));
    expected.push_back(input[5]);
    EXPECT_EQ(run(stream, input, 6, {23, 64}), expected);
    EXPECT_TRUE(stream.state() == five.state());

    ParamStruct params = scene.params;
    params.rearDelay = 2 * kDryRingLen;
    expectSentence(refusalOf([&] { six(params); }), {"rear delay", "128", "127"});
    params = scene.params;
    params.xoverCfs = kUnstable;
    expectSentence(refusalOf([&] { six(params); }), {"c1, c2 and d2"});
    float sample = 0.0F;
    expectSentence(refusalOf([&] { stream.processInterleaved(&sample, &sample, 1); }),
                   {"six channels", "planar"});
  }
}

// After its change a stream is one that had the parameter all along, as soon as what it
// remembers of the time before has passed: nothing but the engine's and the decoder's
// filters does.
TEST(Setters, TakeEffectFromTheNextCallOn) {
  constexpr cApXOverCfs<float> kDelays{};
  const struct {
    const char* name;
    std::function<void(host::Stream&)> set;
    std::function<void(ParamStruct&)> change;
    int remembered;  // frames
  } cases[] = {
      {"dry gain", [](auto& s) { s.setDryGain(-0.5F); },
       [](auto& p) { p.dryGain = -0.5F; }, 0},
      {"every wet gain", [](auto& s) { s.setWetGain(0.015F); },
       [](auto& p) { std::fill(std::begin(p.wetGain), std::end(p.wetGain), 0.015F); },
       0},
      {"the last wet gain", [](auto& s) { s.setWetGain(4, 0.0F); },
       [](auto& p) { p.wetGain[4] = 0.0F; }, 0},
      {"dry delay", [](auto& s) { s.setDryDelay(kDryRingLen - 1); },
       [](auto& p) { p.dryDelay = kDryRingLen - 1; }, 0},
      {"rear delay", [](auto& s) { s.setRearDelay(2 * kDryRingLen - 1); },
       [](auto& p) { p.rearDelay = 2 * kDryRingLen - 1; }, 0},
      {"bypass", [](auto& s) { s.setBypass(true); }, [](auto& p) { p.bypass = 1; }, 0},
      {"pass-through", [](auto& s) { s.setPassThrough(true); },
       [](auto& p) { p.passThrough = 1; }, 100},
      {"crossover", [](auto& s) { s.setCrossover({}); },
       [=](auto& p) { p.xoverCfs = kDelays; }, 100 + 2},
      {"cross-feed", [](auto& s) { s.setCrossfeed(0.0F); },
       [](auto& p) { p.crossfeed = 0.0F; }, (kRingLen + 2) * kBlockLen + 300},
  };
  const Scene scene("stereo > five", 1400);
  host::Stream unchanged = scene.stream();
  const Planar before = scene.play(unchanged, 0, 1400);
  for (const auto& [name, set, change, remembered] : cases) {
    SCOPED_TRACE(name);
    constexpr int kChange = 500;
    host::Stream stream = scene.stream();
    EXPECT_EQ(scene.play(stream, 0, kChange), slice(before, 0, kChange));
    set(stream);
    const Planar after = scene.play(stream, kChange, 1400);
    ParamStruct params = scene.params;
    change(params);
    host::Stream always = scene.stream(params);
    const Planar expected =
        slice(scene.play(always, 0, 1400), kChange + remembered, 1400);
    EXPECT_EQ(slice(after, remembered, 900), expected);
    EXPECT_NE(expected, slice(before, kChange + remembered, 1400));
  }
}

TEST(Setters, RefuseWithASentenceAndChangeNothing) {
  const Scene scene("stereo > five");
  host::Stream stream = scene.stream();
  std::vector<OstinSoundBuf> bufs(6);
  const auto process = [&](std::size_t in, std::size_t out, int frames) {
    stream.process(std::span(bufs).first(in), std::span(bufs).first(out), frames);
  };
  const struct {
    std::function<void()> refused;
    std::vector<std::string> parts;
  } cases[] = {
      {[&] { stream.setDryGain(kNaN); }, {"dry gain", "nan"}},
      {[&] { stream.setWetGain(kInf); }, {"wet gain", "inf"}},
      {[&] { stream.setWetGain(2, kNaN); }, {"wet gain", "nan"}},
      {[&] { stream.setWetGain(5, 1.0F); }, {"wet gain", "5", "4"}},
      {[&] { stream.setWetGain(-1, 1.0F); }, {"wet gain", "-1", "0"}},
      {[&] { stream.setCrossfeed(-kInf); }, {"cross-feed", "inf"}},
      {[&] { stream.setDryDelay(-1); }, {"dry delay", "-1", "0 and 63"}},
      {[&] { stream.setDryDelay(64); }, {"dry delay", "64", "63"}},
      {[&] { stream.setRearDelay(-1); }, {"rear delay", "-1", "0 and 127"}},
      {[&] { stream.setRearDelay(128); }, {"rear delay", "128", "127"}},
      {[&] { stream.setCrossover(kUnstable); }, {"c1, c2 and d2", "-1.5"}},
      {[&] { process(1, 5, 1); }, {"1 input", "2"}},
      {[&] { process(3, 5, 1); }, {"3 input", "2"}},
      {[&] { process(2, 6, 1); }, {"6 output", "5"}},
      {[&] { process(2, 5, -1); }, {"-1 frames"}},
  };
  const auto snapshot = stream.snapshot();
  for (const auto& [refused, parts] : cases) {
    const std::string sentence = refusalOf(refused);
    for (const std::string& part : parts) expectSentence(sentence, {part});
    EXPECT_EQ(std::memcmp(&stream.params(), &scene.params, sizeof scene.params), 0);
    EXPECT_EQ(stream.snapshot(), snapshot);
  }
}

/// The mode of the calling thread's arithmetic, for as long as an object lives.
class ArithmeticMode {
 public:
  explicit ArithmeticMode(unsigned bits) : before_(_mm_getcsr()) {
    _mm_setcsr(before_ | bits);
  }
  ~ArithmeticMode() { _mm_setcsr(before_); }
  ArithmeticMode(const ArithmeticMode&) = delete;
  ArithmeticMode& operator=(const ArithmeticMode&) = delete;

 private:
  unsigned before_;
};

// The dry signal alone on one output, of which most becomes denormal numbers; the wet
// signal never is that faint.
TEST(Stream, GivesTheSameBitsInEveryArithmeticMode) {
  constexpr unsigned kDaz = 0x0040;
  constexpr unsigned kDown = 0x2000;
  constexpr unsigned kUp = 0x4000;
  constexpr unsigned kFtz = 0x8000;
  constexpr unsigned kModeBits = ~0x3FU;
  for (const char* const name : kNames) {
    Scene scene(name);
    for (auto& signal : scene.input) {
      for (std::size_t n = 200; n < signal.size(); ++n) {
        signal[n] *= n % 2 == 0 ? 1e-36F : 1e-37F;
      }
    }
    scene.params.wetGain[0] = 0.0F;
    scene.params.dryGain *= 0.003F;
    host::Stream usual = scene.stream();
    const Planar expected = scene.play(usual, 0, 1200);
    for (const unsigned bits : {kDaz, kFtz, kDaz | kFtz, kDown, kUp, kDown | kUp}) {
      SCOPED_TRACE(testing::Message() << name << ", mode bits " << bits);
      std::vector<std::byte> carried;
      Planar output;
      unsigned modeAfter = 0;
      {
        const ArithmeticMode mode(bits);
        host::Stream stream = scene.stream();
        output = scene.play(stream, 0, 1200);
        carried = stream.snapshot();
        modeAfter = _mm_getcsr() & kModeBits;
      }
      EXPECT_EQ(modeAfter, (_mm_getcsr() & kModeBits) | bits);
      EXPECT_TRUE(output == expected);
      EXPECT_TRUE(carried == usual.snapshot());

      // The library itself computes in the mode that it finds.
      BareHost bare(scene.params, scene.c.in, scene.c.out);
      bare.buildSets(scene.responses);
      Planar in = scene.input;
      Planar out(static_cast<std::size_t>(scene.c.out), std::vector<float>(1200));
      std::vector<OstinSoundBuf> from;
      std::vector<OstinSoundBuf> to;
      for (auto& signal : in) from.push_back({signal.data(), 1, kFormatFloat, {}});
      for (auto& signal : out) to.push_back({signal.data(), 1, kFormatFloat, {}});
      {
        const ArithmeticMode mode(bits);
        bare.call(from.data(), to.data(), 1200);
      }
      EXPECT_FALSE(out == expected);
    }
  }
}

/// Frames from an impulse to the last sample of either band within 144 dB of the
/// largest.
int measuredTail(cApXOverCfs<float> cfs) {
  sApXOverSts<float> sts{};
  std::vector<double> sizes;
  for (int n = 0; n < 200000; ++n) {
    double low = 0.0;
    double high = 0.0;
    APSplit(n == 0 ? 1.0 : 0.0, &low, &high, &cfs, &sts);
    sizes.push_back(std::max(std::fabs(low), std::fabs(high)));
  }
  const double least = 0x1p-24 * *std::max_element(sizes.begin(), sizes.end());
  const auto last = std::find_if(sizes.rbegin(), sizes.rend(),
                                 [&](double size) { return size >= least; });
  return static_cast<int>(sizes.rend() - last) - 1;
}

TEST(CrossoverTail, IsAsLongAsTheFiltersSound) {
  // Slow poles start faint, so that a decay of 144 dB takes them further down than
  // that.
  for (const auto& cfs : {host::designCrossover(400.0, 48000.0),
                          host::designCrossover(400.0, 8000.0),
                          host::designCrossover(48.0, 48000.0),
                          host::designCrossover(12000.0, 48000.0),
                          host::designCrossover(23952.0, 48000.0),
                          {0.9F, 0.0F, 0.0F},
                          {0.0F, 0.9F, 0.0F},
                          {0.0F, -0.5F, 0.4F},
                          {0.0F, 0.2F, -1.1F},
                          {0.0F, 0.0F, 0.0F}}) {
    const int measured = measuredTail(cfs);
    EXPECT_GE(host::crossoverTail(cfs), measured);
    EXPECT_LE(host::crossoverTail(cfs), measured + measured / 2)
        << cfs.c1 << ", " << cfs.c2 << ", " << cfs.d2;
  }
}

}  // namespace
}  // namespace ulmar::test
