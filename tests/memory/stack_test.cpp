// The library on stacks of the test's own.
#include <gtest/gtest.h>

#include "tests/memory/call_on_stack.h"
#include "tests/memory/guarded_stream.h"

namespace ulmar::test {
namespace {

TEST(Memory, TakesLittleStack) {
  constexpr std::size_t kStackBytes = 256 << 10;
  constexpr std::size_t kMaxUsed = 32 << 10;
  for (const Kind& kind : kKinds) {
    SCOPED_TRACE(kind.name);
    const GuardedStream stream(kind);
    const Guarded stack(kStackBytes);
    callOnStack(stack.as() + kStackBytes, [&] { stream.process(); });
    EXPECT_TRUE(stream.gaveTheExpectedBits());

    std::size_t unused = 0;
    while (stack.as<unsigned char>()[unused] == 0xFF) ++unused;
    RecordProperty("bytes", static_cast<int>(kStackBytes - unused));
    EXPECT_LT(kStackBytes - unused, kMaxUsed);
  }
}

// Hosts of the 32-bit build may keep their stack at multiples of 4 only.
TEST(Memory, TakesAnyStackAlignmentOfItsBuild) {
  constexpr std::size_t kStackBytes = 256 << 10;
  const std::size_t step = k32BitAddresses ? 4 : 16;
  for (std::size_t offset = 0; offset < 64; offset += step) {
    for (const Kind& kind : kKinds) {
      SCOPED_TRACE(testing::Message() << kind.name << ", offset " << offset);
      const GuardedStream stream(kind);
      const Guarded stack(kStackBytes);
      callOnStack(stack.as() + kStackBytes - offset, [&] { stream.process(); });
      EXPECT_TRUE(stream.gaveTheExpectedBits());
    }
  }
}

}  // namespace
}  // namespace ulmar::test
