#include "ulmar/host/fading_stream.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

#include "ulmar/host/checks.h"
#include "ulmar/host/error.h"
#include "ulmar/host/portable_precision.h"

namespace ulmar::host {
namespace {

// Frames that are mixed at once.
constexpr int kChunk = 256;
constexpr std::size_t kMaxCallChannels = 6;

std::vector<float> risingGains(int fadeLen, FadeLaw law) {
  std::vector<float> gains(static_cast<std::size_t>(fadeLen));
  for (std::size_t k = 0; k < gains.size(); ++k) {
    const double at = (static_cast<double>(k) + 1.0) / (fadeLen + 1.0);
    const double sine = withPortablePrecision(std::sin(0.5 * std::numbers::pi * at));
    gains[k] = static_cast<float>(law == FadeLaw::equalGain ? sine * sine : sine);
  }
  return gains;
}

std::size_t u(int value) { return static_cast<std::size_t>(value); }

}  // namespace

FadingStream::FadingStream(std::unique_ptr<Stream> first, int fadeLen, FadeLaw law)
    : current_(std::move(first)), latency_(current_->latency()), law_(law) {
  checkRange("length of a fade", fadeLen, 1, kMaxFadeLen);
  rising_ = risingGains(fadeLen, law);
  inputs_.resize(u(current_->plan().inChannels()) * kChunk);
  fadingIn_.resize(inputs_.size());
  mix_.resize(u(current_->plan().outChannels()) * kChunk);
}

FadingStream::~FadingStream() {
  delete handedOver_.load();
  delete finished_.load();
}

std::unique_ptr<Stream> FadingStream::handOver(std::unique_ptr<Stream> next) {
  // current_ is the other thread's; its channels and latency are kept beside it.
  const StreamPlan& plan = next->plan();
  const auto ins = static_cast<int>(inputs_.size()) / kChunk;
  const auto outs = static_cast<int>(mix_.size()) / kChunk;
  if (plan.inChannels() != ins || plan.outChannels() != outs) {
    fail("a stream of ", plan.inChannels(), " > ", plan.outChannels(),
         " channels was handed over, and the one that plays has ", ins, " > ", outs);
  }
  if (plan.latency() != latency_) {
    fail("a stream with a latency of ", plan.latency(),
         " frames was handed over, and the one that plays has ", latency_);
  }
  return std::unique_ptr<Stream>(handedOver_.exchange(next.release()));
}

std::unique_ptr<Stream> FadingStream::takeBack() {
  return std::unique_ptr<Stream>(finished_.exchange(nullptr));
}

// A fade begins only when there is room to give the old stream back.
void FadingStream::begin() {
  if (next_ != nullptr || finished_.load() != nullptr) return;
  next_.reset(handedOver_.exchange(nullptr));
  if (next_ == nullptr) return;
  runIn_ = static_cast<int>(rising_.size()) +
           std::max(next_->latency(), next_->params().dryDelay);
  pos_ = -runIn_;
}

void FadingStream::process(const float* const* in, float* const* out, int frames) {
  begin();
  if (next_ == nullptr) {
    current_->process(in, out, frames);
    return;
  }
  for (int start = 0; start < frames; start += kChunk) {
    playBoth(in, out, start, std::min(kChunk, frames - start));
  }
  if (pos_ < static_cast<int>(rising_.size())) return;
  finished_.store(current_.release());
  current_ = std::move(next_);
}

void FadingStream::playBoth(const float* const* in, float* const* out, int start,
                            int frames) {
  const std::size_t numIns = inputs_.size() / kChunk;
  const std::size_t numOuts = mix_.size() / kChunk;
  const int fadeLen = static_cast<int>(rising_.size());
  std::array<const float*, kMaxCallChannels> ins{};
  std::array<const float*, kMaxCallChannels> newIns{};
  std::array<float*, kMaxCallChannels> outs{};
  std::array<float*, kMaxCallChannels> mixed{};
  for (std::size_t k = 0; k < numIns; ++k) {
    // The old stream may overwrite its input.
    ins[k] = std::copy_n(in[k] + start, frames, inputs_.data() + k * kChunk) - frames;
    newIns[k] = ins[k];
    if (pos_ + runIn_ >= fadeLen) continue;
    float* const fadingIn = fadingIn_.data() + k * kChunk;
    for (int i = 0; i < frames; ++i) {
      const int at = std::min(pos_ + runIn_ + i, fadeLen);
      fadingIn[i] = ins[k][i] * (at < fadeLen ? rising_[u(at)] : 1.0F);
    }
    newIns[k] = fadingIn;
  }
  for (std::size_t j = 0; j < numOuts; ++j) {
    outs[j] = out[j] + start;
    mixed[j] = mix_.data() + j * kChunk;
  }
  current_->process(ins.data(), outs.data(), frames);
  next_->process(newIns.data(), mixed.data(), frames);
  for (int i = 0; i < frames; ++i, ++pos_) {
    if (pos_ < 0) continue;
    for (std::size_t j = 0; j < numOuts; ++j) {
      float& sample = outs[j][i];
      const float entering = mixed[j][i];
      if (pos_ >= fadeLen) {
        sample = entering;
      } else if (law_ == FadeLaw::equalGain) {
        // What both streams have in common stays as it is, bit for bit.
        sample += rising_[u(pos_)] * (entering - sample);
      } else {
        sample = rising_[u(fadeLen - 1 - pos_)] * sample + rising_[u(pos_)] * entering;
      }
    }
  }
}

}  // namespace ulmar::host
