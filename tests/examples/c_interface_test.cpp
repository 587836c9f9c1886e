// The C interface: against a stream of the kit, and what it refuses.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <functional>

#include "tests/support/convolution.h"
#include "tests/support/random.h"
#include "tests/support/scratch_dir.h"
#include "ulmar/host/planar.h"
#include "ulmar/host/ulmar_host.h"

namespace {

using ulmar::Planar;
using ulmar::test::Random;

constexpr int kBlockLen = 64;
constexpr std::int64_t kFrames[] = {900, 700};

class CInterface : public testing::Test {
 protected:
  CInterface() {
    options.struct_size = sizeof options;
    options.block_len = kBlockLen;
  }
  ~CInterface() override {
    for (UlmarStream* const stream : streams) ulmar_stream_destroy(stream);
  }

  UlmarStream* create(const float* const* samples, int channels = 2, int inputs = 2) {
    UlmarStream* stream = nullptr;
    EXPECT_EQ(
        ulmar_stream_create(inputs, samples, channels, kFrames, &options, &stream),
        ULMAR_OK)
        << ulmar_error();
    streams.push_back(stream);
    return stream;
  }
  std::vector<float> process(UlmarStream* stream, std::vector<float> interleaved) {
    EXPECT_EQ(
        ulmar_stream_process_interleaved(stream, interleaved.data(), interleaved.data(),
                                         static_cast<int32_t>(interleaved.size() / 2)),
        ULMAR_OK);
    return interleaved;
  }

