// The C interface: handles around FadingStream.
#include <algorithm>
#include <atomic>
#include <cmath>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "ulmar/host/c_calls.h"
#include "ulmar/host/crossover_design.h"
#include "ulmar/host/fading_stream.h"
#include "ulmar/host/surround_responses.h"
#include "ulmar/host/ulmar_host.h"

namespace {

using ulmar::fail;
using ulmar::Planar;
using ulmar::host::FadeLaw;
using ulmar::host::FadingStream;
using ulmar::host::failed;
using ulmar::host::guarded;
using ulmar::host::need;
using ulmar::host::needSize;
using ulmar::host::Responses;
using ulmar::host::Stream;
using ulmar::host::StreamOptions;
using ulmar::host::StreamPlan;
using ulmar::host::WrongState;

// What a stream is made from, beside its response.
struct Setting {
  int inputs = 0;
  UlmarOptions options{};

  bool surround() const { return options.layout != ULMAR_LAYOUT_STEREO; }
  int outputs(int channels) const {
    if (inputs >= 5) return inputs;
    if (surround()) return 5;
    return inputs == 1 && channels == 1 ? 1 : 2;
  }
  /// For which the responses are arranged.
  StreamOptions streamOptions() const;
};

constexpr float kDefaultRate = 48000.0F;  // Hz
constexpr int kDefaultFade = 2048;        // frames

StreamOptions Setting::streamOptions() const {
  StreamOptions result;
  if (options.block_len != 0) result.blockLen = options.block_len;
  result.tail = options.tail == 0  ? ulmar::host::kTailAuto
                : options.tail < 0 ? ulmar::host::kTailOff
                                   : options.tail;
  result.hfTruncate = options.low_cost != 0;
  result.dryDelay = options.dry_delay;
  if (!surround()) return result;
  result.rearDelay = options.rear_delay;
  result.foldToStereo = inputs >= 5;
  result.passThrough = options.layout == ULMAR_LAYOUT_FEEDS;
  const double frequency = options.crossover != 0.0F ? double{options.crossover}
                                                     : ulmar::host::kDefaultCrossover;
  const float rate = options.sample_rate != 0.0F ? options.sample_rate : kDefaultRate;
  result.crossover = ulmar::host::designCrossover(frequency, double{rate});
  return result;
}

Setting settingOf(int inputs, const UlmarOptions* options) {
  Setting setting{inputs, {}};
  if (options != nullptr) {
    needSize(*options, "UlmarOptions");
    setting.options = *options;
  }
  const int layout = setting.options.layout;
  if (layout < ULMAR_LAYOUT_STEREO || layout > ULMAR_LAYOUT_FEEDS) {
    fail("the layout is ", layout, ", and the limits are 0 and 3");
  }
  if (inputs != 1 && inputs != 2 && inputs != 5 && inputs != 6) {
    fail("there are ", inputs, " inputs, and 1, 2, 5 or 6 can be");
  }
  if (inputs >= 5 && !setting.surround()) {
    fail("there are ", inputs,
         " inputs, which take B-format or speaker feeds as the layout");
  }
  if (!setting.surround() && setting.options.rear_delay != 0) {
    fail("the rear delay is ", setting.options.rear_delay,
         ", and only five outputs have any");
  }
  return setting;
}

Responses arranged(const Setting& setting, const Planar& channels) {
  switch (setting.options.layout) {
    case ULMAR_LAYOUT_FUMA:
      return ulmar::host::arrangeForDecoding(
          ulmar::host::horizontalBFormat(channels, ulmar::host::BFormat::fuma),
          setting.inputs);
    case ULMAR_LAYOUT_AMBIX:
      return ulmar::host::arrangeForDecoding(
          ulmar::host::horizontalBFormat(channels, ulmar::host::BFormat::ambix),
          setting.inputs);
    case ULMAR_LAYOUT_FEEDS:
      return ulmar::host::arrangeFeeds(channels, setting.inputs);
    default:
      return ulmar::host::arrangeResponses(channels, setting.inputs);
  }
}

Planar silence(int channels, int length) {
  const std::vector<float> channel(static_cast<std::size_t>(length));
  Planar result;
  result.resize(static_cast<std::size_t>(std::max(channels, 0)), channel);
  return result;
}

// Frames of the longest channel, of at least one.
int lengthOf(int channels, const std::int64_t* frames) {
  need(frames, "frames");
  const std::int64_t longest = *std::max_element(frames, frames + channels);
  const std::int64_t least = *std::min_element(frames, frames + channels);
  if (least < 0 || longest < 1 || longest > ulmar::host::kMaxIRLen) {
    fail("the response has ", least < 0 ? least : longest,
         " frames, and the limits are 1 and ", ulmar::host::kMaxIRLen);
  }
  return static_cast<int>(longest);
}

// Channels of the longest's length. Nothing is read of more of them than the layout
// has.
Planar channelsOf(const Setting& setting, const float* const* response, int channels,
                  const std::int64_t* frames) {
  arranged(setting, silence(channels, 1));
  Planar result = silence(channels, lengthOf(channels, frames));
  need(reinterpret_cast<const void* const*>(response), channels, "response");
  for (int k = 0; k < channels; ++k) {
    std::copy_n(response[k], frames[k], result[static_cast<std::size_t>(k)].begin());
  }
  return result;
}

StreamPlan planOf(const Setting& setting, const ulmar::host::ResponseShape& shape,
                  int channels) {
  return {setting.inputs, setting.outputs(channels), shape, setting.streamOptions()};
}

std::unique_ptr<Stream> streamOf(const Setting& setting, const Planar& channels) {
  const Responses responses = arranged(setting, channels);
  const auto plan =
      planOf(setting, responses.shape(), static_cast<int>(channels.size()));
  return std::make_unique<Stream>(plan, responses);
}

}  // namespace

