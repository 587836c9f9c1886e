// Exported entry points, called as hosts built for older conventions call them: with a
// stack that is aligned to 4 bytes only. They give the same bits as from an aligned
// one.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "fft/fft.h"
#include "host/stream.h"
#include "process/Ulmar_Process.h"
#include "spectral/UpdateOstinFFT.h"

namespace {

using Words = std::vector<std::uint32_t>;

template <typename T>
std::uint32_t word(T value) {
  static_assert(sizeof(T) == 4);
  std::uint32_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

void* exported(const char* name) {
  void* const entry = dlsym(RTLD_DEFAULT, name);
  EXPECT_NE(entry, nullptr) << name;
  return entry;
}

/// Calls a C function with its argument words at `shift` bytes below a multiple of 16.
[[gnu::noinline]] void callShifted(void* entry, const Words& arguments, int shift) {
  const std::uint32_t* words = arguments.data();
  std::size_t numWords = arguments.size();
  std::uint32_t room = 64 + static_cast<std::uint32_t>(shift);
  ASSERT_LE(numWords, 16U);
  asm volatile(
      "movl %%esp, %%ebx\n\t"
      "andl $-16, %%esp\n\t"
      "subl %%edx, %%esp\n\t"
      "movl %%esp, %%edi\n\t"
      "rep movsl\n\t"
      "call *%%eax\n\t"
      "movl %%ebx, %%esp"
      : "+a"(entry), "+c"(numWords), "+d"(room), "+S"(words)
      :
      : "ebx", "edi", "memory", "cc", "xmm0", "xmm1", "xmm2", "xmm3", "xmm4", "xmm5",
        "xmm6", "xmm7", "st");
}

std::vector<float> noise(std::size_t count) {
  std::mt19937 random(1);
  std::uniform_real_distribution<float> uniform(-0.5F, 0.5F);
  std::vector<float> samples(count);
  for (float& sample : samples) sample = uniform(random);
  return samples;
}

template <typename T>
bool sameBits(const std::vector<T>& a, const std::vector<T>& b) {
  return a.size() == b.size() &&
         std::memcmp(a.data(), b.data(), a.size() * sizeof(T)) == 0;
}

TEST(Stack, TransformAndItsTables) {
  constexpr int kSize = 64;
  const std::vector<float> samples = noise(kSize);
  struct Result {
    std::vector<ulmar::HostLong> bitRev = std::vector<ulmar::HostLong>(kSize);
    std::vector<dcmplx> twiddles = std::vector<dcmplx>(kSize / 2);
    std::vector<cmplxFFT> spectrum = std::vector<cmplxFFT>(kSize / 2);
  };
  const auto transform = [&](int shift) {
    Result result;
    std::vector<cmplxFFT> work(kSize + kSize / 2);
    callShifted(exported("_Z16dUpdateFFTTablesPlP6dcmplxl"),
                {word(result.bitRev.data()), word(result.twiddles.data()), word(kSize)},
                shift);
    FFT fft(kSize, reinterpret_cast<char*>(result.twiddles.data()),
            reinterpret_cast<char*>(result.bitRev.data()),
            reinterpret_cast<char*>(work.data()));
    callShifted(
        exported("_ZN3FFT7rcfftZXEPKfP8cmplxFFTi"),
        {word(&fft), word(samples.data()), word(result.spectrum.data()), word(kSize)},
        shift);
    return result;
  };
  const Result aligned = transform(0);
  ASSERT_NE(aligned.spectrum[1].re, 0.0);
  for (const int shift : {4, 8, 12}) {
    SCOPED_TRACE(shift);
    const Result shifted = transform(shift);
    EXPECT_TRUE(sameBits(shifted.bitRev, aligned.bitRev));
    EXPECT_TRUE(sameBits(shifted.twiddles, aligned.twiddles));
    EXPECT_TRUE(sameBits(shifted.spectrum, aligned.spectrum));
  }
}

TEST(Stack, StreamOfAllTiers) {
  constexpr int kFrames = 1000;
  ulmar::host::StreamOptions options;
  options.blockLen = 64;
  options.dryGain = 0.5F;
  ulmar::host::Responses responses;
  responses.samples = {noise(40 * 64)};
  const std::vector<float> input = noise(kFrames);
  const auto run = [&](int shift) {
    const ParamStruct params = ulmar::host::streamParams(responses, options);
    ulmar::host::Stream stream(1, 1, params, responses);
    ParamStruct passed = params;
    StateStruct state{};
    ExternStruct ext = stream.areas().table();
    std::vector<float> samples = input;
    OstinSoundBuf buffer{samples.data(), 1, ulmar::kFormatFloat, {}};
    ulmar::HostLong done = 0;
    callShifted(exported("UlmarProc"),
                {word(&buffer), 1, kFrames, word(&buffer), 1, word(&done),
                 word(&passed), word(&state), word(&ext)},
                shift);
    EXPECT_EQ(done, kFrames);
    return samples;
  };
  const std::vector<float> aligned = run(0);
  ASSERT_FALSE(sameBits(aligned, input));
  for (const int shift : {4, 8, 12}) {
    EXPECT_TRUE(sameBits(run(shift), aligned)) << "stack shifted by " << shift;
  }
}

}  // namespace
