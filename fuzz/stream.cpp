// Streams of any plan, called with any numbers of frames in any layout while their
// parameters change, beside the same stream called frame by frame: the same bits. Where
// nothing changes and each output is a plain sum of convolutions, beside those as well.
#include "ulmar/host/stream.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <optional>

#include "fuzz/choices.h"
#include "tests/support/convolution.h"
#include "ulmar/host/error.h"

namespace {

using ulmar::Planar;
using ulmar::fuzz::Choices;
using namespace ulmar::host;

constexpr int kPairs[7][2] = {{1, 1}, {1, 2}, {2, 2}, {1, 5}, {2, 5}, {5, 5}, {6, 6}};

[[noreturn]] void broken(const char* what) {
  std::fprintf(stderr, "\nbroken: %s\n", what);
  std::abort();
}

struct Case {
  int in;
  int out;
  Responses responses;
  StreamOptions options;
  int frames;
  bool clean;  // all samples are numbers of ordinary size
  bool plain;  // each output is a plain sum of convolutions, and remains so
};

Case choose(Choices& choices) {
  Case c;
  c.plain = choices.below(3) == 0;
  const auto& pair = kPairs[c.plain ? 2 * choices.below(2) : choices.below(7)];
  c.in = pair[0];
  c.out = pair[1];
  c.responses.numInputs = c.plain ? c.in : 1 + choices.below(3);
  c.responses.numOutputs = c.plain ? c.out : 1 + choices.below(5);
  c.responses.perOutput = !c.plain && choices.yes();
  ulmar::test::Random random = choices.random();
  const int numSets =
      c.responses.numOutputs * (c.responses.perOutput ? 1 : c.responses.numInputs);
  for (int set = 0; set < numSets; ++set) {
    c.responses.samples.push_back(random.signal(choices.below(700)));
  }
  c.options.blockLen = 4 << choices.below(5);
  c.options.hfTruncate = !c.plain && choices.yes();
  c.options.tail =
      choices.yes() ? kTailOff : c.options.blockLen << (1 + choices.below(4));
  c.options.wetGain = choices.gain();
  c.options.dryGain = choices.gain();
  c.options.crossfeed = !c.plain && choices.yes() ? choices.gain() : 0.0F;
  c.options.dryDelay = choices.below(40);
  c.options.foldToStereo = !c.plain && choices.yes();
  c.options.passThrough = choices.yes();
  c.options.rearDelay = choices.below(40);
  c.frames = 1 + choices.below(1500);
  c.clean = c.plain || choices.yes();
  return c;
}

float sampleOf(ulmar::test::Random& random, bool clean) {
  constexpr float kOdd[] = {std::numeric_limits<float>::quiet_NaN(),
                            std::numeric_limits<float>::infinity(), 1e30F, 1e-40F,
                            -0.0F};
  if (!clean && random.below(16) == 0) return kOdd[random.below(5)];
  return random.sample();
}

// Whether the stream took it.
bool change(Stream& stream, int what, float gain, int delay) try {
  switch (what) {
    case 0:
      stream.setDryGain(gain);
      break;
    case 1:
      stream.setWetGain(gain);
      break;
    case 2:
      stream.setWetGain(delay % 5, gain);
      break;
    case 3:
      stream.setCrossfeed(gain);
      break;
    case 4:
      stream.setDryDelay(delay % stream.params().dryRingLen);
      break;
    case 5:
      stream.setBypass(delay % 2 == 0);
      break;
    case 6:
      stream.clearPeaks();
      break;
    default:
      stream.restore(stream.snapshot());
      break;
  }
  return true;
} catch (const ulmar::Error&) {
  return false;
}

// From `start` on; interleaved where `interleaved` and the channels allow it.
void play(Stream& stream, const Planar& in, Planar& out, int start, int frames,
          bool interleaved) {
  if (interleaved && in.size() < 6) {
    const auto number = static_cast<std::size_t>(frames);
    std::vector<float> from(in.size() * number);
    std::vector<float> to(out.size() * number);
    for (std::size_t i = 0; i < number; ++i) {
      for (std::size_t k = 0; k < in.size(); ++k) {
        from[i * in.size() + k] = in[k][static_cast<std::size_t>(start) + i];
      }
    }
    stream.processInterleaved(from.data(), to.data(), frames);
    for (std::size_t i = 0; i < number; ++i) {
      for (std::size_t j = 0; j < out.size(); ++j) {
        out[j][static_cast<std::size_t>(start) + i] = to[i * out.size() + j];
      }
    }
    return;
  }
  std::vector<const float*> from;
  std::vector<float*> to;
  for (const auto& channel : in) from.push_back(channel.data() + start);
  for (auto& channel : out) to.push_back(channel.data() + start);
  stream.process(from.data(), to.data(), frames);
}

void compareWithConvolution(const Case& c, const Planar& in, const Planar& out) {
  const Responses& r = c.responses;
  for (int output = 0; output < c.out; ++output) {
    const std::vector<float>& dry =
        in[static_cast<std::size_t>(c.in == 1 ? 0 : output)];
    double norms = 1.0;
    for (int input = 0; input < c.in; ++input) {
      if (const auto* response = r.between(input, output)) {
        norms += ulmar::test::partitionNorms(*response, c.options.blockLen);
      }
    }
    const double bound =
        ulmar::test::errorBound(720, std::sqrt(32.0 * c.options.blockLen), 2.0 * norms);
    for (int n = 0; n < c.frames; ++n) {
      double expected = 0.0;
      for (int input = 0; input < c.in; ++input) {
        const auto* response = r.between(input, output);
        if (response == nullptr || n < c.options.blockLen) continue;
        expected += ulmar::test::convolved(in[static_cast<std::size_t>(input)],
                                           *response, n - c.options.blockLen);
      }
      expected *= double{c.options.wetGain};
      if (n >= c.options.dryDelay) {
        expected += double{c.options.dryGain} *
                    double{dry[static_cast<std::size_t>(n - c.options.dryDelay)]};
      }
      const double found =
          double{ulmar::test::at(out[static_cast<std::size_t>(output)], n)};
      if (std::abs(found - std::clamp(expected, -1.0, 1.0)) > bound + 1e-6) {
        broken("the output is not the convolution");
      }
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Choices choices(data, size);
  const Case c = choose(choices);
  std::optional<Stream> called;
  std::optional<Stream> stepped;
  try {
    const StreamPlan plan(c.in, c.out, c.responses.shape(), c.options);
    called.emplace(plan, c.responses);
    stepped.emplace(plan, c.responses);
  } catch (const ulmar::Error&) {
    return 0;
  }
  ulmar::test::Random random = choices.random();
  Planar in(static_cast<std::size_t>(c.in));
  for (auto& channel : in) {
    for (int i = 0; i < c.frames; ++i) channel.push_back(sampleOf(random, c.clean));
  }
  Planar out(static_cast<std::size_t>(c.out),
             std::vector<float>(static_cast<std::size_t>(c.frames)));
  Planar expected = out;
  for (int done = 0; done < c.frames;) {
    const int frames = std::min(
        c.frames - done, choices.atEnd() ? 1 + random.below(400) : choices.below(400));
    const bool interleaved = choices.yes();
    play(*called, in, out, done, frames, interleaved);
    for (int i = 0; i < frames; ++i) play(*stepped, in, expected, done + i, 1, false);
    done += frames;
    if (choices.atEnd() || choices.yes()) continue;
    const int what = c.plain ? 6 + choices.below(2) : choices.below(8);
    const float gain = choices.gain();
    const int delay = choices.below(256);
    const bool taken = change(*called, what, gain, delay);
    if (change(*stepped, what, gain, delay) != taken) broken("only one took a change");
  }
  for (std::size_t j = 0; j < out.size(); ++j) {
    if (std::memcmp(out[j].data(), expected[j].data(), out[j].size() * sizeof(float)) !=
        0) {
      broken("the bits depend on the calls");
    }
  }
  if (called->snapshot() != stepped->snapshot()) broken("the states differ");
  if (c.plain) compareWithConvolution(c, in, out);
  return 0;
}
