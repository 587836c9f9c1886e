// The library's manners: it stays within the host's memory and calls no one.
#include <gtest/gtest.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>

#include <csignal>

#include "tests/memory/guarded_stream.h"

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

// Runs `body` in a child that the kernel kills at its first system call, and returns
// the child's status: exit code 0 if body returned true.
template <typename Body>
int statusWithoutSystemCalls(const Body& body) {
  const pid_t child = fork();
  if (child == 0) {
    prctl(PR_SET_SECCOMP, SECCOMP_MODE_STRICT);
    const bool good = body();
    syscall(SYS_exit, good ? 0 : 1);
  }
  int status = -1;
  waitpid(child, &status, 0);
  return status;
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
  const int status = statusWithoutSystemCalls([] { return getppid() > 0; });
  EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << status;
}

}  // namespace
}  // namespace ulmar::test
