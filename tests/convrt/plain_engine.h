// The engine's sums written plainly: per block, per bin, over partitions and blocks by
// their numbers, without rings, slots or work ahead. What it shares with the engine is
// the order of every sum, so that both give the same bits.
#pragma once

#include <complex>
#include <limits>
#include <map>
#include <utility>
#include <vector>

#include "tests/convrt/engine.h"
#include "tests/support/random.h"

namespace ulmar::test {

class PlainEngine {
 public:
  using Bin = std::complex<float>;
  using Spectrum = std::vector<Bin>;  // [N], natural order

  explicit PlainEngine(const Shape& shape)
      : s(shape.state()),
        areas_(2 * shape.blockLen),
        inputs_(static_cast<std::size_t>(shape.numInputs)),
        tails_(static_cast<std::size_t>(shape.numOutputs),
               std::vector<double>(static_cast<std::size_t>(shape.blockLen))) {}

  /// Partition spectra of arbitrary values, which need not be those of any response.
  /// Returns them in the ring layout, with NaN in the elements that are never read.
  std::vector<VecComplex> setRandomPartitions(int input, int output, Random& random) {
    std::vector<VecComplex> set(static_cast<std::size_t>(s.numRows * s.rowPitch));
    for (int row = 0; row < s.numRows; ++row) {
      at(set, row * s.rowPitch + s.ringLen).re[0] =
          std::numeric_limits<float>::quiet_NaN();
    }
    for (int v = 0; v < s.numIRBlocks; ++v) {
      auto& part = parts_[{input, output}].emplace_back();
      for (int k = 0; k < s.blockLen; ++k) {
        VecComplex& element = at(set, rowOfBin(k) * s.rowPitch + s.ringLen - 1 - v);
        element.re[k % 4] = random.sample();
        element.im[k % 4] = random.sample();
        part.emplace_back(element.re[k % 4], element.im[k % 4]);
      }
    }
    return set;
  }

  Engine::Blocks process(const Engine::Blocks& inputs) {
    for (std::size_t i = 0; i < inputs.size(); ++i) {
      std::vector<cmplxFFT> bins(inputs[i].size());
      areas_.transform().rcfftZX(inputs[i].data(), bins.data(), s.blockLen);
      auto& spectrum = inputs_[i].emplace_back();
      for (const auto& [re, im] : bins) {
        spectrum.emplace_back(static_cast<float>(re), static_cast<float>(im));
      }
    }
    Engine::Blocks outputs;
    for (int j = 0; j < s.numOutputs; ++j) outputs.push_back(outputOf(j));
    ++block_;
    return outputs;
  }

  /// The row that holds bin k, in lane k mod 4.
  int rowOfBin(int k) const {
    const int group = k / 4;
    return group % s.numChunks * s.rowsPerChunk + group / s.numChunks;
  }

  /// The latest block's spectrum of an input.
  const Spectrum& newest(int input) const { return at(inputs_, input).back(); }

 private:
  // The slot whose phases block t is generated with: slots count down from 0.
  int slotOf(int t) const { return (s.numChunks - t % s.numChunks) % s.numChunks; }

  // Bin k of partitions `first` down to `last`, each times the block that many back.
  Bin products(int input, int output, int k, int first, int last) const {
    const auto& parts = parts_.at({input, output});
    float rr = 0.0F;
    float ri = 0.0F;
    float ii = 0.0F;
    float ir = 0.0F;
    for (int v = std::min({first, block_, s.numIRBlocks - 1}); v >= last; --v) {
      const Bin x = at(at(at(inputs_, input), block_ - v), k);
      const Bin h = at(at(parts, v), k);
      rr += x.real() * h.real();
      ri += x.real() * h.imag();
      ii += x.imag() * h.imag();
      ir += x.imag() * h.real();
    }
    return k == 0 ? Bin{rr, ii} : Bin{rr - ii, ri + ir};
  }

  // Low tier: partitions 0 to lowLast; mid tier: up to midLast; high tier: the rest.
  Bin binOf(int input, int output, int k) const {
    const int group = k / 4;
    const int chunk = group % s.numChunks;
    const int segment = chunk / s.chunksPerSegment;
    const int slot = slotOf(block_);
    const int lowLast =
        (segment + s.numSegments - slot % s.numSegments) % s.numSegments;

    // The mid tier was summed right before block t - lowLast was generated and with its
    // phases; its passes count from the chunk that was the high tier's then.
    const int midSlot = (slot + lowLast) % s.numChunks;
    const int highChunk = midSlot / s.numSegments;
    const int passes = (chunk % s.chunksPerSegment + s.chunksPerSegment - highChunk) %
                       s.chunksPerSegment;
    const int midLast = lowLast + passes * s.numSegments;
    const bool upperBand = 2 * (group / s.numChunks) >= s.rowsPerChunk;
    const bool truncated = upperBand && s.hfSkipBlocks > 0;
    const int last = truncated ? s.hfKeepBlocks - 1 : s.numIRBlocks - 1;

    Bin sum = products(input, output, k, last, midLast + 1);
    sum += products(input, output, k, midLast, lowLast + 1);
    return sum + products(input, output, k, lowLast, 0);
  }

  std::vector<double> outputOf(int output) {
    std::vector<double> work;
    for (int k = 0; k < s.blockLen; ++k) {
      Bin sum = 0.0F;
      for (int input = 0; input < s.numInputs; ++input) {
        if (parts_.contains({input, output})) sum += binOf(input, output, k);
      }
      work.insert(work.end(), {sum.real(), sum.imag()});
    }
    areas_.transform().crifft(reinterpret_cast<cmplxFFT*>(work.data()));
    std::vector<double>& tail = at(tails_, output);
    std::vector<double> samples;
    for (std::size_t n = 0; n < tail.size(); ++n) {
      samples.push_back(work[n] + tail[n]);
      tail[n] = work[tail.size() + n];
    }
    return samples;
  }

  ConvRTState s;
  TransformAreas areas_;
  int block_ = 0;
  std::map<std::pair<int, int>, std::vector<Spectrum>> parts_;
  std::vector<std::vector<Spectrum>> inputs_;  // [input][block]
  std::vector<std::vector<double>> tails_;     // [output][N]
};

}  // namespace ulmar::test
