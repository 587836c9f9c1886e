// An engine with its memory, driven block by block as its owner drives it.
#pragma once

#include <memory>
#include <ostream>
#include <vector>

#include "convrt/convrt.h"
#include "spectral/UpdateOstinFFT.h"

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
/// the fewest blocks it admits, of some more blocks than it has chunks, and of several
/// rounds of slots; the last block of the response is never full, and the number of
/// blocks mostly no multiple of G.
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

/// Tables of the transform of 2 N points and its work area.
class TransformAreas {
 public:
  explicit TransformAreas(int blockLen)
      : twiddles_(static_cast<std::size_t>(blockLen)),
        bitRev_(2 * static_cast<std::size_t>(blockLen)),
        work_(6 * static_cast<std::size_t>(blockLen)),
        size_(2 * blockLen) {
    dUpdateFFTTables(bitRev_.data(), twiddles_.data(), size_);
  }
  char* twiddles() { return reinterpret_cast<char*>(twiddles_.data()); }
  char* bitRev() { return reinterpret_cast<char*>(bitRev_.data()); }
  char* work() { return reinterpret_cast<char*>(work_.data()); }
  FFT transform() { return {size_, twiddles(), bitRev(), work()}; }

 private:
  std::vector<dcmplx> twiddles_;
  std::vector<HostLong> bitRev_;
  std::vector<double> work_;
  int size_;
};

class Engine {
 public:
  using Blocks = std::vector<std::vector<double>>;  // [channel][N]
  using Set = std::vector<VecComplex>;              // [numRows][rowPitch] and one spare

  explicit Engine(const Shape& shape)
      : state(shape.state()),
        sets(static_cast<std::size_t>(shape.numInputs * shape.numOutputs)),
        areas_(shape.blockLen),
        hist_(static_cast<std::size_t>(shape.numInputs * (state.histLen + 1))),
        acc_(static_cast<std::size_t>(shape.numInputs * shape.numOutputs *
                                      (state.accLen + 1))),
        out_(static_cast<std::size_t>(shape.numOutputs * (5 * shape.blockLen / 4 + 1))),
        fwd_(static_cast<std::size_t>(shape.blockLen)),
        dcSave_(static_cast<std::size_t>(2 * shape.numSegments)) {
    state.histMem = hist_.data();
    state.accMem = acc_.data();
    state.outMem = out_.data();
    state.fwdSpectrum = fwd_.data();
    state.dcSave = dcSave_.data();
    state.fftTwiddles = areas_.twiddles();
    state.fftBitRev = areas_.bitRev();
    state.fftWork = areas_.work();
  }
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;

  Set emptySet() const {
    return Set(static_cast<std::size_t>(state.numRows * state.rowPitch + 1));
  }

  /// Gives the pair a set cut from `response`.
  void setResponse(int input, int output, const std::vector<float>& response) {
    Set& set = this->set(input, output) = emptySet();
    FFT fft = areas_.transform();
    ConvRTimpResp(state, fft, fwd_.data(), response.data(), set.data(),
                  static_cast<int>(response.size()));
  }

  /// Empty: the pair is not convolved.
  Set& set(int input, int output) {
    return sets[static_cast<std::size_t>(input * state.numOutputs + output)];
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
        Set& parts = set(i, j);
        engine.setImpulseResponse(i, j, parts.empty() ? nullptr : parts.data());
      }
    }
    engine.genOutput(out.data(), in.data());
    engine.doHousekeeping();
    return outputs;
  }

  /// History element (row, col) of an input.
  VecComplex& hist(int input, int row, int col) {
    return hist_[static_cast<std::size_t>(input * (state.histLen + 1) +
                                          row * state.rowPitch + col)];
  }
  /// The VecComplex behind a pair's accumulator.
  VecComplex& spareOfAcc(int pair) {
    return acc_[static_cast<std::size_t>(pair * (state.accLen + 1) + state.accLen)];
  }

  ConvRTState state;
  std::vector<Set> sets;

 private:
  TransformAreas areas_;
  std::vector<VecComplex> hist_;
  std::vector<VecComplex> acc_;
  std::vector<VecComplex> out_;
  std::vector<cmplxFFT> fwd_;
  std::vector<float> dcSave_;
};

/// Feeds whole signals, one per input, and `numBlocks` blocks in all; what lies beyond
/// a signal is silence. Returns one signal per output.
inline Engine::Blocks runEngine(Engine& engine,
                                const std::vector<std::vector<float>>& signals,
                                int numBlocks) {
  const auto blockLen = static_cast<std::size_t>(engine.state.blockLen);
  Engine::Blocks result(static_cast<std::size_t>(engine.state.numOutputs));
  for (std::size_t block = 0; block < static_cast<std::size_t>(numBlocks); ++block) {
    Engine::Blocks inputs;
    for (const auto& signal : signals) {
      const std::size_t begin = std::min(block * blockLen, signal.size());
      const std::size_t end = std::min(begin + blockLen, signal.size());
      inputs.emplace_back(signal.begin() + static_cast<std::ptrdiff_t>(begin),
                          signal.begin() + static_cast<std::ptrdiff_t>(end));
      inputs.back().resize(blockLen);
    }
    const Engine::Blocks outputs = engine.process(std::move(inputs));
    for (std::size_t j = 0; j < outputs.size(); ++j) {
      result[j].insert(result[j].end(), outputs[j].begin(), outputs[j].end());
    }
  }
  return result;
}

}  // namespace ulmar::test
