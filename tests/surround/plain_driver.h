// The processing of every channel pair as its description reads: one frame after
// another, in double precision, the responses applied in the time domain.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "ulmar/host/responses.h"
#include "ulmar/process/host_records.h"

namespace ulmar::test {

/// Gains of W, X and Y in left front, centre, right front, left surround, right
/// surround.
using DecoderMatrix = std::array<std::array<double, 3>, 5>;
inline constexpr DecoderMatrix kLowMatrix = {{{0.26813, 0.38191, 0.50527},
                                              {0.3419, 0.23322, 0.0},
                                              {0.26813, 0.38191, -0.50527},
                                              {0.56092, -0.49852, 0.45666},
                                              {0.56092, -0.49852, -0.45666}}};
inline constexpr DecoderMatrix kHighMatrix = {{{0.44022, 0.23386, 0.54094},
                                               {0.38324, 0.37228, 0.0},
                                               {0.44022, 0.23386, -0.54094},
                                               {0.78238, -0.55322, 0.42374},
                                               {0.78238, -0.55322, -0.42374}}};

/// y[n] = sum b[k] x[n - k] - sum a[k] y[n - k], a[0] = 1.
class PlainFilter {
 public:
  PlainFilter(std::vector<double> b, std::vector<double> a)
      : b_(std::move(b)), a_(std::move(a)), x_(b_.size()), y_(b_.size()) {}

  double operator()(double x) {
    std::rotate(x_.rbegin(), x_.rbegin() + 1, x_.rend());
    std::rotate(y_.rbegin(), y_.rbegin() + 1, y_.rend());
    x_[0] = x;
    y_[0] = 0.0;
    double y = 0.0;
    for (std::size_t k = 0; k < b_.size(); ++k) y += b_[k] * x_[k] - a_[k] * y_[k];
    return y_[0] = y;
  }

 private:
  std::vector<double> b_, a_, x_, y_;
};

class PlainCrossover {
 public:
  explicit PlainCrossover(const cApXOverCfs<float>& cfs)
      : first_({cfs.c1, 1.0}, {1.0, cfs.c1}),
        second_({cfs.c2, cfs.d2, 1.0}, {1.0, cfs.d2, cfs.c2}) {}

  /// Low and high band.
  std::array<double, 2> operator()(double x) {
    const double a = first_(x);
    const double b = second_(x);
    return {0.5 * (a + b), 0.5 * (b - a)};
  }

 private:
  PlainFilter first_, second_;
};

/// Parameters may change from frame to frame as far as a stream's may.
class PlainDriver {
 public:
  PlainDriver(int in, int out, const ParamStruct& params, Planar responses)
      : in_(in == 6 ? 5 : in),
        out_(out == 6 ? 5 : out),
        numBlocks_(params.foldToStereo != 0 ? in_ : params.numInputs),
        responses_(std::move(responses)),
        blocks_(channels(numBlocks_, params.blockLen)),
        wetBlocks_(channels(params.numOutputs, params.blockLen)),
        history_(static_cast<std::size_t>(params.numInputs)),
        rings_(static_cast<std::size_t>(numBlocks_)),
        rears_(2),
        crossovers_(3, PlainCrossover(params.xoverCfs)) {}

  /// The values of every output before the clamp.
  std::vector<double> operator()(const ParamStruct& params,
                                 const std::vector<float>& input) {
    for (auto& ring : rings_) ring.push_back(0.0);
    const bool midSide =
        out_ == 5 && params.perOutputIR != 0 && params.passThrough == 0;
    for (int k = 0; k < in_; ++k) {
      const double x = double{input[at(k)]};
      block(k) = x;
      rings_[ringOf(k, midSide)].back() = x;
    }
    const std::vector<double> output = mixed(params, decoded(params), midSide);
    condition(params, midSide);
    if (++pos_ == params.blockLen) {
      pos_ = 0;
      if (params.irLen > 0) convolve(params);
    }
    return output;
  }

  /// The largest engine input so far.
  double largestInput() const { return largestInput_; }

 private:
  using Channels = std::vector<std::vector<double>>;

  static std::size_t at(int k) { return static_cast<std::size_t>(k); }
  static Channels channels(int count, int length) {
    return Channels(at(count), std::vector<double>(at(length)));
  }

  double& block(int k) { return blocks_[at(std::min(k, numBlocks_ - 1))][at(pos_)]; }

  std::size_t ringOf(int k, bool midSide) const {
    const int entry = std::min(k, numBlocks_ - 1);
    return at(midSide && entry == 2 ? 1 : entry);
  }

