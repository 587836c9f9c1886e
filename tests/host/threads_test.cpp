// Streams in threads of their own.
#include <gtest/gtest.h>

#include <algorithm>
#include <latch>
#include <thread>

#include "tests/process/configurations.h"

namespace ulmar::test {
namespace {

/// What a stream gives, and what it carries at its end.
struct Life {
  Planar output;
  std::vector<std::byte> snapshot;

  bool operator==(const Life&) const = default;
};

/// A configuration with a plan of one engine or two, and sets that streams share.
struct Kind {
  Kind(const std::string& name, int tail, bool hfTruncate)
      : c(*std::find_if(
            configurations().begin(), configurations().end(),
            [&](const Configuration& which) { return which.name == name; })),
        responses(randomResponses(c, random)),
        input(randomPlanar(random, c.in, 6000)),
        plan(c.in, c.out, responses.shape(), options(tail, hfTruncate)),
        sets(host::buildPartitionSets(plan, responses)) {}

  host::StreamOptions options(int tail, bool hfTruncate) const {
    host::StreamOptions options;
    options.blockLen = 16;
    options.tail = tail;
    options.hfTruncate = hfTruncate;
    options.wetGain = options.dryGain = 0.125F;
    options.dryDelay = 100;
    options.rearDelay = 70;
    options.crossfeed = c.crossfeed;
    options.foldToStereo = c.fold;
    return options;
  }

  Life live(bool ownSets) const {
    host::Stream stream =
        ownSets ? host::Stream(plan, responses) : host::Stream(plan, sets);
    Life life;
    life.output = run(stream, input, c.out, {100, 1, 64});
    life.snapshot = stream.snapshot();
    return life;
  }

  Random random{81};
  const Configuration& c;
  host::Responses responses;
  Planar input;
  host::StreamPlan plan;
  std::shared_ptr<const host::PartitionSets> sets;
};

// Streams write to their own memory only, and read partition sets at most together. One
// of each two also builds its own, from start to end beside the other.
TEST(Threads, StreamsShareNothingThatIsWritten) {
  const Kind kinds[] = {{"stereo, crossfeed", host::kTailOff, true},
                        {"stereo, crossfeed", 64, false},
                        {"stereo > five, mid/side", 32, false},
                        {"five, folded", host::kTailOff, false}};
  for (const Kind& first : kinds) {
    for (const Kind& second : kinds) {
      for (const bool ownSets : {false, true}) {
        SCOPED_TRACE(first.c.name + " beside " + second.c.name);
        std::latch start(2);
        Life beside;
        std::thread other([&] {
          start.arrive_and_wait();
          beside = second.live(ownSets);
        });
        start.arrive_and_wait();
        const Life here = first.live(false);
        other.join();
        EXPECT_TRUE(here == first.live(false));
        EXPECT_TRUE(beside == second.live(false));
      }
    }
  }
}

}  // namespace
}  // namespace ulmar::test
