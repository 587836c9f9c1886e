// The channel configurations and what the driver's conditioning and dry routing mean in
// each of them, as literal matrices.
#pragma once

#include <algorithm>
#include <array>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/at.h"
#include "tests/support/random.h"
#include "ulmar/host/stream.h"

namespace ulmar::test {

struct Configuration {
  std::string name;
  int in;
  int out;
  int numInputs;
  int numOutputs;
  float crossfeed = 0.0F;
  bool fold = false;
  bool perOutput = false;
  bool passThrough = false;
  /// Gain from each input channel to each engine input block.
  std::vector<std::vector<double>> engine;
  /// The input channel whose delayed sample each output's dry signal is; kNone: none.
  std::vector<int> dry;
};

inline constexpr int kNone = -1;

inline std::ostream& operator<<(std::ostream& out, const Configuration& c) {
  return out << c.name;
}

inline const std::vector<Configuration>& configurations() {
  constexpr double f = 0.7071;              // the fold's gain
  constexpr double s = 0.7071067811865476;  // the mid/side arrangement's
  constexpr bool F = true;                  // fold
  constexpr bool P = true;                  // set per output
  constexpr bool T = true;                  // pass through
  // clang-format off
  static const std::vector<Configuration> all = {
      {"mono", 1, 1, 1, 1, 0, 0, 0, 0, {{1}}, {0}},
      {"mono, two engine inputs", 1, 1, 2, 1, -1, 0, 0, 0, {{1}, {0}}, {0}},
      {"mono, crossfeed into itself", 1, 1, 1, 1, 0.25F, 0, 0, 0, {{1.5}}, {0}},
      {"mono, folded", 1, 1, 2, 2, 0.5F, F, 0, 0, {{2 * (1 + 2 * f) * (1 + 2 * f)}}, {0}},
      {"mono > stereo", 1, 2, 1, 2, 0, 0, P, 0, {{1}}, {0, 0}},
      {"mono > stereo, one engine output", 1, 2, 1, 1, 0, 0, 0, 0, {{1}}, {0, 0}},
      {"mono > stereo, a silent second ring", 1, 2, 2, 2, 0, 0, 0, 0, {{1}, {0}}, {0, kNone}},
      {"stereo", 2, 2, 2, 2, 0, 0, 0, 0, {{1, 0}, {0, 1}}, {0, 1}},
      {"stereo, set per output", 2, 2, 2, 3, 0, 0, P, 0, {{1, 0}, {0, 1}}, {0, 1}},
      {"stereo, crossfeed", 2, 2, 2, 2, 0.5F, 0, 0, 0, {{1, 0.5}, {0.5, 1}}, {0, 1}},
      {"stereo, the right in one block", 2, 2, 1, 2, 0, 0, 0, 0, {{0, 1}}, {1, 1}},
      {"stereo, crossfeed in one block", 2, 2, 1, 1, 0.5F, 0, 0, 0, {{0, 2}}, {1, 1}},
      {"stereo, a silent third input", 2, 2, 3, 5, 0, 0, P, 0,
       {{1, 0}, {0, 1}, {0, 0}}, {0, 1}},
      {"stereo, folded", 2, 2, 2, 2, 0.5F, F, 0, 0,
       {{1, 2 * f + 0.5 * (1 + 2 * f)}, {0.5, 1 + 2 * f + 0.5 * 2 * f}}, {0, 1}},
      {"mono > five", 1, 5, 1, 5, 0, 0, 0, 0, {{1}}, {kNone, 0, kNone, kNone, kNone}},
      {"mono > five, mid/side in one block", 1, 5, 1, 5, 0, 0, P, 0,
       {{1}}, {kNone, 0, kNone, kNone, kNone}},
      {"stereo > five", 2, 5, 2, 3, 0.5F, 0, 0, 0,
       {{1, 0.5}, {0.5, 1}}, {0, kNone, 1, kNone, kNone}},
      {"stereo > five, mid/side", 2, 5, 3, 5, 0.5F, 0, P, 0,
       {{1.5 * s, 1.5 * s}, {1, 0.5}, {0.5, 1}}, {0, kNone, 1, kNone, kNone}},
      {"stereo > five, mid/side in two blocks", 2, 5, 2, 5, 0, 0, P, 0,
       {{s, s}, {0, 1}}, {0, kNone, 1, kNone, kNone}},
      {"stereo > five, a silent third ring", 2, 5, 3, 4, 0, 0, P, T,
       {{1, 0}, {0, 1}, {0, 0}}, {0, kNone, kNone, kNone, kNone}},
      {"five, the last three in one block", 5, 5, 3, 5, 0, 0, 0, T,
       {{1, 0, 0, 0, 0}, {0, 1, 0, 0, 0}, {0, 0, 0, 0, 1}}, {0, 1, 4, 4, 4}},
      {"five, mid/side", 5, 5, 3, 5, 0, 0, P, 0,
       {{s, s, 0, 0, 0}, {1, 0, 0, 0, 0}, {0, 1, 0, 0, 0}}, {0, 4, 4, 4, 4}},
      {"five, folded", 5, 5, 2, 5, 0, F, 0, 0,
       {{1, f, 0, f, 0}, {0, f, 1, 0, f},
        {0, 0, 1, 0, 0}, {0, 0, 0, 1, 0}, {0, 0, 0, 0, 1}}, {0, 1, 2, 3, 4}},
      {"five, folded, crossfeed", 5, 5, 2, 2, 1, F, 0, 0,
       {{1, 2 * f, 1, f, f}, {1, 2 * f, 1, f, f},
        {0, 0, 1, 0, 0}, {0, 0, 0, 1, 0}, {0, 0, 0, 0, 1}}, {0, 1, 2, 3, 4}},
      {"five, folded, mid/side", 5, 5, 3, 5, 0, F, P, 0,
       {{s, 2 * f * s, s, f * s, f * s}, {1, f, 0, f, 0}, {0, f, 1, 0, f},
        {0, 0, 0, 1, 0}, {0, 0, 0, 0, 1}}, {0, 2, 2, 3, 4}},
  };
  // clang-format on
  return all;
}

/// Every flag is set as a word of its own, as any nonzero one counts.
inline ParamStruct paramsOf(const Configuration& c, int blockLen, int dryRingLen) {
  ParamStruct params{};
  params.blockLen = blockLen;
  params.numInputs = c.numInputs;
  params.numOutputs = c.numOutputs;
  params.dryRingLen = dryRingLen;
  params.crossfeed = c.crossfeed;
  params.foldToStereo = c.fold ? 0x100 : 0;
  params.perOutputIR = c.perOutput ? -1 : 0;
  params.passThrough = c.passThrough ? 2 : 0;
  return params;
}

/// The same with an engine of responses 9 blocks and a bit long, in 2 segments of 2
/// chunks, that do not have all the same length.
inline constexpr int kBlockLen = 32;
inline constexpr int kIRLen = 9 * kBlockLen + 5;

inline ParamStruct wetParamsOf(const Configuration& c, int dryRingLen) {
  ParamStruct params = paramsOf(c, kBlockLen, dryRingLen);
  host::setGeometry(params, {kBlockLen, kIRLen, 2, 2});
  return params;
}

inline host::Responses randomResponses(const Configuration& c, Random& random) {
  host::Responses responses{c.numInputs, c.numOutputs, c.perOutput, {}};
  const int count = c.perOutput ? c.numOutputs : c.numInputs * c.numOutputs;
  for (int index = 0; index < count; ++index) {
    responses.samples.push_back(random.signal(kIRLen - 11 * index));
  }
  return responses;
}

inline Planar randomPlanar(Random& random, int channels, int frames) {
  Planar planar;
  for (int k = 0; k < channels; ++k) planar.push_back(random.signal(frames));
  return planar;
}

/// Where channel k's frame 0 lies in a buffer, and how far frames are apart.
enum class Layout { planar, interleaved, backwards };

inline std::vector<OstinSoundBuf> records(std::vector<float>& buffer, int channels,
                                          Layout layout) {
  const auto frames = static_cast<std::ptrdiff_t>(buffer.size()) / channels;
  std::vector<OstinSoundBuf> result;
  for (int k = 0; k < channels; ++k) {
    // Only the first record's format is read.
    const int format = k == 0 ? kFormatFloat : 77;
    const int step = layout == Layout::planar        ? 1
                     : layout == Layout::interleaved ? channels
                                                     : -1;
    const std::ptrdiff_t first = step == channels ? k
                                 : step > 0       ? k * frames
                                                  : (k + 1) * frames - 1;
    result.push_back({buffer.data() + first, step, format, {-1, -1}});
  }
  return result;
}

/// Runs whole signals through a stream in calls of the given sizes, over and over.
inline Planar run(host::Stream& stream, const Planar& input, int outChannels,
                  const std::vector<int>& callSizes, Layout layout = Layout::planar,
                  bool inPlace = false) {
  const int inChannels = static_cast<int>(input.size());
  const int frames = static_cast<int>(input[0].size());
  std::vector<float> from(input.size() * input[0].size());
  std::vector<float> apart(static_cast<std::size_t>(outChannels * frames));
  auto in = records(from, inChannels, layout);
  auto out = records(inPlace ? from : apart, outChannels, layout);
  for (int k = 0; k < inChannels; ++k) {
    for (int t = 0; t < frames; ++t) {
      at(in, k).data[t * at(in, k).step] = at(at(input, k), t);
    }
  }
  const auto start = out;
  int done = 0;
  for (std::size_t call = 0; done < frames; ++call) {
    const int size = std::min(callSizes[call % callSizes.size()], frames - done);
    stream.process(in, out, size);
    for (auto& record : in) record.data += size * record.step;
    for (auto& record : out) record.data += size * record.step;
    done += size;
  }
  Planar output(static_cast<std::size_t>(outChannels));
  for (int j = 0; j < outChannels; ++j) {
    const OstinSoundBuf& channel = at(start, j);
    for (int t = 0; t < frames; ++t) {
      at(output, j).push_back(channel.data[t * channel.step]);
    }
  }
  return output;
}

}  // namespace ulmar::test
