#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <iomanip>
#include <limits>
#include <sstream>
#include <system_error>
#include <utility>

#include "ulmar/audio/audio_file.h"
#include "ulmar/audio/audio_header.h"
#include "ulmar/audio/sndfile_handle.h"
#include "ulmar/audio/unfinished_wav.h"
#include "ulmar/host/error.h"

namespace ulmar::audio {
namespace {

static_assert(sizeof(off_t) == 8, "files of 2 GiB and more need 64-bit offsets");

class FileDescriptor {
 public:
  explicit FileDescriptor(int fd) : fd_(fd) {}
  ~FileDescriptor() {
    if (fd_ >= 0) close(fd_);
  }
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;

  int get() const { return fd_; }

 private:
  int fd_;
};

void refuseUnlessRegular(const struct stat& status, const std::string& path) {
  if (S_ISDIR(status.st_mode)) fail("cannot read ", path, ": it is a folder");
  if (!S_ISREG(status.st_mode))
    fail("cannot read ", path, ": it is not a regular file");
}

// Examines the file before it is opened, as opening a pipe waits for a writer. Returns
// -1 with errno set if it cannot be opened.
int openRegularFile(const std::string& path) {
  struct stat status = {};
  if (stat(path.c_str(), &status) == 0) refuseUnlessRegular(status, path);
  return open(path.c_str(), O_RDONLY | O_CLOEXEC);
}

// Returns the size in bytes.
std::int64_t refuseUnlessAudioCanBeThere(int fd, const std::string& path) {
  struct stat status = {};
  if (fd < 0 || fstat(fd, &status) != 0) {
    fail("cannot read ", path, ": ", std::generic_category().message(errno));
  }
  refuseUnlessRegular(status, path);
  if (status.st_size == 0) fail("cannot read ", path, ": the file is empty (0 bytes)");
  return status.st_size;
}

template <class Number>
void refuseImpossibleRate(Number sampleRate, const std::string& path) {
  if (sampleRate >= kMinFileRate && sampleRate <= kMaxFileRate) return;  // not NaN
  std::ostringstream text;  // in full, not as 2e+06
  text << std::setprecision(std::numeric_limits<double>::max_digits10) << sampleRate;
  fail("cannot read ", path, ": its sample rate is ", text.str(),
       " Hz, and the limits are ", kMinFileRate, " and ", kMaxFileRate, " Hz");
}

void refuseImpossibleHeader(const AudioHeader& header, const std::string& path) {
  if (header.sampleRate) refuseImpossibleRate(*header.sampleRate, path);
  if (header.length == AudioHeader::Length::stated &&
      header.statedBytes > header.presentBytes) {
    fail("cannot read ", path, ": the file is truncated, its header promises ",
         header.statedBytes, " bytes of audio and ", header.presentBytes, " are there");
  }
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
      : fd(openRegularFile(path)),
        fileBytes(refuseUnlessAudioCanBeThere(fd.get(), path)),
        header(readAudioHeader(fd.get(), fileBytes)),
        unfinished(fd.get(), fileBytes, header.lengthPos) {
    refuseImpossibleHeader(header, path);
    SF_INFO sfInfo = openDecoder(path);
    info = {.path = path,
            .format = formatName(file.get(), sfInfo.format),
            .channels = sfInfo.channels,
            .sampleRate = sfInfo.samplerate,
            .frames = sfInfo.frames,
            .speakers = statedSpeakers(file.get(), sfInfo)};
    refuseImpossibleInfo();
    if (info.frames == SF_COUNT_MAX) {  // a FLAC stream that gives no length
      info.frames = countFrames();
      openDecoder(path);
    }
    if (info.frames < 1) fail("cannot read ", path, ": it holds 0 frames of audio");
  }

  SF_INFO openDecoder(const std::string& path) {
    SF_INFO sfInfo = {};
    file.reset();
    lseek(fd.get(), 0, SEEK_SET);
    file.reset(header.length == AudioHeader::Length::leftAtZero
                   ? unfinished.open(sfInfo)
                   : sf_open_fd(fd.get(), SFM_READ, &sfInfo, SF_FALSE));
    if (!file) {
      fail("cannot read ", path, ": it is no audio file that can be decoded (",
           openingError(), ")");
    }
    return sfInfo;
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
    return frames;
  }

  int read(float* interleaved, int frames) {
    const std::int64_t asked = std::min<std::int64_t>(frames, info.frames - framePos);
    if (asked <= 0) return 0;
    const sf_count_t given = sf_readf_float(file.get(), interleaved, asked);
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

  FileDescriptor fd;
  std::int64_t fileBytes;
  AudioHeader header;
  UnfinishedWav unfinished;
  SndfileHandle file;
  AudioInfo info;
  std::int64_t framePos = 0;
};

AudioReader::AudioReader(const std::string& path)
    : impl_(std::make_unique<Impl>(path)) {}
AudioReader::~AudioReader() = default;
AudioReader::AudioReader(AudioReader&&) noexcept = default;
AudioReader& AudioReader::operator=(AudioReader&&) noexcept = default;

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
