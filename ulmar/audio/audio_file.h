// Audio files in and out, by libsndfile: streams of interleaved float blocks of any
// length, and whole short files such as impulse responses.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ulmar/host/planar.h"

namespace ulmar::audio {

/// Limits of every audio file that is read or written. FLAC is written within narrower
/// ones: 8 channels, 655350 Hz.
inline constexpr int kMinFileRate = 1000;    // Hz
inline constexpr int kMaxFileRate = 768000;  // Hz
inline constexpr int kMaxFileChannels = 1024;
/// The largest magnitude of a sample that is read, 192.7 dB above full scale. Beyond it
/// lie files that are broken, and the squares of spectra leave single precision.
inline constexpr float kMaxFileSample = 0x1p32F;

/// How the path "-" is named to people where it is read.
inline constexpr const char* kStandardInput = "standard input";
std::string inputName(const std::string& path);

/// The loudspeaker that a channel feeds.
enum class Speaker {
  unknown,
  mono,
  frontLeft,
  frontRight,
  frontCenter,
  lowFrequency,
  rearLeft,
  rearRight,
  rearCenter,
  sideLeft,
  sideRight,
};

/// What a file says about its sound.
enum class Tag {
  title,
  artist,
  album,
  trackNumber,
  genre,
  date,
  comment,
  copyright,
  license
};

/// What a broadcast WAV file (EBU Tech 3285) says about its recording.
struct Broadcast {
  std::string description;
  std::string originator;
  std::string originatorReference;
  std::string date;
  std::string time;
  std::uint64_t timeReference = 0;  // of the first frame, in frames since midnight

  bool operator==(const Broadcast&) const = default;
};

struct Tags {
  std::map<Tag, std::string> texts;  // 4000 bytes at most
  std::optional<Broadcast> broadcast;

  bool operator==(const Tags&) const = default;
};

struct AudioInfo {
  std::string path;    // kStandardInput for "-"
  std::string format;  // words for people, as "WAV (Microsoft), Signed 24 bit PCM"
  int channels = 0;
  int sampleRate = 0;       // Hz
  std::int64_t frames = 0;  // at least 1
  // By the header of a file that is cut short, more than there are: else `frames`.
  std::int64_t promisedFrames = 0;
  /// Frames that a file which is cut short lacks, else 0.
  std::int64_t missingFrames() const {
    return promisedFrames > frames ? promisedFrames - frames : 0;
  }
  /// Whether an Ogg file, which states no length, lacks its last page: then it is cut
  /// short by nobody knows how much.
  bool lacksLastPage = false;
  std::vector<Speaker> speakers;  // one per channel, or empty if the file does not say
  Tags tags;
};

/// Reads WAV, FLAC, AIFF and what else libsndfile decodes, of any length. Errors name
/// the file.
class AudioReader {
 public:
  /// path: of a file or a pipe, or "-" for standard input. A pipe is first read to its
  /// end into a temporary file, in the folder that TMPDIR names or in /tmp. Throws
  /// Error if the file is missing, empty, no regular file and no pipe, no audio,
  /// without frames, or if its rate or its channels are outside the limits. Of a file
  /// that is cut short, what is there is read, and info().promisedFrames tells. A WAV
  /// file whose writer could not go back to fill in the length is read to the end of
  /// the file; a file that gives no length at all is decoded once to count its frames.
  explicit AudioReader(const std::string& path);
  ~AudioReader();
  AudioReader(AudioReader&&) noexcept;
  AudioReader& operator=(AudioReader&&) noexcept;

  const AudioInfo& info() const;

  /// Back to the first frame.
  void rewind();

  /// Reads the next frames into interleaved [frames][channels], full scale 1.0; returns
  /// how many there were: fewer than asked only at the end, and then 0. Throws Error if
  /// reading fails, if the file cannot be decoded up to info().frames, and if a sample
  /// is NaN or beyond kMaxFileSample.
  int read(float* interleaved, int frames);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

struct AudioFile {
  AudioInfo info;
  Planar samples;
};

/// Reads a whole file. Throws Error as AudioReader does, and if the samples would take
/// more than maxBytes of memory.
AudioFile readAudioFile(const std::string& path, std::int64_t maxBytes = 512LL << 20);

/// How samples are stored. PCM rounds to the nearest step and is limited to full scale;
/// undithered, PCM of the same width passes through unchanged.
enum class SampleFormat { float32, pcm32, pcm24, pcm16 };

/// The largest sample that a format holds, 1 less a step for PCM. Float holds more.
double fullScaleOf(SampleFormat samples);

/// What the name's extension can hold best: float, or 24 bits in FLAC. Throws Error for
/// an extension other than .wav, .wave, .flac, .aiff, .aif and .aifc, in upper or lower
/// case.
SampleFormat finestFormat(const std::string& path);

/// What a file to be written holds.
struct AudioFormat {
  int channels = 0;
  int sampleRate = 0;  // Hz
  SampleFormat samples = SampleFormat::float32;
  // The most that will be written, if known.
  std::optional<std::int64_t> frames = std::nullopt;
  // One per channel, or empty to say nothing.
  std::vector<Speaker> speakers = {};
  // Written where the file's format holds them.
  Tags tags = {};
  /// Adds triangular noise of two steps' width to PCM before it is rounded, which takes
  /// the error's dependence on the signal away (Lipshitz, Wannamaker and Vanderkooy, J.
  /// Audio Eng. Soc. 40, 1992). The same in every run.
  bool dither = false;
};

/// Throws Error where AudioWriter would, as far as that can be told without touching
/// anything: an extension or a format that cannot be, too many frames, a name that
/// cannot be written.
void checkAudioOutput(const std::string& path, const AudioFormat& format);

/// Whether what is written goes to a pipe, as WAV, or to standard output, which "-" is.
bool isPipe(const std::string& path);

/// Whether what is written goes to standard output, where it is a pipe of whatever name
/// or "-".
bool isStandardOutput(const std::string& path);

/// How a path is named to people: that of standard output, "-", in words.
std::string outputName(const std::string& path);

/// Writes a file beside its final name and renames it when it is complete; see
/// TempFile. The extension chooses WAV, FLAC or AIFF. WAV of which 4 GiB and more are
/// announced becomes RF64. Other than in RF64, the same samples give the same bytes at
/// any time. A pipe and standard output take WAV as it is written, with its length
/// ahead: AudioFormat::frames must be given, and as many be written.
class AudioWriter {
 public:
  /// Throws Error if the container cannot hold the format or the number of frames, or
  /// if the file cannot be created.
  AudioWriter(const std::string& path, const AudioFormat& format);
  /// Without commit() nothing is left behind and an older file stays as it was.
  ~AudioWriter();
  AudioWriter(AudioWriter&&) noexcept;
  AudioWriter& operator=(AudioWriter&&) noexcept;

  /// Appends interleaved [frames][channels] of finite samples. Throws Error if the disk
  /// is full or the container is.
  void write(const float* interleaved, int frames);

  /// Samples so far that PCM has limited to full scale.
  std::int64_t limited() const;

  /// Completes the file and gives it its name. Throws Error if that fails, if nothing
  /// was written, or if the file does not read back as many frames as were written.
  void commit();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace ulmar::audio