// Gains are atomic, as a stream that is built takes those that are set while it is.
struct UlmarStream {
  UlmarStream(const Setting& from, int numChannels, std::unique_ptr<Stream> first)
      : setting(from),
        channels(numChannels),
        outputs(from.outputs(numChannels)),
        playing(std::move(first),
                from.options.fade_len != 0 ? from.options.fade_len : kDefaultFade,
                FadeLaw::equalPower) {}

  void setGains(Stream& stream) const {
    stream.setDryGain(dry);
    stream.setWetGain(wet);
    stream.setCrossfeed(crossfeed);
  }
  Stream& settled(const char* what) {
    if (playing.fading()) {
      throw WrongState(std::string("cannot ") + what +
                       " while one response fades to the next");
    }
    return playing.current();
  }

  Setting setting;
  int channels;  // of the responses
  int outputs;
  FadingStream playing;
  std::atomic<float> dry{0.0F};
  std::atomic<float> wet{1.0F};
  std::atomic<float> crossfeed{0.0F};
};

namespace {

// Checked before it reaches a stream, which takes it with the next call.
void setGain(UlmarStream* stream, std::atomic<float> UlmarStream::*which, float gain) {
  need(stream, "stream");
  if (!(std::abs(gain) <= 1e9F)) {
    fail("the gain is ", gain, ", and the limit is 1e9 in magnitude");
  }
  stream->*which = gain;
}

void checkCall(const UlmarStream* stream, const void* in, const void* out, int frames) {
  need(stream, "stream");
  if (frames < 0) fail("there are ", frames, " frames, and the least is 0");
  if (frames == 0) return;
  need(in, "in");
  need(out, "out");
}

}  // namespace

const char* ulmar_version(void) { return ULMAR_VERSION; }

const char* ulmar_error(void) { return ulmar::host::lastSentence(); }

int32_t ulmar_output_count(int32_t inputs, int32_t channels, int32_t layout) {
  int32_t count = 0;
  guarded([&] {
    UlmarOptions options{};
    options.struct_size = sizeof options;
    options.layout = layout;
    const Setting setting = settingOf(inputs, &options);
    arranged(setting, silence(channels, 1));
    count = setting.outputs(channels);
  });
  return count;
}

UlmarCode ulmar_estimate(int32_t inputs, int32_t channels, const int64_t* frames,
                         const UlmarOptions* options, UlmarEstimate* estimate) {
  return guarded([&] {
    need(estimate, "estimate");
    needSize(*estimate, "UlmarEstimate");
    const Setting setting = settingOf(inputs, options);
    ulmar::host::ResponseShape shape = arranged(setting, silence(channels, 1)).shape();
    const int length = lengthOf(channels, frames);
    std::ranges::fill(shape.lengths, length);
    const StreamPlan plan = planOf(setting, shape, channels);
    *estimate = {sizeof *estimate, plan.latency(),   plan.streamBytes(),
                 plan.setBytes(),  plan.work().mean, plan.work().worst};
  });
}

UlmarCode ulmar_stream_create(int32_t inputs, const float* const* response,
                              int32_t channels, const int64_t* frames,
                              const UlmarOptions* options, UlmarStream** stream) {
  if (stream == nullptr) {
    return failed(ULMAR_BAD_ARGUMENT, "stream is null, and must not be");
  }
  *stream = nullptr;
  return guarded([&] {
    need(response, "response");
    const Setting setting = settingOf(inputs, options);
    const Planar samples = channelsOf(setting, response, channels, frames);
    *stream = new UlmarStream(setting, channels, streamOf(setting, samples));
  });
}

void ulmar_stream_destroy(UlmarStream* stream) { delete stream; }

