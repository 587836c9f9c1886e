// An engine with its memory, driven block by block as its owner drives it.
#pragma once

#include <algorithm>
#include <ostream>
#include <vector>

#include "tests/support/at.h"
#include "tests/support/transform_areas.h"
#include "ulmar/convrt/convrt.h"

namespace ulmar::test {

/// The constructor's arguments.
struct Shape {
  int blockLen;
  int irLen;
  int numSegments = 1;
  int chunksPerSegment = 1;
  bool hfTruncate = false;
  int numInputs = 1;
  int numOutputs = 1;

  ConvRTState state() const {
    return {blockLen,         irLen,     numInputs, numOutputs, numSegments,
            chunksPerSegment, hfTruncate};
  }
};

inline std::ostream& operator<<(std::ostream& out, const Shape& shape) {
  return out << "N " << shape.blockLen << ", irLen " << shape.irLen << ", G "
             << shape.numSegments << ", C " << shape.chunksPerSegment
             << (shape.hfTruncate ? ", truncated" : "");
}

/// Every division of the spectrum that the block length admits, each with responses of
/// the fewest blocks it admits, of some more than it has chunks, and of several rounds
/// of slots. The last block of a response is not full, and the number of blocks mostly
/// no multiple of G.
inline std::vector<Shape> admissibleShapes(int blockLen) {
  std::vector<Shape> shapes;
  for (int segments = 1; 4 * segments <= blockLen; segments *= 2) {
    for (int perSegment = 1; 4 * segments * perSegment <= blockLen; perSegment *= 2) {
      const int chunks = segments * perSegment;
      for (const int blocks :
           {(perSegment - 1) * segments + 1, chunks + 2, 3 * chunks + 1}) {
        shapes.push_back({blockLen, blocks * blockLen - 1, segments, perSegment});
      }
    }
  }
  return shapes;
}

class Engine {
 public:
  using Blocks = std::vector<std::vector<double>>;  // [channel][N]

  explicit Engine(const Shape& shape)
      : state(shape.state()),
        areas_(2 * shape.blockLen),
        fwd_(static_cast<std::size_t>(shape.blockLen)),
        dcSave_(static_cast<std::size_t>(2 * shape.numSegments)) {
    const auto pairs = static_cast<std::size_t>(shape.numInputs * shape.numOutputs);
    sets.resize(pairs);
    hist_.resize(static_cast<std::size_t>(shape.numInputs * (state.histLen + 1)));
    acc_.resize(pairs * static_cast<std::size_t>(state.accLen + 1));
    out_.resize(static_cast<std::size_t>(shape.numOutputs * (5 * state.numRows + 1)));
    state.histMem = hist_.data();
    state.accMem = acc_.data();
    state.outMem = out_.data();
    state.fwdSpectrum = fwd_.data();
    state.dcSave = dcSave_.data();
    state.fftTwiddles = areas_.twiddles();
    state.fftBitRev = areas_.bitRev();
    state.fftWork = areas_.work();
  }

  /// The pair's set; while it is empty the pair is not convolved.
  std::vector<VecComplex>& set(int input, int output) {
    return at(sets, input * state.numOutputs + output);
  }

  /// Gives the pair a set cut from `response`, which ends at an inaccessible page.
  void setResponse(int input, int output, const std::vector<float>& response) {
    auto& parts = set(input, output);
    parts.assign(static_cast<std::size_t>(state.numRows * state.rowPitch), {});
    FFT fft = areas_.transform();
    ConvRTimpResp(state, fft, fwd_.data(), ReadOnly(response).data(), parts.data(),
                  static_cast<int>(response.size()));
  }

  /// One block in, one block out.
  Blocks process(Blocks inputs) {
    Blocks outputs(static_cast<std::size_t>(state.numOutputs),
                   std::vector<double>(static_cast<std::size_t>(state.blockLen)));
    std::vector<double*> in;
    std::vector<double*> out;
    for (auto& block : inputs) in.push_back(block.data());
    for (auto& block : outputs) out.push_back(block.data());

    ConvRT engine(&state);
    for (int i = 0; i < state.numInputs; ++i) {
      for (int j = 0; j < state.numOutputs; ++j) {
        auto& parts = set(i, j);
        engine.setImpulseResponse(i, j, parts.empty() ? nullptr : parts.data());
      }
    }
    engine.genOutput(out.data(), in.data());
    engine.doHousekeeping();
    return outputs;
  }

  /// Feeds whole signals, one per input and then silence, for `numBlocks` blocks in
  /// all. Returns one signal per output.
  Blocks run(const std::vector<std::vector<float>>& signals, int numBlocks) {
    Blocks result(static_cast<std::size_t>(state.numOutputs));
    for (int block = 0; block < numBlocks; ++block) {
      Blocks inputs;
      for (const auto& signal : signals) {
        const int length = static_cast<int>(signal.size());
        const int begin = std::min(block * state.blockLen, length);
        const int end = std::min(begin + state.blockLen, length);
        inputs.emplace_back(signal.begin() + begin, signal.begin() + end);
        inputs.back().resize(static_cast<std::size_t>(state.blockLen));
      }
      const Blocks outputs = process(std::move(inputs));
      for (std::size_t j = 0; j < outputs.size(); ++j) {
        result[j].insert(result[j].end(), outputs[j].begin(), outputs[j].end());
      }
    }
    return result;
  }

  /// History element (row, col) of an input.
  VecComplex& hist(int input, int row, int col) {
    return state.histMem[input * (state.histLen + 1) + row * state.rowPitch + col];
  }

  ConvRTState state;
  std::vector<std::vector<VecComplex>> sets;

 private:
  TransformAreas areas_;
  std::vector<VecComplex> hist_;
  std::vector<VecComplex> acc_;
  std::vector<VecComplex> out_;
  std::vector<cmplxFFT> fwd_;
  std::vector<float> dcSave_;
};

}  // namespace ulmar::test
