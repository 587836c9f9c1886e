#include "ulmar/audio/channel_layout.h"

#include <gtest/gtest.h>

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
  EXPECT_FALSE(layoutOf(info(4, {})));
}

}  // namespace
}  // namespace ulmar::audio
