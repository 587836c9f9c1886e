#include <fftw3.h>

#include <algorithm>

#include "bench/convolver.h"

namespace ulmar::bench {
namespace {

struct PlanFree {
  void operator()(fftwf_plan plan) const { fftwf_destroy_plan(plan); }
};
using Plan = std::unique_ptr<fftwf_plan_s, PlanFree>;

fftwf_complex* bins(float* spectrum) {
  return reinterpret_cast<fftwf_complex*>(spectrum);
}

// acc += x h, real and imaginary parts taking turns.
void multiplyAdd(float* __restrict acc, const float* __restrict x,
                 const float* __restrict h, int numBins) {
  for (int k = 0; k < 2 * numBins; k += 2) {
    acc[k] += x[k] * h[k] - x[k + 1] * h[k + 1];
    acc[k + 1] += x[k] * h[k + 1] + x[k + 1] * h[k];
  }
}

class Plain final : public Convolver {
 public:
  Plain(const Workload& workload, const host::Responses& responses, int keepBlocks)
      : shape_(workload),
        numBlocks_(workload.numBlocks()),
        keepBlocks_(keepBlocks > 0 ? keepBlocks : numBlocks_),
        pitch_(2 * static_cast<std::size_t>(workload.blockLen + 2)),
        windows_(static_cast<std::size_t>(workload.numInputs),
                 std::vector<float>(2 * static_cast<std::size_t>(workload.blockLen))),
        outputs_(static_cast<std::size_t>(workload.numOutputs),
                 std::vector<float>(static_cast<std::size_t>(workload.blockLen))),
        samples_(2 * static_cast<std::size_t>(workload.blockLen)),
        sum_(pitch_),
        history_(static_cast<std::size_t>(workload.numInputs),
                 std::vector<float>(pitch_ * static_cast<std::size_t>(numBlocks_))) {
    const int size = 2 * shape_.blockLen;
    forward_.reset(
        fftwf_plan_dft_r2c_1d(size, samples_.data(), bins(sum_.data()), FFTW_MEASURE));
    inverse_.reset(
        fftwf_plan_dft_c2r_1d(size, bins(sum_.data()), samples_.data(), FFTW_MEASURE));
    for (const auto& response : responses.samples)
      parts_.push_back(partitions(response));
  }

  void feed(int input, std::span<const float> block) override {
    auto& window = windows_[static_cast<std::size_t>(input)];
    std::copy(block.begin(), block.end(), window.end() - shape_.blockLen);
  }

  void fetch(int output, std::span<float> block) const override {
    std::ranges::copy(outputs_[static_cast<std::size_t>(output)], block.begin());
  }

  void run() override {
    newest_ = (newest_ == 0 ? numBlocks_ : newest_) - 1;
    for (std::size_t i = 0; i < windows_.size(); ++i) {
      fftwf_execute_dft_r2c(forward_.get(), windows_[i].data(),
                            bins(row(history_[i], newest_)));
      std::copy_n(windows_[i].end() - shape_.blockLen, shape_.blockLen,
                  windows_[i].begin());
    }
    for (std::size_t j = 0; j < outputs_.size(); ++j) {
      std::ranges::fill(sum_, 0.0F);
      for (std::size_t i = 0; i < windows_.size(); ++i) {
        addPair(history_[i], parts_[i * outputs_.size() + j]);
      }
      fftwf_execute(inverse_.get());
      std::copy_n(samples_.end() - shape_.blockLen, shape_.blockLen,
                  outputs_[j].begin());
    }
  }

  int period() const override { return 1; }

 private:
  float* row(std::vector<float>& spectra, int block) const {
    return spectra.data() + pitch_ * static_cast<std::size_t>(block);
  }

  // [block][bin], scaled by what the transforms leave.
  std::vector<float> partitions(const std::vector<float>& response) {
    const auto blockLen = static_cast<std::size_t>(shape_.blockLen);
    std::vector<float> spectra(pitch_ * static_cast<std::size_t>(numBlocks_));
    for (int block = 0; block < numBlocks_; ++block) {
      const std::size_t start = static_cast<std::size_t>(block) * blockLen;
      const std::size_t count = std::min(blockLen, response.size() - start);
      std::ranges::fill(samples_, 0.0F);
      std::transform(response.data() + start, response.data() + start + count,
                     samples_.begin(),
                     [&](float x) { return x / static_cast<float>(2 * blockLen); });
      fftwf_execute_dft_r2c(forward_.get(), samples_.data(), bins(row(spectra, block)));
    }
    return spectra;
  }

  void addPair(std::vector<float>& history, std::vector<float>& parts) {
    int at = newest_;
    for (int block = 0; block < numBlocks_; ++block) {
      const int numBins =
          block < keepBlocks_ ? shape_.blockLen + 1 : shape_.blockLen / 2;
      multiplyAdd(sum_.data(), row(history, at), row(parts, block), numBins);
      if (++at == numBlocks_) at = 0;
    }
  }

  Workload shape_;
  int numBlocks_;
  int keepBlocks_;
  std::size_t pitch_;  // floats from spectrum to spectrum, each on 16 bytes
  std::vector<std::vector<float>> windows_;  // [input]: the last two blocks
  std::vector<std::vector<float>> outputs_;
  std::vector<float> samples_;
  std::vector<float> sum_;
  std::vector<std::vector<float>> history_;  // [input]: a ring, the newest at newest_
  std::vector<std::vector<float>> parts_;    // [pair]
  Plan forward_;
  Plan inverse_;
  int newest_ = 0;
};

}  // namespace

std::unique_ptr<Convolver> makePlain(const Workload& workload,
                                     const host::Responses& responses, int keepBlocks) {
  return std::make_unique<Plain>(workload, responses, keepBlocks);
}

}  // namespace ulmar::bench
