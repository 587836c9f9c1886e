#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <random>
#include <string_view>

#include "ulmar/audio/audio_file.h"
#include "ulmar/audio/byte_sink.h"
#include "ulmar/audio/file_descriptor.h"
#include "ulmar/audio/file_name.h"
#include "ulmar/audio/sndfile_handle.h"
#include "ulmar/audio/temp_file.h"
#include "ulmar/host/error.h"

namespace ulmar::audio {
namespace {

struct Container {
  std::string_view extension;
  int sfFormat;
  int maxChannels;
  int maxSampleRate;  // Hz
};

// FLAC counts channels in 3 bits; its encoder takes rates up to 655350 Hz.
constexpr std::array<Container, 6> kContainers = {{
    {".wav", SF_FORMAT_WAV, kMaxFileChannels, kMaxFileRate},
    {".wave", SF_FORMAT_WAV, kMaxFileChannels, kMaxFileRate},
    {".flac", SF_FORMAT_FLAC, 8, 655350},
    {".aiff", SF_FORMAT_AIFF, kMaxFileChannels, kMaxFileRate},
    {".aif", SF_FORMAT_AIFF, kMaxFileChannels, kMaxFileRate},
    {".aifc", SF_FORMAT_AIFF, kMaxFileChannels, kMaxFileRate},
}};

const Container& containerOf(const std::string& path) {
  const std::string extension = extensionOf(path);
  const auto* container = std::ranges::find(kContainers, std::string_view(extension),
                                            &Container::extension);
  if (container == kContainers.end()) {
    fail("cannot write ", path, ": its extension is '", extension,
         "', and audio is written as .wav, .wave, .flac, .aiff, .aif or .aifc");
  }
  return *container;
}

int bytesPerSample(SampleFormat samples) {
  switch (samples) {
    case SampleFormat::pcm16:
      return 2;
    case SampleFormat::pcm24:
      return 3;
    default:
      return 4;
  }
}

int subtypeOf(SampleFormat samples) {
  switch (samples) {
    case SampleFormat::pcm16:
      return SF_FORMAT_PCM_16;
    case SampleFormat::pcm24:
      return SF_FORMAT_PCM_24;
    case SampleFormat::pcm32:
      return SF_FORMAT_PCM_32;
    default:
      return SF_FORMAT_FLOAT;
  }
}

void refuseImpossibleFormat(const std::string& path, const Container& container,
                            const AudioFormat& format) {
  if (format.channels < 1 || format.channels > container.maxChannels) {
    fail("cannot write ", path, ": ", format.channels, " channels are asked for, and ",
         container.extension, " holds 1 to ", container.maxChannels);
  }
  if (format.sampleRate < kMinFileRate || format.sampleRate > container.maxSampleRate) {
    fail("cannot write ", path, ": a sample rate of ", format.sampleRate,
         " Hz is asked for, and ", container.extension, " holds ", kMinFileRate, " to ",
         container.maxSampleRate, " Hz");
  }
  if (container.sfFormat == SF_FORMAT_FLAC && bytesPerSample(format.samples) == 4) {
    fail("cannot write ", path, ": ",
         format.samples == SampleFormat::float32 ? "float samples" : "32 bits",
         " are asked for, and .flac holds 16 or 24 bits per sample");
  }
}

// The frames that fit into a file whose lengths have 32 bits, with 64 KiB kept for
// everything but the audio.
std::int64_t maxShortFrames(const AudioFormat& format) {
  constexpr std::int64_t kMaxShortBytes = 0xFFFF'0000;
  return kMaxShortBytes /
         (std::int64_t{bytesPerSample(format.samples)} * format.channels);
}

bool needsRf64(const Container& container, const AudioFormat& format) {
  return container.sfFormat == SF_FORMAT_WAV &&
         format.frames.value_or(0) > maxShortFrames(format);
}

std::int64_t maxFramesOf(const Container& container, const AudioFormat& format) {
  // FLAC counts frames in 36 bits. RF64, which could hold more, has the same limit.
  constexpr std::int64_t kMaxLongFrames = (std::int64_t{1} << 36) - 1;
  const bool isLong =
      container.sfFormat == SF_FORMAT_FLAC || needsRf64(container, format);
  return isLong ? kMaxLongFrames : maxShortFrames(format);
}

void refuseTooLong(const std::string& path, std::int64_t frames,
                   std::int64_t maxFrames) {
  if (frames <= maxFrames) return;
  fail("cannot write ", path, ": the file would hold at least ", frames,
       " frames, and the limit of its format is ", maxFrames);
}

// A format chunk of anything but integers must have an extension, if only one of 0
// bytes. That of libsndfile's plain float WAV has none, at which other readers
// complain. Its two bytes are taken from the padding that follows the format and the
// fact chunk.
void extendFormatChunk(ByteSink& sink, int fd) {
  constexpr std::size_t kFormatSize = 16;
  constexpr std::size_t kFact = 36;  // 12 bytes
  constexpr std::size_t kPad = 48;
  std::array<char, kPad + 8> header{};
  const auto has = [&](std::size_t at, std::string_view bytes) {
    return std::string_view(header.data() + at, bytes.size()) == bytes;
  };
  using namespace std::string_view_literals;
  if (pread(fd, header.data(), header.size(), 0) != std::ssize(header) ||
      !has(kFormatSize, "\x10\0\0\0\x03\0"sv) || !has(kFact, "fact\4\0\0\0"sv) ||
      !has(kPad, "PAD \x18\0\0\0"sv)) {
    return;
  }
  std::array<char, header.size() + 2> extended{};
  std::copy_n(header.begin(), kFact, extended.begin());
  std::copy(header.begin() + kFact, header.end(), extended.begin() + kFact + 2);
  extended[kFormatSize] = 18;
  extended[kPad + 2 + 4] = 0x18 - 2;
  sink.write(0, {extended.data(), extended.size()});
}

// Only WAV distinguishes side from rear loudspeakers. FLAC and AIFF know one pair of
// surrounds, which libsndfile names rear.
std::vector<Speaker> speakersFor(const Container& container,
                                 std::vector<Speaker> speakers) {
  if (container.sfFormat != SF_FORMAT_WAV) {
    std::ranges::replace(speakers, Speaker::sideLeft, Speaker::rearLeft);
    std::ranges::replace(speakers, Speaker::sideRight, Speaker::rearRight);
  }
  return speakers;
}

// Rounds to 16, 24 or 32 bits and scales full scale to 2^31, as libsndfile's integer
// calls keep the upper bits.
class Quantiser {
 public:
  Quantiser(int bits, bool dither)
      : steps_(std::ldexp(1.0, bits - 1)),
        stepSize_(1 << (32 - bits)),
        dither_(dither) {}

