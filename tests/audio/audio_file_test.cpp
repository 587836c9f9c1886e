// Audio files: what is written is read back, and what is no sound file is refused.
#include "ulmar/audio/audio_file.h"

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sndfile.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstring>
#include <limits>

#include "tests/audio/audio_samples.h"
#include "tests/support/scratch_dir.h"

namespace {

int numReads = 0;
int failingRead = -1;  // which one fails, counted from 0

}  // namespace

// In place of the C library's, for the whole program.
extern "C" ssize_t pread(int fd, void* bytes, std::size_t numBytes, off_t pos) {
  static const auto original =
      reinterpret_cast<decltype(&pread)>(dlsym(RTLD_NEXT, "pread64"));
  if (numReads++ != failingRead) return original(fd, bytes, numBytes, pos);
  errno = EIO;
  return -1;
}

namespace ulmar::audio {
namespace {

using test::bytesOf;
using test::expectSentence;
using test::refusalOf;
using test::ScratchDir;
using test::writeBytes;

using enum SampleFormat;
using enum Speaker;

TEST(AudioFile, EveryFormatReadsBackWhatWasWritten) {
  struct Case {
    const char* name;
    SampleFormat samples;
    int channels;
    int rate;
    int bits;  // 0: float
  };
  const ScratchDir dir;
  for (const Case& c :
       {Case{"a.wav", float32, 1, 8000, 0}, Case{"b.wav", pcm24, 2, 44100, 24},
        Case{"c.WAV", pcm16, 5, 48000, 16}, Case{"d.aiff", float32, 2, 96000, 0},
        Case{"e.aif", pcm24, 1, 192000, 24}, Case{"f.aifc", pcm16, 3, 22050, 16},
        Case{"g.flac", pcm24, 2, 48000, 24}, Case{"h.flac", pcm16, 6, 44100, 16}}) {
    SCOPED_TRACE(c.name);
    const std::string path = dir / c.name;
    std::vector<float> sent = noise(1009 * c.channels);
    for (float& sample : sent) sample *= 1.25F;
    const AudioFormat format = {
        .channels = c.channels, .sampleRate = c.rate, .samples = c.samples};
    writeAudio(path, format, sent);
    const AudioInfo info = AudioReader(path).info();
    EXPECT_EQ(info.channels, c.channels);
    EXPECT_EQ(info.sampleRate, c.rate);
    EXPECT_EQ(info.frames, 1009);
    const std::vector<float> received = readAudio(path);
    ASSERT_EQ(received.size(), sent.size());
    const double step = c.bits == 0 ? 0.0 : std::ldexp(1.0, 1 - c.bits);
    for (std::size_t i = 0; i < sent.size(); ++i) {
      // PCM: within half a step, clipped to the steps that exist.
      const double expected =
          c.bits == 0 ? sent[i] : std::fmin(std::fmax(sent[i], -1.0), 1.0 - step);
      ASSERT_NEAR(received[i], expected, 0.5 * step) << "sample " << i;
    }
    // What is on the steps already passes through unchanged, whatever the container.
    writeAudio(path, format, received);
    EXPECT_EQ(readAudio(path), received);
  }
}

TEST(AudioFile, SixteenBitsAreTwosComplementOfFullScale) {
  const ScratchDir dir;
  writeAudio(dir / "a.wav", {.channels = 1, .sampleRate = 48000, .samples = pcm16},
             {0.5F, -1.0F, 1.0F, 1.0F / 32768.0F, -1.0F / 32768.0F});
  const std::string data = little(0x4000, 2) + little(0x8000, 2) + little(0x7FFF, 2) +
                           little(0x0001, 2) + little(0xFFFF, 2);
  const std::string bytes = bytesOf(dir / "a.wav");
  EXPECT_NE(bytes.find("data" + little(data.size(), 4) + data), std::string::npos);
}

TEST(AudioFile, HeadersStayPlainUnlessTheLengthNeedsMore) {
  const ScratchDir dir;
  AudioFormat format = {.channels = 2, .sampleRate = 48000};
  for (const std::int64_t frames : {0LL, 1LL << 28, 1LL << 29, 1LL << 35}) {
    SCOPED_TRACE(frames);
    if (frames != 0) format.frames = frames;
    writeAudio(dir / "a.wav", format, noise(200));
    const std::string bytes = bytesOf(dir / "a.wav");
    const bool needsMore = frames * 8 > 0xFFFFFFFF;
    EXPECT_EQ(bytes.substr(0, 4), needsMore ? "RF64" : "RIFF");
    if (!needsMore) {
      EXPECT_EQ(bytes.find("PEAK"), std::string::npos) << "holds the time of writing";
    }
    EXPECT_EQ(readAudio(dir / "a.wav"), noise(200));
  }
}

TEST(AudioFile, SpeakersAreKept) {
  using Case = std::pair<const char*, std::vector<Speaker>>;
  const ScratchDir dir;
  const std::vector<Speaker> five = {frontLeft, frontRight, frontCenter, rearLeft,
                                     rearRight};
  const std::vector<Speaker> six = {frontLeft,    frontRight, frontCenter,
                                    lowFrequency, rearLeft,   rearRight};
  for (const auto& [name, speakers] :
       {Case{"five.wav", five}, Case{"six.wav", six}, Case{"six.aiff", six},
        Case{"five.flac", five}, Case{"six.flac", six},
        Case{"side.wav", {frontLeft, frontRight, frontCenter, sideLeft, sideRight}},
        Case{"unsaid.wav", {}}}) {
    SCOPED_TRACE(name);
    const int channels = speakers.empty() ? 2 : static_cast<int>(speakers.size());
    AudioFormat format = {.channels = channels, .sampleRate = 48000, .samples = pcm16};
    format.speakers = speakers;
    writeAudio(dir / name, format, noise(60 * channels));
    EXPECT_EQ(AudioReader(dir / name).info().speakers, speakers);
  }
}

// 200 samples of 16 bits, and what they are read as.
std::string numbers(std::string (*bytesOfNumber)(std::uint64_t, int)) {
  std::string data;
  for (unsigned i = 0; i < 200; ++i) data += bytesOfNumber(i, 2);
  return data;
}

void expectNumbers(const std::string& path, std::string_view bytes) {
  std::vector<float> expected;
  for (int i = 0; i < 200; ++i) expected.push_back(static_cast<float>(i) / 32768.0F);
  writeBytes(path, bytes);
  EXPECT_EQ(readAudio(path), expected);
}

TEST(AudioFile, LengthsThatAWriterLeftOpenRunToTheEnd) {
  using Case = std::pair<std::uint32_t, std::uint32_t>;
  const ScratchDir dir;
  const std::string data = numbers(little);
  for (const auto& [dataLen, riffLen] :
       {Case{0xFFFFFFFF, 0xFFFFFFFF}, Case{0xFFFFFFDB, 0xFFFFFFFF}, Case{0, 0},
        Case{0, 36}, Case{0, 0xFFFFFFFF}, Case{0x7FFFF000, 0x7FFFF024},
        Case{0x80000000, 0x80000024}}) {
    SCOPED_TRACE(testing::Message() << std::hex << dataLen << ' ' << riffLen);
    const WavHeader header = {.dataLen = dataLen, .riffLen = riffLen};
    expectNumbers(dir / "open.wav", header.with(data));
  }
  for (const std::uint32_t audioLen : {0x7F000008U, 0x7F000000U, 0x7FFFFFFFU,
                                       0x80000000U, 0xFFFFFFFFU, 0xFFFFFFFCU, 0U}) {
    SCOPED_TRACE(testing::Message() << std::hex << audioLen);
    const AiffHeader header = {
        .numFrames = audioLen / 4, .audioLen = audioLen, .formLen = audioLen};
    expectNumbers(dir / "open.aiff", header.with(numbers(big)));
  }
  // Some no more than large, and too large for what is counted with a sign.
  for (const std::uint64_t len : {0ULL, 1ULL << 40, ~0ULL >> 1, ~0ULL - 7, ~0ULL}) {
    SCOPED_TRACE(testing::Message() << std::hex << len);
    expectNumbers(dir / "open64.wav", rf64(len).with(data));
  }
  // Beyond what 32 bits count, and no more than a hole on the disk.
  const std::string large = dir / "large.wav";
  for (const std::uint32_t dataLen : {0U, 0xFFFFFFFFU}) {
    writeBytes(large, WavHeader{.dataLen = dataLen}.with(data));
    std::filesystem::resize_file(large, 44 + (5LL << 30));
    EXPECT_EQ(AudioReader(large).info().frames, 5LL << 28);
  }

  // FLAC's number of frames: 36 bits from the lower half of byte 21; zero stands for
  // unknown.
  const std::string flac = dir / "open.flac";
  writeAudio(flac, {.channels = 2, .sampleRate = 48000, .samples = pcm16},
             noise(20000));
  std::string bytes = bytesOf(flac);
  bytes[21] = static_cast<char>(bytes[21] & 0xF0);
  bytes.replace(22, 4, 4, '\0');
  writeBytes(flac, bytes);
  EXPECT_EQ(AudioReader(flac).info().frames, 10000);
  EXPECT_EQ(readAudio(flac).size(), 20000U);
}

TEST(AudioFile, WholeFilesArePlanarAndLimited) {
  const ScratchDir dir;
  const std::vector<float> interleaved = noise(3 * 10007);
  writeAudio(dir / "a.wav", {.channels = 3, .sampleRate = 44100}, interleaved);
  const AudioFile file = readAudioFile(dir / "a.wav", 3 * 10007 * 4);
  ASSERT_EQ(file.samples.size(), 3U);
  for (std::size_t i = 0; i < interleaved.size(); ++i) {
    ASSERT_EQ(file.samples[i % 3][i / 3], interleaved[i]);
  }
  expectSentence(
      refusalOf([&] { readAudioFile(dir / "a.wav", 1 << 16); }),
      {"cannot read " + (dir / "a.wav"), "10007 frames", "the limit is 0.0625 MiB"});
}

// The name of a file that holds the bytes, which reading whole refuses.
void expectUnreadable(const std::string& path,
                      std::initializer_list<std::string> parts) {
  SCOPED_TRACE(path);
  const std::string sentence = refusalOf([&] { readAudio(path); });
  expectSentence(sentence, {"cannot read " + path + ": "});
  expectSentence(sentence, parts);
}

TEST(AudioFile, WhatIsNoSoundFileIsRefused) {
  const ScratchDir dir;
  const auto at = [](std::uint32_t rate, unsigned channels = 2) {
    return WavHeader{.channels = channels, .rate = rate, .dataLen = 400}.with(
        std::string(400, '\0'));
  };
  const std::string list = "LIST" + little(4, 4) + "INFO";
  for (const auto& [bytes, part] :
       std::initializer_list<std::pair<std::string, std::string>>{
           {"", "empty (0 bytes)"},
           {std::string(500, 'x'), "no audio file"},
           {at(48000).substr(0, 30), "no audio file"},
           {at(0), "is 0 Hz"},
           {at(999), "1000 and 768000 Hz"},
           {at(0x7FFFFFFF), "2147483647 Hz"},
           {at(0xFFFFFFFF), "4294967295 Hz"},
           {at(48000, 0), "(Channel count"},
           {WavHeader{.riffLen = 36}.with(""), "0 frames"},
           {WavHeader{.riffLen = 48}.with(list), "0 frames"}}) {
    writeBytes(dir / "a.wav", bytes);
    expectUnreadable(dir / "a.wav", {part});
  }
  expectUnreadable(dir / "missing.wav", {"No such file"});
  std::filesystem::create_directory(dir / "folder.wav");
  expectUnreadable(dir / "folder.wav", {"it is a folder"});
}

// Reads the rest of a file that should hold so many frames more, from the start of what
// the whole file holds.
void expectCutShort(const std::string& path, const std::vector<float>& whole,
                    std::int64_t most) {
  const AudioInfo info = AudioReader(path).info();
  const auto promised = static_cast<std::int64_t>(whole.size()) / info.channels;
  EXPECT_EQ(info.promisedFrames, promised);
  EXPECT_LE(info.frames, most);
  std::vector<float> there = whole;
  there.resize(static_cast<std::size_t>(info.frames * info.channels));
  EXPECT_EQ(readAudio(path), there);
}

TEST(AudioFile, WhatIsThereOfATruncatedFileIsRead) {
  const ScratchDir dir;
  for (const char* name : {"a.wav", "a.aiff", "a.flac"}) {
    SCOPED_TRACE(name);
    const std::string path = dir / name;
    writeAudio(path, {.channels = 2, .sampleRate = 48000, .samples = pcm24},
               noise(40000));
    const std::string bytes = bytesOf(path);
    const std::vector<float> whole = readAudio(path);
    EXPECT_EQ(AudioReader(path).info().promisedFrames, 20000);
    writeBytes(path, bytes.substr(0, bytes.size() / 3));
    expectCutShort(path, whole, 6666);
    writeBytes(path, bytes.substr(0, bytes.size() - 1));
    expectCutShort(path, whole, 19999);
    EXPECT_GT(readAudio(path).size(), 30000U);
    // Damage within: only FLAC can tell.
    if (path.ends_with("flac")) {
      std::string damaged = bytes;
      damaged.replace(bytes.size() / 2, 200, 200, '\x55');
      writeBytes(path, damaged);
      expectUnreadable(path, {"damaged", "promises 20000 frames"});
    }
  }
}

// Kinds that are read only: a third of the file is gone, or its last byte.
TEST(AudioFile, TruncatedFilesOfOtherKindsAreToldToo) {
  constexpr int kFrames = 200000;
  const ScratchDir dir;
  const std::vector<float> signal = noise(2 * kFrames);
  for (const int format :
       {SF_FORMAT_W64 | SF_FORMAT_PCM_24, SF_FORMAT_CAF | SF_FORMAT_PCM_16,
        SF_FORMAT_AU | SF_FORMAT_FLOAT,
        SF_FORMAT_AU | SF_FORMAT_PCM_16 | SF_ENDIAN_LITTLE,
        SF_FORMAT_OGG | SF_FORMAT_VORBIS, SF_FORMAT_OGG | SF_FORMAT_OPUS,
        SF_FORMAT_MPEG | SF_FORMAT_MPEG_LAYER_III}) {
    SCOPED_TRACE(testing::Message() << std::hex << format);
    const std::string path = dir / "a";
    SF_INFO info = {};
    info.channels = 2;
    info.samplerate = 48000;
    info.format = format;
    SNDFILE* const file = sf_open(path.c_str(), SFM_WRITE, &info);
    ASSERT_NE(file, nullptr);
    ASSERT_EQ(sf_writef_float(file, signal.data(), kFrames), kFrames);
    sf_close(file);
    const std::string bytes = bytesOf(path);
    const std::vector<float> whole = readAudio(path);
    const auto isCut = [&] {
      const AudioInfo found = AudioReader(path).info();
      return found.missingFrames() > 0 || found.lacksLastPage;
    };
    EXPECT_FALSE(isCut());
    for (const std::size_t left : {bytes.size() * 2 / 3, bytes.size() - 1}) {
      writeBytes(path, bytes.substr(0, left));
      EXPECT_TRUE(isCut());
      const std::size_t there = readAudio(path).size();
      EXPECT_LE(there, whole.size());
      EXPECT_GT(there, whole.size() / 3);
    }
    // MP3 need not count its frames; the guess of a decoder is no promise.
    if ((format & SF_FORMAT_TYPEMASK) != SF_FORMAT_MPEG) continue;
    std::string uncounted = bytes;
    for (const char* const name : {"Xing", "Info"}) {
      const std::size_t pos = uncounted.find(name);
      if (pos < 64) uncounted.replace(pos, 4, "none");
    }
    writeBytes(path, uncounted.substr(0, bytes.size() * 2 / 3));
    EXPECT_FALSE(isCut());
  }
}

// A chunk of odd length is followed by a byte that its length does not count. A reader
// that forgets it finds no chunk behind, and so no truncation.
TEST(AudioFile, ChunksOfAnyLengthAreStepped) {
  const ScratchDir dir;
  const std::string data(400, '\1');
  const std::vector<float> expected(200, 257.0F / 32768.0F);
  for (std::size_t len = 0; len < 6; ++len) {
    SCOPED_TRACE(len);
    const std::string content(len + len % 2, '\0');
    const WavHeader wav = {
        .dataLen = 400, .riffLen = 1000, .before = "note" + little(len, 4) + content};
    const AiffHeader aiff = {.numFrames = 100,
                             .audioLen = 408,
                             .formLen = 1000,
                             .before = "ANNO" + big(len, 4) + content};
    for (const std::string& bytes : {wav.with(data), aiff.with(data)}) {
      writeBytes(dir / "a", bytes);
      EXPECT_EQ(readAudio(dir / "a"), expected);
      writeBytes(dir / "a", bytes.substr(0, bytes.size() - 4));
      expectCutShort(dir / "a", expected, 99);
    }
  }
}

// In one of these, libsndfile reads on where there is nothing for hours.
TEST(AudioFile, ChunksBeyondTheEndAreLeftAlone) {
  const ScratchDir dir;
  const std::string data = numbers(little);
  const std::string endless = "LIST" + little(0xFF000000, 4) + "adtlLIST" +
                              little(0, 4) + "smpl" + little(0xFFFFFFF0, 4) +
                              std::string(64, '\0');
  expectNumbers(dir / "a.wav", WavHeader{.dataLen = 400}.with(data + endless));
  expectNumbers(dir / "a.wav", rf64(400).with(data + endless));
  writeBytes(dir / "a.wav", WavHeader{.dataLen = 400, .before = endless}.with(data));
  expectUnreadable(dir / "a.wav", {"No 'data' chunk"});
}

// As a recorder that has crashed leaves them behind.
TEST(AudioFile, MillionsOfEmptyChunksAreNotWalked) {
  const ScratchDir dir;
  for (const std::string start : {"RIFF....WAVE", "FORM....AIFF"}) {
    writeBytes(dir / "a", start);
    std::filesystem::resize_file(dir / "a", 256 << 20);
    numReads = 0;
    expectUnreadable(dir / "a", {"no audio file"});
    EXPECT_LT(numReads, 10000);
  }
}

// Whichever read fails, no sample comes out that is not in the file.
TEST(AudioFile, AFailingReadIsReported) {
  const ScratchDir dir;
  for (const char* const name : {"a.wav", "a.aiff", "a.flac"}) {
    SCOPED_TRACE(name);
    const AudioFormat format = {.channels = 2, .sampleRate = 48000, .samples = pcm16};
    writeAudio(dir / name, format, noise(20000));
    bool failed = true;
    for (failingRead = 0; failed; ++failingRead) {
      numReads = 0;
      try {
        readAudio(dir / name);
        failed = false;
      } catch (const Error& error) {
        expectSentence(error.what(), {"cannot read " + (dir / name), "Input/output"});
      }
    }
    EXPECT_LE(numReads, failingRead);
    EXPECT_GT(failingRead, 10);
    failingRead = -1;
  }
}

// In every place of more than one buffer of readAudio().
TEST(AudioFile, SamplesThatAreNoNumbersAreRefusedWithTheirPlace) {
  constexpr float kInf = std::numeric_limits<float>::infinity();
  constexpr int kSamples = 2 * 80;
  const ScratchDir dir;
  const std::string path = dir / "bad.wav";
  writeAudio(path, {.channels = 2, .sampleRate = 48000}, noise(kSamples));
  const std::string good = bytesOf(path);
  for (const auto& [value, text] :
       {std::pair(std::numeric_limits<float>::quiet_NaN(), "nan"),
        std::pair(kInf, "inf"), std::pair(-kInf, "-inf")}) {
    for (std::size_t i = 0; i < kSamples; ++i) {
      std::string bytes = good;
      std::memcpy(bytes.data() + good.size() - sizeof(float) * (kSamples - i), &value,
                  sizeof value);
      writeBytes(path, bytes);
      expectUnreadable(
          path, {"channel " + std::to_string(i % 2 + 1) + " has the value " + text +
                 " at frame " + std::to_string(i / 2) + ","});
    }
  }
}

}  // namespace
}  // namespace ulmar::audio
