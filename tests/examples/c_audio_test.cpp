// Responses from files through the C interface: what the file holds, in the order that
// streams take, and what is refused.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>

#include "tests/audio/audio_samples.h"
#include "tests/support/scratch_dir.h"
#include "ulmar/audio/channel_layout.h"
#include "ulmar/audio/ulmar_audio.h"

namespace {

using ulmar::audio::Speaker;

class CAudio : public testing::Test {
 protected:
  ~CAudio() override { ulmar_response_destroy(response); }

  // Channel k holds k + 1, k + 2 ... in steps of 2^-7.
  std::string file(const char* name, int channels, std::vector<Speaker> speakers = {}) {
    std::vector<float> samples;
    for (int n = 0; n < 3; ++n) {
      for (int k = 0; k < channels; ++k) {
        samples.push_back(static_cast<float>(n + k + 1) * 0x1p-7F);
      }
    }
    const std::string path = folder / name;
    ulmar::audio::writeAudio(
        path,
        {.channels = channels, .sampleRate = 48000, .speakers = std::move(speakers)},
        samples);
    return path;
  }
  UlmarCode read(const std::string& path, int layout, int rate = 48000) {
    ulmar_response_destroy(response);
    return ulmar_response_read(path.c_str(), rate, layout, &response);
  }
  // The first sample of each channel, in the steps of file().
  std::vector<int> firsts() const {
    std::vector<int> result;
    for (int k = 0; k < ulmar_response_channels(response); ++k) {
      EXPECT_EQ(ulmar_response_frames(response)[k], 3);
      result.push_back(static_cast<int>(ulmar_response_samples(response)[k][0] * 128));
    }
    return result;
  }

  const ulmar::test::ScratchDir folder;
  UlmarResponse* response = nullptr;
};

TEST_F(CAudio, ReadsEveryLayoutInTheOrderOfStreams) {
  const std::vector<Speaker> fiveOne = ulmar::audio::fileSpeakers(
      ulmar::audio::ChannelLayout::fiveOne, ulmar::audio::SurroundName::rear);
  struct Case {
    std::string path;
    int layout;
    std::vector<int> order;
  };
  for (const auto& [path, layout, order] :
       {Case{file("mono.wav", 1), ULMAR_LAYOUT_STEREO, {1}},
        {file("stéreo 2.wav", 2), ULMAR_LAYOUT_STEREO, {1, 2}},
        {file("true.aiff", 4), ULMAR_LAYOUT_STEREO, {1, 2, 3, 4}},
        {file("b.wav", 4), ULMAR_LAYOUT_AMBIX, {1, 2, 3, 4}},
        {file("b3.wav", 3), ULMAR_LAYOUT_FUMA, {1, 2, 3}},
        // Files: left, right, centre, low frequency, left and right surround.
        {file("5.1.wav", 6, fiveOne), ULMAR_LAYOUT_FEEDS, {1, 2, 5, 6, 3}}}) {
    SCOPED_TRACE(path);
    ASSERT_EQ(read(path, layout), ULMAR_OK) << ulmar_audio_error();
    EXPECT_EQ(firsts(), order);
    EXPECT_EQ(ulmar_response_delay(response), 0);
    UlmarStream* stream = nullptr;
    UlmarOptions options{};
    options.struct_size = sizeof options;
    options.layout = layout;
    EXPECT_EQ(ulmar_stream_create(2, ulmar_response_samples(response),
                                  ulmar_response_channels(response),
                                  ulmar_response_frames(response), &options, &stream),
              ULMAR_OK)
        << ulmar_error();
    ulmar_stream_destroy(stream);
  }
}

// A response that only resampling makes longer keeps its sum, the gain at 0 Hz.
TEST_F(CAudio, ResamplesSoThatTheResponseFiltersAlike) {
  const std::string path = folder / "click.wav";
  std::vector<float> click(4000);
  click[2000] = 0.5F;
  ulmar::audio::writeAudio(path, {.channels = 1, .sampleRate = 44100}, click);
  ASSERT_EQ(read(path, ULMAR_LAYOUT_STEREO, 96000), ULMAR_OK);
  EXPECT_EQ(ulmar_response_rate(response), 96000);
  const float* const samples = ulmar_response_samples(response)[0];
  const auto frames = static_cast<int>(ulmar_response_frames(response)[0]);
  double sum = 0.0;
  for (int n = 0; n < frames; ++n) sum += double{samples[n]};
  EXPECT_NEAR(sum, 0.5, 1e-6);
  const auto peak = std::max_element(samples, samples + frames) - samples;
  EXPECT_EQ(peak - ulmar_response_delay(response), std::lround(2000 / 0.459375));
  ASSERT_EQ(read(path, ULMAR_LAYOUT_STEREO, 0), ULMAR_OK);
  EXPECT_EQ(ulmar_response_rate(response), 44100);
}

TEST_F(CAudio, TellsWhatACutFileLacks) {
  const std::string whole = file("whole.wav", 2);
  std::string bytes = ulmar::test::bytesOf(whole);
  bytes.resize(bytes.size() - 8);
  ulmar::test::writeBytes(folder / "cut.wav", bytes);
  ASSERT_EQ(read(folder / "cut.wav", ULMAR_LAYOUT_STEREO), ULMAR_OK);
  EXPECT_EQ(ulmar_response_frames(response)[1], 2);
  EXPECT_EQ(ulmar_response_missing(response), 1);
}

TEST_F(CAudio, RefusesWithACodeAndASentence) {
  const std::string stereo = file("stereo.wav", 2);
  const std::string three = file("three.wav", 3);
  ulmar::test::writeBytes(folder / "text.wav", "no audio");
  struct Case {
    std::function<UlmarCode()> call;
    const char* part;
  };
  for (const auto& [call, part] :
       {Case{[&] { return read(folder / "none.wav", 0); }, "none.wav"},
        {[&] { return read(folder / "text.wav", 0); }, "text.wav"},
        {[&] { return read(three, ULMAR_LAYOUT_STEREO); }, "channels are 3"},
        {[&] { return read(stereo, ULMAR_LAYOUT_FUMA); }, "3, 4, 6 or 8"},
        {[&] { return read(three, ULMAR_LAYOUT_AMBIX); }, "4 or 8"},
        {[&] { return read(three, ULMAR_LAYOUT_FEEDS); }, "5.0"},
        {[&] { return read(stereo, 0, -1); }, "-1 Hz"},
        {[&] { return read(stereo, 0, 1000000); }, "768000 Hz"},
        {[&] { return read(stereo, 4); }, "layout is 4"},
        {[&] { return ulmar_response_read(nullptr, 0, 0, &response); }, "path is null"},
        {[&] { return ulmar_response_read("x", 0, 0, nullptr); },
         "response is null"}}) {
    SCOPED_TRACE(part);
    EXPECT_EQ(call(), ULMAR_BAD_ARGUMENT);
    EXPECT_NE(std::string(ulmar_audio_error()).find(part), std::string::npos)
        << ulmar_audio_error();
    EXPECT_EQ(ulmar_response_samples(response), nullptr);
  }
}

}  // namespace