  int operator()(float sample) {
    const double value = static_cast<double>(sample) * steps_;
    if (value < -steps_ - 0.5 || value > steps_ - 0.5) ++limited_;
    const double noise = dither_ ? uniform() - uniform() : 0.0;
    const double kept = std::clamp(value + noise, -steps_, steps_ - 1.0);
    return static_cast<int>(std::lrint(kept)) * stepSize_;
  }

  std::int64_t limited() const { return limited_; }

 private:
  // From 0 to 1.
  double uniform() { return static_cast<double>(random_()) * 0x1p-32; }

  double steps_;
  int stepSize_;
  bool dither_;
  std::mt19937 random_;  // NOLINT(cert-msc51-cpp): the same in every run
  std::int64_t limited_ = 0;
};

}  // namespace

double fullScaleOf(SampleFormat samples) {
  if (samples == SampleFormat::float32) return 1.0;
  return 1.0 - std::ldexp(1.0, 1 - 8 * bytesPerSample(samples));
}

SampleFormat finestFormat(const std::string& path) {
  return containerOf(path).sfFormat == SF_FORMAT_FLAC ? SampleFormat::pcm24
                                                      : SampleFormat::float32;
}

void checkAudioOutput(const std::string& path, const AudioFormat& format) {
  const Container& container = containerOf(path);
  refuseImpossibleFormat(path, container, format);
  refuseTooLong(path, format.frames.value_or(0), maxFramesOf(container, format));
  checkReplaceable(path);
}

struct AudioWriter::Impl {
  Impl(const std::string& path_, const AudioFormat& format_)
      : path(path_),
        format(format_),
        container((checkAudioOutput(path_, format_), containerOf(path_))),
        quantiser(8 * bytesPerSample(format_.samples), format_.dither) {
    maxFrames = maxFramesOf(container, format);
    temp = std::make_unique<TempFile>(path);
    sink = std::make_unique<ByteSink>(temp->fd(), ByteSink::Kind::file);
    openEncoder();
  }

