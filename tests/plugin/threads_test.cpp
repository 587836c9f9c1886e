// An instance in a host's threads: audio in one, the worker's in another, and sessions
// saved and restored in a third. ThreadSanitizer finds what they share without order.
#include <atomic>
#include <cmath>
#include <thread>

#include "tests/plugin/small_host.h"
#include "tests/support/random.h"

namespace ulmar::lv2 {
namespace {

TEST(PluginThreads, RunsWhileResponsesAreLoadedAndSessionsRestored) {
  constexpr int kCalls = 4000;
  constexpr std::size_t kFrames = 64;
  SmallHost host(variantNamed("stereo"), 8000.0);
  std::atomic<bool> done = false;
  std::atomic<int> finite = 0;
  std::thread audio([&] {
    test::Random random(1);
    Planar buffer = {random.signal(kFrames), random.signal(kFrames)};
    float* const channels[] = {buffer[0].data(), buffer[1].data()};
    for (int k = 0; k < kCalls; ++k) {
      if (k % 50 == 0) {
        host.at(Control::response) = static_cast<float>(random.below(4));
        host.at(Control::block) = random.below(4) == 0 ? 128.0F : 64.0F;
        host.at(Control::enabled) = random.below(8) == 0 ? 0.0F : 1.0F;
      }
      host.run(channels, channels, kFrames);
      finite += std::isfinite(buffer[0][0]) && std::isfinite(buffer[1][63]) ? 1 : 0;
      for (float& sample : buffer[0]) sample = random.sample();
    }
    done = true;
  });
  std::thread worker([&] {
    while (!done) {
      host.work();
      std::this_thread::yield();
    }
  });
  while (!done) {
    host.restore("/nowhere/to be found.wav", true);
    EXPECT_EQ(host.save(), "/nowhere/to be found.wav");
    std::this_thread::yield();
  }
  audio.join();
  worker.join();
  EXPECT_EQ(finite, kCalls);
}

}  // namespace
}  // namespace ulmar::lv2