  void condition(const ParamStruct& params, bool midSide) {
    const bool feedAcross = params.crossfeed > 0.0F;
    const double gain = double{params.crossfeed};
    if (params.foldToStereo != 0) {
      block(0) += 0.7071 * (block(1) + block(3));
      block(1) = block(2) + 0.7071 * (block(1) + block(4));
      const double left = block(0);
      if (feedAcross) block(0) += gain * block(1);
      if (feedAcross) block(1) += gain * left;
    } else if (feedAcross) {
      block(0) += gain * rings_[ringOf(1, midSide)].back();
      block(1) += gain * rings_[ringOf(0, midSide)].back();
    }
    if (midSide) {
      const double left = block(0);
      const double right = block(1);
      block(0) = (left + right) * 0.7071067811865476;
      block(1) = left;
      block(2) = right;
    }
    for (int i = 0; i < params.numInputs; ++i) {
      largestInput_ = std::max(largestInput_, std::fabs(block(i)));
    }
  }

  void convolve(const ParamStruct& params) {
    for (int i = 0; i < params.numInputs; ++i) {
      const auto& newest = blocks_[at(std::min(i, numBlocks_ - 1))];
      history_[at(i)].insert(history_[at(i)].end(), newest.begin(), newest.end());
    }
    for (int j = 0; j < params.numOutputs; ++j) {
      wetBlocks_[at(j)].assign(at(params.blockLen), 0.0);
      for (int i = 0; i < params.numInputs; ++i) {
        if (params.perOutputIR == 0) {
          addConvolution(history_[at(i)], responses_[at(i * params.numOutputs + j)],
                         wetBlocks_[at(j)]);
        } else if (j == i || j == i + params.numInputs || j == 4) {
          addConvolution(history_[at(i)], responses_[at(j)], wetBlocks_[at(j)]);
        }
      }
    }
  }

  static void addConvolution(const std::vector<double>& signal,
                             const std::vector<float>& response,
                             std::vector<double>& newest) {
    const std::size_t start = signal.size() - newest.size();
    for (std::size_t n = 0; n < newest.size(); ++n) {
      for (std::size_t d = 0; d < std::min(response.size(), start + n + 1); ++d) {
        newest[n] += signal[start + n - d] * double{response[d]};
      }
    }
  }

  std::vector<double> decoded(const ParamStruct& params) {
    const auto wet = [&](int j) {
      return wetBlocks_[at(std::min(j, params.numOutputs - 1))][at(pos_)];
    };
    if (out_ == 1) return {wet(0)};
    if (out_ == 2) return {wet(0), wet(1)};
    std::vector<double> feeds(5);
    if (params.passThrough != 0) {
      const double centre = params.numOutputs > 4 ? std::sqrt(0.5) * wet(4) : 0.0;
      feeds = {wet(0), centre, wet(1), wet(2), wet(3)};
    } else {
      std::array<double, 3> wxy = {wet(0), wet(1), wet(2)};
      if (params.perOutputIR != 0) {
        wxy = {wet(0), (wet(1) - wet(2)) * std::sqrt(0.5),
               (wet(1) + wet(2)) * std::sqrt(0.5)};
      }
      for (std::size_t s = 0; s < 3; ++s) {
        const auto [low, high] = crossovers_[s](wxy[s]);
        for (std::size_t j = 0; j < 5; ++j) {
          feeds[j] += kLowMatrix[j][s] * low + kHighMatrix[j][s] * high;
        }
      }
    }
    for (std::size_t r = 0; r < 2; ++r) {
      rears_[r].push_back(feeds[3 + r]);
      feeds[3 + r] = delayed(rears_[r], params.rearDelay);
    }
    return feeds;
  }

  static double delayed(const std::vector<double>& signal, int delay) {
    return signal.size() > at(delay) ? signal[signal.size() - 1 - at(delay)] : 0.0;
  }

  std::vector<double> mixed(const ParamStruct& params, const std::vector<double>& wet,
                            bool midSide) const {
    std::vector<double> output;
    for (int j = 0; j < out_; ++j) {
      const bool dry = in_ == 5 || out_ < 5 || (in_ == 1 ? j == 1 : j == 0 || j == 2);
      const double delayedDry =
          dry ? delayed(rings_[ringOf(j, midSide)], params.dryDelay) : 0.0;
      if (params.irLen < 0) {
        output.push_back(0.0);
      } else if (params.bypass != 0) {
        output.push_back(delayedDry);
      } else {
        const double gain = params.irLen > 0 ? double{params.wetGain[j]} : 0.0;
        output.push_back(gain * wet[at(j)] + double{params.dryGain} * delayedDry);
      }
    }
    return output;
  }

  int in_, out_;
  int numBlocks_;
  int pos_ = 0;
  Planar responses_;
  Channels blocks_, wetBlocks_, history_, rings_, rears_;
  std::vector<PlainCrossover> crossovers_;
  double largestInput_ = 0.0;
};

}  // namespace ulmar::test
