#include "apps/render/channels.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "ulmar/audio/channel_layout.h"
#include "ulmar/host/raised_cosine.h"

namespace ulmar::render {

// The library copies the low-frequency channel without delay. It is delayed here by as
// much as the library delays the dry signal.
Source::Source(const RenderPlan& plan, audio::AudioReader& input)
    : input_(input),
      order_(audio::libraryOrder(plan.input.channels, plan.input.speakers)),
      delays_(order_.size()),
      interleaved_(static_cast<std::size_t>(kBufferFrames) * order_.size()) {
  if (order_.size() > kLowFrequency) delays_[kLowFrequency] = plan.params().dryDelay;
  for (const int delay : delays_) {
    channels_.emplace_back(static_cast<std::size_t>(delay + kBufferFrames));
  }
  for (std::size_t k = 0; k < channels_.size(); ++k) {
    starts_.push_back(channels_[k].data());
    undelayed_.push_back(channels_[k].data() + delays_[k]);
  }
}

const float* const* Source::next(int frames) {
  const int given = input_.read(interleaved_.data(), frames);
  const std::size_t numChannels = channels_.size();
  for (std::size_t k = 0; k < numChannels; ++k) {
    auto& channel = channels_[k];
    const int delay = delays_[k];
    // What the delay has held back of the last call.
    std::copy_n(channel.begin() + lastFrames_, delay, channel.begin());
    std::fill(channel.begin() + delay + given, channel.end(), 0.0F);
    const float* const first = interleaved_.data() + order_[k];
    for (std::size_t i = 0; i < static_cast<std::size_t>(given); ++i) {
      channel[static_cast<std::size_t>(delay) + i] = first[i * numChannels];
    }
  }
  lastFrames_ = frames;
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