  Random random{1};
  UlmarOptions options{};
  const std::vector<float> left = random.signal(900);
  const std::vector<float> right = random.signal(700);
  const float* const response[2] = {left.data(), right.data()};
  std::vector<UlmarStream*> streams;
};

TEST_F(CInterface, ConvolvesInEitherLayout) {
  constexpr int kLen = 2000;
  const Planar in = {random.signal(kLen), random.signal(kLen)};
  Planar out = in;
  UlmarStream* const stream = create(response);
  ulmar_stream_set_wet(stream, 0.01F);
  float* const outs[] = {out[0].data(), out[1].data()};
  const float* const ins[] = {in[0].data(), in[1].data()};
  ASSERT_EQ(ulmar_stream_process(stream, ins, outs, kLen), ULMAR_OK);
  std::vector<float> interleaved;
  for (std::size_t n = 0; n < kLen; ++n) {
    interleaved.insert(interleaved.end(), {in[0][n], in[1][n]});
  }
  UlmarStream* const other = create(response);
  ulmar_stream_set_wet(other, 0.01F);
  interleaved = process(other, interleaved);
  for (int n = 0; n < kLen; ++n) {
    for (std::size_t k = 0; k < 2; ++k) {
      const double expected =
          ulmar::test::convolved(in[k], k == 0 ? left : right, n - kBlockLen);
      ASSERT_NEAR(ulmar::test::at(out[k], n), 0.01 * expected, 1e-6) << n;
      ASSERT_EQ(interleaved[2 * static_cast<std::size_t>(n) + k],
                ulmar::test::at(out[k], n));
    }
  }
  EXPECT_EQ(ulmar_stream_latency(stream), kBlockLen);
  float peaks[2];
  EXPECT_EQ(ulmar_stream_peaks(stream, peaks, 1), ULMAR_OK);
  EXPECT_EQ(peaks[1], std::fabs(*std::ranges::max_element(
                          out[1], {}, [](float x) { return std::fabs(x); })));
}

TEST_F(CInterface, GoesOnFromASnapshotAndFadesToAnotherResponse) {
  const std::vector<float> signal = random.signal(3000);
  UlmarStream* const stream = create(response);
  process(stream, signal);
  std::size_t size = 0;
  ASSERT_EQ(ulmar_stream_snapshot(stream, nullptr, &size), ULMAR_OK);
  std::vector<char> bytes(size);
  ASSERT_EQ(ulmar_stream_snapshot(stream, bytes.data(), &size), ULMAR_OK);
  UlmarStream* const other = create(response);
  ASSERT_EQ(ulmar_stream_restore(other, bytes.data(), size), ULMAR_OK);
  EXPECT_EQ(process(other, signal), process(stream, signal));

  const float* const swapped[] = {right.data(), left.data()};
  const std::int64_t frames[] = {700, 900};
  ASSERT_EQ(ulmar_stream_replace(stream, swapped, 2, frames), ULMAR_OK);
  process(stream, signal);
  EXPECT_EQ(ulmar_stream_snapshot(stream, nullptr, &size), ULMAR_WRONG_STATE);
  EXPECT_EQ(ulmar_stream_reset(stream), ULMAR_WRONG_STATE);
  for (int k = 0; k < 3; ++k) process(stream, signal);
  EXPECT_EQ(ulmar_stream_collect(stream), ULMAR_OK);
  ASSERT_EQ(ulmar_stream_reset(stream), ULMAR_OK);
  UlmarStream* fresh = nullptr;
  ulmar_stream_create(2, swapped, 2, frames, &options, &fresh);
  streams.push_back(fresh);
  EXPECT_EQ(process(stream, signal), process(fresh, signal));
}

TEST_F(CInterface, TellsBeforehandWhatAStreamWillBe) {
  UlmarEstimate estimate{};
  estimate.struct_size = sizeof estimate;
  const std::int64_t frames[] = {480000, 480000};
  ASSERT_EQ(ulmar_estimate(2, 2, frames, &options, &estimate), ULMAR_OK);
  EXPECT_EQ(estimate.latency, kBlockLen);
  EXPECT_GT(estimate.set_bytes, 2 * 480000 * 4);
  EXPECT_GE(estimate.worst_work, estimate.mean_work);
  for (const auto& [inputs, channels, layout, outputs] : {std::array{1, 1, 0, 1},
                                                          {1, 2, 0, 2},
                                                          {2, 1, 0, 2},
                                                          {2, 4, 0, 2},
                                                          {2, 3, 0, 0},
                                                          {1, 4, 1, 5},
                                                          {2, 8, 2, 5},
                                                          {5, 10, 3, 5},
                                                          {6, 3, 1, 6},
                                                          {5, 2, 0, 0},
                                                          {3, 2, 0, 0},
                                                          {2, -1, 0, 0},
                                                          {2, 2, 9, 0}}) {
    EXPECT_EQ(ulmar_output_count(inputs, channels, layout), outputs)
        << inputs << ' ' << channels << ' ' << layout;
  }
}

TEST_F(CInterface, RefusesWithACodeAndASentence) {
  UlmarStream* const good = create(response);
  UlmarStream* stream = good;
  const float nan = std::nanf("");
  const float* const half[] = {left.data(), nullptr};
  const std::int64_t none[] = {0, 0};
  const std::int64_t negative[] = {900, -1};
  const std::int64_t huge[] = {std::int64_t{1} << 40, 1};
  const float poison[] = {nan, nan};
  const float* const poisoned[] = {poison, poison};
  const std::int64_t two[] = {2, 2};
  float sample = 0.0F;
  std::size_t size = 1;
  const auto with = [&](auto UlmarOptions::*field, auto value) {
    UlmarOptions changed = options;
    changed.*field = value;
    return ulmar_stream_create(2, response, 2, kFrames, &changed, &stream);
  };
  const std::pair<std::function<UlmarCode()>, const char*> refusals[] = {
      {[&] { return ulmar_stream_create(2, nullptr, 2, kFrames, nullptr, &stream); },
       "response is null"},
      {[&] { return ulmar_stream_create(2, half, 2, kFrames, nullptr, &stream); },
       "response[1] is null"},
      {[&] { return ulmar_stream_create(2, response, 2, nullptr, nullptr, &stream); },
       "frames is null"},
      {[&] { return ulmar_stream_create(2, response, 2, none, nullptr, &stream); },
       "0 frames"},
      {[&] { return ulmar_stream_create(2, response, 2, negative, nullptr, &stream); },
       "-1 frames"},
      {[&] { return ulmar_stream_create(2, response, 2, huge, nullptr, &stream); },
       "1073741824"},
      {[&] { return ulmar_stream_create(2, response, 3, kFrames, nullptr, &stream); },
       "3 channels"},
      {[&] { return ulmar_stream_create(2, response, 99, kFrames, nullptr, &stream); },
       "99 channels"},
      {[&] { return ulmar_stream_create(7, response, 2, kFrames, nullptr, &stream); },
       "7 inputs"},
      {[&] { return ulmar_stream_create(2, poisoned, 2, two, nullptr, &stream); },
       "nan"},
      {[&] { return with(&UlmarOptions::struct_size, 4U); }, "struct_size"},
      {[&] { return with(&UlmarOptions::block_len, 100); }, "100"},
      {[&] { return with(&UlmarOptions::tail, 7); }, "7"},
      {[&] { return with(&UlmarOptions::layout, 9); }, "layout is 9"},
      {[&] { return with(&UlmarOptions::fade_len, -5); }, "-5"},
      {[&] { return with(&UlmarOptions::dry_delay, -1); }, "-1"},
      {[&] { return ulmar_stream_create(2, response, 2, kFrames, nullptr, nullptr); },
       "stream is null"},
      {[&] { return ulmar_stream_process_interleaved(good, &sample, &sample, -1); },
       "-1 frames"},
      {[&] { return ulmar_stream_process_interleaved(good, nullptr, &sample, 1); },
       "in is null"},
      {[&] { return ulmar_stream_process(nullptr, nullptr, nullptr, 0); },
       "stream is null"},
      {[&] { return ulmar_stream_set_wet(good, nan); }, "nan"},
      {[&] { return ulmar_stream_snapshot(good, &sample, &size); }, "there are 1"},
      {[&] { return ulmar_stream_restore(good, &sample, 4); }, "snapshot"}};
  for (const auto& [call, part] : refusals) {
    SCOPED_TRACE(part);
    EXPECT_EQ(call(), ULMAR_BAD_ARGUMENT);
    EXPECT_NE(std::string(ulmar_error()).find(part), std::string::npos)
        << ulmar_error();
    EXPECT_TRUE(stream == good || stream == nullptr);
    stream = good;
  }
}

TEST(PlainHost, PlaysAudioThroughAHall) {
  const ulmar::test::ScratchDir folder;
  const float unit[] = {0.5F, 0.25F};
  ulmar::test::writeBytes(folder / "hall.f32",
                          {reinterpret_cast<const char*>(unit), sizeof unit});
  const std::vector<float> dry = Random(2).signal(2000);
  ulmar::test::writeBytes(
      folder / "dry.f32",
      {reinterpret_cast<const char*>(dry.data()), dry.size() * sizeof(float)});
  const std::string command = std::string(ULMAR_PLAIN_HOST) + " " +
                              (folder / "hall.f32") + " < " + (folder / "dry.f32") +
                              " > " + (folder / "wet.f32");
  ASSERT_EQ(std::system(command.c_str()), 0);
  const std::string bytes = ulmar::test::bytesOf(folder / "wet.f32");
  ASSERT_EQ(bytes.size(), dry.size() * sizeof(float));
  const auto* const wet = reinterpret_cast<const float*>(bytes.data());
  for (std::size_t n = 512; n < dry.size(); ++n) {
    ASSERT_NEAR(wet[n], 0.5F * dry[n] + unit[n % 2] * dry[n - 512], 1e-6) << n;
  }
}

}  // namespace