UlmarCode ulmar_stream_process(UlmarStream* stream, const float* const* in,
                               float* const* out, int32_t frames) {
  return guarded([&] {
    checkCall(stream, in, out, frames);
    if (frames == 0) return;
    need(reinterpret_cast<const void* const*>(in), stream->setting.inputs, "in");
    need(reinterpret_cast<const void* const*>(out), stream->outputs, "out");
    stream->playing.forEach([&](Stream& each) { stream->setGains(each); });
    stream->playing.process(in, out, frames);
  });
}

UlmarCode ulmar_stream_process_interleaved(UlmarStream* stream, const float* in,
                                           float* out, int32_t frames) {
  return guarded([&] {
    checkCall(stream, in, out, frames);
    const int inputs = stream->setting.inputs;
    const int outputs = stream->outputs;
    if (inputs == 6) fail("6 channels cannot be interleaved");
    constexpr int kChunk = 256;
    float planarIn[5][kChunk];
    float planarOut[5][kChunk];
    const float* const from[] = {planarIn[0], planarIn[1], planarIn[2], planarIn[3],
                                 planarIn[4]};
    float* const to[] = {planarOut[0], planarOut[1], planarOut[2], planarOut[3],
                         planarOut[4]};
    stream->playing.forEach([&](Stream& each) { stream->setGains(each); });
    for (int done = 0; done < frames; done += kChunk) {
      const int count = std::min(kChunk, frames - done);
      for (int i = 0; i < count; ++i) {
        for (int k = 0; k < inputs; ++k) planarIn[k][i] = *in++;
      }
      stream->playing.process(from, to, count);
      for (int i = 0; i < count; ++i) {
        for (int k = 0; k < outputs; ++k) *out++ = planarOut[k][i];
      }
    }
  });
}

UlmarCode ulmar_stream_replace(UlmarStream* stream, const float* const* response,
                               int32_t channels, const int64_t* frames) {
  return guarded([&] {
    need(stream, "stream");
    need(response, "response");
    const Planar samples = channelsOf(stream->setting, response, channels, frames);
    const int outputs = stream->setting.outputs(channels);
    if (outputs != stream->outputs) {
      fail("the response has ", channels, " channels, which make ", outputs,
           " outputs, and the stream has ", stream->outputs);
    }
    std::unique_ptr<Stream> next = streamOf(stream->setting, samples);
    stream->setGains(*next);
    stream->playing.takeBack();
    stream->playing.handOver(std::move(next));
  });
}

UlmarCode ulmar_stream_collect(UlmarStream* stream) {
  return guarded([&] {
    need(stream, "stream");
    stream->playing.takeBack();
  });
}

UlmarCode ulmar_stream_set_dry(UlmarStream* stream, float gain) {
  return guarded([&] { setGain(stream, &UlmarStream::dry, gain); });
}

UlmarCode ulmar_stream_set_wet(UlmarStream* stream, float gain) {
  return guarded([&] { setGain(stream, &UlmarStream::wet, gain); });
}

UlmarCode ulmar_stream_set_crossfeed(UlmarStream* stream, float gain) {
  return guarded([&] { setGain(stream, &UlmarStream::crossfeed, gain); });
}

int32_t ulmar_stream_latency(const UlmarStream* stream) {
  return stream == nullptr ? -1 : stream->playing.latency();
}

int32_t ulmar_stream_inputs(const UlmarStream* stream) {
  return stream == nullptr ? -1 : stream->setting.inputs;
}

int32_t ulmar_stream_outputs(const UlmarStream* stream) {
  return stream == nullptr ? -1 : stream->outputs;
}

UlmarCode ulmar_stream_peaks(UlmarStream* stream, float* peaks, int32_t clear) {
  return guarded([&] {
    need(stream, "stream");
    need(peaks, "peaks");
    Stream& current = stream->playing.current();
    const auto values = current.peaks();
    std::copy_n(values.begin(), std::min(stream->outputs, ulmar::kMaxChannels), peaks);
    if (clear != 0) current.clearPeaks();
  });
}

UlmarCode ulmar_stream_reset(UlmarStream* stream) {
  return guarded([&] {
    need(stream, "stream");
    stream->settled("reset a stream").reset();
  });
}

UlmarCode ulmar_stream_snapshot(UlmarStream* stream, void* bytes, size_t* size) {
  return guarded([&] {
    need(stream, "stream");
    need(size, "size");
    const auto snapshot = stream->settled("take a snapshot").snapshot();
    if (bytes != nullptr && *size < snapshot.size()) {
      fail("a snapshot takes ", snapshot.size(), " bytes, and there are ", *size);
    }
    *size = snapshot.size();
    if (bytes != nullptr) std::memcpy(bytes, snapshot.data(), snapshot.size());
  });
}

UlmarCode ulmar_stream_restore(UlmarStream* stream, const void* bytes, size_t size) {
  return guarded([&] {
    need(stream, "stream");
    need(bytes, "bytes");
    stream->settled("restore a stream")
        .restore({static_cast<const std::byte*>(bytes), size});
  });
}
