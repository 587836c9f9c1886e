// Impulse responses on their way into the engine: which response serves which pair of
// input and output, and the partition sets.
#pragma once

#include "ulmar/host/areas.h"
#include "ulmar/host/planar.h"

namespace ulmar::host {

/// The responses of a stream's engine. Lengths may differ; the longest counts.
struct Responses {
  int numInputs = 1;
  int numOutputs = 1;
  /// One response per output, used by input i on outputs i, i + numInputs and 4,
  /// instead of one per pair: what would cross over costs nothing.
  bool perOutput = false;
  /// [numOutputs], or [numInputs * numOutputs] with pair (i, j) at i * numOutputs + j.
  Planar samples;

  /// Samples of the longest response.
  int length() const;

  /// The response between an input and an output, or null where the pair is silent.
  const std::vector<float>* between(int input, int output) const;
  /// Pairs of input and output that are not silent, each of which costs row products.
  int numPairs() const;
};

/// Arranges a response file's channels for mono or stereo material:
///   1 channel   every input straight to its output;
///   2 channels  left to left and right to right; from mono, to both outputs;
///   4 channels  true stereo LL, LR, RL, RR; from mono, both sides at once (LL + RL, LR
///   + RR).
/// The number of outputs is that of the responses: two for a stereo response. Throws
/// Error for any other count of either.
Responses arrangeResponses(const Planar& channels, int materialChannels);

/// Fills the FFT tables and every partition set. areas: of a stream with these params,
/// which agree with the responses in their counts; uses the work areas as scratch.
void buildPartitionSets(const ParamStruct& params, const Responses& responses,
                        const Areas& areas);

}  // namespace ulmar::host
