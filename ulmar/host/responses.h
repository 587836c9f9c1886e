// Impulse responses on their way into the engine: which response serves which pair of
// input and output.
#pragma once

#include <cstdint>
#include <vector>

#include "ulmar/host/planar.h"
#include "ulmar/process/host_records.h"

namespace ulmar::host {

/// Which pairs of engine input and output have a response, and of what length.
struct ResponseShape {
  int numInputs = 1;
  int numOutputs = 1;
  /// One response per output instead of one per pair. Input i then feeds outputs i,
  /// i + numInputs and 4 only; every other pair is silent and costs nothing.
  bool perOutput = false;
  /// Samples of each response, in the order of SetTable. May be empty for a dry stream.
  std::vector<int> lengths;

  /// Samples of the longest.
  int length() const;
  SetTable table() const { return {numInputs, numOutputs, perOutput}; }
  /// Samples of a pair's response, 0 where the pair is silent.
  int lengthBetween(int input, int output) const;
  /// Pairs that are not silent, each of which costs row products.
  int numPairs() const;
};

/// Responses that all fill the geometry in `params`.
ResponseShape shapeOf(const ParamStruct& params);

/// Throws Error unless there are as many lengths as table() has sets, none below 0. The
/// shape of a dry stream, without lengths, is not for it.
void checkShape(const ResponseShape& shape);

/// The responses of a stream's engine.
struct Responses {
  int numInputs = 1;
  int numOutputs = 1;
  bool perOutput = false;  // as in ResponseShape
  /// [response][sample], in the order of ResponseShape::lengths. The lengths may
  /// differ; the longest decides on the engine's.
  std::vector<std::vector<float>> samples;

  ResponseShape shape() const;
  int length() const { return shape().length(); }
  /// The response between an input and an output, or null where the pair is silent.
  const std::vector<float>* between(int input, int output) const;
  int numPairs() const { return shape().numPairs(); }
};

/// Arranges a response file's channels for mono or stereo input:
///   1 channel   every input straight to its output;
///   2 channels  left to left and right to right; from mono, to both outputs;
///   4 channels  true stereo LL, LR, RL, RR; from mono, both sides at once (LL + RL, LR
///   + RR).
/// There are two outputs, but for 1 channel and mono input, which give one. Throws
/// Error for any other count of channels or inputs.
Responses arrangeResponses(const Planar& channels, int inputChannels);

/// What mono makes of the responses from left and right to left and right: it goes to
/// both inputs at -3 dB, and both outputs are summed at -3 dB.
Responses monoSum(const Responses& pair);

/// Puts so many samples of silence before every response.
void delay(Responses& responses, int samples);

/// Fades the last samples of a response out by half a period of a raised cosine.
/// samples: at most the response's.
void fadeOut(std::vector<float>& response, std::int64_t samples);

}  // namespace ulmar::host
