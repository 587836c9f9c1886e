// Streams side by side give the file of one stream, to the bit.
#include <gtest/gtest.h>

#include "tests/audio/audio_samples.h"
#include "tests/render/program.h"

namespace ulmar::render {
namespace {

using test::ScratchDir;

TEST(Jobs, NeverChangeTheFile) {
  const ScratchDir folder;
  // An odd length, so that the last stretch ends within a block.
  constexpr int kRate = 8000;
  constexpr int kFrames = 70 * kRate + 4321;
  struct Case {
    int channels;
    const char* options;
    bool alone = false;  // one stream, whatever is asked for
  };
  const Case cases[] = {
      {2, "--room small"},
      {1, "--room small --block 64 --tail-block 1024 --format 16"},
      {2, "--room small --block 128 --tail-block off --hf-truncate --crossfeed 0.4"},
      {2, "--room small --block 256 --predelay 130 --no-align --dry off --tail none"},
      {6, "--ir feeds.wav --ir-layout feeds --rear-delay 17 --block 32"},
      {5, "--ir pair.wav --rear-delay 23 --block 64 --tail-block 256"},
      {2, "--room small --decode", true},
  };
  const auto writeNoise = [&](const char* name, int channels, int frames) {
    audio::writeAudio(folder / name, {.channels = channels, .sampleRate = kRate},
                      audio::noise(channels * frames));
  };
  writeNoise("feeds.wav", 5, 3001);
  writeNoise("pair.wav", 2, 2002);
  for (const auto& [channels, options, alone] : cases) {
    writeNoise("dry.wav", channels, kFrames);
    std::string reference;
    for (const int jobs : {1, 2, 3, 4, 5}) {
      SCOPED_TRACE(options);
      SCOPED_TRACE(jobs);
      const auto figures = figuresOf(folder, "-i dry.wav -o wet.wav --jobs " +
                                                 std::to_string(jobs) + " " + options);
      EXPECT_EQ(figures["engine"]["jobs"] == 1, alone || jobs == 1);
      const std::string bytes = test::bytesOf(folder / "wet.wav");
      if (jobs == 1) reference = bytes;
      ASSERT_TRUE(bytes == reference);
    }
  }
}

}  // namespace
}  // namespace ulmar::render
