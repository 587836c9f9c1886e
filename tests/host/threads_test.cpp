// Streams in threads of their own.
#include <gtest/gtest.h>

#include <latch>
#include <thread>

#include "tests/process/configurations.h"

namespace ulmar::test {
namespace {

/// A stream's whole life: set-up, sound, and what it carries at its end.
struct Life {
  Planar output;
  std::vector<std::byte> snapshot;

  bool operator==(const Life&) const = default;
};

Life live(const Configuration& c, bool hfTruncate) {
  Random random(81);
  ParamStruct params = paramsOf(c, 64, 128);
  host::setGeometry(params, {64, 64 * 37 + 5, 4, 2, hfTruncate});
  params.dryDelay = 100;
  params.rearDelay = 70;
  params.dryGain = params.wetGain[0] = params.wetGain[1] = 0.125F;
  params.xoverCfs = {-0.375F, 0.25F, -0.5F};
  host::Stream stream(c.in, c.out, params, randomResponses(c, random));
  Life life;
  life.output = run(stream, randomPlanar(random, c.in, 6000), c.out, {100, 1, 64});
  life.snapshot = stream.snapshot();
  return life;
}

// The library and the kit have no memory but the stream's. Each kind of stream meets
// its like and the others.
TEST(Threads, StreamsShareNothingThatIsWritten) {
  std::vector<const Configuration*> kinds;
  for (const Configuration& c : configurations()) {
    if (c.name == "stereo, crossfeed" || c.name == "stereo > five, mid/side" ||
        c.name == "five, folded") {
      kinds.push_back(&c);
    }
  }
  ASSERT_EQ(kinds.size(), 3U);
  for (const auto* first : kinds) {
    for (const auto* second : kinds) {
      SCOPED_TRACE(first->name + " beside " + second->name);
      std::latch start(2);
      Life beside;
      std::thread other([&] {
        start.arrive_and_wait();
        beside = live(*second, false);
      });
      start.arrive_and_wait();
      const Life here = live(*first, true);
      other.join();
      EXPECT_TRUE(here == live(*first, true));
      EXPECT_TRUE(beside == live(*second, false));
    }
  }
}

}  // namespace
}  // namespace ulmar::test