  void openEncoder() {
    int sfFormat = container.sfFormat;
    if (needsRf64(container, format)) {
      sfFormat = SF_FORMAT_RF64;
    } else if (sfFormat == SF_FORMAT_WAV && !format.speakers.empty()) {
      sfFormat = SF_FORMAT_WAVEX;
    }
    SF_INFO sfInfo = {};
    sfInfo.channels = format.channels;
    sfInfo.samplerate = format.sampleRate;
    sfInfo.format = sfFormat | subtypeOf(format.samples);
    file.reset(sink->open(SFM_WRITE, sfInfo));
    refuseErrors();
    if (!file) fail("cannot write ", path, ": ", sf_strerror(nullptr));
    // The chunk of peak values holds the time of writing, and two files of the same
    // samples would differ.
    sf_command(file.get(), SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE);
    stateSpeakers();
  }

  void stateSpeakers() {
    if (format.speakers.empty()) return;
    if (static_cast<int>(format.speakers.size()) != format.channels) {
      fail("cannot write ", path, ": ", format.speakers.size(),
           " loudspeakers are named for ", format.channels, " channels");
    }
    const std::vector<Speaker> speakers = speakersFor(container, format.speakers);
    std::vector<int> map = channelMapOf(speakers);
    const auto mapBytes = static_cast<int>(map.size() * sizeof(int));
    const bool stated = container.sfFormat == SF_FORMAT_FLAC
                            ? speakers == flacSpeakers(format.channels)
                            : sf_command(file.get(), SFC_SET_CHANNEL_MAP_INFO,
                                         map.data(), mapBytes) == SF_TRUE;
    if (!stated) {
      fail("cannot write ", path, ": ", container.extension,
           " cannot state which loudspeakers its ", format.channels, " channels feed");
    }
  }

  void write(const float* interleaved, int frames) {
    if (frames <= 0) return;
    refuseTooLong(path, written + frames, maxFrames);
    const auto numSamples =
        static_cast<std::size_t>(frames) * static_cast<std::size_t>(format.channels);
    sf_count_t taken = 0;
    if (format.samples == SampleFormat::float32) {
      taken = sf_writef_float(file.get(), interleaved, frames);
    } else {
      steps.resize(numSamples);
      std::transform(interleaved, interleaved + numSamples, steps.begin(),
                     std::ref(quantiser));
      taken = sf_writef_int(file.get(), steps.data(), frames);
    }
    written += taken;
    refuseErrors();
    if (taken != frames) failIncomplete();
  }

  void refuseErrors() const {
    if (sink->error() == 0) return;
    fail("cannot write ", path, ": ", systemMessage(sink->error()), ", after ", written,
         " frames");
  }

  [[noreturn]] void failIncomplete() const {
    fail("cannot write ", path, ": not all of its ", written,
         " frames could be encoded");
  }

  void commit() {
    if (written == 0)
      fail("cannot write ", path, ": there are 0 frames of audio to write");
    const int closed = sf_close(file.release());
    extendFormatChunk(*sink, temp->fd());
    refuseErrors();
    if (closed != 0 || framesInFile() != written) failIncomplete();
    temp->commit();
  }

  // As a reader finds them: closing fills in the header, and does not tell if that
  // fails.
  std::int64_t framesInFile() const {
    SF_INFO sfInfo = {};
    const SndfileHandle reopened(sink->open(SFM_READ, sfInfo));
    return reopened ? sfInfo.frames : 0;
  }

  std::string path;
  AudioFormat format;
  const Container& container;
  // Both outlive file, which writes into them.
  std::unique_ptr<TempFile> temp;
  std::unique_ptr<ByteSink> sink;
  SndfileHandle file;
  std::int64_t maxFrames = 0;
  std::int64_t written = 0;
  Quantiser quantiser;
  std::vector<int> steps;
};

AudioWriter::AudioWriter(const std::string& path, const AudioFormat& format)
    : impl_(std::make_unique<Impl>(path, format)) {}
AudioWriter::~AudioWriter() = default;
AudioWriter::AudioWriter(AudioWriter&&) noexcept = default;
AudioWriter& AudioWriter::operator=(AudioWriter&&) noexcept = default;

void AudioWriter::write(const float* interleaved, int frames) {
  impl_->write(interleaved, frames);
}

std::int64_t AudioWriter::limited() const { return impl_->quantiser.limited(); }

void AudioWriter::commit() { impl_->commit(); }

}  // namespace ulmar::audio
