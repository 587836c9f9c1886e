#include "ulmar/audio/channel_layout.h"

#include <gtest/gtest.h>
#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <span>

#include "tests/support/scratch_dir.h"

namespace ulmar::audio {
namespace {

TEST(ChannelLayout, FindsTheLibrarysChannelsInAnyOrder) {
  using enum Speaker;
  const auto info = [](int channels, std::vector<Speaker> speakers) {
    AudioInfo result;
    result.channels = channels;
    result.speakers = std::move(speakers);
    return result;
  };
  const AudioInfo shuffled =
      info(6, {lowFrequency, sideRight, frontCenter, sideLeft, frontRight, frontLeft});
  EXPECT_EQ(layoutOf(shuffled), ChannelLayout::fiveOne);
  EXPECT_EQ(libraryOrder(6, shuffled.speakers), (std::vector{5, 2, 4, 3, 1, 0}));
  EXPECT_EQ(libraryOrder(6, {}), (std::vector{0, 2, 1, 4, 5, 3}));
  EXPECT_EQ(libraryOrder(5, {unknown, unknown}), (std::vector{0, 2, 1, 3, 4}));
  // Front left twice; a surround of either name; no such number.
  EXPECT_FALSE(
      layoutOf(info(5, {frontLeft, frontLeft, frontCenter, rearLeft, rearRight})));
  EXPECT_FALSE(
      layoutOf(info(5, {frontLeft, frontRight, frontCenter, sideLeft, rearRight})));
  EXPECT_FALSE(layoutOf(info(7, {})));
  const AudioInfo wide = info(8, {sideRight, rearLeft, rearRight, sideLeft, frontRight,
                                  frontLeft, frontCenter, lowFrequency});
  EXPECT_EQ(layoutOf(wide), ChannelLayout::sevenOne);
  EXPECT_EQ(libraryOrder(8, wide.speakers), (std::vector{5, 6, 4, 3, 0, 7, 1, 2}));
  EXPECT_EQ(libraryOrder(8, {}), (std::vector{0, 2, 1, 6, 7, 3, 4, 5}));
  EXPECT_EQ(libraryOrder(4, {}), (std::vector{0, 1, 2, 3}));
}

// A tone of its own level in each channel, in the order that each kind of file has for
// 5.1, comes out as L C R Ls Rs LFE.
TEST(LibraryOrder, TakesEveryFileInItsOwnOrder) {
  constexpr int kFrames = 24000;
  constexpr float kFileOrder[] = {0.1F, 0.3F, 0.2F,
                                  0.6F, 0.4F, 0.5F};  // L R C LFE Ls Rs
  constexpr float kOggOrder[] = {0.1F, 0.2F, 0.3F,
                                 0.4F, 0.5F, 0.6F};  // L C R Ls Rs LFE
  const struct {
    int format;
    std::span<const float> levels;
  } cases[] = {{SF_FORMAT_WAV | SF_FORMAT_PCM_16, kFileOrder},
               {SF_FORMAT_W64 | SF_FORMAT_PCM_24, kFileOrder},
               {SF_FORMAT_CAF | SF_FORMAT_FLOAT, kFileOrder},
               {SF_FORMAT_AU | SF_FORMAT_PCM_16, kFileOrder},
               {SF_FORMAT_AIFF | SF_FORMAT_PCM_16, kFileOrder},
               {SF_FORMAT_FLAC | SF_FORMAT_PCM_16, kFileOrder},
               {SF_FORMAT_OGG | SF_FORMAT_VORBIS, kOggOrder},
               {SF_FORMAT_OGG | SF_FORMAT_OPUS, kOggOrder}};
  const test::ScratchDir dir;
  for (const auto& [format, levels] : cases) {
    SCOPED_TRACE(testing::Message() << std::hex << format);
    std::vector<float> samples;
    for (int n = 0; n < kFrames; ++n) {
      for (const float level : levels) {
        samples.push_back(level * std::sin(0.00785F * static_cast<float>(n)));
      }
    }
    SF_INFO info{.frames = 0,
                 .samplerate = 48000,
                 .channels = 6,
                 .format = format,
                 .sections = 0,
                 .seekable = 0};
    SNDFILE* const file = sf_open((dir / "tones").c_str(), SFM_WRITE, &info);
    ASSERT_NE(file, nullptr) << sf_strerror(nullptr);
    EXPECT_EQ(sf_writef_float(file, samples.data(), kFrames), kFrames);
    sf_close(file);

    const AudioFile read = readAudioFile(dir / "tones");
    EXPECT_EQ(layoutOf(read.info), ChannelLayout::fiveOne);
    const std::vector<int> order = libraryOrder(6, read.info.speakers);
    ASSERT_EQ(order.size(), 6U);
    // Lossy files keep levels roughly, and each is louder than the one before.
    std::vector<float> peaks;
    for (const int k : order) {
      const auto& channel = read.samples[static_cast<std::size_t>(k)];
      peaks.push_back(*std::max_element(channel.begin() + kFrames / 2, channel.end()));
    }
    EXPECT_TRUE(std::ranges::is_sorted(peaks)) << testing::PrintToString(peaks);
  }
}

}  // namespace
}  // namespace ulmar::audio
