#include "apps/render/trace.h"

#include <algorithm>
#include <ctime>

#include "ulmar/host/decibels.h"

namespace ulmar::render {
namespace {

constexpr std::int64_t kMaxColumns = 1100;  // about a pixel each

// Processor time of the calling thread: what it waits for others is not the stream's.
double threadSeconds() {
  timespec now{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
  return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

}  // namespace

Envelope::Envelope(std::size_t numChannels, std::int64_t numFrames, int sampleRate)
    : numChannels_(numChannels),
      numFrames_(numFrames),
      sampleRate_(sampleRate),
      numColumns_(static_cast<std::size_t>(
          std::clamp<std::int64_t>(numFrames, 1, kMaxColumns))),
      columns_(numChannels * numColumns_) {}

void Envelope::add(const float* const* channels, int first, int end) {
  const auto last = static_cast<std::int64_t>(numColumns_) - 1;
  for (int i = first; i < end; ++i) {
    const auto place =
        static_cast<std::size_t>(std::min(pos_ * (last + 1) / numFrames_, last));
    for (std::size_t k = 0; k < numChannels_; ++k) {
      Column& column = columns_[k * numColumns_ + place];
      const float sample = channels[k][i];
      column.low = column.count == 0 ? sample : std::min(column.low, sample);
      column.high = column.count == 0 ? sample : std::max(column.high, sample);
      column.energy += double{sample} * double{sample};
      ++column.count;
    }
    ++pos_;
  }
}

void Envelope::add(const Planar& channels, std::int64_t first, std::int64_t end) {
  std::vector<const float*> starts;
  for (const auto& channel : channels) starts.push_back(channel.data() + first);
  add(starts.data(), 0, static_cast<int>(end - first));
}

double Envelope::timeOf(std::size_t column) const {
  return (static_cast<double>(column) + 0.5) / static_cast<double>(numColumns_) *
         static_cast<double>(numFrames_) / sampleRate_;
}

std::vector<draw::Extent> Envelope::extents(std::size_t channel) const {
  std::vector<draw::Extent> extents;
  for (std::size_t i = 0; i < numColumns_; ++i) {
    const Column& column = columns_[channel * numColumns_ + i];
    extents.push_back({timeOf(i), double{column.low}, double{column.high}});
  }
  return extents;
}

std::vector<draw::Point2> Envelope::levels() const {
  std::vector<draw::Point2> levels;
  for (std::size_t i = 0; i < numColumns_; ++i) {
    double energy = 0.0;
    std::int64_t count = 0;
    for (std::size_t k = 0; k < numChannels_; ++k) {
      energy += columns_[k * numColumns_ + i].energy;
      count += columns_[k * numColumns_ + i].count;
    }
    const double power = energy / static_cast<double>(std::max<std::int64_t>(count, 1));
    levels.push_back({timeOf(i), decibelsOfPower(std::max(power, 1e-20))});
  }
  return levels;
}

double Envelope::peak() const {
  double peak = 0.0;
  for (const Column& column : columns_) {
    peak = std::max({peak, -double{column.low}, double{column.high}});
  }
  return peak;
}

void processTraced(host::Stream& stream, const float* const* in, int numInputs,
                   float* const* out, int numOutputs, int frames, Trace& trace) {
  std::vector<const float*> from(in, in + numInputs);
  std::vector<float*> to(out, out + numOutputs);
  for (int done = 0; done < frames;) {
    const int left = stream.params().blockLen - stream.state().blockPos;
    const int count = std::min(frames - done, left);
    const double start = threadSeconds();
    stream.process(from.data(), to.data(), count);
    const double elapsed = threadSeconds() - start;
    if (count == left) trace.addBlock(elapsed);
    for (auto& channel : from) channel += count;
    for (auto& channel : to) channel += count;
    done += count;
  }
}

}  // namespace ulmar::render
