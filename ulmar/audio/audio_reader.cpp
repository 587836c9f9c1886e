#include <algorithm>
#include <cmath>
#include <iomanip>
#include <limits>
#include <sstream>
#include <utility>

#include "ulmar/audio/audio_file.h"
#include "ulmar/audio/audio_header.h"
#include "ulmar/audio/byte_source.h"
#include "ulmar/audio/sndfile_handle.h"
#include "ulmar/audio/tags.h"
#include "ulmar/host/error.h"

namespace ulmar::audio {
namespace {

template <class Number>
void refuseImpossibleRate(Number sampleRate, const std::string& path) {
  if (sampleRate >= kMinFileRate && sampleRate <= kMaxFileRate) return;  // not NaN
  std::ostringstream text;  // in full, not as 2e+06
  text << std::setprecision(std::numeric_limits<double>::max_digits10) << sampleRate;
  fail("cannot read ", path, ": its sample rate is ", text.str(),
       " Hz, and the limits are ", kMinFileRate, " and ", kMaxFileRate, " Hz");
}

// Why the last file could not be opened, without libsndfile's full stop.
std::string openingError() {
  std::string reason = sf_strerror(nullptr);
  if (reason.ends_with('.')) reason.pop_back();
  return reason;
}

std::string formatName(SNDFILE* file, int format) {
  std::string name;
  for (const int part : {format & SF_FORMAT_TYPEMASK, format & SF_FORMAT_SUBMASK}) {
    SF_FORMAT_INFO info = {};
    info.format = part;
    if (sf_command(file, SFC_GET_FORMAT_INFO, &info, sizeof info) != 0) continue;
    if (!name.empty()) name += ", ";
    name += info.name;
  }
  return name;
}

std::vector<Speaker> statedSpeakers(SNDFILE* file, const SF_INFO& info) {
  if ((info.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_FLAC) {
    return flacSpeakers(info.channels);
  }
  if ((info.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_OGG) {
    return oggSpeakers(info.channels);
  }
  std::vector<int> map(static_cast<std::size_t>(info.channels));
  const auto mapBytes = static_cast<int>(map.size() * sizeof(int));
  if (sf_command(file, SFC_GET_CHANNEL_MAP_INFO, map.data(), mapBytes) != SF_TRUE)
    return {};
  return speakersOf(map);
}

}  // namespace

struct AudioReader::Impl {
  explicit Impl(const std::string& path)
      : source(path), header(readAudioHeader(source)) {
    info.path = inputName(path);
    source.refuseErrors();
    if (header.sampleRate) refuseImpossibleRate(*header.sampleRate, info.path);
    const SF_INFO sfInfo = openDecoder();
    info.format = formatName(file.get(), sfInfo.format);
    info.channels = sfInfo.channels;
    info.sampleRate = sfInfo.samplerate;
    info.speakers = statedSpeakers(file.get(), sfInfo);
    info.tags = tagsOf(file.get());
    info.lacksLastPage = header.lacksLastPage;
    refuseImpossibleInfo();
    settleLength(sfInfo);
    if (info.frames < 1) {
      fail("cannot read ", info.path, ": it holds 0 frames of audio",
           info.promisedFrames > 0 ? ", and its header promises more" : "");
    }
  }

  SF_INFO openDecoder() {
    SF_INFO sfInfo = {};
    file.reset();
    file.reset(source.open(sfInfo));
    source.refuseErrors();
    if (!file) {
      fail("cannot read ", info.path, ": it is no audio file that can be decoded (",
           openingError(), ")");
    }
    framePos = 0;
    return sfInfo;
  }

  void settleLength(const SF_INFO& sfInfo) {
    info.frames = sfInfo.frames;
    // FLAC and MP3 files give their length in frames, or none that can be relied on.
    // Whether all are there shows where the last one should be.
    const int type = sfInfo.format & SF_FORMAT_TYPEMASK;
    const bool isInFrames = type == SF_FORMAT_FLAC || type == SF_FORMAT_MPEG;
    const bool isUnknown =
        info.frames == SF_COUNT_MAX || (type == SF_FORMAT_MPEG && !header.statesFrames);
    if (isUnknown || (isInFrames && !hasFrame(info.frames - 1))) {
      openDecoder();
      info.frames = countFrames();
      openDecoder();
    } else if (isInFrames) {
      openDecoder();
    }
    info.promisedFrames =
        isUnknown ? info.frames : std::max(info.frames, promisedFrames(sfInfo.frames));
  }

  bool hasFrame(std::int64_t frame) {
    std::vector<float> ignored(static_cast<std::size_t>(info.channels));
    return frame < 0 || (sf_seek(file.get(), frame, SEEK_SET) == frame &&
                         sf_readf_float(file.get(), ignored.data(), 1) == 1);
  }

  // By the header. decoded: what libsndfile makes of the bytes that are there.
  std::int64_t promisedFrames(std::int64_t decoded) const {
    if (!header.isCutShort()) return decoded;
    // A part of a frame may be left over, but not of a byte.
    const double bytes = static_cast<double>(header.presentBytes) /
                         static_cast<double>(std::max<std::int64_t>(decoded, 1));
    const double frames = static_cast<double>(*header.statedBytes) /
                          (bytes < 1.0 ? bytes : std::floor(bytes));
    return std::max(static_cast<std::int64_t>(std::min(frames, 0x1p62)), decoded + 1);
  }

  void refuseImpossibleInfo() const {
    refuseImpossibleRate(info.sampleRate, info.path);
    if (info.channels < 1 || info.channels > kMaxFileChannels) {
      fail("cannot read ", info.path, ": it has ", info.channels,
           " channels, and the limits are 1 and ", kMaxFileChannels);
    }
  }

  std::int64_t countFrames() {
    constexpr int kFramesAtOnce = 4096;
    std::vector<float> ignored(static_cast<std::size_t>(kFramesAtOnce * info.channels));
    std::int64_t frames = 0;
    while (const sf_count_t given =
               sf_readf_float(file.get(), ignored.data(), kFramesAtOnce)) {
      frames += given;
    }
    source.refuseErrors();
    return frames;
  }

  int read(float* interleaved, int frames) {
    const std::int64_t asked = std::min<std::int64_t>(frames, info.frames - framePos);
    if (asked <= 0) return 0;
    const sf_count_t given = sf_readf_float(file.get(), interleaved, asked);
    source.refuseErrors();
    refuseUnusable(interleaved, given);
    framePos += given;
    if (given < asked) {
      fail("cannot read ", info.path,
           ": the file is truncated or damaged, it promises ", info.frames,
           " frames and only ", framePos, " can be decoded");
    }
    return static_cast<int>(given);
  }

  void refuseUnusable(const float* interleaved, std::int64_t frames) const {
    const float* const end = interleaved + frames * info.channels;
    const float* const bad = std::find_if_not(
        interleaved, end, [](float x) { return std::fabs(x) <= kMaxFileSample; });
    if (bad == end) return;  // not NaN
    const std::int64_t index = bad - interleaved;
    fail("cannot read ", info.path, ": channel ", index % info.channels + 1,
         " has the value ", *bad, " at frame ", framePos + index / info.channels,
         ", and the limit is ", kMaxFileSample, ", 192.7 dB above full scale");
  }

  ByteSource source;
  AudioHeader header;
  SndfileHandle file;
  AudioInfo info;
  std::int64_t framePos = 0;
};

AudioReader::AudioReader(const std::string& path)
    : impl_(std::make_unique<Impl>(path)) {}
AudioReader::~AudioReader() = default;
AudioReader::AudioReader(AudioReader&&) noexcept = default;
AudioReader& AudioReader::operator=(AudioReader&&) noexcept = default;

void AudioReader::rewind() { impl_->openDecoder(); }

const AudioInfo& AudioReader::info() const { return impl_->info; }

int AudioReader::read(float* interleaved, int frames) {
  return impl_->read(interleaved, frames);
}

AudioFile readAudioFile(const std::string& path, std::int64_t maxBytes) {
  constexpr int kFramesAtOnce = 4096;
  AudioReader reader(path);
  const AudioInfo& info = reader.info();
  const std::int64_t bytesPerFrame = info.channels * std::int64_t{sizeof(float)};
  if (info.frames > maxBytes / bytesPerFrame) {
    constexpr double kMiB = 1 << 20;
    fail("cannot read ", path, ": its ", info.channels, " channels of ", info.frames,
         " frames take ",
         static_cast<double>(info.frames) * static_cast<double>(bytesPerFrame) / kMiB,
         " MiB of memory, and the limit is ", static_cast<double>(maxBytes) / kMiB,
         " MiB");
  }

  const auto channels = static_cast<std::size_t>(info.channels);
  Planar samples(channels);
  for (auto& channel : samples) channel.reserve(static_cast<std::size_t>(info.frames));
  std::vector<float> block(channels * kFramesAtOnce);
  while (const int frames = reader.read(block.data(), kFramesAtOnce)) {
    for (std::size_t i = 0; i < channels * static_cast<std::size_t>(frames); ++i) {
      samples[i % channels].push_back(block[i]);
    }
  }
  return {info, std::move(samples)};
}

}  // namespace ulmar::audio
