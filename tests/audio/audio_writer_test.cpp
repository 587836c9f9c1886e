// What a writer leaves behind: the whole file under its name, or everything as it was.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <future>
#include <map>

#include "apps/common/signals.h"
#include "tests/audio/audio_samples.h"
#include "tests/support/scratch_dir.h"
#include "ulmar/audio/audio_file.h"
#include "ulmar/audio/temp_file.h"

namespace {

int numWrites = 0;
int failingWrite = -1;    // which one fails, counted from 0
bool diskIsFull = false;  // all that follow fail as well

}  // namespace

// In place of the C library's, for the whole program.
extern "C" ssize_t pwrite(int fd, const void* bytes, std::size_t numBytes, off_t pos) {
  static const auto original =
      reinterpret_cast<decltype(&pwrite)>(dlsym(RTLD_NEXT, "pwrite64"));
  const int number = numWrites++;
  if (failingWrite < 0 || number < failingWrite ||
      (number > failingWrite && !diskIsFull)) {
    return original(fd, bytes, numBytes, pos);
  }
  if (number == failingWrite && diskIsFull && numBytes > 1) {
    return original(fd, bytes, numBytes / 2, pos);
  }
  errno = diskIsFull ? ENOSPC : EIO;
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
using Names = std::set<std::string>;

const AudioFormat kStereo = {.channels = 2, .sampleRate = 48000, .samples = pcm16};

TEST(AudioWriter, TheOldFileStandsUntilCommit) {
  const ScratchDir dir;
  const std::string path = dir / "out.wav";
  writeBytes(path, "old");
  {
    AudioWriter abandoned(path, kStereo);
    abandoned.write(noise(2000).data(), 1000);
    EXPECT_EQ(bytesOf(path), "old");
  }
  EXPECT_EQ(bytesOf(path), "old");
  EXPECT_EQ(dir.names(), Names{"out.wav"});

  {
    AudioWriter first(path, kStereo);
    AudioWriter second(path, kStereo);  // beside the first one's temporary file
    first.write(noise(2000).data(), 1000);
    second.write(noise(400).data(), 200);
    first.commit();
    EXPECT_EQ(AudioReader(path).info().frames, 1000);
    second.commit();
  }
  EXPECT_EQ(AudioReader(path).info().frames, 200);
  EXPECT_EQ(dir.names(), Names{"out.wav"});
}

// Writes through a link; the file it leads to shall then have the permissions.
void expectWrittenThrough(const ScratchDir& dir, const char* link, mode_t permissions) {
  writeAudio(dir / link, kStereo, noise(200));
  EXPECT_TRUE(std::filesystem::is_symlink(dir / link));
  EXPECT_EQ(AudioReader(dir / "music/real.wav").info().frames, 100);
  struct stat status = {};
  ASSERT_EQ(stat((dir / "music/real.wav").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, permissions);
}

TEST(AudioWriter, LinksAreFollowedAndPermissionsHold) {
  const ScratchDir dir;
  std::filesystem::create_directory(dir / "music");
  std::filesystem::create_symlink("real.wav", dir / "music/second.wav");
  std::filesystem::create_symlink("music/second.wav", dir / "link.wav");
  std::filesystem::create_symlink(dir / "link.wav", dir / "absolute.wav");
  const mode_t previous = umask(027);
  // Nothing is there yet, and then a file whose permissions are not the umask's.
  expectWrittenThrough(dir, "absolute.wav", 0640);
  for (const mode_t permissions : {0600U, 0666U}) {
    ASSERT_EQ(chmod((dir / "music/real.wav").c_str(), permissions), 0);
    expectWrittenThrough(dir, "link.wav", permissions);
  }
  umask(previous);
  EXPECT_EQ(dir.names(), (Names{"absolute.wav", "link.wav", "music"}));

  std::filesystem::create_symlink("circle.wav", dir / "circle.wav");
  expectSentence(refusalOf([&] { AudioWriter(dir / "circle.wav", kStereo); }),
                 {"circle.wav", "symbolic links"});
}

TEST(AudioWriter, WhatCannotBeWrittenIsRefusedAndNothingIsLeft) {
  struct Case {
    std::string name;
    AudioFormat format;
    std::string part;
  };
  const ScratchDir dir;
  std::filesystem::create_directory(dir / "folder.wav");
  const Names before = dir.names();
  const auto stereo = [](auto change) {
    AudioFormat format = kStereo;
    change(format);
    return format;
  };
  for (const Case& c : {
           Case{"out.ogg", kStereo, "'.ogg'"},
           Case{"out", kStereo, "its extension is ''"},
           Case{"folder.wav/out.mp3", kStereo, "'.mp3'"},
           Case{"folder.wav", kStereo, "it is a folder"},
           Case{"missing/out.wav", kStereo, "No such file"},
           Case{"out.flac", stereo([](auto& f) { f.samples = float32; }),
                "16 or 24 bits"},
           Case{"out.flac", stereo([](auto& f) { f.channels = 9; }), "9 channels"},
           Case{"out.wav", stereo([](auto& f) { f.channels = 0; }), "0 channels"},
           Case{"out.wav", stereo([](auto& f) { f.channels = 1025; }), "1 to 1024"},
           Case{"out.wav", stereo([](auto& f) { f.sampleRate = 0; }), "of 0 Hz"},
           Case{"out.flac", stereo([](auto& f) { f.sampleRate = 768000; }), "655350"},
           Case{"out.aiff", stereo([](auto& f) { f.frames = 1LL << 30; }),
                "1073741824"},
           Case{"out.wav", stereo([](auto& f) { f.speakers = {mono}; }),
                "1 loudspeakers are named for 2 channels"},
           Case{"out.wav", stereo([](auto& f) {
                  f.speakers = {frontRight, frontLeft};
                }),
                "cannot state"},
       }) {
    SCOPED_TRACE(c.name + " " + c.part);
    expectSentence(refusalOf([&] { AudioWriter(dir / c.name, c.format); }),
                   {"cannot write " + (dir / c.name) + ": ", c.part});
    EXPECT_EQ(dir.names(), before);
  }
  expectSentence(refusalOf([&] { AudioWriter(dir / "out.wav", kStereo).commit(); }),
                 {"cannot write " + (dir / "out.wav") + ": ", "0 frames"});
  EXPECT_EQ(dir.names(), before);

  // A device of an audio name is not replaced by a file.
  std::filesystem::create_symlink("/dev/null", dir / "null.wav");
  expectSentence(refusalOf([&] { AudioWriter(dir / "null.wav", kStereo); }),
                 {"not a regular file"});
}

Tags someTags() {
  Tags tags;
  for (const Tag tag : {Tag::title, Tag::artist, Tag::comment, Tag::copyright}) {
    tags.texts[tag] = "Words " + std::to_string(static_cast<int>(tag));
  }
  tags.broadcast = Broadcast{.description = std::string(256, 'd'),
                             .originator = "Ulmar",
                             .originatorReference = "reference",
                             .date = "2024-02-29",
                             .time = "23:59:59",
                             .timeReference = 0x1234'5678'9ABC};
  return tags;
}

// A pipe takes the same bytes as a file, though no header can be completed in it.
TEST(AudioWriter, APipeTakesTheSameBytes) {
  const ScratchDir dir;
  const std::string pipe = dir / "pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  for (const AudioFormat& given :
       {AudioFormat{.channels = 1, .samples = pcm24}, AudioFormat{.channels = 4},
        AudioFormat{.channels = 2, .tags = someTags()},
        AudioFormat{.channels = 2, .samples = pcm16, .dither = true},
        AudioFormat{.channels = 3, .samples = pcm32, .tags = someTags()},
        AudioFormat{.channels = 5,
        .speakers = {frontLeft, frontRight, frontCenter, rearLeft, rearRight},
        .tags = someTags()}}) {
    AudioFormat format = given;
    format.sampleRate = 44100;
    format.frames = 1001;
    const auto samples = noise(1001 * format.channels);
    writeAudio(dir / "a.wav", format, samples);
    auto received = std::async(std::launch::async, bytesOf, pipe);
    writeAudio(pipe, format, samples);
    EXPECT_TRUE(received.get() == bytesOf(dir / "a.wav")) << format.channels;
  }
  // What the header promises must come, and its length be known.
  auto received = std::async(std::launch::async, bytesOf, pipe);
  const AudioFormat short_ = {.channels = 2, .sampleRate = 48000, .frames = 99};
  expectSentence(refusalOf([&] { writeAudio(pipe, short_, noise(2)); }),
                 {"1 frames were written", "99"});
  received.get();
  expectSentence(refusalOf([&] { AudioWriter(pipe, kStereo); }), {"not known"});
  std::filesystem::rename(pipe, dir / "pipe.flac");
  expectSentence(refusalOf([&] { AudioWriter(dir / "pipe.flac", kStereo); }),
                 {"'.flac'", "takes .wav"});
}

TEST(AudioWriter, KeepsWhatTheFormatHoldsOfTags) {
  const ScratchDir dir;
  for (const char* const name : {"a.wav", "a.aiff", "a.flac"}) {
    SCOPED_TRACE(name);
    AudioFormat format = kStereo;
    format.tags = someTags();
    writeAudio(dir / name, format, noise(2000));
    if (!std::string(name).ends_with("wav")) format.tags.broadcast.reset();
    EXPECT_EQ(AudioReader(dir / name).info().tags, format.tags);
    EXPECT_EQ(AudioReader(dir / name).info().frames, 1000);
  }
}

// Whichever write fails, be it the last, the file does not take its name: one alone, as
// of a disk that is failing, or all from one on of which half still fits on the disk.
TEST(AudioWriter, AFailingWriteIsReportedAndNothingIsLeft) {
  const ScratchDir dir;
  for (const auto& [name, samples] :
       {std::pair("out.wav", float32), std::pair("out.wav", pcm16),
        std::pair("out.aiff", pcm24), std::pair("out.flac", pcm16)}) {
    const std::string path = dir / name;
    const AudioFormat format = {.channels = 2, .sampleRate = 48000, .samples = samples};
    const auto write = [&, &path = path] {
      numWrites = 0;
      writeAudio(path, format, noise(20000));
    };
    write();
    const int needed = numWrites;
    EXPECT_GT(needed, 5);
    writeBytes(path, "old");
    for (int i = 0; i < 2 * needed; ++i) {
      SCOPED_TRACE(testing::Message() << name << ' ' << i);
      failingWrite = i / 2;
      diskIsFull = i % 2 != 0;
      expectSentence(
          refusalOf(write),
          {"cannot write " + path, diskIsFull ? "No space" : "Input/output error"});
      EXPECT_EQ(bytesOf(path), "old");
      EXPECT_EQ(dir.names(), Names{name});
    }
    failingWrite = -1;
    std::filesystem::remove(path);
  }
}

// Runs a child process in which a signal arrives in the middle of writing; returns its
// status.
int statusOfInterruptedWriter(const std::string& path, int arriving, bool ignored) {
  const pid_t child = fork();
  if (child == 0) {
    const rlimit noCore = {0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    if (ignored) signal(arriving, SIG_IGN);
    apps::prepareSignals();
    AudioWriter writer(path, kStereo);
    writer.write(noise(2000).data(), 1000);
    raise(arriving);
    writer.commit();
    _exit(0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return status;
}

// As many files as are tracked come and go. If one stayed registered, there would be no
// room for the next. Their names' memory is taken, so that the next name cannot have
// the address of one of them.
TEST(TempFile, IsForgottenOnceItIsGone) {
  constexpr int kTracked = 16;
  const ScratchDir dir;
  for (const bool committed : {false, true}) {
    SCOPED_TRACE(committed);
    std::vector<std::unique_ptr<TempFile>> files;
    for (int i = 0; i < kTracked; ++i) {
      files.push_back(std::make_unique<TempFile>(dir / "gone.wav"));
    }
    for (const auto& file : files) {
      if (committed) file->commit();
    }
    files.clear();
    std::vector<std::string> taken;
    for (std::size_t i = 0; i < 4096; ++i) taken.emplace_back(16 + i % 512, 'x');
    const TempFile unfinished(dir / "next.wav");
    unlinkTempFiles();
    EXPECT_EQ(dir.names(), committed ? Names{"gone.wav"} : Names{});
  }
}

TEST(AudioWriter, ASignalLeavesNoTemporaryFile) {
  const ScratchDir dir;
  for (const int arriving : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGXCPU}) {
    const int status = statusOfInterruptedWriter(dir / "out.wav", arriving, false);
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), arriving);
    EXPECT_TRUE(dir.names().empty());
  }
  // But one that cannot be caught does, until the next run.
  statusOfInterruptedWriter(dir / "out.wav", SIGKILL, false);
  EXPECT_EQ(dir.names().size(), 1U);
  const int status = statusOfInterruptedWriter(dir / "out.wav", SIGHUP, true);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  EXPECT_EQ(dir.names(), Names{"out.wav"});
}

// As the format's definition has it: the chunk of float samples ends with the size of
// an extension, and every chunk leads to the next.
TEST(AudioWriter, WritesTheWholeFormatChunkOfFloatFiles) {
  const ScratchDir dir;
  for (const Tags& tags : {Tags(), someTags()}) {
    writeAudio(dir / "a.wav", {.channels = 2, .sampleRate = 48000, .tags = tags},
               noise(2000));
    const std::string bytes = bytesOf(dir / "a.wav");
    std::map<std::string, std::size_t> sizes;
    for (std::size_t at = 12; at + 8 <= bytes.size();) {
      std::uint32_t size = 0;
      std::memcpy(&size, bytes.data() + at + 4, 4);
      sizes[bytes.substr(at, 4)] = size;
      at += 8 + size;
    }
    EXPECT_EQ(sizes["fmt "], 18U);
    EXPECT_EQ(bytes.substr(36, 2), std::string(2, '\0'));
    EXPECT_EQ(sizes["data"], 2000U * sizeof(float));
    EXPECT_EQ(AudioReader(dir / "a.wav").info().tags, tags);
  }
}

}  // namespace
}  // namespace ulmar::audio
