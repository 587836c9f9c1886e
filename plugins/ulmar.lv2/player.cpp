#include "plugins/ulmar.lv2/player.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <utility>

namespace ulmar::lv2 {
namespace {

constexpr double kRampTime = 0.02;  // s, of gains
constexpr double kFadeTime = 0.05;  // s, from one response to the next
constexpr int kNone = -1;

int framesIn(double seconds, const Setting& setting) {
  return std::max(1, static_cast<int>(std::lround(seconds * setting.sampleRate)));
}

std::size_t u(int value) { return static_cast<std::size_t>(value); }

// Ports have left, right, centre, surrounds; the library has left, centre, right,
// surrounds.
int libraryChannel(int port, int numOutputs) {
  if (numOutputs < 5 || port > 2) return port;
  return port == 0 ? 0 : 3 - port;
}

// The input that an output's dry signal is. Mono is heard from the centre of five, and
// else from every output.
int drySource(const Variant& variant, int output) {
  if (variant.inputs == 1 && variant.outputs == 5) return output == 2 ? 0 : kNone;
  if (variant.inputs == 1) return 0;
  return output < variant.inputs ? output : kNone;
}

// 120 dB above full scale is no signal either, and a denormal number only takes time.
float finite(float sample) {
  constexpr float kMost = 1e6F;
  return std::isnormal(sample) ? std::clamp(sample, -kMost, kMost) : 0.0F;
}

}  // namespace

Player::Player(const Setting& setting, std::unique_ptr<host::Stream> stream)
    : variant_(setting.variant),
      latency_(stream->latency()),
      stream_(std::move(stream), framesIn(kFadeTime, setting),
              host::FadeLaw::equalPower),
      dry_(framesIn(kRampTime, setting)),
      wet_(framesIn(kRampTime, setting)),
      crossfeed_(framesIn(kRampTime, setting)),
      enabled_(framesIn(kRampTime, setting)),
      entry_(framesIn(kRampTime, setting)),
      master_(framesIn(kRampTime, setting)),
      delays_(u(variant_.inputs), std::vector<float>(u(latency_))) {
  for (Ramp* const ramp : {&entry_, &master_}) {
    ramp->setTarget(1.0F);
    ramp->jump();
  }
}

void Player::reset() {
  // Of two streams only the one that stays can be reset, and one that was handed over
  // begins with a call.
  std::array<Samples, kMaxPorts> silence{};
  std::array<const float*, kMaxPorts> in{};
  std::array<float*, kMaxPorts> out{};
  for (std::size_t k = 0; k < in.size(); ++k) {
    in[k] = silence[k].data();
    out[k] = wetOut_[k].data();
  }
  do {
    stream_.process(in.data(), out.data(), kChunk);
  } while (stream_.fading());
  stream_.current().reset();
  for (auto& delay : delays_) std::ranges::fill(delay, 0.0F);
  delayPos_ = 0;
  for (Ramp* const ramp : {&entry_, &master_}) {
    ramp->setTarget(1.0F);
    ramp->jump();
  }
  fresh_ = true;
}

void Player::startFaded() {
  entry_.setTarget(0.0F);
  entry_.jump();
  entry_.setTarget(1.0F);
}

void Player::process(const float* const* in, float* const* out, int frames,
                     const Mix& mix) {
  dry_.setTarget(mix.dry);
  wet_.setTarget(mix.wet);
  crossfeed_.setTarget(mix.crossfeed);
  enabled_.setTarget(mix.enabled ? 1.0F : 0.0F);
  if (std::exchange(fresh_, false)) {
    for (Ramp* const ramp : {&dry_, &wet_, &crossfeed_, &enabled_}) ramp->jump();
  }
  std::array<const float*, kMaxPorts> from{};
  std::array<float*, kMaxPorts> to{};
  std::copy_n(in, variant_.inputs, from.begin());
  std::copy_n(out, variant_.outputs, to.begin());
  for (int done = 0; done < frames;) {
    const int count = std::min(kChunk, frames - done);
    processChunk(from.data(), to.data(), count);
    for (int k = 0; k < variant_.inputs; ++k) from[u(k)] += count;
    for (int k = 0; k < variant_.outputs; ++k) to[u(k)] += count;
    done += count;
  }
}

void Player::processChunk(const float* const* in, float* const* out, int frames) {
  takeInput(in, frames);
  feedAcross(frames);
  const float* const feed[] = {feed_[0].data(), feed_[1].data()};
  std::array<float*, kMaxPorts> wet{};
  for (std::size_t k = 0; k < wet.size(); ++k) wet[k] = wetOut_[k].data();
  stream_.process(feed, wet.data(), frames);
  mixOutput(out, frames);
}

void Player::takeInput(const float* const* in, int frames) {
  Samples gains;
  for (int i = 0; i < frames; ++i) gains[u(i)] = entry_.next();
  std::size_t pos = delayPos_;
  for (int k = 0; k < variant_.inputs; ++k) {
    std::vector<float>& delay = delays_[u(k)];
    pos = delayPos_;
    for (int i = 0; i < frames; ++i) {
      const float sample = gains[u(i)] * finite(in[k][i]);
      input_[u(k)][u(i)] = sample;
      delayed_[u(k)][u(i)] = std::exchange(delay[pos], sample);
      if (++pos == delay.size()) pos = 0;
    }
  }
  delayPos_ = pos;
}

// Left and right of the stream, each with some of the other.
void Player::feedAcross(int frames) {
  if (variant_.inputs == 1) {
    feed_[0] = input_[0];
    return;
  }
  constexpr float kMinus3dB = 1.0F / std::numbers::sqrt2_v<float>;
  enum Port : std::size_t { left, right, centre, leftSurround, rightSurround };
  for (int i = 0; i < frames; ++i) {
    float l = input_[left][u(i)];
    float r = input_[right][u(i)];
    if (variant_.inputs == 5) {
      l += kMinus3dB * (input_[centre][u(i)] + input_[leftSurround][u(i)]);
      r += kMinus3dB * (input_[centre][u(i)] + input_[rightSurround][u(i)]);
    }
    const float across = crossfeed_.next();
    feed_[0][u(i)] = l + across * r;
    feed_[1][u(i)] = r + across * l;
  }
}

// Bypassed, the dry signal passes at its own level.
void Player::mixOutput(float* const* out, int frames) {
  Samples dryGains;
  Samples wetGains;
  for (int i = 0; i < frames; ++i) {
    const float enabled = enabled_.next();
    const float master = master_.next();
    dryGains[u(i)] = master * (enabled * dry_.next() + (1.0F - enabled));
    wetGains[u(i)] = master * enabled * wet_.next() / kScale;
  }
  for (int k = 0; k < variant_.outputs; ++k) {
    const Samples& wet = wetOut_[u(libraryChannel(k, variant_.outputs))];
    for (int i = 0; i < frames; ++i) out[k][i] = wetGains[u(i)] * wet[u(i)];
    const int source = drySource(variant_, k);
    if (source == kNone) continue;
    const Samples& dry = delayed_[u(source)];
    for (int i = 0; i < frames; ++i) out[k][i] += dryGains[u(i)] * dry[u(i)];
  }
}

}  // namespace ulmar::lv2
