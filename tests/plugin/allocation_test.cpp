// Counts allocations of the plug-in: this malloc, which `new` calls too, stands before
// the C library's for what is loaded later as well.
#include "tests/plugin/small_host.h"

extern "C" void* __libc_malloc(std::size_t size);

namespace {
int numAllocations = 0;
}

extern "C" void* malloc(std::size_t size) {
  ++numAllocations;
  return __libc_malloc(size);
}

namespace ulmar::lv2 {
namespace {

// Through a fade, a change of block length and the message of another file.
TEST(Plugin, AllocatesNothingWhileItRuns) {
  SmallHost host(variantNamed("stereo"));
  host.activate();
  Planar buffer(2, std::vector<float>(256, 0.1F));
  float* const channels[] = {buffer[0].data(), buffer[1].data()};
  const auto expectNone = [&](const char* change) {
    SCOPED_TRACE(change);
    host.run(channels, channels, 256);  // takes what the worker has to say
    const int before = numAllocations;
    for (int k = 0; k < 60; ++k) host.run(channels, channels, 256);
    EXPECT_EQ(numAllocations, before);
    host.work();
    EXPECT_GT(numAllocations, before);
  };
  host.at(Control::response) = 1.0F;
  expectNone("response");
  host.at(Control::block) = 512.0F;
  expectNone("block");
  host.setFile("/none.wav");
  expectNone("file");
}

}  // namespace
}  // namespace ulmar::lv2
