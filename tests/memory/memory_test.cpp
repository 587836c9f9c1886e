// The library's manners: it stays within the host's memory and calls no one.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "tests/memory/guarded_stream.h"
#include "tests/memory/two_engines.h"
#include "tests/process/configurations.h"
#include "tests/support/system_calls.h"
#include "ulmar/host/tail.h"

namespace ulmar::test {
namespace {

TEST(Memory, StaysWithinEveryAreaAndWritesNoTable) {
  std::vector<Placement> placements = {{Flush::atStart, 0}, {Flush::atEnd, 0}};
  for (std::size_t offset = 1; offset < 32; ++offset) {
    placements.push_back({Flush::atEnd, offset});
  }
  for (const Placement placement : placements) {
    for (const Kind& kind : kKinds) {
      SCOPED_TRACE(testing::Message()
                   << kind.name << ", offset " << placement.offset << ", seed 61");
      const GuardedStream stream(kind, placement);
      stream.process();
      EXPECT_TRUE(stream.gaveTheExpectedBits());
    }
  }
}

// Random geometries, parameters and placements in every configuration of channels.
// ULMAR_ROUNDS says how often each is tried.
TEST(Memory, StaysWithinAreasOfAnyGeometry) {
  const char* const rounds = std::getenv("ULMAR_ROUNDS");
  const int numRounds = rounds != nullptr ? std::atoi(rounds) : 3;
  for (int round = 0; round < numRounds; ++round) {
    for (std::size_t i = 0; i < configurations().size(); ++i) {
      const Configuration& c = configurations()[i];
      const auto seed = static_cast<std::uint64_t>(round) * 100 + i;
      Random random(seed);
      const bool hfTruncate = random.below(2) == 1;
      const Kind kind{c.name.c_str(), c.in,          c.out,  c.numInputs, c.numOutputs,
                      c.perOutput,    c.passThrough, c.fold, hfTruncate};
      const host::Geometry geometry = randomGeometry(random, hfTruncate);
      SCOPED_TRACE(testing::Message()
                   << c.name << ", seed " << seed << ", blocks of " << geometry.blockLen
                   << ", response of " << geometry.irLen);
      const Placement placement{random.below(4) == 0 ? Flush::atStart : Flush::atEnd,
                                0};
      const GuardedStream stream(kind, placement, geometry, random);
      stream.process();
      EXPECT_TRUE(stream.gaveTheExpectedBits());
    }
  }
}

// The tail's engine over areas of exactly their sizes, tables and sets read-only.
TEST(Memory, HoldsATailWithinItsAreas) {
  for (const TwoEngines& kind : kTwoEngines) {
    SCOPED_TRACE(kind.name);
    Random random(68);
    const host::Responses responses = responsesOf(kind, random);
    const host::StreamPlan plan = planOf(kind, responses);
    const auto sets = host::buildPartitionSets(plan, responses);
    const host::AreaSizes own = plan.streamAreas()[1];
    const host::AreaSizes shared = plan.setAreas()[1];

    ExternStruct table{};
    std::vector<std::unique_ptr<Guarded>> memory;
    for (const host::Area area : host::kAllAreas) {
      const auto size = static_cast<std::size_t>(own[area] + shared[area]);
      if (size == 0) continue;
      memory.push_back(std::make_unique<Guarded>(size));
      host::entry(table, area).address = memory.back()->as();
      if (shared[area] > 0) {
        std::memcpy(memory.back()->as(), sets->areas().at(1, area), size);
        memory.back()->makeReadOnly();
      } else if (area != host::Area::fftWork && area != host::Area::fwdSpectrum) {
        std::memset(memory.back()->as(), 0, size);
      }
    }
    const host::Areas areas(plan.streamAreas());
    ExternStruct plainTable{};
    areas.enterInto(plainTable, 1);
    sets->areas().enterInto(plainTable, 1);

    host::Tail guarded(*plan.tail(), table);
    host::Tail plain(*plan.tail(), plainTable);
    host::TailState guardedState;
    host::TailState plainState;
    const auto blocks = [&](int channels) {
      return static_cast<std::size_t>(channels * kind.blockLen);
    };
    // Three times around the ring of partitions.
    const int numBoundaries = 3 * (kind.numTailBlocks + 3) * plan.tail()->numSlots;
    for (int k = 0; k < numBoundaries; ++k) {
      const ReadOnly<double> in(
          random.signal<double>(static_cast<int>(blocks(kind.numInputs))));
      const Guarded out(blocks(kind.numOutputs) * sizeof(double));
      std::vector<double> expected(blocks(kind.numOutputs));
      std::memset(out.as(), 0, out.size());
      guarded.passBoundary(guardedState, in.data(), out.as<double>());
      plain.passBoundary(plainState, in.data(), expected.data());
      ASSERT_EQ(std::memcmp(out.as(), expected.data(), out.size()), 0) << k;
    }
  }
}

TEST(Memory, MakesNoSystemCall) {
  for (const Kind& kind : kKinds) {
    SCOPED_TRACE(kind.name);
    const GuardedStream stream(kind);
    const int status = statusWithoutSystemCalls([&] {
      stream.process();
      return stream.gaveTheExpectedBits();
    });
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  }
  for (const TwoEngines& kind : kTwoEngines) {
    SCOPED_TRACE(kind.name);
    PlayedStreams streams(kind);
    const int status = statusWithoutSystemCalls([&] { return streams.play(); });
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
  }
  const int status = statusWithoutSystemCalls([] { return getppid() > 0; });
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << status;
}

}  // namespace
}  // namespace ulmar::test
