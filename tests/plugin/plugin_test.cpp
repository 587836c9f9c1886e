// The plug-in as hosts meet it.
#include <cmath>
#include <limits>
#include <numbers>

#include "tests/audio/audio_samples.h"
#include "tests/plugin/small_host.h"
#include "tests/support/convolution.h"
#include "tests/support/scratch_dir.h"
#include "tests/support/system_calls.h"

namespace ulmar::lv2 {
namespace {

using test::Random;
using test::ScratchDir;

constexpr int kRate = 48000;
constexpr int kBlockLen = 64;
constexpr float kMinus3dB = 0.70710678F;

Planar noise(int channels, int frames, std::uint64_t seed, float level = 0.25F) {
  Random random(seed);
  Planar result;
  for (int k = 0; k < channels; ++k) {
    result.push_back(random.signal(frames));
    for (float& sample : result.back()) sample *= level;
  }
  return result;
}

void writeFile(const std::string& path, const Planar& channels, int rate = kRate) {
  std::vector<float> samples;
  for (std::size_t n = 0; n < channels[0].size(); ++n) {
    for (const auto& channel : channels) samples.push_back(channel[n]);
  }
  audio::writeAudio(path,
                    {.channels = static_cast<int>(channels.size()), .sampleRate = rate},
                    samples);
}

// A host that plays a file as it is, from the first frame on.
void playFile(SmallHost& host, const std::string& path) {
  host.at(Control::level) = 0.0F;
  host.restore(path);
}

// What the ports are of a variant: responses [input][output] from the channels of a
// file, after which the means of its pairs are counted, and the input that each
// output's dry signal is.
struct Wiring {
  const char* symbol;
  int fileChannels;
  std::vector<std::vector<int>> response;  // -1: none
  std::vector<int> dry;
  double centreGain = 1.0;  // of the third output's response
};
const Wiring kWirings[] = {
    {"mono", 1, {{0}}, {0}},
    {"mono_to_stereo", 1, {{0, 0}}, {0, 0}},
    {"mono_to_stereo", 2, {{0, 1}}, {0, 0}},
    {"stereo", 1, {{0, -1}, {-1, 0}}, {0, 1}},
    {"stereo", 2, {{0, -1}, {-1, 1}}, {0, 1}},
    {"stereo", 4, {{0, 1}, {2, 3}}, {0, 1}},
    {"mono_to_five", 1, {{0, 0, 0, 0, 0}}, {-1, -1, 0, -1, -1}},
    {"stereo_to_five",
     2,
     {{0, -1, 2, 0, -1}, {-1, 1, 2, -1, 1}},
     {0, 1, -1, -1, -1},
     kMinus3dB},
    {"stereo_to_five", 4, {{0, 1, 4, 0, 1}, {2, 3, 5, 2, 3}}, {0, 1, -1, -1, -1}},
    {"mono_to_five", 5, {{0, 1, 2, 3, 4}}, {-1, -1, 0, -1, -1}},
    {"stereo_to_five", 10, {{0, 1, 2, 3, 4}, {5, 6, 7, 8, 9}}, {0, 1, -1, -1, -1}}};

TEST(Plugin, ConvolvesAndDelaysTheDrySignalByItsLatency) {
  constexpr int kFrames = 3000;
  for (const Wiring& wiring : kWirings) {
    SCOPED_TRACE(testing::Message() << wiring.symbol << ", " << wiring.fileChannels);
    const ScratchDir folder;
    Planar response = noise(wiring.fileChannels, 700, 1, 0.05F);
    writeFile(folder / "ir.wav", response);
    for (std::size_t k = 0; k + 1 < static_cast<std::size_t>(wiring.fileChannels);
         k += 2) {
      std::vector<float> mean(700);
      for (std::size_t n = 0; n < 700; ++n) {
        mean[n] = (response[k][n] + response[k + 1][n]) / 2;
      }
      response.push_back(mean);
    }
    SmallHost host(variantNamed(wiring.symbol));
    playFile(host, folder / "ir.wav");
    host.at(Control::dry) = -6.0F;
    host.at(Control::wet) = 6.0F;
    host.at(Control::predelay) = 1.0F;
    const Planar input = noise(host.variant.inputs, kFrames, 2);
    const Planar output = host.play(input, {1, 63, 64, 7, 300, 1000});
    EXPECT_EQ(host.at(Control::latency), kBlockLen);
    EXPECT_EQ(host.at(Control::status), 0.0F);
    const double dryGain = std::pow(10.0, -0.3);
    const double wetGain = std::pow(10.0, 0.3);
    for (std::size_t j = 0; j < output.size(); ++j) {
      float peak = 0.0F;
      for (int n = 0; n < kFrames; ++n) {
        double expected = 0.0;
        if (wiring.dry[j] >= 0 && n >= kBlockLen) {
          expected =
              dryGain * double{test::at(test::at(input, wiring.dry[j]), n - kBlockLen)};
        }
        for (std::size_t i = 0; i < input.size(); ++i) {
          const int channel = wiring.response[i][j];
          if (channel < 0) continue;
          expected += wetGain * (j == 2 ? wiring.centreGain : 1.0) *
                      test::convolved(input[i], test::at(response, channel),
                                      n - kBlockLen - kRate / 1000);
        }
        ASSERT_NEAR(test::at(output[j], n), expected, 2e-6) << j << ", frame " << n;
        peak = std::max(peak, std::fabs(test::at(output[j], n)));
      }
      // The meter may have fallen a little since.
      const float meter = host.controls[host.index.peaks + j];
      EXPECT_LE(meter, 20.0F * std::log10(peak) + 0.01F);
      EXPECT_GT(meter, 20.0F * std::log10(peak) - 2.0F);
    }
  }
}

// Of five inputs the centre and the surrounds come in at -3 dB; dry, all stay.
TEST(Plugin, FoldsFiveAndFeedsAcross) {
  const ScratchDir folder;
  Planar unit(10, std::vector<float>(8));
  unit[0][0] = unit[6][0] = 1.0F;  // left to left, right to right
  writeFile(folder / "ir.wav", unit);
  SmallHost host(variantNamed("five"));
  playFile(host, folder / "ir.wav");
  host.at(Control::wet) = 0.0F;
  host.at(Control::crossfeed) = 0.5F;
  const Planar input = noise(5, 500, 3);
  const Planar output = host.play(input);
  for (std::size_t n = kBlockLen; n < 500; ++n) {
    const auto in = [&](std::size_t k) { return input[k][n - kBlockLen]; };
    const float left = in(0) + kMinus3dB * (in(2) + in(3));
    const float right = in(1) + kMinus3dB * (in(2) + in(4));
    ASSERT_NEAR(output[0][n], in(0) + left + 0.5F * right, 1e-6) << n;
    ASSERT_NEAR(output[1][n], in(1) + right + 0.5F * left, 1e-6) << n;
    for (const std::size_t k : {2U, 3U, 4U}) ASSERT_EQ(output[k][n], in(k)) << n;
  }
}

// Bypassed at once and back, the dry signal goes on; nothing steps by more than a ramp.
TEST(Plugin, BypassesAndFollowsGainsWithoutAStep) {
  SmallHost host(variantNamed("mono"));
  const Planar constant = {std::vector<float>(9600, 0.5F)};
  host.at(Control::wet) = -90.0F;
  constexpr float kSteepest = 2.0F / 950.0F;  // of gains that ramp together
  float last = 0.5F;
  host.play(constant);
  const auto expectSmooth = [&](float end) {
    const Planar output = host.play(constant);
    for (const float sample : output[0]) {
      ASSERT_NEAR(sample, last, kSteepest);
      last = sample;
    }
    EXPECT_NEAR(last, end, 1e-6);
  };
  host.at(Control::dry) = -90.0F;
  expectSmooth(0.0F);
  host.at(Control::enabled) = 0.0F;
  expectSmooth(0.5F);
  host.at(Control::enabled) = 1.0F;
  host.at(Control::dry) = 6.0206F;
  expectSmooth(1.0F);
}

// From a response of one tap to one of another: heard in the end, and on the way no
// step that a sine of either would not make. Likewise to another block length.
TEST(Plugin, ChangesResponseAndBlockWithoutAClick) {
  const ScratchDir folder;
  for (const auto& [name, delay, gain] :
       {std::tuple{"a.wav", 0U, 0.8F}, {"b.wav", 900U, -0.6F}}) {
    Planar tap(1, std::vector<float>(1000));
    tap[0][delay] = gain;
    writeFile(folder / name, tap);
  }
  SmallHost host(variantNamed("mono"));
  playFile(host, folder / "a.wav");
  host.at(Control::dry) = -90.0F;
  host.at(Control::wet) = 0.0F;
  const double step = 2.0 * std::numbers::pi * 100.0 / kRate;  // of 100 Hz
  double phase = 0.0;
  const auto play = [&](int frames) {
    Planar sine(1, std::vector<float>(static_cast<std::size_t>(frames)));
    for (float& sample : sine[0]) sample = static_cast<float>(std::sin(phase += step));
    return host.play(sine)[0];
  };
  const auto loudest = [](const std::vector<float>& signal) {
    return std::fabs(
        *std::ranges::max_element(signal, {}, [](float x) { return std::fabs(x); }));
  };
  float last = play(9600).back();
  const auto expectSmooth = [&](float level) {
    const std::vector<float> output = play(24000);
    for (std::size_t n = 0; n < output.size(); ++n) {
      ASSERT_NEAR(output[n], last, 1.5 * step) << "to " << level << ", frame " << n;
      last = output[n];
    }
    EXPECT_NEAR(loudest(play(960)), level, 1e-3);
    last = play(1)[0];
  };
  host.setFile(folder / "b.wav");
  expectSmooth(0.6F);
  EXPECT_EQ(host.at(Control::status), 0.0F);
  host.at(Control::block) = 1024.0F;
  expectSmooth(0.6F);
  EXPECT_EQ(host.at(Control::latency), 1024.0F);
  host.setFile(folder / "a.wav");
  expectSmooth(0.8F);
  // What cannot be loaded leaves what plays.
  host.setFile(folder / "none.wav");
  expectSmooth(0.8F);
  EXPECT_EQ(host.at(Control::status), static_cast<float>(Status::fileFailed));
}

// Pink noise of random phase, the same power in every octave, comes out of every room
// as loud as the dry signal is.
TEST(Plugin, IsAsLoudAsTheDrySignal) {
  constexpr int kFrames = 4 * kRate;
  constexpr int kTail = kRate;
  Random random(4);
  const auto pink = [&] {
    std::vector<float> signal(kFrames);
    for (int k = 0; k < 300; ++k) {
      const double part = (k + 0.5 + 0.4 * double{random.sample()}) / 300.0;
      const double w = 2.0 * std::numbers::pi * 20.0 * std::pow(1000.0, part) / kRate;
      const double start = std::numbers::pi * double{random.sample()};
      for (std::size_t n = 0; n < signal.size(); ++n) {
        signal[n] +=
            static_cast<float>(0.01 * std::sin(w * static_cast<double>(n) + start));
      }
    }
    return signal;
  };
  const std::vector<float> left = pink();
  const std::vector<float> right = pink();
  const auto power = [](const Planar& channels) {
    double sum = 0.0;
    for (const auto& channel : channels) {
      for (std::size_t n = 2 * kTail; n < kFrames; ++n) {
        sum += double{channel[n]} * double{channel[n]};
      }
    }
    return sum;
  };
  for (const Variant& variant : variants()) {
    if (variant.inputs == 5) continue;
    Planar input = {left};
    if (variant.inputs == 2) input.push_back(right);
    for (const Choice room : {Choice::small, Choice::hall, Choice::cathedral}) {
      SCOPED_TRACE(testing::Message() << variant.symbol << static_cast<int>(room));
      SmallHost host(variant, kRate, 1024);
      host.at(Control::response) = static_cast<float>(room);
      host.at(Control::wet) = 0.0F;
      host.at(Control::dry) = -90.0F;
      const double wet = power(host.play(input, {1024}));
      host.at(Control::dry) = 0.0F;
      host.at(Control::wet) = -90.0F;
      const double dry = power(host.play(input, {1024}));
      EXPECT_NEAR(10.0 * std::log10(wet / dry), 0.0, 1.0);
    }
  }
}

TEST(Plugin, KeepsItsFileWithTheSession) {
  const ScratchDir folder;
  const std::string path = folder / "a room, \u00FCber alles.wav";
  writeFile(path, noise(2, 500, 5));
  const Planar input = noise(2, 2000, 6);
  SmallHost host(variantNamed("stereo"));
  EXPECT_EQ(host.save(), "");
  host.setFile(path);
  host.play(noise(2, 20000, 7));
  EXPECT_EQ(host.save(), path);
  host.setFile(folder / "b.wav");
  host.play(noise(2, 1000, 7));
  EXPECT_EQ(host.notifiedPath(), "");

  SmallHost other(variantNamed("stereo"));
  other.restore(path);
  SmallHost offline(variantNamed("stereo"), kRate, kBlockLen, {.worker = false});
  offline.restore(path);
  const Planar expected = other.play(input);
  EXPECT_EQ(offline.play(input), expected);
  // While it plays, with a worker and without.
  for (const bool withWorker : {true, false}) {
    SmallHost playing(variantNamed("stereo"));
    playing.play(input);
    playing.restore(path, withWorker);
    playing.play(noise(2, 20000, 7));
    playing.play(Planar(2, std::vector<float>(4000)));
    // What the fade has left of the hall is below any sample.
    const Planar output = playing.play(input);
    for (std::size_t n = 0; n < input[0].size(); ++n) {
      ASSERT_NEAR(output[0][n], expected[0][n], 1e-6);
    }
  }
  // A file that is gone is kept, and the hall plays.
  SmallHost gone(variantNamed("stereo"));
  gone.restore(folder / "gone.wav");
  SmallHost hall(variantNamed("stereo"));
  EXPECT_EQ(gone.play(input), hall.play(input));
  EXPECT_EQ(gone.at(Control::status), static_cast<float>(Status::fileFailed));
  EXPECT_EQ(gone.save(), folder / "gone.wav");
}

TEST(Plugin, TellsItsFileToTheHost) {
  const ScratchDir folder;
  writeFile(folder / "ir.wav", noise(1, 100, 5));
  SmallHost host(variantNamed("stereo"));
  host.setFile(folder / "ir.wav");
  host.play(noise(2, 64, 7));
  host.play(noise(2, 64, 7));
  EXPECT_EQ(host.notifiedPath(), folder / "ir.wav");
}

// What is no sample is silence, and gone with it.
TEST(Plugin, TakesNoHarmFromWhatIsNoSample) {
  for (const Variant& variant : variants()) {
    const Planar good = noise(variant.inputs, 3000, 8);
    Planar silenced = good;
    Planar bad = good;
    for (std::size_t k = 0; k < bad.size(); ++k) {
      for (std::size_t n = 100; n < 160; ++n) {
        silenced[k][n] = 0.0F;
        bad[k][n] = n % 3 == 0   ? std::numeric_limits<float>::quiet_NaN()
                    : n % 3 == 1 ? -std::numeric_limits<float>::infinity()
                                 : 1e-41F;
      }
    }
    SmallHost host(variant);
    SmallHost other(variant);
    EXPECT_EQ(host.play(bad), other.play(silenced)) << variant.symbol;
  }
}

// Without options, without a worker, without anything; at any rate; with any values and
// numbers of frames; nothing connected.
TEST(Plugin, RunsInEveryHost) {
  for (const Offers offers : {Offers{}, Offers{.options = false},
                              Offers{.worker = false}, Offers{false, false, false}}) {
    for (const Variant& variant : variants()) {
      for (const double rate : {8000.0, 44100.0, 384000.0}) {
        SCOPED_TRACE(testing::Message() << variant.symbol << ", " << rate);
        SmallHost host(variant, rate, kBlockLen, offers);
        host.at(Control::response) = 1.0F;
        const Planar output =
            host.play(noise(variant.inputs, 5000, 9), {64, 0, 1, 399});
        EXPECT_NE(output[0][4999], 0.0F);
        const int latency = offers.options && offers.map ? kBlockLen : 512;
        EXPECT_EQ(host.at(Control::latency), static_cast<float>(latency));
        const float* const noInput[kMaxPorts] = {};
        float* const noOutput[kMaxPorts] = {};
        host.run(noInput, noOutput, 64);
      }
    }
  }
}

TEST(Plugin, RefusesRatesThatNoResponseHas) {
  for (const double rate : {0.0, 999.0, 1e9, std::nan("")}) {
    EXPECT_THROW(SmallHost(variantNamed("mono"), rate), std::runtime_error);
  }
}

TEST(Plugin, TakesAnyValuesOfItsPorts) {
  Random random(10);
  const Variant& variant = variantNamed("stereo");
  SmallHost host(variant);
  const Planar input = noise(2, 16, 11);
  for (int k = 0; k < 10000; ++k) {
    const auto which = static_cast<std::size_t>(random.below(16));
    const ControlPort& port = controlPorts()[which];
    // Pre-delays and lengths stay short, as thousands of long responses take minutes.
    const float value =
        random.below(20) == 0 ? std::numeric_limits<float>::quiet_NaN()
        : random.below(20) == 0
            ? 1e30F * random.sample()
            : port.low + 0.01F * (port.high - port.low) * (1.0F + random.sample());
    if (port.control != Control::response) host.at(port.control) = value;
    host.at(Control::length) = 0.05F;
    host.at(Control::freeWheeling) = 0.0F;
    for (const auto& channel : host.play(input, {16})) {
      for (const float sample : channel) ASSERT_TRUE(std::isfinite(sample));
    }
  }
  host.at(Control::response) = 3.0F;
  host.at(Control::start) = 9.9F;
  host.play(noise(2, 9600, 7));
  EXPECT_EQ(host.at(Control::status), static_cast<float>(Status::choiceFailed));
}

// Through a fade from one response to the next, a change of block length and a bypass.
TEST(Plugin, MakesNoSystemCallWhileItRuns) {
  SmallHost host(variantNamed("stereo"));
  Planar buffer = noise(2, 256, 12);
  float* const channels[] = {buffer[0].data(), buffer[1].data()};
  const auto runTimes = [&](int times) {
    for (int k = 0; k < times; ++k) host.run(channels, channels, 256);
    return true;
  };
  runTimes(10);
  host.at(Control::response) = 1.0F;
  runTimes(10);
  host.work();
  const int status = test::statusWithoutSystemCalls([&] {
    host.at(Control::enabled) = 0.0F;
    return runTimes(50);
  });
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  host.at(Control::block) = 512.0F;
  runTimes(10);
  host.work();
  EXPECT_EQ(test::statusWithoutSystemCalls([&] { return runTimes(50); }), 0);
}

}  // namespace
}  // namespace ulmar::lv2
