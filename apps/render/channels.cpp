#include "apps/render/channels.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <span>

#include "apps/render/bed.h"
#include "ulmar/audio/channel_layout.h"
#include "ulmar/host/raised_cosine.h"

namespace ulmar::render {

// The library copies the low-frequency channel without delay. It is delayed here by as
// much as the library delays the dry signal, and so is a dry bed, which passes by.
Source::Source(const RenderPlan& plan, audio::AudioReader& input)
    : input_(input),
      numFileChannels_(static_cast<std::size_t>(plan.input.channels)),
      interleaved_(kBufferFrames * numFileChannels_) {
  const Routing& routing = plan.routing;
  const std::vector<int> order =
      audio::libraryOrder(plan.input.channels, plan.input.speakers);
  const auto place = [&](std::size_t k) { return static_cast<std::size_t>(order[k]); };
  const auto delay = static_cast<std::size_t>(plan.params().dryDelay);
  if (routing.source == routing.input) {
    for (std::size_t k = 0; k < order.size(); ++k) {
      channels_.push_back({{{place(k), 1.0F}}, k == kLowFrequency ? delay : 0, {}});
    }
  } else {
    for (const auto& gains : downMixGains(routing.input, routing.source)) {
      Channel& channel = channels_.emplace_back();
      for (std::size_t k = 0; k < gains.size(); ++k) {
        if (gains[k] != 0.0F) channel.shares.push_back({place(k), gains[k]});
      }
    }
  }
  for (std::size_t k = 0; routing.dryBed && k < order.size(); ++k) {
    channels_.push_back({{{place(k), 1.0F}}, delay, {}});
  }
  for (Channel& channel : channels_) {
    channel.samples.resize(channel.delay + kBufferFrames);
    starts_.push_back(channel.samples.data());
    undelayed_.push_back(channel.samples.data() + channel.delay);
  }
}

void Source::take(Channel& channel, std::size_t given) const {
  // What the delay has held back of the last call.
  std::copy_n(channel.samples.begin() + static_cast<std::ptrdiff_t>(lastFrames_),
              channel.delay, channel.samples.begin());
  const std::span<float> samples = std::span(channel.samples).subspan(channel.delay);
  std::ranges::fill(samples, 0.0F);
  for (const Share& share : channel.shares) {
    const float* const first = interleaved_.data() + share.channel;
    for (std::size_t i = 0; i < given; ++i) {
      samples[i] += share.gain * first[i * numFileChannels_];
    }
  }
}

const float* const* Source::next(int frames) {
  const int given = input_.read(interleaved_.data(), frames);
  for (Channel& channel : channels_) take(channel, static_cast<std::size_t>(given));
  lastFrames_ = static_cast<std::size_t>(frames);
  return starts_.data();
}

// A low-frequency channel that the stream does not have stays silent.
Sink::Sink(const RenderPlan& plan, double gain, audio::AudioWriter* writer)
    : writer_(writer),
      gain_(gain),
      order_(audio::libraryOrder(plan.format.channels, plan.format.speakers)),
      interleaved_(static_cast<std::size_t>(kBufferFrames) * order_.size()),
      sums_(order_.size()),
      fadeStart_(plan.outFrames() - plan.fadeFrames),
      fadeFrames_(plan.fadeFrames) {}

float Sink::gainAt(std::int64_t frame) const {
  if (frame < fadeStart_) return static_cast<float>(gain_);
  const double middle = static_cast<double>(frame - fadeStart_) + 0.5;
  return static_cast<float>(gain_ *
                            raisedCosine(middle / static_cast<double>(fadeFrames_)));
}

void Sink::write(const Planar& channels, std::int64_t first, std::int64_t end) {
  const std::size_t numChannels = order_.size();
  for (std::int64_t start = first; start < end; start += kBufferFrames) {
    const auto frames =
        static_cast<std::size_t>(std::min<std::int64_t>(kBufferFrames, end - start));
    for (std::size_t k = 0; k < channels.size(); ++k) {
      const auto place = static_cast<std::size_t>(order_[k]);
      ChannelLevel& sum = sums_[place];
      for (std::size_t i = 0; i < frames; ++i) {
        const float sample = channels[k][static_cast<std::size_t>(start) + i] *
                             gainAt(written_ + static_cast<std::int64_t>(i));
        interleaved_[i * numChannels + place] = sample;
        sum.peak = std::max(sum.peak, std::fabs(double{sample}));
        sum.rms += double{sample} * double{sample};
      }
    }
    if (writer_ != nullptr) {
      writer_->write(interleaved_.data(), static_cast<int>(frames));
    }
    written_ += static_cast<std::int64_t>(frames);
  }
}

std::vector<ChannelLevel> Sink::levels() const {
  std::vector<ChannelLevel> levels = sums_;
  for (ChannelLevel& level : levels) {
    level.rms =
        std::sqrt(level.rms / static_cast<double>(std::max<std::int64_t>(written_, 1)));
  }
  return levels;
}

}  // namespace ulmar::render
