// Counts allocations: this malloc, which `new` calls too, stands before the C
// library's.
#include <gtest/gtest.h>

#include "tests/memory/guarded_stream.h"
#include "tests/memory/two_engines.h"

extern "C" void* __libc_malloc(std::size_t size);

namespace {
int numAllocations = 0;
}

extern "C" void* malloc(std::size_t size) {
  ++numAllocations;
  return __libc_malloc(size);
}

namespace ulmar::test {
namespace {

TEST(Memory, AllocatesNothing) {
  for (const Kind& kind : kKinds) {
    SCOPED_TRACE(kind.name);
    const GuardedStream stream(kind);
    const int before = numAllocations;
    stream.process();
    EXPECT_EQ(numAllocations, before);

    int* volatile const counted = new int;
    EXPECT_EQ(numAllocations, before + 1);
    delete counted;
  }
  for (const TwoEngines& kind : kTwoEngines) {
    SCOPED_TRACE(kind.name);
    PlayedStreams streams(kind);
    const int before = numAllocations;
    EXPECT_TRUE(streams.play());
    EXPECT_EQ(numAllocations, before);
  }
}

}  // namespace
}  // namespace ulmar::test
