#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <functional>
#include <string_view>

#include "ulmar/audio/audio_file.h"
#include "ulmar/audio/byte_sink.h"
#include "ulmar/audio/file_descriptor.h"
#include "ulmar/audio/file_name.h"
#include "ulmar/audio/quantiser.h"
#include "ulmar/audio/sndfile_handle.h"
#include "ulmar/audio/tags.h"
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

// Of a pipe its first one, WAV, which its name may leave to be guessed.
const Container& containerOf(const std::string& path) {
  const std::string extension = extensionOf(path);
  if (isPipe(path)) {
    if (path == "-" || extension.empty() || extension == kContainers[0].extension) {
      return kContainers[0];
    }
    fail("cannot write ", path, ": its extension is '", extension,
         "', and it is a pipe, which takes .wav");
  }
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

// Opening a pipe waits for its reader. Without a descriptor, and with errno set, if it
// cannot be opened.
FileDescriptor openOutputPipe(const std::string& path) {
  return FileDescriptor(path == "-" ? fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0)
                                    : open(path.c_str(), O_WRONLY | O_CLOEXEC));
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

constexpr std::size_t kMaxHeader = 1 << 16;

// A format chunk of anything but integers must have an extension, if only one of 0
// bytes. That of libsndfile's plain float WAV has none, at which other readers
// complain. Its two bytes are taken from the chunk of padding that follows. header: of
// as many bytes as there are, up to kMaxHeader.
void extendFormatChunk(std::string& header) {
  using namespace std::string_view_literals;
  constexpr std::size_t kFormatSize = 16;
  constexpr std::size_t kFormatEnd = 36;
  const auto has = [&](std::size_t at, std::string_view bytes) {
    return header.compare(at, bytes.size(), bytes) == 0;
  };
  if (header.size() < kFormatEnd || !has(kFormatSize, "\x10\0\0\0\x03\0"sv)) return;
  std::size_t pos = kFormatEnd;
  while (pos + 8 <= header.size() && !has(pos, "PAD "sv)) {
    if (has(pos, "data"sv)) return;
    std::size_t len = 0;
    for (std::size_t i = 4; i-- > 0;) {
      len = len << 8 | static_cast<unsigned char>(header[pos + 4 + i]);
    }
    pos += 8 + len + len % 2;
  }
  if (pos + 8 > header.size() || header[pos + 4] < 2) return;
  header[kFormatSize] = 18;
  header[pos + 4] = static_cast<char>(header[pos + 4] - 2);
  header.erase(pos + 8, 2);
  header.insert(kFormatEnd, 2, '\0');
}

// Of a header up to the samples, which ends with the length of their chunk. In RF64 the
// lengths have 64 bits and a chunk of their own, ahead of all others.
void setLengths(std::string& header, std::int64_t audioBytes, std::int64_t frames) {
  const auto set = [&](std::size_t at, std::int64_t value, std::size_t numBytes) {
    for (std::size_t i = 0; i < numBytes; ++i) {
      header.at(at + i) = static_cast<char>(value >> (8 * i) & 0xFF);
    }
  };
  const std::int64_t wholeBytes = std::ssize(header) + audioBytes + audioBytes % 2 - 8;
  if (header.starts_with("RF64")) {
    set(20, wholeBytes, 8);
    set(28, audioBytes, 8);
    set(36, frames, 8);
    return;
  }
  set(4, wholeBytes, 4);
  set(header.size() - 4, audioBytes, 4);
  using namespace std::string_view_literals;
  const std::size_t fact = header.find("fact\4\0\0\0"sv);
  if (fact != std::string::npos) set(fact + 8, frames, 4);
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
  const std::string name = outputName(path);
  refuseImpossibleFormat(name, container, format);
  refuseTooLong(name, format.frames.value_or(0), maxFramesOf(container, format));
  if (!isPipe(path)) checkReplaceable(path);
  if (isStandardOutput(path) && isatty(STDOUT_FILENO) == 1) {
    fail("cannot write ", name, ": it is a terminal, and takes no audio");
  }
}

bool isPipe(const std::string& path) {
  struct stat status = {};
  return path == "-" || (stat(path.c_str(), &status) == 0 && S_ISFIFO(status.st_mode));
}

bool isStandardOutput(const std::string& path) {
  struct stat named = {};
  struct stat standard = {};
  return path == "-" ||
         (isPipe(path) && stat(path.c_str(), &named) == 0 &&
          fstat(STDOUT_FILENO, &standard) == 0 && named.st_dev == standard.st_dev &&
          named.st_ino == standard.st_ino);
}

std::string outputName(const std::string& path) {
  return path == "-" ? "standard output" : path;
}

struct AudioWriter::Impl {
  Impl(const std::string& path_, const AudioFormat& format_)
      : path(path_),
        name(outputName(path_)),
        format(format_),
        container((checkAudioOutput(path_, format_), containerOf(path_))),
        quantiser(8 * bytesPerSample(format_.samples), format_.dither) {
    maxFrames = maxFramesOf(container, format);
    if (isPipe(path)) {
      openPipe();
    } else {
      temp = std::make_unique<TempFile>(path);
      sink = std::make_unique<ByteSink>(temp->fd(), ByteSink::Kind::file);
      file = openEncoder(*sink, containerFormat());
      describeTo(file.get());
    }
  }

  int containerFormat() const {
    if (needsRf64(container, format)) return SF_FORMAT_RF64;
    if (container.sfFormat == SF_FORMAT_WAV && !format.speakers.empty()) {
      return SF_FORMAT_WAVEX;
    }
    return container.sfFormat;
  }

  SndfileHandle openEncoder(ByteSink& to, int sfFormat) const {
    SF_INFO sfInfo = {};
    sfInfo.channels = format.channels;
    sfInfo.samplerate = format.sampleRate;
    sfInfo.format = sfFormat | subtypeOf(format.samples);
    SndfileHandle encoder(to.open(SFM_WRITE, sfInfo));
    if (sink) refuseErrors();
    if (!encoder) fail("cannot write ", name, ": ", sf_strerror(nullptr));
    return encoder;
  }

  // All that stands in the file beside the samples.
  void describeTo(SNDFILE* encoder) const {
    // The chunk of peak values holds the time of writing, and two files of the same
    // samples would differ.
    sf_command(encoder, SFC_SET_ADD_PEAK_CHUNK, nullptr, SF_FALSE);
    stateSpeakers(encoder);
    setTags(encoder, format.tags);
    // For extendFormatChunk(): tags take the padding that would be there without them.
    if (containerFormat() == SF_FORMAT_WAV && format.samples == SampleFormat::float32 &&
        format.tags != Tags{}) {
      std::array<char, 24> zeros{};
      SF_CHUNK_INFO padding = {"PAD ", 4, zeros.size(), zeros.data()};
      sf_set_chunk(encoder, &padding);
    }
  }

  // The samples go into the pipe as they are, behind a header that already has their
  // number.
  void openPipe() {
    if (!format.frames) {
      fail("cannot write ", name, ": the number of frames is not known in advance");
    }
    const std::string header = headerOf(*format.frames);
    pipe = openOutputPipe(path);
    if (pipe.get() < 0) fail("cannot write ", name, ": ", systemMessage(errno));
    sink = std::make_unique<ByteSink>(pipe.get(), ByteSink::Kind::pipe);
    sink->write(0, header);
    refuseErrors();
    sink = std::make_unique<ByteSink>(pipe.get(), ByteSink::Kind::pipe);
    file = openEncoder(*sink, SF_FORMAT_RAW | SF_ENDIAN_LITTLE);
  }

  std::int64_t audioBytes(std::int64_t frames) const {
    return frames * format.channels * bytesPerSample(format.samples);
  }

  std::string headerOf(std::int64_t frames) const {
    ByteSink memory;
    const SndfileHandle encoder = openEncoder(memory, containerFormat());
    describeTo(encoder.get());
    sf_command(encoder.get(), SFC_UPDATE_HEADER_NOW, nullptr, 0);
    std::string header = memory.head(kMaxHeader);
    extendFormatChunk(header);
    setLengths(header, audioBytes(frames), frames);
    return header;
  }

  void stateSpeakers(SNDFILE* encoder) const {
    if (format.speakers.empty()) return;
    if (static_cast<int>(format.speakers.size()) != format.channels) {
      fail("cannot write ", name, ": ", format.speakers.size(),
           " loudspeakers are named for ", format.channels, " channels");
    }
    const std::vector<Speaker> speakers = speakersFor(container, format.speakers);
    std::vector<int> map = channelMapOf(speakers);
    const auto mapBytes = static_cast<int>(map.size() * sizeof(int));
    const bool stated = container.sfFormat == SF_FORMAT_FLAC
                            ? speakers == flacSpeakers(format.channels)
                            : sf_command(encoder, SFC_SET_CHANNEL_MAP_INFO, map.data(),
                                         mapBytes) == SF_TRUE;
    if (!stated) {
      fail("cannot write ", name, ": ", container.extension,
           " cannot state which loudspeakers its ", format.channels, " channels feed");
    }
  }

  void write(const float* interleaved, int frames) {
    if (frames <= 0) return;
    refuseTooLong(name, written + frames, maxFrames);
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
    fail("cannot write ", name, ": ", systemMessage(sink->error()), ", after ", written,
         " frames");
  }

  [[noreturn]] void failIncomplete() const {
    fail("cannot write ", name, ": not all of its ", written,
         " frames could be encoded");
  }

  void commit() {
    if (written == 0)
      fail("cannot write ", name, ": there are 0 frames of audio to write");
    const int closed = sf_close(file.release());
    if (!temp) {
      endPipe();
      return;
    }
    std::string header = sink->head(kMaxHeader);
    extendFormatChunk(header);
    if (container.sfFormat == SF_FORMAT_WAV) sink->write(0, header);
    refuseErrors();
    if (closed != 0 || framesInFile() != written) failIncomplete();
    temp->commit();
  }

  // Chunks have an even number of bytes.
  void endPipe() {
    if (audioBytes(written) % 2 != 0) sink->write(sink->size(), std::string(1, '\0'));
    refuseErrors();
    if (pipe.close() != 0) fail("cannot write ", name, ": ", systemMessage(errno));
    if (written != *format.frames) {
      fail("cannot write ", name, ": ", written,
           " frames were written, and its header says ", *format.frames);
    }
  }

  // As a reader finds them: closing fills in the header, and does not tell if that
  // fails.
  std::int64_t framesInFile() const {
    SF_INFO sfInfo = {};
    const SndfileHandle reopened(sink->open(SFM_READ, sfInfo));
    return reopened ? sfInfo.frames : 0;
  }

  std::string path;
  std::string name;  // for people
  AudioFormat format;
  const Container& container;
  // They outlive file, which writes into them.
  std::unique_ptr<TempFile> temp;  // or
  FileDescriptor pipe;
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
