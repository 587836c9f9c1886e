// The engine's sums written plainly: per block, per bin, over partitions and blocks by
// their numbers, without rings, slots or work ahead. What it shares with the engine is
// the order of every sum, so that both give the same bits.
#pragma once

#include <array>
#include <complex>
#include <map>
#include <utility>
#include <vector>

#include "tests/convrt/engine.h"
#include "tests/support/random.h"

namespace ulmar::test {

class PlainEngine {
 public:
  using Spectrum = std::vector<std::complex<float>>;  // [N], natural order

  explicit PlainEngine(const Shape& shape)
      : geometry_(shape.state()),
        areas_(shape.blockLen),
        inputs_(static_cast<std::size_t>(shape.numInputs)),
        tails_(static_cast<std::size_t>(shape.numOutputs),
               std::vector<double>(static_cast<std::size_t>(shape.blockLen))) {}

  /// Partition spectra of arbitrary values, which need not be those of any response.
  void setRandomPartitions(int input, int output, Random& random) {
    auto& parts = parts_[{input, output}];
    parts.resize(static_cast<std::size_t>(geometry_.numIRBlocks));
    for (Spectrum& part : parts) {
      for (int k = 0; k < geometry_.blockLen; ++k) {
        const float re = random.sample();
        part.emplace_back(re, random.sample());
      }
    }
  }

  /// The same partitions in the ring layout; NaN in the elements that are never read.
  Engine::Set ringLayout(int input, int output) const {
    constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
    const ConvRTState& s = geometry_;
    Engine::Set set(static_cast<std::size_t>(s.numRows * s.rowPitch + 1));
    set.back() = {{kNan, kNan, kNan, kNan}, {kNan, kNan, kNan, kNan}};
    for (int row = 0; row < s.numRows; ++row) {
      set[static_cast<std::size_t>(row * s.rowPitch + s.ringLen)] = set.back();
    }
    const auto& parts = parts_.at({input, output});
    for (std::size_t v = 0; v < parts.size(); ++v) {
      for (int k = 0; k < s.blockLen; ++k) {
        const int col = s.ringLen - 1 - static_cast<int>(v);
        VecComplex& element =
            set[static_cast<std::size_t>(rowOfBin(k) * s.rowPitch + col)];
        element.re[k % 4] = parts[v][static_cast<std::size_t>(k)].real();
        element.im[k % 4] = parts[v][static_cast<std::size_t>(k)].imag();
      }
    }
    return set;
  }

  Engine::Blocks process(const Engine::Blocks& inputs) {
    for (std::size_t i = 0; i < inputs.size(); ++i) {
      inputs_[i].push_back(spectrumOf(inputs[i]));
    }
    Engine::Blocks outputs;
    for (int j = 0; j < geometry_.numOutputs; ++j) outputs.push_back(outputOf(j));
    ++block_;
    return outputs;
  }

  /// The row that holds bin k, in lane k mod 4.
  int rowOfBin(int k) const {
    const int group = k / 4;
    return group % geometry_.numChunks * geometry_.rowsPerChunk +
           group / geometry_.numChunks;
  }

  /// The latest block's spectrum of an input.
  const Spectrum& newest(int input) const {
    return inputs_[static_cast<std::size_t>(input)].back();
  }

 private:
  using Sum = std::complex<float>;

  // The counters with which block t is generated: slots count down from 0.
  std::pair<int, int> phases(int t) const {
    const int slot =
        ((-t) % geometry_.numChunks + geometry_.numChunks) % geometry_.numChunks;
    return {slot % geometry_.numSegments, slot / geometry_.numSegments};
  }

  Spectrum spectrumOf(const std::vector<double>& samples) {
    std::vector<cmplxFFT> bins(samples.size());
    areas_.transform().rcfftZX(samples.data(), bins.data(), geometry_.blockLen);
    Spectrum spectrum;
    for (const auto& [re, im] : bins) {
      spectrum.emplace_back(static_cast<float>(re), static_cast<float>(im));
    }
    return spectrum;
  }

  // Bin k of partitions `first` down to `last`, each times the block that many back.
  Sum products(int input, int output, int k, int first, int last) const {
    const auto& parts = parts_.at({input, output});
    const auto& blocks = inputs_[static_cast<std::size_t>(input)];
    const auto bin = static_cast<std::size_t>(k);
    float rr = 0.0F;
    float ri = 0.0F;
    float ii = 0.0F;
    float ir = 0.0F;
    for (int v = first; v >= last; --v) {
      if (v > block_ || v >= geometry_.numIRBlocks) continue;
      const Sum x = blocks[static_cast<std::size_t>(block_ - v)][bin];
      const Sum h = parts[static_cast<std::size_t>(v)][bin];
      rr += x.real() * h.real();
      ri += x.real() * h.imag();
      ii += x.imag() * h.imag();
      ir += x.imag() * h.real();
    }
    return k == 0 ? Sum{rr, ii} : Sum{rr - ii, ri + ir};
  }

  // Low tier: partitions 0 to lowLast; mid tier: up to midLast; high tier: the rest.
  Sum binOf(int input, int output, int k) const {
    const ConvRTState& s = geometry_;
    const int group = k / 4;
    const int chunk = group % s.numChunks;
    const int segment = chunk / s.chunksPerSegment;
    const int inSegment = chunk % s.chunksPerSegment;

    const int lowLast =
        (segment - phases(block_).first + s.numSegments) % s.numSegments;
    const int chunkPhase = phases(block_ - lowLast).second;
    const int passes =
        (inSegment - chunkPhase + s.chunksPerSegment) % s.chunksPerSegment;
    const int midLast = lowLast + passes * s.numSegments;
    const bool upperBand = 2 * (group / s.numChunks) >= s.rowsPerChunk;
    const bool truncated = upperBand && s.hfSkipBlocks > 0;
    const int last = truncated ? s.hfKeepBlocks - 1 : s.numIRBlocks - 1;

    Sum slot = products(input, output, k, last, midLast + 1);
    slot += products(input, output, k, midLast, lowLast + 1);
    return slot + products(input, output, k, lowLast, 0);
  }

  std::vector<double> outputOf(int output) {
    std::vector<double> work;
    for (int k = 0; k < geometry_.blockLen; ++k) {
      Sum bin = 0.0F;
      for (int input = 0; input < geometry_.numInputs; ++input) {
        if (parts_.contains({input, output})) bin += binOf(input, output, k);
      }
      work.push_back(bin.real());
      work.push_back(bin.imag());
    }
    areas_.transform().crifft(reinterpret_cast<cmplxFFT*>(work.data()));
    std::vector<double>& tail = tails_[static_cast<std::size_t>(output)];
    std::vector<double> samples(tail.size());
    for (std::size_t n = 0; n < tail.size(); ++n) {
      samples[n] = work[n] + tail[n];
      tail[n] = work[tail.size() + n];
    }
    return samples;
  }

  ConvRTState geometry_;
  TransformAreas areas_;
  int block_ = 0;
  std::map<std::pair<int, int>, std::vector<Spectrum>> parts_;
  std::vector<std::vector<Spectrum>> inputs_;  // [input][block]
  std::vector<std::vector<double>> tails_;     // [output][N]
};

}  // namespace ulmar::test
